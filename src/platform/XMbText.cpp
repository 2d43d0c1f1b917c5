#include "platform/XMbText.h"

#include <cstring>
#include <string>

namespace {

inline bool IsContinuation(unsigned char c)
{
    return (c & 0xC0) == 0x80;
}

inline unsigned char AsciiUpper(unsigned char c)
{
    return (c >= 'a' && c <= 'z') ? static_cast<unsigned char>(c - 'a' + 'A') : c;
}

inline unsigned char AsciiLower(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c - 'A' + 'a') : c;
}

// The upper half of code page 437, as Unicode code points.
const uint16_t kOemHigh[128] = {
    0x00C7, 0x00FC, 0x00E9, 0x00E2, 0x00E4, 0x00E0, 0x00E5, 0x00E7,
    0x00EA, 0x00EB, 0x00E8, 0x00EF, 0x00EE, 0x00EC, 0x00C4, 0x00C5,
    0x00C9, 0x00E6, 0x00C6, 0x00F4, 0x00F6, 0x00F2, 0x00FB, 0x00F9,
    0x00FF, 0x00D6, 0x00DC, 0x00A2, 0x00A3, 0x00A5, 0x20A7, 0x0192,
    0x00E1, 0x00ED, 0x00F3, 0x00FA, 0x00F1, 0x00D1, 0x00AA, 0x00BA,
    0x00BF, 0x2310, 0x00AC, 0x00BD, 0x00BC, 0x00A1, 0x00AB, 0x00BB,
    0x2591, 0x2592, 0x2593, 0x2502, 0x2524, 0x2561, 0x2562, 0x2556,
    0x2555, 0x2563, 0x2551, 0x2557, 0x255D, 0x255C, 0x255B, 0x2510,
    0x2514, 0x2534, 0x252C, 0x251C, 0x2500, 0x253C, 0x255E, 0x255F,
    0x255A, 0x2554, 0x2569, 0x2566, 0x2560, 0x2550, 0x256C, 0x2567,
    0x2568, 0x2564, 0x2565, 0x2559, 0x2558, 0x2552, 0x2553, 0x256B,
    0x256A, 0x2518, 0x250C, 0x2588, 0x2584, 0x258C, 0x2590, 0x2580,
    0x03B1, 0x00DF, 0x0393, 0x03C0, 0x03A3, 0x03C3, 0x00B5, 0x03C4,
    0x03A6, 0x0398, 0x03A9, 0x03B4, 0x221E, 0x03C6, 0x03B5, 0x2229,
    0x2261, 0x00B1, 0x2265, 0x2264, 0x2320, 0x2321, 0x00F7, 0x2248,
    0x00B0, 0x2219, 0x00B7, 0x221A, 0x207F, 0x00B2, 0x25A0, 0x00A0,
};

const uint32_t kReplacement = 0xFFFD;

} // namespace

int XMbText::MultiByteCharLen(const char* p)
{
    const unsigned char* s = reinterpret_cast<const unsigned char*>(p);
    unsigned char c = s[0];
    if (c < 0xC2 || c > 0xF4)
        return 1;
    if (!IsContinuation(s[1]))
        return 1;
    if (c < 0xE0)
        return 2;
    // Reject overlong and surrogate forms at the second byte, as decoders do.
    if ((c == 0xE0 && s[1] < 0xA0) || (c == 0xED && s[1] > 0x9F) || (c == 0xF0 && s[1] < 0x90) ||
        (c == 0xF4 && s[1] > 0x8F))
        return 1;
    if (!IsContinuation(s[2]))
        return 1;
    if (c < 0xF0)
        return 3;
    return IsContinuation(s[3]) ? 4 : 1;
}

int XMbText::Decode(const char* p, uint32_t& cp)
{
    const unsigned char* s = reinterpret_cast<const unsigned char*>(p);
    int n = CharLen(p);
    switch (n) {
    case 2:
        cp = ((s[0] & 0x1Fu) << 6) | (s[1] & 0x3Fu);
        break;
    case 3:
        cp = ((s[0] & 0x0Fu) << 12) | ((s[1] & 0x3Fu) << 6) | (s[2] & 0x3Fu);
        break;
    case 4:
        cp = ((s[0] & 0x07u) << 18) | ((s[1] & 0x3Fu) << 12) | ((s[2] & 0x3Fu) << 6) | (s[3] & 0x3Fu);
        break;
    default:
        cp = s[0];
        break;
    }
    return n;
}

int XMbText::Encode(uint32_t cp, char* pOut)
{
    unsigned char buf[4];
    int n;
    if ((cp >= 0xD800 && cp <= 0xDFFF) || cp > 0x10FFFF)
        cp = kReplacement;
    if (cp < 0x80) {
        buf[0] = static_cast<unsigned char>(cp);
        n = 1;
    } else if (cp < 0x800) {
        buf[0] = static_cast<unsigned char>(0xC0 | (cp >> 6));
        buf[1] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
        n = 2;
    } else if (cp < 0x10000) {
        buf[0] = static_cast<unsigned char>(0xE0 | (cp >> 12));
        buf[1] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
        buf[2] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
        n = 3;
    } else {
        buf[0] = static_cast<unsigned char>(0xF0 | (cp >> 18));
        buf[1] = static_cast<unsigned char>(0x80 | ((cp >> 12) & 0x3F));
        buf[2] = static_cast<unsigned char>(0x80 | ((cp >> 6) & 0x3F));
        buf[3] = static_cast<unsigned char>(0x80 | (cp & 0x3F));
        n = 4;
    }
    if (pOut != nullptr)
        std::memcpy(pOut, buf, static_cast<size_t>(n));
    return n;
}

int XMbText::Compare(const char* a, const char* b)
{
    // UTF-8 byte order is code point order.
    return std::strcmp(a, b);
}

int XMbText::CompareNoCase(const char* a, const char* b)
{
    const unsigned char* s = reinterpret_cast<const unsigned char*>(a);
    const unsigned char* t = reinterpret_cast<const unsigned char*>(b);
    for (;; ++s, ++t) {
        unsigned char cs = AsciiLower(*s);
        unsigned char ct = AsciiLower(*t);
        if (cs != ct)
            return cs < ct ? -1 : 1;
        if (cs == 0)
            return 0;
    }
}

int XMbText::Collate(const char* a, const char* b)
{
    return std::strcoll(a, b);
}

int XMbText::CollateNoCase(const char* a, const char* b)
{
    // Collation under the C locale is the byte order; fold ASCII case first.
    return CompareNoCase(a, b);
}

const char* XMbText::FindChar(const char* s, char c)
{
    if (static_cast<unsigned char>(c) < 0x80)
        return c == 0 ? s + std::strlen(s) : std::strchr(s, c);
    for (; *s != 0; s = Inc(s))
        if (*s == c && CharLen(s) == 1)
            return s;
    return nullptr;
}

const char* XMbText::FindLastChar(const char* s, char c)
{
    if (static_cast<unsigned char>(c) < 0x80)
        return c == 0 ? s + std::strlen(s) : std::strrchr(s, c);
    const char* pLast = nullptr;
    for (; *s != 0; s = Inc(s))
        if (*s == c && CharLen(s) == 1)
            pLast = s;
    return pLast;
}

const char* XMbText::FindText(const char* s, const char* pszSub)
{
    size_t nSub = std::strlen(pszSub);
    if (nSub == 0)
        return s;
    // A byte match must also start on a character boundary.
    for (const char* p = std::strstr(s, pszSub); p != nullptr; p = std::strstr(p + 1, pszSub)) {
        while (s + CharLen(s) <= p && s < p)
            s = Inc(s);
        if (s == p)
            return p;
    }
    return nullptr;
}

bool XMbText::CharInSet(const char* p, int nLen, const char* pszSet)
{
    for (const char* q = pszSet; *q != 0; q = Inc(q))
        if (CharLen(q) == nLen && std::memcmp(p, q, static_cast<size_t>(nLen)) == 0)
            return true;
    return false;
}

const char* XMbText::FindOneOf(const char* s, const char* pszSet)
{
    for (; *s != 0; s = Inc(s))
        if (CharInSet(s, CharLen(s), pszSet))
            return s;
    return nullptr;
}

size_t XMbText::SpanIncluding(const char* s, const char* pszSet)
{
    const char* p = s;
    while (*p != 0 && CharInSet(p, CharLen(p), pszSet))
        p = Inc(p);
    return static_cast<size_t>(p - s);
}

size_t XMbText::SpanExcluding(const char* s, const char* pszSet)
{
    const char* p = s;
    while (*p != 0 && !CharInSet(p, CharLen(p), pszSet))
        p = Inc(p);
    return static_cast<size_t>(p - s);
}

void XMbText::MakeUpper(char* s, int nLen)
{
    for (int i = 0; i < nLen; ++i)
        s[i] = static_cast<char>(AsciiUpper(static_cast<unsigned char>(s[i])));
}

void XMbText::MakeLower(char* s, int nLen)
{
    for (int i = 0; i < nLen; ++i)
        s[i] = static_cast<char>(AsciiLower(static_cast<unsigned char>(s[i])));
}

void XMbText::Reverse(char* s, int nLen)
{
    // Characters change places; the bytes of each keep their order.
    std::string strCopy(s, static_cast<size_t>(nLen));
    const char* p = strCopy.c_str();
    char* pOut = s + nLen;
    for (int i = 0; i < nLen;) {
        int n = CharLen(p + i);
        if (n > nLen - i)
            n = 1;
        pOut -= n;
        std::memcpy(pOut, p + i, static_cast<size_t>(n));
        i += n;
    }
}

int XMbText::WideToNarrow(const wchar_t* pSrc, int nSrc, char* pDst, int nDst)
{
    int nOut = 0;
    for (int i = 0; i < nSrc; ++i) {
        char buf[nMaxCharBytes];
        int n = Encode(static_cast<uint32_t>(pSrc[i]), buf);
        if (pDst != nullptr) {
            if (nOut + n > nDst)
                break;
            std::memcpy(pDst + nOut, buf, static_cast<size_t>(n));
        }
        nOut += n;
    }
    return nOut;
}

int XMbText::DecodeWithin(const char* p, int nLeft, uint32_t& cp)
{
    int n = Decode(p, cp);
    if (n > nLeft) {
        n = 1;
        cp = static_cast<unsigned char>(*p);
    }
    if (n == 1 && cp >= 0x80)
        cp = kReplacement;
    return n;
}

int XMbText::NarrowToWide(const char* pSrc, int nSrc, wchar_t* pDst, int nDst)
{
    int nOut = 0;
    for (int i = 0; i < nSrc;) {
        uint32_t cp;
        int n = DecodeWithin(pSrc + i, nSrc - i, cp);
        if (pDst != nullptr) {
            if (nOut >= nDst)
                break;
            pDst[nOut] = static_cast<wchar_t>(cp);
        }
        ++nOut;
        i += n;
    }
    return nOut;
}

int XMbText::Utf16ToNarrow(const uint16_t* pSrc, int nSrc, char* pDst, int nDst)
{
    int nOut = 0;
    for (int i = 0; i < nSrc; ++i) {
        uint32_t cp = pSrc[i];
        if (cp >= 0xD800 && cp <= 0xDBFF && i + 1 < nSrc && pSrc[i + 1] >= 0xDC00 && pSrc[i + 1] <= 0xDFFF) {
            cp = 0x10000 + ((cp - 0xD800) << 10) + (pSrc[i + 1] - 0xDC00u);
            ++i;
        }
        char buf[nMaxCharBytes];
        int n = Encode(cp, buf);
        if (pDst != nullptr) {
            if (nOut + n > nDst)
                break;
            std::memcpy(pDst + nOut, buf, static_cast<size_t>(n));
        }
        nOut += n;
    }
    return nOut;
}

int XMbText::NarrowToUtf16(const char* pSrc, int nSrc, uint16_t* pDst, int nDst)
{
    int nOut = 0;
    for (int i = 0; i < nSrc;) {
        uint32_t cp;
        int n = DecodeWithin(pSrc + i, nSrc - i, cp);
        uint16_t units[2];
        int nUnits = 1;
        if (cp >= 0x10000) {
            units[0] = static_cast<uint16_t>(0xD800 + ((cp - 0x10000) >> 10));
            units[1] = static_cast<uint16_t>(0xDC00 + ((cp - 0x10000) & 0x3FF));
            nUnits = 2;
        } else {
            units[0] = static_cast<uint16_t>(cp);
        }
        if (pDst != nullptr) {
            if (nOut + nUnits > nDst)
                break;
            for (int k = 0; k < nUnits; ++k)
                pDst[nOut + k] = units[k];
        }
        nOut += nUnits;
        i += n;
    }
    return nOut;
}

int XMbText::NarrowToOem(const char* pSrc, int nSrc, char* pDst)
{
    int nOut = 0;
    for (int i = 0; i < nSrc;) {
        uint32_t cp;
        int n = DecodeWithin(pSrc + i, nSrc - i, cp);
        char c = '?';
        if (cp < 0x80) {
            c = static_cast<char>(cp);
        } else {
            for (int k = 0; k < 128; ++k)
                if (kOemHigh[k] == cp) {
                    c = static_cast<char>(0x80 + k);
                    break;
                }
        }
        pDst[nOut++] = c;
        i += n;
    }
    return nOut;
}

int XMbText::OemToNarrow(const char* pSrc, int nSrc, char* pDst)
{
    int nOut = 0;
    for (int i = 0; i < nSrc; ++i) {
        unsigned char c = static_cast<unsigned char>(pSrc[i]);
        uint32_t cp = c < 0x80 ? c : kOemHigh[c - 0x80];
        nOut += Encode(cp, pDst + nOut);
    }
    return nOut;
}
