#include "KVDbase/drawing/XDrawStyle.h"

#include <cstring>

namespace {

// The masks of the named line styles, indexed by code.
const uint16_t kLinePatterns[] = {0xFFFF, 0xFFF0, 0xCCCC, 0xFC30, 0xFCCC, 0x0000};
const int kLinePatternCount = static_cast<int>(sizeof(kLinePatterns) / sizeof(kLinePatterns[0]));

// Row r of the mask of a hatched fill code (2 to 7).
uint32_t FillRow(int nStyle, int r)
{
    static const uint32_t kDiagCross[8] = {0x81818181u, 0x42424242u, 0x24242424u, 0x18181818u,
                                           0x18181818u, 0x24242424u, 0x42424242u, 0x81818181u};
    const int k = r % 8;
    switch (nStyle) {
    case tagXFillStyle::STYLE_BDIAGONAL:
        return 0x01010101u << k;
    case tagXFillStyle::STYLE_CROSS:
        return k == 1 ? 0xFFFFFFFFu : 0x01010101u;
    case tagXFillStyle::STYLE_DIAGCROSS:
        return kDiagCross[k];
    case tagXFillStyle::STYLE_FDIAGONAL:
        return 0x80808080u >> k;
    case tagXFillStyle::STYLE_HORIZONTAL:
        return k == 1 ? 0xFFFFFFFFu : 0u;
    default: // STYLE_VERTICAL
        return 0x01010101u;
    }
}

void FillRows(BYTE* pPattern, int nStyle)
{
    for (int r = 0; r < 32; ++r) {
        uint32_t v;
        if (nStyle == tagXFillStyle::STYLE_SOLID)
            v = 0xFFFFFFFFu;
        else if (nStyle == tagXFillStyle::STYLE_HOLLOW)
            v = 0u;
        else
            v = FillRow(nStyle, r);
        // Rows are little-endian words whatever the machine.
        pPattern[r * 4 + 0] = static_cast<BYTE>(v);
        pPattern[r * 4 + 1] = static_cast<BYTE>(v >> 8);
        pPattern[r * 4 + 2] = static_cast<BYTE>(v >> 16);
        pPattern[r * 4 + 3] = static_cast<BYTE>(v >> 24);
    }
}

} // namespace

tagXLineStyle::tagXLineStyle() : nPattern(0xFFFF), nFactor(1), nPenBits(0), nSolidPenBits(0)
{
    SetStyle(STYLE_SOLID);
}

int tagXLineStyle::GetStyle() const
{
    if (nFactor != 1)
        return STYLE_USER;
    for (int i = 0; i < kLinePatternCount; ++i)
        if (kLinePatterns[i] == nPattern)
            return i;
    return STYLE_USER;
}

void tagXLineStyle::SetStyle(int nStyle)
{
    nFactor = 1;
    nPattern = (nStyle >= 0 && nStyle < kLinePatternCount) ? kLinePatterns[nStyle] : 0xFFFF;
}

void tagXLineStyle::SetStyle(unsigned short nPatternArg, int nFactorArg)
{
    nPattern = nPatternArg;
    nFactor = nFactorArg;
}

bool tagXLineStyle::operator!=(const tagXLineStyle& other) const
{
    return nPattern != other.nPattern || (nFactor != other.nFactor && nPenBits != other.nPenBits) ||
           nSolidPenBits != other.nSolidPenBits;
}

tagXFillStyle::tagXFillStyle() : nStyle(STYLE_SOLID)
{
    SetStyle(STYLE_SOLID);
}

void tagXFillStyle::SetStyle(int nStyleArg)
{
    if (nStyleArg == STYLE_TRANSPARENT_PATTERN || nStyleArg == STYLE_USER) {
        nStyle = nStyleArg;
        return;
    }
    if (nStyleArg < STYLE_SOLID || nStyleArg > STYLE_VERTICAL) {
        // Falls back to solid but keeps the old mask, as existing drawings expect.
        nStyle = STYLE_SOLID;
        return;
    }
    nStyle = nStyleArg;
    FillRows(Pattern, nStyleArg);
}

void tagXFillStyle::SetStyle(const unsigned char* pPattern)
{
    std::memcpy(Pattern, pPattern, PATTERN_BYTES);
    nStyle = STYLE_USER;
}

bool tagXFillStyle::operator!=(const tagXFillStyle& other) const
{
    return std::memcmp(Pattern, other.Pattern, PATTERN_BYTES) != 0 || nStyle != other.nStyle;
}

tagXTextStyle::tagXTextStyle() : nAlign(ALIGN_LEFT | ALIGN_BOTTOM)
{
    std::memset(&lf, 0, sizeof(lf));
    lf.lfWeight = 400;
    lf.lfCharSet = 1;
    lf.lfOutPrecision = 2;
    lf.lfClipPrecision = 1;
    std::strcpy(lf.lfFaceName, "Courier New");
}

bool tagXTextStyle::operator==(const tagXTextStyle& other) const
{
    const LOGFONTA& a = lf;
    const LOGFONTA& b = other.lf;
    return nAlign == other.nAlign && a.lfHeight == b.lfHeight && a.lfWidth == b.lfWidth &&
           a.lfEscapement == b.lfEscapement && a.lfOrientation == b.lfOrientation && a.lfWeight == b.lfWeight &&
           a.lfItalic == b.lfItalic && a.lfUnderline == b.lfUnderline && a.lfStrikeOut == b.lfStrikeOut &&
           a.lfCharSet == b.lfCharSet && a.lfOutPrecision == b.lfOutPrecision &&
           a.lfClipPrecision == b.lfClipPrecision && a.lfQuality == b.lfQuality &&
           a.lfPitchAndFamily == b.lfPitchAndFamily &&
           std::memcmp(a.lfFaceName, b.lfFaceName, sizeof(a.lfFaceName)) == 0;
}

XArchive& operator<<(XArchive& ar, tagXLineStyle style)
{
    return ar << static_cast<unsigned short>(style.nPattern) << static_cast<int>(style.nFactor);
}

XArchive& operator>>(XArchive& ar, tagXLineStyle& style)
{
    unsigned short nPattern;
    int nFactor;
    ar >> nPattern >> nFactor;
    style.nPattern = nPattern;
    style.nFactor = nFactor;
    return ar;
}

XArchive& operator<<(XArchive& ar, tagXFillStyle style)
{
    for (int i = 0; i < tagXFillStyle::PATTERN_BYTES; ++i)
        ar << static_cast<unsigned char>(style.Pattern[i]);
    return ar << static_cast<int>(style.nStyle);
}

XArchive& operator>>(XArchive& ar, tagXFillStyle& style)
{
    for (int i = 0; i < tagXFillStyle::PATTERN_BYTES; ++i)
        ar >> style.Pattern[i];
    int nStyle;
    ar >> nStyle;
    style.nStyle = nStyle;
    return ar;
}

// The font's 32-bit fields are the platform's long, four bytes in a stream.
XArchive& operator<<(XArchive& ar, tagXTextStyle style)
{
    const LOGFONTA& lf = style.lf;
    ar << static_cast<int>(style.nAlign);
    ar << lf.lfCharSet << lf.lfClipPrecision << static_cast<int>(lf.lfEscapement) << static_cast<int>(lf.lfHeight);
    ar << lf.lfItalic << static_cast<int>(lf.lfOrientation) << lf.lfOutPrecision << lf.lfOutPrecision;
    ar << lf.lfPitchAndFamily << lf.lfQuality << lf.lfStrikeOut << lf.lfUnderline;
    ar << static_cast<int>(lf.lfWeight) << static_cast<int>(lf.lfWidth);
    for (int i = 0; i < 32; ++i)
        ar << lf.lfFaceName[i];
    return ar;
}

XArchive& operator>>(XArchive& ar, tagXTextStyle& style)
{
    LOGFONTA& lf = style.lf;
    int nAlign, nEscapement, nHeight, nOrientation, nWeight, nWidth;
    ar >> nAlign;
    ar >> lf.lfCharSet >> lf.lfClipPrecision >> nEscapement >> nHeight;
    ar >> lf.lfItalic >> nOrientation >> lf.lfOutPrecision >> lf.lfOutPrecision;
    ar >> lf.lfPitchAndFamily >> lf.lfQuality >> lf.lfStrikeOut >> lf.lfUnderline;
    ar >> nWeight >> nWidth;
    for (int i = 0; i < 32; ++i)
        ar >> lf.lfFaceName[i];
    style.nAlign = nAlign;
    lf.lfEscapement = nEscapement;
    lf.lfHeight = nHeight;
    lf.lfOrientation = nOrientation;
    lf.lfWeight = nWeight;
    lf.lfWidth = nWidth;
    return ar;
}
