// XDrawStyle.h: the three plain style records of the drawing layer (line, fill,
// text), their code tables, the equality rules the vertex buffer uses to drop
// repeated style records, and their archive forms. Plain values with no
// platform behind them: no locks, no allocation, nothing reported.
#pragma once

#include "KVDbase/core/XArchive.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

// A line style in the shape of glLineStipple: a 16-bit mask whose bit 15 is the
// first step, each bit lasting nFactor steps. The two pen-bit words are ORed
// into the pen styles of the GDI route; they are not part of the stream form.
struct KVD_API tagXLineStyle {
    enum {
        STYLE_SOLID = 0,
        STYLE_DASH = 1,
        STYLE_DOT = 2,
        STYLE_DASHDOT = 3,
        STYLE_DASHDOTDOT = 4,
        STYLE_NONE = 5,
        STYLE_USER = 1024,
    };

    uint16_t nPattern;
    int32_t nFactor;
    uint32_t nPenBits;
    uint32_t nSolidPenBits;

    // Solid, with no extra pen bits.
    tagXLineStyle();

    // The code of the table, or STYLE_USER when nFactor is not 1 or the mask
    // matches no row.
    int GetStyle() const;
    // nFactor 1 and the mask of the code; codes outside the table give solid.
    void SetStyle(int nStyle);
    void SetStyle(unsigned short nPatternArg, int nFactorArg);
    void SetPenBits(uint32_t nBits) { nPenBits = nBits; }
    void SetSolidPenBits(uint32_t nBits) { nSolidPenBits = nBits; }

    // Two styles differ when the masks differ, when both the factor and the
    // pen bits differ (a factor change alone does not count), or when the
    // solid pen bits differ.
    bool operator!=(const tagXLineStyle& other) const;
    bool operator==(const tagXLineStyle& other) const { return !(*this != other); }
};

// A fill style: a 32 by 32 bit mask in the shape of glPolygonStipple (32 rows
// of 4 bytes, each row a little-endian word) and its style code.
struct KVD_API tagXFillStyle {
    enum {
        STYLE_SOLID = 0,
        STYLE_HOLLOW = 1,
        STYLE_BDIAGONAL = 2,
        STYLE_CROSS = 3,
        STYLE_DIAGCROSS = 4,
        STYLE_FDIAGONAL = 5,
        STYLE_HORIZONTAL = 6,
        STYLE_VERTICAL = 7,
        STYLE_TRANSPARENT_PATTERN = 8,
        STYLE_USER = 1024,
    };
    enum { PATTERN_BYTES = 128 };

    BYTE Pattern[PATTERN_BYTES];
    int32_t nStyle;

    // Solid: every pattern byte 0xFF.
    tagXFillStyle();

    int GetStyle() const { return nStyle; }
    // Stores the code and builds its mask. Codes 8 and 1024 keep the mask as
    // it stands; an unknown code stores 0 and also keeps the old mask.
    void SetStyle(int nStyleArg);
    // Copies 128 bytes and sets STYLE_USER.
    void SetStyle(const unsigned char* pPattern);

    bool operator!=(const tagXFillStyle& other) const;
    bool operator==(const tagXFillStyle& other) const { return !(*this != other); }
};

// A text style: the anchor bits of the text box and the font.
struct KVD_API tagXTextStyle {
    // Anchor bits; a later bit of the same axis wins.
    enum {
        ALIGN_LEFT = 1,
        ALIGN_HCENTER = 2,
        ALIGN_RIGHT = 4,
        ALIGN_BOTTOM = 8,
        ALIGN_VCENTER = 16,
        ALIGN_TOP = 32,
    };

    int32_t nAlign;
    LOGFONTA lf;

    // nAlign 9; weight 400, character set 1, output precision 2, clip
    // precision 1, face "Courier New", all else 0.
    tagXTextStyle();

    // Equal when nAlign, the twelve numeric font fields and all 32 bytes of
    // the face name (bytes after the terminator too) are equal.
    bool operator==(const tagXTextStyle& other) const;
    bool operator!=(const tagXTextStyle& other) const { return !(*this == other); }
};

// Stream forms. A line style stores nPattern and nFactor only: on reading, the
// pen bits keep what the variable held. A text style stores nAlign and the
// font fields in alphabetical order of their names, lfOutPrecision twice (the
// second read wins), the face as 32 single characters.
KVD_API XArchive& operator<<(XArchive& ar, tagXLineStyle style);
KVD_API XArchive& operator<<(XArchive& ar, tagXFillStyle style);
KVD_API XArchive& operator<<(XArchive& ar, tagXTextStyle style);
KVD_API XArchive& operator>>(XArchive& ar, tagXLineStyle& style);
KVD_API XArchive& operator>>(XArchive& ar, tagXFillStyle& style);
KVD_API XArchive& operator>>(XArchive& ar, tagXTextStyle& style);
