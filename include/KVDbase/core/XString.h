// XString: the library's text type. One pointer wide, it points at the first
// character of a buffer that carries a reference-counted header in front of
// it. Copies share the buffer (one atomic increment) until one of them
// changes, which then takes a private copy. Distinct XString objects may be
// used on different threads even when they share a buffer; one object is for
// one thread at a time. Buffers of up to 512 bytes come from four locked
// fixed-size pools; larger ones from the heap. Allocation failure throws
// std::bad_alloc or XMemoryException. Indexes are not checked.
#pragma once

#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"
#include "KVDbase/platform/XAtomic.h"

#include <cstdarg>
#include <cstdint>
#include <cstring>

// The header in front of every string's characters.
struct XStringData {
    int32_t nRefs;        // sharers; -1 when locked or for the shared empty string
    int32_t nDataLength;  // bytes of text, without the terminator
    int32_t nAllocLength; // capacity in bytes, without the terminator

    char* data() { return reinterpret_cast<char*>(this + 1); }
};

static_assert(sizeof(XStringData) == 12, "string header is 12 bytes");

// The one shared empty string: its header and its terminator.
struct XStringEmptyRep {
    XStringData hdr;
    char chNul[4];
};
extern KVD_API XStringEmptyRep g_xstrEmptyRep;

class KVD_API XString {
public:
    XString() noexcept : pchData(g_xstrEmptyRep.chNul) {}
    XString(const XString& src);
    // Moves take the buffer over, except from or into a locked buffer, which
    // is copied as a plain copy would.
    XString(XString&& src);
    XString(char ch, int nRepeat = 1);
    XString(const char* psz);
    XString(const char* pch, int nLength);
    XString(const wchar_t* psz);
    XString(const wchar_t* pch, int nLength);
    XString(const unsigned char* psz);
    ~XString();

    // Access.
    int GetLength() const { return GetData()->nDataLength; }
    int GetAllocLength() const { return GetData()->nAllocLength; }
    BOOL IsEmpty() const { return GetData()->nDataLength == 0; }
    char GetAt(int nIndex) const { return pchData[nIndex]; }
    char operator[](int nIndex) const { return pchData[nIndex]; }
    void SetAt(int nIndex, char ch);
    operator const char*() const { return pchData; }

    // Assignment.
    const XString& operator=(const XString& src);
    XString& operator=(XString&& src);
    const XString& operator=(char ch);
    const XString& operator=(const char* psz);
    const XString& operator=(const wchar_t* psz);
    const XString& operator=(const unsigned char* psz);

    // Concatenation.
    const XString& operator+=(const XString& str);
    const XString& operator+=(char ch);
    const XString& operator+=(const char* psz);
    friend KVD_API XString operator+(const XString& a, const XString& b);
    friend KVD_API XString operator+(const XString& a, char ch);
    friend KVD_API XString operator+(char ch, const XString& b);
    friend KVD_API XString operator+(const XString& a, const char* psz);
    friend KVD_API XString operator+(const char* psz, const XString& b);

    // Comparison; results <0, 0 or >0.
    int Compare(const char* psz) const;
    int CompareNoCase(const char* psz) const;
    int Collate(const char* psz) const;
    int CollateNoCase(const char* psz) const;

    // Extraction.
    XString Mid(int nFirst, int nCount) const;
    XString Mid(int nFirst) const;
    XString Left(int nCount) const;
    XString Right(int nCount) const;
    XString SpanIncluding(const char* pszCharSet) const;
    XString SpanExcluding(const char* pszCharSet) const;

    // Change.
    void MakeUpper();
    void MakeLower();
    void MakeReverse();
    void TrimLeft();
    void TrimLeft(char chTarget);
    void TrimLeft(const char* pszTargets);
    void TrimRight();
    void TrimRight(char chTarget);
    void TrimRight(const char* pszTargets);
    int Replace(char chOld, char chNew);
    int Replace(const char* pszOld, const char* pszNew);
    int Remove(char chRemove);
    int Insert(int nIndex, char ch);
    int Insert(int nIndex, const char* psz);
    int Delete(int nIndex, int nCount = 1);
    void Empty();
    // Convert between this text and the console's code page (437).
    void CharToOemA();
    void OemToCharA();

    // Search; results are byte indexes, -1 when nothing is found.
    int Find(char ch) const;
    int Find(char ch, int nStart) const;
    int Find(const char* pszSub) const;
    int Find(const char* pszSub, int nStart) const;
    int ReverseFind(char ch) const;
    int FindOneOf(const char* pszCharSet) const;

    // Formatting. The formats are printf's, with "I64" as the 64-bit size
    // prefix and "h"/"l" choosing narrow or wide text and characters.
    void Format(const char* pszFormat, ...);
    void FormatV(const char* pszFormat, va_list argList);
    // Message formatting: inserts %1 to %99, each optionally with a printf
    // conversion between exclamation marks (%2!d!); %0 ends the text, %n is a
    // line break, %t a tab, %% %. %. %! %space stand for themselves.
    void FormatMessageA(const char* pszFormat, ...);

    // The writable buffer.
    char* GetBuffer(int nMinBufLength);
    char* GetBufferSetLength(int nNewLength);
    void ReleaseBuffer(int nNewLength = -1);
    void FreeExtra();
    char* LockBuffer();
    void UnlockBuffer();

    // The upper bound on the length of FormatV's output, as the library
    // reserves it before formatting.
    static int FormatBound(const char* pszFormat, va_list argList);

protected:
    char* pchData;

    XStringData* GetData() const { return reinterpret_cast<XStringData*>(pchData) - 1; }
    bool IsSharedEmpty() const { return pchData == g_xstrEmptyRep.chNul; }
    void Init() { pchData = g_xstrEmptyRep.chNul; }
    void AllocCopy(XString& dest, int nCopyLen, int nCopyIndex, int nExtraLen) const;
    void AllocBuffer(int nLen);
    void AssignCopy(int nSrcLen, const char* pszSrcData);
    void ConcatCopy(int nSrc1Len, const char* pszSrc1Data, int nSrc2Len, const char* pszSrc2Data);
    void ConcatInPlace(int nSrcLen, const char* pszSrcData);
    void CopyBeforeWrite();
    void AllocBeforeWrite(int nLen);
    void Release();
    static void Release(XStringData* pData);
    static int SafeStrlen(const char* psz) { return psz == nullptr ? 0 : static_cast<int>(std::strlen(psz)); }
    static void FreeData(XStringData* pData);

    friend class XArchive;
};

static_assert(sizeof(XString) == sizeof(char*), "XString is one pointer");

inline XString::XString(const XString& src)
{
    if (src.GetData()->nRefs >= 0) {
        pchData = src.pchData;
        XfnInterlockedIncrement(&GetData()->nRefs);
    } else {
        Init();
        *this = src;
    }
}

inline XString::~XString()
{
    if (!IsSharedEmpty() && XfnInterlockedDecrement(&GetData()->nRefs) <= 0)
        FreeData(GetData());
}

inline XString::XString(XString&& src)
{
    if (src.GetData()->nRefs >= 0) {
        pchData = src.pchData;
        src.Init();
    } else {
        Init();
        *this = static_cast<const XString&>(src);
    }
}

inline XString& XString::operator=(XString&& src)
{
    if ((GetData()->nRefs < 0 && !IsSharedEmpty()) || src.GetData()->nRefs < 0) {
        *this = static_cast<const XString&>(src);
    } else if (this != &src) {
        Release();
        pchData = src.pchData;
        src.Init();
    }
    return *this;
}

// Comparison operators, all on Compare.
inline bool operator==(const XString& a, const XString& b) { return a.Compare(b) == 0; }
inline bool operator==(const XString& a, const char* b) { return a.Compare(b) == 0; }
inline bool operator==(const char* a, const XString& b) { return b.Compare(a) == 0; }
inline bool operator!=(const XString& a, const XString& b) { return !(a == b); }
inline bool operator!=(const XString& a, const char* b) { return a.Compare(b) != 0; }
inline bool operator!=(const char* a, const XString& b) { return b.Compare(a) != 0; }
inline bool operator<(const XString& a, const XString& b) { return a.Compare(b) < 0; }
inline bool operator<(const XString& a, const char* b) { return a.Compare(b) < 0; }
inline bool operator<(const char* a, const XString& b) { return b.Compare(a) > 0; }
inline bool operator>(const XString& a, const XString& b) { return a.Compare(b) > 0; }
inline bool operator>(const XString& a, const char* b) { return a.Compare(b) > 0; }
inline bool operator>(const char* a, const XString& b) { return b.Compare(a) < 0; }
inline bool operator<=(const XString& a, const XString& b) { return a.Compare(b) <= 0; }
inline bool operator<=(const XString& a, const char* b) { return a.Compare(b) <= 0; }
inline bool operator<=(const char* a, const XString& b) { return b.Compare(a) >= 0; }
inline bool operator>=(const XString& a, const XString& b) { return a.Compare(b) >= 0; }
inline bool operator>=(const XString& a, const char* b) { return a.Compare(b) >= 0; }
inline bool operator>=(const char* a, const XString& b) { return b.Compare(a) <= 0; }

// The constant empty string.
KVD_API const XString& XfnGetEmptyString();

// Element helpers for collections of strings.
KVD_API void XfnConstructString(XString* pString);
KVD_API void XfnConstructStrings(XString* pStrings, int nCount);
KVD_API void XfnDestructString(XString* pString);
KVD_API void XfnDestructStrings(XString* pStrings, int nCount);
KVD_API void XfnCopyString(XString* pDest, XString* pSrc);
KVD_API void XfnCopyStrings(XString* pDest, XString* pSrc, int nCount);
KVD_API void ConstructElements(XString* pElements, int nCount);
KVD_API void DestructElements(XString* pElements, int nCount);
KVD_API void CopyElements(XString* pDest, const XString* pSrc, int nCount);

// The string hash of the maps: h = h * 33 + c over the bytes, c signed.
KVD_API UINT HashKey(const char* key);

// The share of eight bytes all below 0x80 (where signed and unsigned agree)
// in the string hash: c0 * 33^7 + ... + c7, modulo 2^32, c0 being the lowest
// byte of w. Summed in lanes: pairs c * 33 + c' in 16 bits, then pairs of
// those times 33^2 in 32 bits, then the two halves.
inline UINT XfnHashEightBytes(uint64_t w)
{
    constexpr uint64_t nLow8 = 0x00FF00FF00FF00FFull;
    constexpr uint64_t nLow16 = 0x0000FFFF0000FFFFull;
    uint64_t nPairs = (w & nLow8) * 33u + ((w >> 8) & nLow8);
    uint64_t nQuads = (nPairs & nLow16) * 1089u + ((nPairs >> 16) & nLow16);
    return static_cast<UINT>(nQuads) * (33u * 33u * 33u * 33u) + static_cast<UINT>(nQuads >> 32);
}

// The same hash over nLength bytes, eight at a time. The last run of fewer
// than eight bytes goes to the top of a word whose leading zero bytes add
// nothing. Runs holding a byte of 0x80 or above take the byte loop.
inline UINT XfnHashText(const char* psz, size_t nLength)
{
    static constexpr UINT n33Powers[8] = {1u, 33u, 1089u, 35937u, 1185921u, 39135393u, 1291467969u,
                                          static_cast<UINT>(42618442977ull)};
    constexpr uint64_t nHighBits = 0x8080808080808080ull;
    const signed char* s = reinterpret_cast<const signed char*>(psz);
    UINT nHash = 0;
    size_t i = 0;
    for (; i + 8 <= nLength; i += 8) {
        uint64_t w;
        std::memcpy(&w, s + i, 8);
        if (w & nHighBits) {
            for (size_t k = i; k < i + 8; ++k)
                nHash = nHash * 33u + static_cast<UINT>(s[k]);
        } else {
            nHash = nHash * (n33Powers[4] * n33Powers[4]) + XfnHashEightBytes(w);
        }
    }
    size_t nRun = nLength - i;
    if (nRun == 0)
        return nHash;
    uint64_t w = 0;
    size_t k = 0;
    if (nRun & 4) {
        uint32_t n4;
        std::memcpy(&n4, s + i, 4);
        w = n4;
        k = 4;
    }
    if (nRun & 2) {
        uint16_t n2;
        std::memcpy(&n2, s + i + k, 2);
        w |= static_cast<uint64_t>(n2) << (8 * k);
        k += 2;
    }
    if (nRun & 1)
        w |= static_cast<uint64_t>(static_cast<unsigned char>(s[i + k])) << (8 * k);
    if (w & nHighBits) {
        for (; i < nLength; ++i)
            nHash = nHash * 33u + static_cast<UINT>(s[i]);
        return nHash;
    }
    return nHash * n33Powers[nRun] + XfnHashEightBytes(w << (8 * (8 - nRun)));
}

// Conversions of a terminated text between wide and narrow. nChars is the
// capacity of pDst in its own units; the result is cut to fit and stays
// terminated. A zero count returns pDst without touching it.
KVD_API wchar_t* XfnA2WHelper(wchar_t* pDst, const char* pSrc, int nChars);
KVD_API char* XfnW2AHelper(char* pDst, const wchar_t* pSrc, int nChars);
