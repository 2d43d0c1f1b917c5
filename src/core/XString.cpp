// The string's storage rules: four pooled size classes, exact capacities
// beyond them, sharing by reference count, and a private copy before any
// change of a shared buffer. Character walks go through XMbText.
#include "KVDbase/core/XString.h"

#include "KVDbase/core/XFrameworkException.h"
#include "core/XFixedAlloc.h"
#include "platform/XMbText.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <new>

XStringEmptyRep g_xstrEmptyRep = {{-1, 0, 0}, {0, 0, 0, 0}};

namespace {

// The four pools, constructed before anything else of the library so that
// strings made during static initialisation (class names among them) work.
XFixedAlloc g_alloc64 __attribute__((init_priority(101))) (64 + sizeof(XStringData) + 4, 64);
XFixedAlloc g_alloc128 __attribute__((init_priority(101))) (128 + sizeof(XStringData) + 4, 64);
XFixedAlloc g_alloc256 __attribute__((init_priority(101))) (256 + sizeof(XStringData) + 4, 64);
XFixedAlloc g_alloc512 __attribute__((init_priority(101))) (512 + sizeof(XStringData) + 4, 64);

XFixedAlloc* PoolForCapacity(int nAlloc)
{
    switch (nAlloc) {
    case 64: return &g_alloc64;
    case 128: return &g_alloc128;
    case 256: return &g_alloc256;
    case 512: return &g_alloc512;
    default: return nullptr;
    }
}

} // namespace

// ---------------------------------------------------------------- storage

void XString::AllocBuffer(int nLen)
{
    if (nLen <= 0) {
        Init();
        return;
    }
    if (nLen > INT_MAX - static_cast<int>(sizeof(XStringData)) - 1)
        XMemoryException::Throw();

    XStringData* pData;
    int nAlloc = nLen <= 64 ? 64 : nLen <= 128 ? 128 : nLen <= 256 ? 256 : nLen <= 512 ? 512 : nLen;
    if (XFixedAlloc* pPool = PoolForCapacity(nAlloc))
        pData = static_cast<XStringData*>(pPool->Alloc());
    else
        pData = reinterpret_cast<XStringData*>(new char[sizeof(XStringData) + nLen + 1]);
    pData->nAllocLength = nAlloc;
    pData->nRefs = 1;
    pData->nDataLength = nLen;
    pData->data()[nLen] = '\0';
    pchData = pData->data();
}

void XString::FreeData(XStringData* pData)
{
    if (XFixedAlloc* pPool = PoolForCapacity(pData->nAllocLength))
        pPool->Free(pData);
    else
        delete[] reinterpret_cast<char*>(pData);
}

void XString::Release()
{
    if (!IsSharedEmpty()) {
        if (XfnInterlockedDecrement(&GetData()->nRefs) <= 0)
            FreeData(GetData());
        Init();
    }
}

void XString::Release(XStringData* pData)
{
    if (pData != &g_xstrEmptyRep.hdr && XfnInterlockedDecrement(&pData->nRefs) <= 0)
        FreeData(pData);
}

void XString::CopyBeforeWrite()
{
    if (GetData()->nRefs > 1) {
        XStringData* pData = GetData();
        Release();
        AllocBuffer(pData->nDataLength);
        std::memcpy(pchData, pData->data(), static_cast<size_t>(pData->nDataLength) + 1);
    }
}

void XString::AllocBeforeWrite(int nLen)
{
    if (GetData()->nRefs > 1 || nLen > GetData()->nAllocLength) {
        Release();
        AllocBuffer(nLen);
    }
}

void XString::AllocCopy(XString& dest, int nCopyLen, int nCopyIndex, int nExtraLen) const
{
    int nNewLen = nCopyLen + nExtraLen;
    if (nNewLen == 0) {
        dest.Init();
    } else {
        dest.AllocBuffer(nNewLen);
        std::memcpy(dest.pchData, pchData + nCopyIndex, static_cast<size_t>(nCopyLen));
    }
}

void XString::AssignCopy(int nSrcLen, const char* pszSrcData)
{
    AllocBeforeWrite(nSrcLen);
    // The shared empty header is never written, not even with its own values.
    if (IsSharedEmpty())
        return;
    std::memmove(pchData, pszSrcData, static_cast<size_t>(nSrcLen));
    GetData()->nDataLength = nSrcLen;
    pchData[nSrcLen] = '\0';
}

void XString::ConcatCopy(int nSrc1Len, const char* pszSrc1Data, int nSrc2Len, const char* pszSrc2Data)
{
    if (nSrc2Len > INT_MAX - nSrc1Len)
        XMemoryException::Throw();
    int nNewLen = nSrc1Len + nSrc2Len;
    if (nNewLen != 0) {
        AllocBuffer(nNewLen);
        std::memcpy(pchData, pszSrc1Data, static_cast<size_t>(nSrc1Len));
        std::memcpy(pchData + nSrc1Len, pszSrc2Data, static_cast<size_t>(nSrc2Len));
    }
}

void XString::ConcatInPlace(int nSrcLen, const char* pszSrcData)
{
    if (nSrcLen == 0)
        return;
    XStringData* pData = GetData();
    if (pData->nRefs > 1 || pData->nDataLength + static_cast<int64_t>(nSrcLen) > pData->nAllocLength) {
        // The old buffer stays alive until the copy is made, so appending a
        // string to itself works.
        ConcatCopy(pData->nDataLength, pchData, nSrcLen, pszSrcData);
        Release(pData);
    } else {
        std::memcpy(pchData + pData->nDataLength, pszSrcData, static_cast<size_t>(nSrcLen));
        pData->nDataLength += nSrcLen;
        pchData[pData->nDataLength] = '\0';
    }
}

// ----------------------------------------------------------- construction

XString::XString(char ch, int nRepeat)
{
    Init();
    if (nRepeat >= 1) {
        AllocBuffer(nRepeat);
        std::memset(pchData, ch, static_cast<size_t>(nRepeat));
    }
}

XString::XString(const char* psz)
{
    Init();
    int nLen = SafeStrlen(psz);
    if (nLen != 0) {
        AllocBuffer(nLen);
        std::memcpy(pchData, psz, static_cast<size_t>(nLen));
    }
}

XString::XString(const char* pch, int nLength)
{
    Init();
    if (pch != nullptr && nLength > 0) {
        AllocBuffer(nLength);
        std::memcpy(pchData, pch, static_cast<size_t>(nLength));
    }
}

XString::XString(const unsigned char* psz) : XString(reinterpret_cast<const char*>(psz)) {}

XString::XString(const wchar_t* psz)
{
    Init();
    *this = psz;
}

XString::XString(const wchar_t* pch, int nLength)
{
    Init();
    if (pch != nullptr && nLength > 0) {
        int nBytes = XMbText::WideToNarrow(pch, nLength, nullptr, 0);
        AllocBuffer(nBytes);
        int nDone = XMbText::WideToNarrow(pch, nLength, pchData, nBytes);
        ReleaseBuffer(nDone < 0 ? 0 : nDone);
    }
}

// ------------------------------------------------------------- assignment

const XString& XString::operator=(const XString& src)
{
    if (pchData != src.pchData) {
        if ((GetData()->nRefs < 0 && !IsSharedEmpty()) || src.GetData()->nRefs < 0) {
            AssignCopy(src.GetData()->nDataLength, src.pchData);
        } else {
            Release();
            pchData = src.pchData;
            XfnInterlockedIncrement(&GetData()->nRefs);
        }
    }
    return *this;
}

const XString& XString::operator=(char ch)
{
    AssignCopy(1, &ch);
    return *this;
}

const XString& XString::operator=(const char* psz)
{
    AssignCopy(SafeStrlen(psz), psz);
    return *this;
}

const XString& XString::operator=(const unsigned char* psz)
{
    return *this = reinterpret_cast<const char*>(psz);
}

const XString& XString::operator=(const wchar_t* psz)
{
    int nLen = 0;
    if (psz != nullptr)
        while (psz[nLen] != 0)
            ++nLen;
    // Sized for the converted text; the terminator is converted with it.
    int nBytes = XMbText::WideToNarrow(psz, nLen, nullptr, 0);
    AllocBeforeWrite(nBytes);
    if (nBytes > 0) {
        XMbText::WideToNarrow(psz, nLen, pchData, nBytes);
        pchData[nBytes] = '\0';
        ReleaseBuffer(-1);
    } else {
        Release();
    }
    return *this;
}

void XString::SetAt(int nIndex, char ch)
{
    CopyBeforeWrite();
    pchData[nIndex] = ch;
}

// ---------------------------------------------------------- concatenation

const XString& XString::operator+=(const XString& str)
{
    ConcatInPlace(str.GetData()->nDataLength, str.pchData);
    return *this;
}

const XString& XString::operator+=(char ch)
{
    ConcatInPlace(1, &ch);
    return *this;
}

const XString& XString::operator+=(const char* psz)
{
    ConcatInPlace(SafeStrlen(psz), psz);
    return *this;
}

XString operator+(const XString& a, const XString& b)
{
    XString s;
    s.ConcatCopy(a.GetLength(), a.pchData, b.GetLength(), b.pchData);
    return s;
}

XString operator+(const XString& a, char ch)
{
    XString s;
    s.ConcatCopy(a.GetLength(), a.pchData, 1, &ch);
    return s;
}

XString operator+(char ch, const XString& b)
{
    XString s;
    s.ConcatCopy(1, &ch, b.GetLength(), b.pchData);
    return s;
}

XString operator+(const XString& a, const char* psz)
{
    XString s;
    s.ConcatCopy(a.GetLength(), a.pchData, XString::SafeStrlen(psz), psz);
    return s;
}

XString operator+(const char* psz, const XString& b)
{
    XString s;
    s.ConcatCopy(XString::SafeStrlen(psz), psz, b.GetLength(), b.pchData);
    return s;
}

// ------------------------------------------------------------- comparison

int XString::Compare(const char* psz) const
{
    return XMbText::Compare(pchData, psz == nullptr ? "" : psz);
}

int XString::CompareNoCase(const char* psz) const
{
    return XMbText::CompareNoCase(pchData, psz == nullptr ? "" : psz);
}

int XString::Collate(const char* psz) const
{
    return XMbText::Collate(pchData, psz == nullptr ? "" : psz);
}

int XString::CollateNoCase(const char* psz) const
{
    return XMbText::CollateNoCase(pchData, psz == nullptr ? "" : psz);
}

// ------------------------------------------------------------- extraction

XString XString::Mid(int nFirst) const
{
    return Mid(nFirst, GetData()->nDataLength - nFirst);
}

XString XString::Mid(int nFirst, int nCount) const
{
    if (nFirst < 0)
        nFirst = 0;
    if (nCount < 0)
        nCount = 0;
    int nLen = GetData()->nDataLength;
    if (static_cast<int64_t>(nFirst) + nCount > nLen)
        nCount = nLen - nFirst;
    if (nFirst > nLen)
        nCount = 0;
    if (nFirst == 0 && nFirst + nCount == nLen)
        return *this;
    XString dest;
    AllocCopy(dest, nCount, nFirst, 0);
    return dest;
}

XString XString::Left(int nCount) const
{
    if (nCount < 0)
        nCount = 0;
    if (nCount >= GetData()->nDataLength)
        return *this;
    XString dest;
    AllocCopy(dest, nCount, 0, 0);
    return dest;
}

XString XString::Right(int nCount) const
{
    if (nCount < 0)
        nCount = 0;
    int nLen = GetData()->nDataLength;
    if (nCount >= nLen)
        return *this;
    XString dest;
    AllocCopy(dest, nCount, nLen - nCount, 0);
    return dest;
}

XString XString::SpanIncluding(const char* pszCharSet) const
{
    return Left(static_cast<int>(XMbText::SpanIncluding(pchData, pszCharSet)));
}

XString XString::SpanExcluding(const char* pszCharSet) const
{
    return Left(static_cast<int>(XMbText::SpanExcluding(pchData, pszCharSet)));
}

// ----------------------------------------------------------------- change

void XString::MakeUpper()
{
    CopyBeforeWrite();
    XMbText::MakeUpper(pchData, GetLength());
}

void XString::MakeLower()
{
    CopyBeforeWrite();
    XMbText::MakeLower(pchData, GetLength());
}

void XString::MakeReverse()
{
    CopyBeforeWrite();
    XMbText::Reverse(pchData, GetLength());
}

void XString::Empty()
{
    if (GetData()->nDataLength == 0)
        return;
    if (GetData()->nRefs >= 0)
        Release();
    else
        *this = "";
}

void XString::TrimRight()
{
    CopyBeforeWrite();
    // Walk forward so that a multi-byte character is never read from its end.
    char* pLast = nullptr;
    for (char* p = pchData; *p != '\0'; p = XMbText::Inc(p)) {
        if (XMbText::IsSpace(p)) {
            if (pLast == nullptr)
                pLast = p;
        } else {
            pLast = nullptr;
        }
    }
    if (pLast != nullptr) {
        *pLast = '\0';
        GetData()->nDataLength = static_cast<int>(pLast - pchData);
    }
}

void XString::TrimRight(char chTarget)
{
    CopyBeforeWrite();
    char* pLast = nullptr;
    for (char* p = pchData; *p != '\0'; p = XMbText::Inc(p)) {
        if (*p == chTarget) {
            if (pLast == nullptr)
                pLast = p;
        } else {
            pLast = nullptr;
        }
    }
    if (pLast != nullptr) {
        *pLast = '\0';
        GetData()->nDataLength = static_cast<int>(pLast - pchData);
    }
}

void XString::TrimRight(const char* pszTargets)
{
    CopyBeforeWrite();
    char* pLast = nullptr;
    for (char* p = pchData; *p != '\0'; p = XMbText::Inc(p)) {
        if (XMbText::CharInSet(p, XMbText::CharLen(p), pszTargets)) {
            if (pLast == nullptr)
                pLast = p;
        } else {
            pLast = nullptr;
        }
    }
    if (pLast != nullptr) {
        *pLast = '\0';
        GetData()->nDataLength = static_cast<int>(pLast - pchData);
    }
}

namespace {

// Moves the text that begins at pFirst to the front of the buffer.
void ShiftToFront(char* pchData, XStringData* pData, const char* pFirst)
{
    int nDataLength = pData->nDataLength - static_cast<int>(pFirst - pchData);
    std::memmove(pchData, pFirst, static_cast<size_t>(nDataLength) + 1);
    pData->nDataLength = nDataLength;
}

} // namespace

void XString::TrimLeft()
{
    CopyBeforeWrite();
    const char* p = pchData;
    while (XMbText::IsSpace(p))
        p = XMbText::Inc(p);
    if (p != pchData)
        ShiftToFront(pchData, GetData(), p);
}

void XString::TrimLeft(char chTarget)
{
    CopyBeforeWrite();
    const char* p = pchData;
    while (chTarget != '\0' && *p == chTarget)
        p = XMbText::Inc(p);
    if (p != pchData)
        ShiftToFront(pchData, GetData(), p);
}

void XString::TrimLeft(const char* pszTargets)
{
    if (SafeStrlen(pszTargets) == 0)
        return;
    CopyBeforeWrite();
    const char* p = pchData;
    while (*p != '\0' && XMbText::CharInSet(p, XMbText::CharLen(p), pszTargets))
        p = XMbText::Inc(p);
    if (p != pchData)
        ShiftToFront(pchData, GetData(), p);
}

int XString::Replace(char chOld, char chNew)
{
    if (chOld == chNew)
        return 0;
    // Like every changing operation, the buffer is unshared first, even when
    // no character matches.
    CopyBeforeWrite();
    int nCount = 0;
    for (char* p = pchData; *p != '\0'; p = XMbText::Inc(p))
        if (*p == chOld && XMbText::CharLen(p) == 1) {
            *p = chNew;
            ++nCount;
        }
    return nCount;
}

int XString::Replace(const char* pszOld, const char* pszNew)
{
    int nSourceLen = SafeStrlen(pszOld);
    if (nSourceLen == 0)
        return 0;
    int nReplacementLen = SafeStrlen(pszNew);
    if (pszNew == nullptr)
        pszNew = "";

    // First pass: count the occurrences.
    int nCount = 0;
    for (const char* p = XMbText::FindText(pchData, pszOld); p != nullptr;
         p = XMbText::FindText(p + nSourceLen, pszOld))
        ++nCount;
    if (nCount == 0)
        return 0;

    // Second pass: rebuild, in place when the text does not grow and the
    // buffer is ours, else into a new buffer.
    int nOldLength = GetData()->nDataLength;
    int64_t nNewLength64 = nOldLength + static_cast<int64_t>(nReplacementLen - nSourceLen) * nCount;
    if (nNewLength64 > INT_MAX)
        XMemoryException::Throw();
    int nNewLength = static_cast<int>(nNewLength64);
    if (GetData()->nAllocLength < nNewLength || GetData()->nRefs > 1) {
        XStringData* pOldData = GetData();
        const char* pSrc = pchData;
        AllocBuffer(nNewLength);
        char* pOut = pchData;
        for (const char* p = XMbText::FindText(pSrc, pszOld); p != nullptr;
             p = XMbText::FindText(pSrc, pszOld)) {
            std::memcpy(pOut, pSrc, static_cast<size_t>(p - pSrc));
            pOut += p - pSrc;
            std::memcpy(pOut, pszNew, static_cast<size_t>(nReplacementLen));
            pOut += nReplacementLen;
            pSrc = p + nSourceLen;
        }
        std::memcpy(pOut, pSrc, std::strlen(pSrc));
        Release(pOldData);
    } else {
        char* pStart = pchData;
        int nLength = nOldLength;
        for (char* p = const_cast<char*>(XMbText::FindText(pStart, pszOld)); p != nullptr;
             p = const_cast<char*>(XMbText::FindText(p + nReplacementLen, pszOld))) {
            int nBalance = nLength - static_cast<int>(p - pchData) - nSourceLen;
            std::memmove(p + nReplacementLen, p + nSourceLen, static_cast<size_t>(nBalance) + 1);
            std::memcpy(p, pszNew, static_cast<size_t>(nReplacementLen));
            nLength += nReplacementLen - nSourceLen;
        }
    }
    GetData()->nDataLength = nNewLength;
    pchData[nNewLength] = '\0';
    return nCount;
}

int XString::Remove(char chRemove)
{
    CopyBeforeWrite();
    char* pSource = pchData;
    char* pDest = pchData;
    char* pEnd = pchData + GetData()->nDataLength;
    while (pSource < pEnd) {
        int n = XMbText::CharLen(pSource);
        if (!(n == 1 && *pSource == chRemove)) {
            std::memmove(pDest, pSource, static_cast<size_t>(n));
            pDest += n;
        }
        pSource += n;
    }
    *pDest = '\0';
    int nCount = static_cast<int>(pSource - pDest);
    GetData()->nDataLength -= nCount;
    return nCount;
}

int XString::Insert(int nIndex, char ch)
{
    return Insert(nIndex, XString(ch, 1));
}

int XString::Insert(int nIndex, const char* psz)
{
    int nInsertLength = SafeStrlen(psz);
    int nNewLength = GetData()->nDataLength;
    if (nInsertLength > 0) {
        CopyBeforeWrite();
        if (nIndex < 0)
            nIndex = 0;
        if (nIndex > nNewLength)
            nIndex = nNewLength;
        if (nInsertLength > INT_MAX - nNewLength)
            XMemoryException::Throw();
        nNewLength += nInsertLength;
        if (GetData()->nAllocLength < nNewLength) {
            XStringData* pOldData = GetData();
            const char* pstr = pchData;
            AllocBuffer(nNewLength);
            std::memcpy(pchData, pstr, static_cast<size_t>(pOldData->nDataLength) + 1);
            // psz may point into the old buffer: keep it until the copy is made.
            std::memmove(pchData + nIndex + nInsertLength, pchData + nIndex,
                         static_cast<size_t>(nNewLength - nIndex - nInsertLength) + 1);
            std::memcpy(pchData + nIndex, psz, static_cast<size_t>(nInsertLength));
            Release(pOldData);
        } else {
            XString strKeep(psz, nInsertLength);
            std::memmove(pchData + nIndex + nInsertLength, pchData + nIndex,
                         static_cast<size_t>(nNewLength - nIndex - nInsertLength) + 1);
            std::memcpy(pchData + nIndex, strKeep.pchData, static_cast<size_t>(nInsertLength));
        }
        GetData()->nDataLength = nNewLength;
    }
    return nNewLength;
}

int XString::Delete(int nIndex, int nCount)
{
    if (nIndex < 0)
        nIndex = 0;
    int nNewLength = GetData()->nDataLength;
    if (nCount > 0 && nIndex < nNewLength) {
        CopyBeforeWrite();
        // A count beyond the end removes up to the end and no further.
        if (nCount > nNewLength - nIndex)
            nCount = nNewLength - nIndex;
        int nBytesToCopy = nNewLength - (nIndex + nCount) + 1;
        std::memmove(pchData + nIndex, pchData + nIndex + nCount, static_cast<size_t>(nBytesToCopy));
        GetData()->nDataLength = nNewLength - nCount;
    }
    return nNewLength;
}

void XString::CharToOemA()
{
    CopyBeforeWrite();
    if (IsSharedEmpty())
        return;
    int nLen = XMbText::NarrowToOem(pchData, GetLength(), pchData);
    GetData()->nDataLength = nLen;
    pchData[nLen] = '\0';
}

void XString::OemToCharA()
{
    int nLen = GetLength();
    if (nLen == 0)
        return;
    XString strOut;
    char* pOut = strOut.GetBuffer(nLen * 3);
    strOut.ReleaseBuffer(XMbText::OemToNarrow(pchData, nLen, pOut));
    *this = strOut;
}

// ----------------------------------------------------------------- search

int XString::Find(char ch) const
{
    return Find(ch, 0);
}

int XString::Find(char ch, int nStart) const
{
    if (nStart < 0)
        nStart = 0;
    if (nStart >= GetData()->nDataLength)
        return -1;
    const char* p = XMbText::FindChar(pchData + nStart, ch);
    return p == nullptr ? -1 : static_cast<int>(p - pchData);
}

int XString::Find(const char* pszSub) const
{
    return Find(pszSub, 0);
}

int XString::Find(const char* pszSub, int nStart) const
{
    if (nStart < 0)
        nStart = 0;
    if (nStart > GetData()->nDataLength)
        return -1;
    const char* p = XMbText::FindText(pchData + nStart, pszSub == nullptr ? "" : pszSub);
    return p == nullptr ? -1 : static_cast<int>(p - pchData);
}

int XString::ReverseFind(char ch) const
{
    const char* p = XMbText::FindLastChar(pchData, ch);
    return p == nullptr ? -1 : static_cast<int>(p - pchData);
}

int XString::FindOneOf(const char* pszCharSet) const
{
    const char* p = XMbText::FindOneOf(pchData, pszCharSet == nullptr ? "" : pszCharSet);
    return p == nullptr ? -1 : static_cast<int>(p - pchData);
}

// ----------------------------------------------------------------- buffer

char* XString::GetBuffer(int nMinBufLength)
{
    if (nMinBufLength < 0)
        nMinBufLength = 0;
    if (GetData()->nRefs > 1 || nMinBufLength > GetData()->nAllocLength) {
        XStringData* pOldData = GetData();
        int nOldLen = pOldData->nDataLength;
        if (nMinBufLength < nOldLen)
            nMinBufLength = nOldLen;
        AllocBuffer(nMinBufLength);
        std::memcpy(pchData, pOldData->data(), static_cast<size_t>(nOldLen) + 1);
        GetData()->nDataLength = nOldLen;
        Release(pOldData);
    }
    return pchData;
}

char* XString::GetBufferSetLength(int nNewLength)
{
    if (nNewLength < 0)
        nNewLength = 0;
    GetBuffer(nNewLength);
    if (!IsSharedEmpty()) {
        GetData()->nDataLength = nNewLength;
        pchData[nNewLength] = '\0';
    }
    return pchData;
}

void XString::ReleaseBuffer(int nNewLength)
{
    CopyBeforeWrite();
    if (nNewLength == -1)
        nNewLength = static_cast<int>(std::strlen(pchData));
    if (nNewLength < 0)
        nNewLength = 0;
    if (IsSharedEmpty())
        return;
    if (nNewLength > GetData()->nAllocLength)
        nNewLength = GetData()->nAllocLength;
    GetData()->nDataLength = nNewLength;
    pchData[nNewLength] = '\0';
}

void XString::FreeExtra()
{
    if (GetData()->nDataLength != GetData()->nAllocLength) {
        XStringData* pOldData = GetData();
        AllocBuffer(pOldData->nDataLength);
        std::memcpy(pchData, pOldData->data(), static_cast<size_t>(pOldData->nDataLength));
        Release(pOldData);
    }
}

char* XString::LockBuffer()
{
    char* psz = GetBuffer(0);
    if (!IsSharedEmpty())
        GetData()->nRefs = -1;
    return psz;
}

void XString::UnlockBuffer()
{
    if (!IsSharedEmpty())
        GetData()->nRefs = 1;
}

// ---------------------------------------------------------- free helpers

const XString& XfnGetEmptyString()
{
    static const XString strEmpty;
    return strEmpty;
}

void XfnConstructString(XString* pString)
{
    new (pString) XString();
}

void XfnConstructStrings(XString* pStrings, int nCount)
{
    for (int i = 0; i < nCount; ++i)
        new (pStrings + i) XString();
}

void XfnDestructString(XString* pString)
{
    pString->~XString();
}

void XfnDestructStrings(XString* pStrings, int nCount)
{
    for (int i = 0; i < nCount; ++i)
        pStrings[i].~XString();
}

void XfnCopyString(XString* pDest, XString* pSrc)
{
    *pDest = *pSrc;
}

void XfnCopyStrings(XString* pDest, XString* pSrc, int nCount)
{
    for (int i = 0; i < nCount; ++i)
        pDest[i] = pSrc[i];
}

void ConstructElements(XString* pElements, int nCount)
{
    XfnConstructStrings(pElements, nCount);
}

void DestructElements(XString* pElements, int nCount)
{
    XfnDestructStrings(pElements, nCount);
}

void CopyElements(XString* pDest, const XString* pSrc, int nCount)
{
    for (int i = 0; i < nCount; ++i)
        pDest[i] = pSrc[i];
}

UINT HashKey(const char* key)
{
    return XfnHashText(key, std::strlen(key));
}

wchar_t* XfnA2WHelper(wchar_t* pDst, const char* pSrc, int nChars)
{
    if (pDst == nullptr || nChars <= 0 || pSrc == nullptr)
        return pDst;
    int nIn = static_cast<int>(std::strlen(pSrc));
    int nOut = XMbText::NarrowToWide(pSrc, nIn, pDst, nChars - 1);
    pDst[nOut] = L'\0';
    return pDst;
}

char* XfnW2AHelper(char* pDst, const wchar_t* pSrc, int nChars)
{
    if (pDst == nullptr || nChars <= 0 || pSrc == nullptr)
        return pDst;
    int nIn = 0;
    while (pSrc[nIn] != 0)
        ++nIn;
    int nOut = XMbText::WideToNarrow(pSrc, nIn, pDst, nChars - 1);
    pDst[nOut] = '\0';
    return pDst;
}
