// Formatting of XString. FormatV reserves an upper bound computed by walking
// the format, then lets the C library write into that buffer. The walk also
// notes where the format uses this library's conventions that the C library
// spells differently ("I64", "h"/"l" on texts and characters, "F", "N" and
// "L" prefixes) and, only then, hands the C library a translated format.
#include "KVDbase/core/XString.h"

#include "KVDbase/core/XFrameworkException.h"
#include "platform/XMbText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <climits>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>
#include <vector>

namespace {

enum : int {
    kForceAnsi = 0x10000,
    kForceUnicode = 0x20000,
    kForceInt64 = 0x40000,
};

// A width or a precision: the run of digits at p, read as atoi reads it
// (saturating at INT_MAX), with p left behind the run. atoi would also skip
// blanks and a sign, but a number that does not start with a digit is
// followed by no conversion the walk knows, so its value never counts.
int ReadDigits(const char*& p)
{
    int64_t n = 0;
    for (; *p >= '0' && *p <= '9'; ++p)
        if (n <= INT_MAX)
            n = n * 10 + (*p - '0');
    return n > INT_MAX ? INT_MAX : static_cast<int>(n);
}

// The length a text argument reserves: its units, at least 1; 6 for null.
int ItemLengthOfCount(size_t n)
{
    return n == 0 ? 1 : static_cast<int>(n);
}
int TextItemLength(const char* psz)
{
    return psz == nullptr ? 6 : ItemLengthOfCount(std::strlen(psz));
}
int TextItemLength(const wchar_t* psz)
{
    return psz == nullptr ? 6 : ItemLengthOfCount(std::wcslen(psz));
}

// A text or character item: a nonzero precision caps its length, then the
// width is a floor.
int TextItemBound(int nItemLen, int nWidth, int nPrecision)
{
    if (nPrecision != 0)
        nItemLen = std::min(nItemLen, nPrecision);
    return std::max(nItemLen, nWidth);
}

// A format of plain text, "%%" and bare "%d", "%i", "%u", "%s" and "%f"
// conversions (no flags, widths or size prefixes; "%.<n>f" may give a
// precision), the common case, is written here without the C library. Its
// bound is the walk's: the text's bytes, 32 per number, each text's length
// (1 for an empty one), 312 and the precision given per "%f".
class XPlainFormat {
public:
    // Takes the arguments; false for any other format, more than kMaxItems
    // conversions, or a null text, which go the general way.
    bool Take(const char* pszFormat, va_list argList)
    {
        int nSpecBytes = 0;  // the format's bytes that are conversions
        for (const char* p = std::strchr(pszFormat, '%'); p != nullptr; p = std::strchr(p + 1, '%')) {
            const char* pStart = p++;
            if (*p == '%') {
                nSpecBytes += 1;
                continue;
            }
            if (nItems == kMaxItems)
                return false;
            Item& item = aItems[nItems++];
            item.nKind = *p;
            if (*p == 'd' || *p == 'i' || *p == 'u') {
                item.nValue = va_arg(argList, int);
                nBound += 32;
            } else if (*p == 's') {
                item.psz = va_arg(argList, const char*);
                if (item.psz == nullptr)
                    return false;
                item.nLength = std::strlen(item.psz);
                nBound += ItemLengthOfCount(item.nLength);
            } else {
                // "%f" or "%.<digits>f", with the precision printf takes.
                item.nPrecision = 6;
                if (*p == '.') {
                    ++p;
                    item.nPrecision = ReadDigits(p);
                }
                if (*p != 'f' || item.nPrecision > 99)
                    return false;
                item.nKind = 'f';
                item.dValue = va_arg(argList, double);
                // Beyond this the bound of a bare "%f" could fall short, and
                // what is not finite is the C library's to spell.
                if (!(std::fabs(item.dValue) < 1e300))
                    return false;
                nBound += std::max(128, 312 + (pStart[1] == '.' ? item.nPrecision : 0));
            }
            nSpecBytes += static_cast<int>(p - pStart);
        }
        nBound += static_cast<int>(std::strlen(pszFormat)) - nSpecBytes - nItems;
        return true;
    }
    int Bound() const { return nBound; }
    // Writes the text and its terminator at pOut, which holds Bound() + 1
    // bytes; returns the text's length.
    int Write(const char* pszFormat, char* pOut) const
    {
        char* pEnd = pOut;
        int nItem = 0;
        const char* p = pszFormat;
        for (const char* q = std::strchr(p, '%'); q != nullptr; q = std::strchr(p, '%')) {
            std::memcpy(pEnd, p, static_cast<size_t>(q - p));
            pEnd += q - p;
            if (q[1] == '%') {
                *pEnd++ = '%';
                p = q + 2;
                continue;
            }
            const Item& item = aItems[nItem++];
            p = std::strchr(q + 1, item.nKind) + 1;
            if (item.nKind == 's') {
                std::memcpy(pEnd, item.psz, item.nLength);
                pEnd += item.nLength;
            } else if (item.nKind == 'f') {
                pEnd = PutFixed(pEnd, item.dValue, item.nPrecision);
            } else {
                pEnd = PutNumber(pEnd, item.nValue, item.nKind != 'u');
            }
        }
        const size_t nRest = std::strlen(p);
        std::memcpy(pEnd, p, nRest + 1);
        return static_cast<int>(pEnd - pOut + static_cast<std::ptrdiff_t>(nRest));
    }

private:
    enum { kMaxItems = 8 };
    struct Item {
        char nKind;  // 'd', 'i', 'u', 's' or 'f'
        const char* psz;
        size_t nLength;
        int nValue;
        int nPrecision;
        double dValue;
    };
    // The digits printf's "%.*f" gives: the exact value rounded to the
    // precision, which is what the standard's fixed form is defined as.
    static char* PutFixed(char* p, double dValue, int nPrecision)
    {
        return std::to_chars(p, p + 312 + 99, dValue, std::chars_format::fixed, nPrecision).ptr;
    }
    static char* PutNumber(char* p, int nValue, bool bSigned)
    {
        unsigned int n = static_cast<unsigned int>(nValue);
        if (bSigned && nValue < 0) {
            *p++ = '-';
            n = 0u - n;
        }
        char szDigits[10];
        int nDigits = 0;
        do {
            szDigits[nDigits++] = static_cast<char>('0' + n % 10);
            n /= 10;
        } while (n != 0);
        while (nDigits > 0)
            *p++ = szDigits[--nDigits];
        return p;
    }
    Item aItems[kMaxItems];
    int nItems = 0;
    int nBound = 0;
};

// Walks the format: returns the bound and, when the C library needs another
// spelling, fills *pTranslated (empty on entry) with it. bWide tells whether
// wide text or a wide character is formatted: the C library would convert
// those by its locale, so the library converts them itself.
int WalkFormat(const char* pszFormat, va_list argList, std::string* pTranslated, bool* pbWide = nullptr)
{
    int nMaxLen = 0;
    bool bTranslate = false;
    const char* pCopied = pszFormat; // start of the text not yet copied to *pTranslated

    const char* p = pszFormat;
    for (;;) {
        // Plain text counts its bytes: each character its byte length.
        const char* pRun = p;
        p = XMbText::SkipTo(p, '%');
        nMaxLen += static_cast<int>(p - pRun);
        if (*p == '\0')
            break;
        ++p;
        if (*p == '%') {
            ++nMaxLen;
            ++p;
            continue;
        }

        int nItemLen = 0;
        int nWidth = 0;
        for (;; ++p) {
            if (*p == '#')
                nMaxLen += 2;
            else if (*p == '*')
                nWidth = va_arg(argList, int);
            else if (*p != '-' && *p != '+' && *p != '0' && *p != ' ')
                break;
        }
        if (nWidth == 0)
            nWidth = ReadDigits(p);

        int nPrecision = 0;
        if (*p == '.') {
            ++p;
            if (*p == '*') {
                nPrecision = va_arg(argList, int);
                ++p;
            } else {
                nPrecision = ReadDigits(p);
            }
        }

        // Size prefixes, noting those the C library reads otherwise.
        int nModifier = 0;
        const char* pPrefix = p;
        if (p[0] == 'I' && p[1] == '6' && p[2] == '4') {
            p += 3;
            nModifier = kForceInt64;
        } else {
            switch (*p) {
            case 'h':
                nModifier = kForceAnsi;
                ++p;
                break;
            case 'l':
                nModifier = kForceUnicode;
                ++p;
                break;
            case 'F':
            case 'N':
            case 'L':
                ++p;
                break;
            }
        }
        const char* pConversion = p;

        // The conversion. An I64 prefix on a text or a character makes it
        // one the walk does not know: no argument, nothing reserved.
        switch (*p) {
        case 'c':
        case 'C':
            if (nModifier != kForceInt64) {
                (void)va_arg(argList, int);
                nItemLen = TextItemBound(2, nWidth, nPrecision);
            }
            break;
        case 's':
        case 'S':
            if (nModifier == kForceUnicode || (*p == 'S' && nModifier == 0))
                nItemLen = TextItemBound(TextItemLength(va_arg(argList, const wchar_t*)), nWidth, nPrecision);
            else if (nModifier != kForceInt64)
                nItemLen = TextItemBound(TextItemLength(va_arg(argList, const char*)), nWidth, nPrecision);
            break;
        case 'd':
        case 'i':
        case 'u':
        case 'x':
        case 'X':
        case 'o':
            if (nModifier == kForceInt64)
                (void)va_arg(argList, int64_t);
            else
                (void)va_arg(argList, int);
            nItemLen = std::max(32, nWidth + nPrecision);
            break;
        case 'e':
        case 'g':
        case 'G':
            (void)va_arg(argList, double);
            nItemLen = std::max(128, nWidth + nPrecision);
            break;
        case 'f':
            (void)va_arg(argList, double);
            nItemLen = std::max(128, 312 + nPrecision);
            break;
        case 'p':
            (void)va_arg(argList, void*);
            nItemLen = std::max(32, nWidth + nPrecision);
            break;
        case 'n':
            (void)va_arg(argList, int*);
            break;
        default:
            break;
        }
        nMaxLen += nItemLen;

        // The C library's spelling of the same conversion; plain conversions
        // need none.
        if (pPrefix != pConversion) {
            const char* pReplacement = nullptr;
            char chConv = *pConversion;
            bool bText = chConv == 's' || chConv == 'S' || chConv == 'c' || chConv == 'C';
            bool bInteger = chConv == 'd' || chConv == 'i' || chConv == 'u' || chConv == 'x' || chConv == 'X' ||
                            chConv == 'o';
            if (nModifier == kForceInt64) {
                pReplacement = "ll";
            } else if (*pPrefix == 'F' || *pPrefix == 'N' || *pPrefix == 'L') {
                pReplacement = "";
            } else if (nModifier == kForceAnsi && bText) {
                pReplacement = "";
                chConv = (chConv == 'S' || chConv == 's') ? 's' : 'c';
            } else if (nModifier == kForceUnicode && (bText || bInteger)) {
                // A long is 32 bits in this library's interface.
                pReplacement = bInteger ? "" : "l";
                if (bText)
                    chConv = (chConv == 'S' || chConv == 's') ? 's' : 'c';
            }
            if (pbWide != nullptr && bText && nModifier == kForceUnicode)
                *pbWide = true;
            if (pReplacement != nullptr && pTranslated != nullptr) {
                bTranslate = true;
                pTranslated->append(pCopied, static_cast<size_t>(pPrefix - pCopied));
                pTranslated->append(pReplacement);
                pTranslated->push_back(chConv);
                pCopied = chConv == '\0' ? pConversion : pConversion + 1;
            }
        } else if (pbWide != nullptr && (*pConversion == 'S' || *pConversion == 'C')) {
            *pbWide = true;
        }
        if (*p == '\0')
            break;
        p = XMbText::Inc(p);
    }

    if (bTranslate)
        pTranslated->append(pCopied);
    return nMaxLen;
}

// Appends one C library conversion of one value.
void AppendFormatted(std::string& strOut, const char* pszSpec, ...)
{
    va_list args, argsCopy;
    va_start(args, pszSpec);
    va_copy(argsCopy, args);
    int n = std::vsnprintf(nullptr, 0, pszSpec, args);
    if (n > 0) {
        size_t nOld = strOut.size();
        strOut.resize(nOld + static_cast<size_t>(n) + 1);
        std::vsnprintf(&strOut[nOld], static_cast<size_t>(n) + 1, pszSpec, argsCopy);
        strOut.resize(nOld + static_cast<size_t>(n));
    }
    va_end(argsCopy);
    va_end(args);
}

// Formats conversion by conversion, turning wide text and characters into
// narrow text here. Used only for formats that hold wide conversions.
std::string FormatPiecewise(const char* pszFormat, va_list argList)
{
    std::string strOut;
    for (const char* p = pszFormat; *p != '\0';) {
        if (*p != '%') {
            int n = XMbText::CharLen(p);
            strOut.append(p, static_cast<size_t>(n));
            p += n;
            continue;
        }
        ++p;
        if (*p == '%') {
            strOut.push_back('%');
            ++p;
            continue;
        }
        std::string strSpec = "%";
        while (*p != '\0' && std::strchr("#-+0 ", *p) != nullptr)
            strSpec.push_back(*p++);
        if (*p == '*') {
            strSpec += std::to_string(va_arg(argList, int));
            ++p;
        }
        while (*p >= '0' && *p <= '9')
            strSpec.push_back(*p++);
        if (*p == '.') {
            strSpec.push_back(*p++);
            if (*p == '*') {
                strSpec += std::to_string(va_arg(argList, int));
                ++p;
            }
            while (*p >= '0' && *p <= '9')
                strSpec.push_back(*p++);
        }
        int nModifier = 0;
        if (std::strncmp(p, "I64", 3) == 0 || std::strncmp(p, "ll", 2) == 0) {
            p += *p == 'I' ? 3 : 2;
            nModifier = kForceInt64;
        } else if (*p == 'h') {
            nModifier = kForceAnsi;
            ++p;
        } else if (*p == 'l') {
            nModifier = kForceUnicode;
            ++p;
        } else if (*p == 'F' || *p == 'N' || *p == 'L') {
            ++p;
        }
        char chConv = *p;
        if (chConv == '\0')
            break;
        ++p;
        switch (chConv) {
        case 'c':
        case 'C': {
            int nChar = va_arg(argList, int);
            bool bWide = nModifier == kForceUnicode || (chConv == 'C' && nModifier != kForceAnsi);
            if (bWide) {
                wchar_t wch = static_cast<wchar_t>(nChar);
                char szChar[XMbText::nMaxCharBytes + 1] = {};
                XMbText::WideToNarrow(&wch, 1, szChar, XMbText::nMaxCharBytes);
                AppendFormatted(strOut, (strSpec + "s").c_str(), szChar);
            } else {
                AppendFormatted(strOut, (strSpec + "c").c_str(), nChar);
            }
            break;
        }
        case 's':
        case 'S': {
            bool bWide = nModifier == kForceUnicode || (chConv == 'S' && nModifier != kForceAnsi);
            if (bWide) {
                const wchar_t* psz = va_arg(argList, const wchar_t*);
                XString strNarrow(psz);
                AppendFormatted(strOut, (strSpec + "s").c_str(), psz == nullptr ? "(null)" : static_cast<const char*>(strNarrow));
            } else {
                AppendFormatted(strOut, (strSpec + "s").c_str(), va_arg(argList, const char*));
            }
            break;
        }
        case 'd':
        case 'i':
        case 'u':
        case 'x':
        case 'X':
        case 'o':
            if (nModifier == kForceInt64)
                AppendFormatted(strOut, (strSpec + "ll" + chConv).c_str(), va_arg(argList, long long));
            else if (nModifier == kForceAnsi)
                AppendFormatted(strOut, (strSpec + "h" + chConv).c_str(), va_arg(argList, int));
            else
                AppendFormatted(strOut, (strSpec + chConv).c_str(), va_arg(argList, int));
            break;
        case 'e':
        case 'E':
        case 'f':
        case 'g':
        case 'G':
        case 'a':
        case 'A':
            AppendFormatted(strOut, (strSpec + chConv).c_str(), va_arg(argList, double));
            break;
        case 'p':
            AppendFormatted(strOut, (strSpec + "p").c_str(), va_arg(argList, void*));
            break;
        case 'n':
            *va_arg(argList, int*) = static_cast<int>(strOut.size());
            break;
        default:
            strOut += strSpec;
            strOut.push_back(chConv);
            break;
        }
    }
    return strOut;
}

} // namespace

int XString::FormatBound(const char* pszFormat, va_list argList)
{
    va_list args;
    va_copy(args, argList);
    int nBound = WalkFormat(pszFormat, args, nullptr);
    va_end(args);
    return nBound;
}

void XString::FormatV(const char* pszFormat, va_list argList)
{
    if (pszFormat == nullptr)
        pszFormat = "";
    // The buffer for a bound: GetBuffer's own test first, so that a buffer
    // held alone and large enough is used as it is, without the call.
    auto Reserve = [this](int nBound) {
        return GetData()->nRefs <= 1 && nBound <= GetData()->nAllocLength ? pchData : GetBuffer(nBound);
    };
    va_list args;
    va_copy(args, argList);
    XPlainFormat plain;
    const bool bPlain = plain.Take(pszFormat, args);
    va_end(args);
    if (bPlain) {
        const int nLength = plain.Write(pszFormat, Reserve(plain.Bound()));
        if (!IsSharedEmpty())
            GetData()->nDataLength = nLength;
        return;
    }

    std::string strTranslated;
    bool bWide = false;
    va_copy(args, argList);
    int nBound = WalkFormat(pszFormat, args, &strTranslated, &bWide);
    va_end(args);

    if (bWide) {
        va_copy(args, argList);
        std::string strText = FormatPiecewise(pszFormat, args);
        va_end(args);
        int nLength = static_cast<int>(strText.size());
        char* pBuffer = GetBuffer(nBound > nLength ? nBound : nLength);
        std::memcpy(pBuffer, strText.c_str(), strText.size() + 1);
        ReleaseBuffer(-1);
        return;
    }

    const char* pszOutFormat = strTranslated.empty() ? pszFormat : strTranslated.c_str();

    // The bound is what is reserved. Where it falls short (a conversion the
    // walk does not know) the text is formatted again at its real length
    // rather than written past the buffer.
    // Negative widths and precisions taken from the arguments can make the
    // bound negative; GetBuffer reserves nothing for it either way, and the
    // C library must then not be told the buffer is larger than it is.
    if (nBound < 0)
        nBound = 0;
    char* pBuffer = Reserve(nBound);
    va_copy(args, argList);
    int nWritten = std::vsnprintf(pBuffer, static_cast<size_t>(nBound) + 1, pszOutFormat, args);
    va_end(args);
    if (nWritten > nBound) {
        pBuffer = GetBuffer(nWritten);
        va_copy(args, argList);
        nWritten = std::vsnprintf(pBuffer, static_cast<size_t>(nWritten) + 1, pszOutFormat, args);
        va_end(args);
    }
    // ReleaseBuffer(-1), on a buffer that GetBuffer left unshared and that
    // vsnprintf has terminated within its capacity. A format the C library
    // gives up on (a lone % at the end) keeps the text written before it.
    if (!IsSharedEmpty())
        GetData()->nDataLength = static_cast<int>(std::strlen(pchData));
}

void XString::Format(const char* pszFormat, ...)
{
    va_list argList;
    va_start(argList, pszFormat);
    FormatV(pszFormat, argList);
    va_end(argList);
}

namespace {

// One argument of a message insert, read by the type its conversion names.
struct XMessageArg {
    enum Kind { kNone, kInt, kInt64, kDouble, kText, kWideText, kPointer } nKind = kNone;
    int64_t nValue = 0;
    double dValue = 0;
    const void* pValue = nullptr;
};

XMessageArg::Kind KindOfConversion(const std::string& strSpec)
{
    if (strSpec.empty())
        return XMessageArg::kText;
    char chConv = strSpec.back();
    bool bInt64 = strSpec.find("I64") != std::string::npos || strSpec.find("ll") != std::string::npos;
    bool bWide = strSpec.find('l') != std::string::npos;
    bool bNarrow = strSpec.find('h') != std::string::npos;
    switch (chConv) {
    case 's':
        return bWide ? XMessageArg::kWideText : XMessageArg::kText;
    case 'S':
        return bNarrow ? XMessageArg::kText : XMessageArg::kWideText;
    case 'c':
    case 'C':
        return XMessageArg::kInt;
    case 'd':
    case 'i':
    case 'u':
    case 'x':
    case 'X':
    case 'o':
        return bInt64 ? XMessageArg::kInt64 : XMessageArg::kInt;
    case 'e':
    case 'E':
    case 'f':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
        return XMessageArg::kDouble;
    case 'p':
        return XMessageArg::kPointer;
    default:
        return XMessageArg::kNone;
    }
}

struct XMessagePiece {
    std::string strText; // literal text, or the printf conversion of an insert
    int nInsert = 0;     // 1 to 99 for an insert, 0 for literal text
};

} // namespace

void XString::FormatMessageA(const char* pszFormat, ...)
{
    if (pszFormat == nullptr)
        XMemoryException::Throw();

    // Parse into literal pieces and inserts; a malformed insert fails the call.
    std::vector<XMessagePiece> pieces;
    XMessageArg args[100];
    int nMaxInsert = 0;
    std::string strLiteral;
    for (const char* p = pszFormat; *p != '\0';) {
        if (*p != '%') {
            int n = XMbText::CharLen(p);
            strLiteral.append(p, static_cast<size_t>(n));
            p += n;
            continue;
        }
        ++p;
        if (*p >= '1' && *p <= '9') {
            int nInsert = *p++ - '0';
            if (*p >= '0' && *p <= '9')
                nInsert = nInsert * 10 + (*p++ - '0');
            std::string strSpec = "s";
            if (*p == '!') {
                const char* pEnd = std::strchr(p + 1, '!');
                if (pEnd == nullptr || pEnd == p + 1)
                    XMemoryException::Throw();
                strSpec.assign(p + 1, static_cast<size_t>(pEnd - p - 1));
                p = pEnd + 1;
            }
            XMessageArg::Kind nKind = KindOfConversion(strSpec);
            if (nKind == XMessageArg::kNone ||
                (args[nInsert].nKind != XMessageArg::kNone && args[nInsert].nKind != nKind))
                XMemoryException::Throw();
            args[nInsert].nKind = nKind;
            nMaxInsert = std::max(nMaxInsert, nInsert);
            pieces.push_back({strLiteral, 0});
            strLiteral.clear();
            pieces.push_back({"%" + strSpec, nInsert});
            continue;
        }
        switch (*p) {
        case '0':
            p = "";
            continue;
        case 'n':
            strLiteral.push_back('\n');
            break;
        case 'r':
            strLiteral.push_back('\r');
            break;
        case 't':
            strLiteral.push_back('\t');
            break;
        case '%':
        case '.':
        case '!':
        case ' ':
            strLiteral.push_back(*p);
            break;
        default:
            XMemoryException::Throw();
        }
        ++p;
    }
    pieces.push_back({strLiteral, 0});

    // Arguments are read in insert order, each by its conversion's type.
    va_list argList;
    va_start(argList, pszFormat);
    for (int i = 1; i <= nMaxInsert; ++i) {
        XMessageArg& arg = args[i];
        switch (arg.nKind) {
        case XMessageArg::kInt:
            arg.nValue = va_arg(argList, int);
            break;
        case XMessageArg::kInt64:
            arg.nValue = va_arg(argList, int64_t);
            break;
        case XMessageArg::kDouble:
            arg.dValue = va_arg(argList, double);
            break;
        case XMessageArg::kNone:
            // An insert number that is never used still takes its argument.
            (void)va_arg(argList, void*);
            break;
        default:
            arg.pValue = va_arg(argList, const void*);
            break;
        }
    }
    va_end(argList);

    XString strResult;
    XString strItem;
    for (const XMessagePiece& piece : pieces) {
        if (piece.nInsert == 0) {
            strResult += piece.strText.c_str();
            continue;
        }
        const XMessageArg& arg = args[piece.nInsert];
        const char* pszSpec = piece.strText.c_str();
        switch (arg.nKind) {
        case XMessageArg::kInt:
            strItem.Format(pszSpec, static_cast<int>(arg.nValue));
            break;
        case XMessageArg::kInt64:
            strItem.Format(pszSpec, arg.nValue);
            break;
        case XMessageArg::kDouble:
            strItem.Format(pszSpec, arg.dValue);
            break;
        default:
            strItem.Format(pszSpec, arg.pValue);
            break;
        }
        strResult += strItem;
    }
    *this = strResult;
}
