// XMbText: the one place that knows how narrow text is encoded. Narrow text
// is UTF-8; every walk over characters (strings, formats, text files) goes
// through these functions, so that a change of encoding is made here alone.
// A byte that does not start a well-formed sequence counts as one character,
// so malformed text is walked safely and never split further. Case mapping
// and classification follow the C locale (ASCII letters, digits, blanks).
// Stateless and thread-safe.
#pragma once

#include <cstddef>
#include <cstdint>

class XMbText {
public:
    // The most bytes one character takes.
    static constexpr int nMaxCharBytes = 4;

    // Byte length of the character at p (1 for the terminator).
    static int CharLen(const char* p)
    {
        return static_cast<unsigned char>(*p) < 0x80 ? 1 : MultiByteCharLen(p);
    }
    static const char* Inc(const char* p) { return p + CharLen(p); }
    static char* Inc(char* p) { return p + CharLen(p); }
    // The first of c (an ASCII byte) or the terminator at or after p. No
    // character of more than one byte holds an ASCII byte, so the text before
    // it is whole characters and a byte search finds it. Meant for the short
    // runs of a format, where a plain loop beats a vector search.
    static const char* SkipTo(const char* p, char c)
    {
        while (*p != c && *p != '\0')
            ++p;
        return p;
    }

    static bool IsSpace(const char* p)
    {
        unsigned char c = static_cast<unsigned char>(*p);
        return c == ' ' || (c >= '\t' && c <= '\r');
    }
    static bool IsDigit(const char* p) { return *p >= '0' && *p <= '9'; }

    // Comparisons of whole texts; results <0, 0 or >0.
    static int Compare(const char* a, const char* b);
    static int CompareNoCase(const char* a, const char* b);
    static int Collate(const char* a, const char* b);
    static int CollateNoCase(const char* a, const char* b);

    // Searches by whole characters; null when nothing is found. A byte that is
    // not a whole character by itself (the start of a longer sequence) never
    // matches a single-byte search.
    static const char* FindChar(const char* s, char c);
    static const char* FindLastChar(const char* s, char c);
    static const char* FindText(const char* s, const char* pszSub);
    static const char* FindOneOf(const char* s, const char* pszSet);
    // Length in bytes of the leading run of characters in (or not in) pszSet.
    static size_t SpanIncluding(const char* s, const char* pszSet);
    static size_t SpanExcluding(const char* s, const char* pszSet);
    // Whether the character at p, of nLen bytes, is one of pszSet's.
    static bool CharInSet(const char* p, int nLen, const char* pszSet);

    // In-place changes of nLen bytes; lengths never change.
    static void MakeUpper(char* s, int nLen);
    static void MakeLower(char* s, int nLen);
    static void Reverse(char* s, int nLen);

    // Conversions. Each writes at most nDst units when pDst is non-null and
    // returns the units produced; with a null pDst it returns the units needed.
    // No terminator is written unless the source count includes one.
    static int WideToNarrow(const wchar_t* pSrc, int nSrc, char* pDst, int nDst);
    static int NarrowToWide(const char* pSrc, int nSrc, wchar_t* pDst, int nDst);
    static int Utf16ToNarrow(const uint16_t* pSrc, int nSrc, char* pDst, int nDst);
    static int NarrowToUtf16(const char* pSrc, int nSrc, uint16_t* pDst, int nDst);

    // The console (OEM) code page is 437. NarrowToOem never grows the text:
    // pDst needs nSrc bytes; characters it cannot show become '?'. OemToNarrow
    // needs up to 3 bytes per source byte.
    static int NarrowToOem(const char* pSrc, int nSrc, char* pDst);
    static int OemToNarrow(const char* pSrc, int nSrc, char* pDst);

private:
    // CharLen for a byte of 0x80 or above.
    static int MultiByteCharLen(const char* p);
    // Decodes the character at p; returns its byte length and the code point
    // (the byte itself for a malformed sequence).
    static int Decode(const char* p, uint32_t& cp);
    static int Encode(uint32_t cp, char* pOut);
    // Decode within nLeft bytes; a malformed or cut sequence gives one byte
    // and the replacement character.
    static int DecodeWithin(const char* p, int nLeft, uint32_t& cp);
};
