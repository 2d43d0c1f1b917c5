// The archive's buffering, primitive encodings and text lines. The object
// graph half (references, class records, hierarchy blocks) is in
// XArchiveObjects.cpp.
#include "KVDbase/core/XArchive.h"

#include "KVDbase/collections/XMap.h"
#include "KVDbase/collections/XArray.h"
#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/core/XTime.h"
#include "KVDbase/files/XFile.h"
#include "platform/XMbText.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <type_traits>

namespace {

// The commands of XFile::GetBufferPtr that the archive uses.
enum : unsigned int { kBufferRead = 0, kBufferWrite = 1, kBufferCommit = 2, kBufferCheck = 3 };

// Strings above this length are read in steps, so that a damaged length
// costs memory only as far as the stream really holds bytes.
const unsigned int kStringReadStep = 1u << 24;

inline uint16_t Swap(uint16_t n) { return __builtin_bswap16(n); }
inline uint32_t Swap(uint32_t n) { return __builtin_bswap32(n); }
inline uint64_t Swap(uint64_t n) { return __builtin_bswap64(n); }

template <size_t N> struct XUnsignedOf;
template <> struct XUnsignedOf<1> { typedef uint8_t type; };
template <> struct XUnsignedOf<2> { typedef uint16_t type; };
template <> struct XUnsignedOf<4> { typedef uint32_t type; };
template <> struct XUnsignedOf<8> { typedef uint64_t type; };

} // namespace

// ------------------------------------------------------------ lifecycle

XArchive::XArchive(XFile* pFile, unsigned int nMode, int nBufSize, void* lpBuf)
    : bDirectBuffer(0), strFileName(pFile->GetFilePath()), nMode(nMode), bUserBuf(1), nBufSize(nBufSize),
      pFile(pFile), lpBufCur(nullptr), lpBufMax(nullptr), lpBufStart(static_cast<BYTE*>(lpBuf)),
      pObjectTable(nullptr), nGrowSize(IsStoring() ? 16 : 64), nHashSize(137), nMapCount(0), pSchemaMap(nullptr)
{
    if (this->nBufSize < 128) {
        // Too small to be of use: an own buffer of 128 bytes instead.
        this->nBufSize = 128;
        lpBufStart = nullptr;
    }
    int nUsable = this->nBufSize;
    if (lpBufStart == nullptr) {
        if (pFile->GetBufferPtr(kBufferCheck, 0, nullptr, nullptr) != 0) {
            bDirectBuffer = 1;
            nUsable = 0;
        } else {
            lpBufStart = new BYTE[this->nBufSize];
            bUserBuf = 0;
        }
    }
    lpBufMax = lpBufStart == nullptr ? nullptr : lpBufStart + nUsable;
    lpBufCur = IsLoading() ? lpBufMax : lpBufStart;
    MapObject(nullptr);
}

XArchive::~XArchive()
{
    // A destructor cannot report a failed flush; Close() before destruction
    // does. Whatever happens here, the buffer and the tables are released.
    if (pFile != nullptr && (nMode & bNoFlushOnDelete) == 0) {
        try {
            Close();
        } catch (...) {
        }
    }
    Abort();
}

void XArchive::Close()
{
    Flush();
    pFile = nullptr;
}

void XArchive::Abort()
{
    pFile = nullptr;
    if (!bUserBuf) {
        delete[] lpBufStart;
        lpBufStart = nullptr;
        lpBufCur = nullptr;
    }
    delete pSchemaMap;
    pSchemaMap = nullptr;
    if (pObjectTable != nullptr) {
        if (IsStoring())
            delete StoreMap();
        else
            delete LoadArray();
        pObjectTable = nullptr;
    }
}

void XArchive::SetLoadParams(unsigned int nGrowSize)
{
    this->nGrowSize = static_cast<int>(nGrowSize);
}

void XArchive::SetStoreParams(unsigned int nHashSize, unsigned int nBlockSize)
{
    this->nHashSize = static_cast<int>(nHashSize);
    nGrowSize = static_cast<int>(nBlockSize);
}

// ------------------------------------------------------------ buffering

void XArchive::Flush()
{
    if (IsLoading()) {
        // Give back what was read ahead, so the file stands at the next
        // unread byte.
        if (lpBufMax != lpBufCur)
            pFile->Seek(-static_cast<int64_t>(lpBufMax - lpBufCur), 1);
        lpBufCur = lpBufMax;
    } else if (!bDirectBuffer) {
        if (lpBufCur != lpBufStart)
            pFile->Write(lpBufStart, static_cast<unsigned int>(lpBufCur - lpBufStart));
        lpBufCur = lpBufStart;
    } else {
        if (lpBufCur != lpBufStart)
            pFile->GetBufferPtr(kBufferCommit, static_cast<unsigned int>(lpBufCur - lpBufStart), nullptr, nullptr);
        void* pStart = nullptr;
        void* pMax = nullptr;
        pFile->GetBufferPtr(kBufferWrite, static_cast<unsigned int>(nBufSize), &pStart, &pMax);
        lpBufStart = static_cast<BYTE*>(pStart);
        lpBufMax = static_cast<BYTE*>(pMax);
        lpBufCur = lpBufStart;
    }
}

void XArchive::ReadIntoBuffer(unsigned int nBytesWanted)
{
    unsigned int nUnused = static_cast<unsigned int>(lpBufMax - lpBufCur);
    if (nUnused > 0)
        std::memmove(lpBufStart, lpBufCur, nUnused);
    unsigned int nRead = nUnused;
    unsigned int nLeft = static_cast<unsigned int>(nBufSize) - nUnused;
    BYTE* lpTemp = lpBufStart + nUnused;
    unsigned int nBytes;
    do {
        nBytes = pFile->Read(lpTemp, nLeft);
        lpTemp += nBytes;
        nRead += nBytes;
        nLeft -= nBytes;
    } while (nBytes > 0 && nLeft > 0 && nRead < nBytesWanted);
    lpBufCur = lpBufStart;
    lpBufMax = lpBufStart + nRead;
}

void XArchive::FillBuffer(unsigned int nBytesNeeded)
{
    unsigned int nUnused = static_cast<unsigned int>(lpBufMax - lpBufCur);
    uint64_t nTotalNeeded = static_cast<uint64_t>(nBytesNeeded) + nUnused;

    if (!bDirectBuffer) {
        if (lpBufCur > lpBufStart)
            ReadIntoBuffer(nBytesNeeded);
    } else {
        if (nUnused != 0)
            pFile->Seek(-static_cast<int64_t>(nUnused), 1);
        void* pStart = nullptr;
        void* pMax = nullptr;
        pFile->GetBufferPtr(kBufferRead, static_cast<unsigned int>(nBufSize), &pStart, &pMax);
        lpBufStart = static_cast<BYTE*>(pStart);
        lpBufMax = static_cast<BYTE*>(pMax);
        lpBufCur = lpBufStart;
    }

    if (static_cast<uint64_t>(lpBufMax - lpBufCur) < nTotalNeeded)
        XArchiveException::Throw(XArchiveException::endOfFile, XString());
}

template <typename T> void XArchive::Put(T value)
{
    typedef typename XUnsignedOf<sizeof(T)>::type U;
    if (static_cast<size_t>(lpBufMax - lpBufCur) < sizeof(T)) {
        Flush();
        if (static_cast<size_t>(lpBufMax - lpBufCur) < sizeof(T))
            XArchiveException::Throw(XArchiveException::genericException, strFileName);
    }
    U n;
    std::memcpy(&n, &value, sizeof(T));
    if constexpr (sizeof(T) > 1) {
        if (IsByteSwapping())
            n = Swap(n);
    }
    std::memcpy(lpBufCur, &n, sizeof(T));
    lpBufCur += sizeof(T);
}

template <typename T> T XArchive::Get()
{
    typedef typename XUnsignedOf<sizeof(T)>::type U;
    size_t nHave = static_cast<size_t>(lpBufMax - lpBufCur);
    if (nHave < sizeof(T))
        FillBuffer(static_cast<unsigned int>(sizeof(T) - nHave));
    U n;
    std::memcpy(&n, lpBufCur, sizeof(T));
    lpBufCur += sizeof(T);
    if constexpr (sizeof(T) > 1) {
        if (IsByteSwapping())
            n = Swap(n);
    }
    T value;
    std::memcpy(&value, &n, sizeof(T));
    return value;
}

unsigned int XArchive::Read(void* lpBuf, unsigned int nMax)
{
    if (nMax == 0)
        return 0;
    BYTE* pOut = static_cast<BYTE*>(lpBuf);
    unsigned int nMaxTemp = nMax;

    // What the buffer holds already.
    unsigned int nTemp = std::min(nMaxTemp, static_cast<unsigned int>(lpBufMax - lpBufCur));
    if (nTemp > 0) {
        std::memcpy(pOut, lpBufCur, nTemp);
        lpBufCur += nTemp;
        pOut += nTemp;
        nMaxTemp -= nTemp;
    }

    if (nMaxTemp != 0) {
        // Whole buffers' worth straight from the file into the caller's memory.
        unsigned int nWhole = nMaxTemp - nMaxTemp % static_cast<unsigned int>(nBufSize);
        unsigned int nRead = 0;
        unsigned int nLeft = nWhole;
        unsigned int nBytes;
        if (nLeft > 0) {
            do {
                nBytes = pFile->Read(pOut, nLeft);
                pOut += nBytes;
                nRead += nBytes;
                nLeft -= nBytes;
            } while (nBytes > 0 && nLeft > 0);
        }
        nMaxTemp -= nRead;

        if (nRead == nWhole) {
            // The rest through the buffer.
            if (!bDirectBuffer) {
                ReadIntoBuffer(nMaxTemp);
            } else {
                void* pStart = nullptr;
                void* pEnd = nullptr;
                pFile->GetBufferPtr(kBufferRead, static_cast<unsigned int>(nBufSize), &pStart, &pEnd);
                lpBufStart = static_cast<BYTE*>(pStart);
                lpBufMax = static_cast<BYTE*>(pEnd);
                lpBufCur = lpBufStart;
            }
            nTemp = std::min(nMaxTemp, static_cast<unsigned int>(lpBufMax - lpBufCur));
            if (nTemp > 0) {
                std::memcpy(pOut, lpBufCur, nTemp);
                lpBufCur += nTemp;
                nMaxTemp -= nTemp;
            }
        }
    }
    return nMax - nMaxTemp;
}

void XArchive::Write(const void* lpBuf, unsigned int nMax)
{
    if (nMax == 0)
        return;
    const BYTE* pIn = static_cast<const BYTE*>(lpBuf);

    unsigned int nTemp = std::min(nMax, static_cast<unsigned int>(lpBufMax - lpBufCur));
    if (nTemp > 0) {
        std::memcpy(lpBufCur, pIn, nTemp);
        lpBufCur += nTemp;
        pIn += nTemp;
        nMax -= nTemp;
    }

    if (nMax > 0) {
        Flush();
        // Whole buffers' worth straight to the file.
        nTemp = nMax - nMax % static_cast<unsigned int>(nBufSize);
        if (nTemp > 0) {
            pFile->Write(pIn, nTemp);
            pIn += nTemp;
            nMax -= nTemp;
        }
        if (bDirectBuffer) {
            void* pStart = nullptr;
            void* pEnd = nullptr;
            pFile->GetBufferPtr(kBufferWrite, static_cast<unsigned int>(nBufSize), &pStart, &pEnd);
            lpBufStart = static_cast<BYTE*>(pStart);
            lpBufMax = static_cast<BYTE*>(pEnd);
            lpBufCur = lpBufStart;
        }
        if (nMax > static_cast<unsigned int>(lpBufMax - lpBufCur))
            XArchiveException::Throw(XArchiveException::genericException, strFileName);
        if (nMax > 0) {
            std::memcpy(lpBufCur, pIn, nMax);
            lpBufCur += nMax;
        }
    }
}

// ------------------------------------------------------------ primitives

XArchive& XArchive::operator<<(unsigned char by) { Put(by); return *this; }
XArchive& XArchive::operator<<(unsigned short w) { Put(w); return *this; }
XArchive& XArchive::operator<<(unsigned int u) { Put(u); return *this; }
XArchive& XArchive::operator<<(float f) { Put(f); return *this; }
XArchive& XArchive::operator<<(double d) { Put(d); return *this; }
XArchive& XArchive::operator<<(int64_t n) { Put(n); return *this; }

XArchive& XArchive::operator>>(unsigned char& by) { by = Get<unsigned char>(); return *this; }
XArchive& XArchive::operator>>(unsigned short& w) { w = Get<unsigned short>(); return *this; }
XArchive& XArchive::operator>>(unsigned int& u) { u = Get<unsigned int>(); return *this; }
XArchive& XArchive::operator>>(float& f) { f = Get<float>(); return *this; }
XArchive& XArchive::operator>>(double& d) { d = Get<double>(); return *this; }
XArchive& XArchive::operator>>(int64_t& n) { n = Get<int64_t>(); return *this; }

XArchive& XArchive::operator>>(long double& d)
{
    d = Get<double>();
    return *this;
}

XArchive& XArchive::operator<<(tagPOINT pt)
{
    Put(pt.x);
    Put(pt.y);
    return *this;
}

XArchive& XArchive::operator<<(tagSIZE size)
{
    Put(size.cx);
    Put(size.cy);
    return *this;
}

XArchive& XArchive::operator<<(const tagRECT& rect)
{
    Put(rect.left);
    Put(rect.top);
    Put(rect.right);
    Put(rect.bottom);
    return *this;
}

XArchive& XArchive::operator>>(tagPOINT& pt)
{
    pt.x = Get<LONG>();
    pt.y = Get<LONG>();
    return *this;
}

XArchive& XArchive::operator>>(tagSIZE& size)
{
    size.cx = Get<LONG>();
    size.cy = Get<LONG>();
    return *this;
}

XArchive& XArchive::operator>>(tagRECT& rect)
{
    rect.left = Get<LONG>();
    rect.top = Get<LONG>();
    rect.right = Get<LONG>();
    rect.bottom = Get<LONG>();
    return *this;
}

// --------------------------------------------------------------- strings

XArchive& XArchive::operator<<(XString str)
{
    unsigned int nLen = static_cast<unsigned int>(str.GetLength());
    if (nLen < 255) {
        *this << static_cast<BYTE>(nLen);
    } else if (nLen < 0xFFFE) {
        *this << static_cast<BYTE>(0xFF);
        *this << static_cast<WORD>(nLen);
    } else {
        *this << static_cast<BYTE>(0xFF);
        *this << static_cast<WORD>(0xFFFF);
        *this << static_cast<DWORD>(nLen);
    }
    Write(static_cast<const char*>(str), nLen);
    return *this;
}

unsigned int GetStringLength(XArchive& ar)
{
    BYTE bLen;
    ar >> bLen;
    if (bLen < 0xFF)
        return bLen;
    WORD wLen;
    ar >> wLen;
    if (wLen == 0xFFFE)
        return 0xFFFFFFFFu;
    if (wLen == 0xFFFF) {
        DWORD dwLen;
        ar >> dwLen;
        return dwLen;
    }
    return wLen;
}

XArchive& XArchive::operator>>(XString& str)
{
    bool bWide = false;
    unsigned int nNewLen = GetStringLength(*this);
    if (nNewLen == 0xFFFFFFFFu) {
        bWide = true;
        nNewLen = GetStringLength(*this);
    }
    uint64_t nByteLen = bWide ? 2ull * nNewLen : nNewLen;
    if (nNewLen == 0) {
        str.Empty();
        return *this;
    }
    if (nByteLen > static_cast<uint64_t>(INT_MAX) - 16)
        XMemoryException::Throw();

    if (!bWide && nByteLen <= kStringReadStep) {
        // Straight into the string's own buffer, reused when it fits.
        char* pBuffer = str.GetBufferSetLength(static_cast<int>(nByteLen));
        if (Read(pBuffer, nNewLen) != nNewLen)
            XArchiveException::Throw(XArchiveException::endOfFile, XString());
        return *this;
    }

    // Long texts are read in steps, growing as the bytes arrive.
    XString strRead;
    unsigned int nDone = 0;
    while (nDone < nByteLen) {
        unsigned int nStep = static_cast<unsigned int>(std::min<uint64_t>(nByteLen - nDone, kStringReadStep));
        char* pBuffer = strRead.GetBufferSetLength(static_cast<int>(nDone + nStep));
        if (Read(pBuffer + nDone, nStep) != nStep)
            XArchiveException::Throw(XArchiveException::endOfFile, XString());
        nDone += nStep;
    }

    if (bWide) {
        // Two bytes a character, in the machine's own order.
        const uint16_t* pUnits = reinterpret_cast<const uint16_t*>(static_cast<const char*>(strRead));
        int nUnits = static_cast<int>(nNewLen);
        int nTerminated = 0;
        while (nTerminated < nUnits && pUnits[nTerminated] != 0)
            ++nTerminated;
        int nBytes = XMbText::Utf16ToNarrow(pUnits, nTerminated, nullptr, 0);
        XString strNarrow;
        char* pOut = strNarrow.GetBufferSetLength(nBytes);
        XMbText::Utf16ToNarrow(pUnits, nTerminated, pOut, nBytes);
        strNarrow.ReleaseBuffer(nBytes);
        str = strNarrow;
    } else {
        str = strRead;
    }
    return *this;
}

// ------------------------------------------------------------ text lines

void XArchive::WriteString(const char* lpsz)
{
    if (lpsz != nullptr)
        Write(lpsz, static_cast<unsigned int>(std::strlen(lpsz)));
}

char* XArchive::ReadString(char* lpsz, unsigned int nMax)
{
    int nSigned = static_cast<int>(nMax);
    unsigned int nStop = nSigned < 0 ? 0u - static_cast<unsigned int>(nSigned) : nMax;
    unsigned int nRead = 0;
    try {
        BYTE ch;
        while (nRead < nStop) {
            *this >> ch;
            if (ch == '\n' || ch == '\r') {
                // A carriage return takes the next byte with it, whatever it is.
                if (ch == '\r')
                    *this >> ch;
                if (nSigned < 0)
                    lpsz[nRead++] = static_cast<char>(ch);
                break;
            }
            lpsz[nRead++] = static_cast<char>(ch);
        }
    } catch (const XArchiveException& e) {
        if (e.nCause != XArchiveException::endOfFile)
            throw;
        if (nRead == 0)
            return nullptr;
    }
    lpsz[nRead] = '\0';
    return lpsz;
}

int XArchive::ReadString(XString& rString)
{
    const int nMaxSize = 128;
    rString = "";
    char* lpsz = rString.GetBuffer(nMaxSize);
    char* lpszResult;
    for (;;) {
        lpszResult = ReadString(lpsz, static_cast<unsigned int>(-nMaxSize));
        rString.ReleaseBuffer();
        if (lpszResult == nullptr)
            break;
        int nLen = static_cast<int>(std::strlen(lpsz));
        if (nLen < nMaxSize || lpsz[nLen - 1] == '\n')
            break;
        int nTotal = rString.GetLength();
        lpsz = rString.GetBuffer(nMaxSize + nTotal) + nTotal;
    }
    int nLen = rString.GetLength();
    if (nLen != 0 && rString[nLen - 1] == '\n')
        rString.GetBufferSetLength(nLen - 1);
    return lpszResult != nullptr ? 1 : 0;
}

// ----------------------------------------------------- moments and spans

XArchive& operator<<(XArchive& ar, XTime t)
{
    return ar << static_cast<DWORD>(static_cast<uint64_t>(t.nTime));
}

XArchive& operator>>(XArchive& ar, XTime& t)
{
    DWORD dw;
    ar >> dw;
    t.nTime = static_cast<int64_t>((static_cast<uint64_t>(t.nTime) & 0xFFFFFFFF00000000ull) | dw);
    return ar;
}

XArchive& operator<<(XArchive& ar, XTimeSpan ts)
{
    return ar << static_cast<DWORD>(static_cast<uint64_t>(ts.nTimeSpan));
}

XArchive& operator>>(XArchive& ar, XTimeSpan& ts)
{
    DWORD dw;
    ar >> dw;
    ts.nTimeSpan = static_cast<int64_t>((static_cast<uint64_t>(ts.nTimeSpan) & 0xFFFFFFFF00000000ull) | dw);
    return ar;
}
