#include "KVDbase/drawing/XDrawStyleGDI.h"
#include "KVDbase/platform/XGdiClasses.h"
#include "XDrawingTestCanvas.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

// What a pen turned out to be: made by CreatePen (OBJ_PEN) or ExtCreatePen
// (OBJ_EXTPEN), its style word, and its dash table.
struct PenShape {
    DWORD nType;
    DWORD nStyle;
    std::vector<DWORD> runs;
    bool operator==(const PenShape& o) const { return nType == o.nType && nStyle == o.nStyle && runs == o.runs; }
};

PenShape ShapeOf(HGDIOBJ hPen)
{
    PenShape s = {GetObjectType(hPen), 0, {}};
    if (s.nType == OBJ_EXTPEN) {
        std::vector<BYTE> buf(static_cast<size_t>(GetObjectA(hPen, 0, nullptr)));
        GetObjectA(hPen, static_cast<int>(buf.size()), buf.data());
        EXTLOGPEN* p = reinterpret_cast<EXTLOGPEN*>(buf.data());
        s.nStyle = p->elpPenStyle;
        s.runs.assign(p->elpStyleEntry, p->elpStyleEntry + p->elpNumEntries);
    } else if (s.nType == OBJ_PEN) {
        LOGPEN lp;
        GetObjectA(hPen, sizeof lp, &lp);
        s.nStyle = lp.lopnStyle;
    }
    return s;
}

tagXLineStyle Style(int nCode, DWORD nPenBits = 0, DWORD nSolidBits = 0)
{
    tagXLineStyle s;
    s.SetStyle(nCode);
    s.SetPenBits(nPenBits);
    s.SetSolidPenBits(nSolidBits);
    return s;
}

tagXLineStyle Pattern(unsigned short nPattern, int nFactor)
{
    tagXLineStyle s;
    s.SetStyle(nPattern, nFactor);
    return s;
}

const DWORD kGeo = 0x10207; // geometric, flat ends, user style

struct PenRow {
    tagXLineStyle style;
    int nWidth;
    PenShape expected;
};

// Makes each row's pen by the handle form or the wrapper form and compares.
void CheckPens(std::vector<PenRow> rows, bool bWrapper)
{
    for (PenRow& row : rows) {
        HPEN hPen = nullptr;
        CPen pen;
        if (bWrapper)
            XfnCreatePen(&pen, &row.style, row.nWidth, kRed);
        else
            XfnCreatePen(hPen, &row.style, row.nWidth, kRed);
        HGDIOBJ h = bWrapper ? pen.GetSafeHandle() : hPen;
        ASSERT_NE(h, nullptr) << std::hex << row.style.nPattern << " width " << row.nWidth;
        EXPECT_EQ(ShapeOf(h), row.expected) << std::hex << row.style.nPattern << " width " << row.nWidth;
        if (!bWrapper)
            DeleteObject(hPen);
    }
}

TEST(XfnCreatePen, HandleFormFollowsTheStyleTable)
{
    const DWORD kBits = PS_JOIN_MITER, kSolid = PS_ENDCAP_SQUARE;
    CheckPens({
        {Style(0, kBits, kSolid), 3, {OBJ_EXTPEN, kBits | 0x10000 | kSolid, {}}},
        {Style(0, kBits, kSolid), 0, {OBJ_PEN, kBits | 0x10000 | kSolid, {}}},
        {Style(1, kBits), 2, {OBJ_EXTPEN, kGeo | kBits, {6, 2}}},
        {Style(1, kBits), 0, {OBJ_PEN, PS_DASH, {}}},
        {Style(2, kBits), 3, {OBJ_EXTPEN, kGeo | kBits, {3, 3}}},
        {Style(2, kBits), 0, {OBJ_PEN, kBits | 514, {}}},
        {Style(3, kBits), 2, {OBJ_EXTPEN, kGeo | kBits, {6, 4, 2, 4}}},
        {Style(3, kBits), 0, {OBJ_PEN, kBits | 515, {}}},
        {Style(4, kBits), 1, {OBJ_EXTPEN, kGeo | kBits, {3, 1, 1, 1, 1, 1}}},
        {Style(4, kBits), 0, {OBJ_PEN, kBits | 516, {}}},
        {Style(5, kBits), 4, {OBJ_PEN, PS_NULL, {}}},
        // User patterns: shifted to start with a dash, runs times factor
        // (times the width when there is one).
        {Pattern(0x8001, 1), 0, {OBJ_EXTPEN, kGeo, {1, 14, 1}}},
        {Pattern(0x00FF, 1), 0, {OBJ_EXTPEN, kGeo, {8, 8}}},
        {Pattern(0xFFFF, 3), 0, {OBJ_EXTPEN, kGeo, {48}}},
        {Pattern(0xF0F0, 2), 3, {OBJ_EXTPEN, kGeo, {24, 24, 24, 24}}},
        // A zero pattern is no line, not an endless shift.
        {Pattern(0x0000, 2), 0, {OBJ_PEN, PS_NULL, {}}},
    }, false);
}

TEST(XfnCreatePen, WrapperFormIgnoresThePenBits)
{
    const DWORD kBits = PS_JOIN_MITER, kSolid = PS_ENDCAP_SQUARE;
    CheckPens({
        {Style(0, kBits, kSolid), 3, {OBJ_PEN, PS_SOLID, {}}},
        {Style(1, kBits), 0, {OBJ_PEN, 513, {}}},
        {Style(1, kBits), 2, {OBJ_EXTPEN, kGeo, {6, 2}}},
        {Style(2, kBits), 0, {OBJ_PEN, 514, {}}},
        {Style(4, kBits), 0, {OBJ_PEN, 516, {}}},
        {Pattern(0x8001, 2), 0, {OBJ_EXTPEN, kGeo, {2, 28, 2}}},
        {Pattern(0x0000, 3), 0, {OBJ_PEN, PS_NULL, {}}},
    }, true);
}

TEST(XfnCreatePen, WideDashesLandAsTheTableSays)
{
    XTestCanvas c(64, 16);
    tagXLineStyle dash = Style(1);
    HPEN hPen = nullptr;
    XfnCreatePen(hPen, &dash, 2, kBlack);
    HGDIOBJ hOld = SelectObject(c.DC(), hPen);
    MoveToEx(c.DC(), 0, 8, nullptr);
    LineTo(c.DC(), 64, 8);
    SelectObject(c.DC(), hOld);
    DeleteObject(hPen);
    // Along the line: 6 pixels of dash, 2 of gap.
    int nRow = -1;
    for (int y = 5; y < 11 && nRow < 0; ++y)
        if (c.Px(0, y) == kBlack)
            nRow = y;
    ASSERT_GE(nRow, 0);
    for (int x = 0; x < 48; ++x)
        EXPECT_EQ(c.Px(x, nRow), x % 8 < 6 ? kBlack : kWhite) << x;
}

LOGBRUSH BrushOf(HGDIOBJ hBrush)
{
    LOGBRUSH lb = {0xFFFF, 0, 0};
    GetObjectA(hBrush, sizeof lb, &lb);
    return lb;
}

TEST(XfnCreateBrush, CodesGiveSolidNullAndHatchBrushes)
{
    struct Row {
        int nCode;
        UINT nStyle;
        ULONG_PTR nHatch;
    } rows[] = {
        {0, BS_SOLID, 0},           {1, BS_NULL, 0},           {2, BS_HATCHED, HS_BDIAGONAL},
        {3, BS_HATCHED, HS_CROSS},  {4, BS_HATCHED, HS_DIAGCROSS}, {5, BS_HATCHED, HS_FDIAGONAL},
        {6, BS_HATCHED, HS_HORIZONTAL}, {7, BS_HATCHED, HS_VERTICAL}, {8, BS_SOLID, 0},
    };
    for (const Row& row : rows) {
        tagXFillStyle style;
        style.SetStyle(row.nCode);
        HBRUSH hBrush = nullptr;
        XfnCreateBrush(hBrush, &style, kRed, kBlue);
        const LOGBRUSH lb = BrushOf(hBrush);
        EXPECT_EQ(lb.lbStyle, row.nStyle) << row.nCode;
        if (row.nStyle == BS_HATCHED) {
            EXPECT_EQ(lb.lbHatch, row.nHatch) << row.nCode;
        }
        if (row.nStyle != BS_NULL) {
            EXPECT_EQ(lb.lbColor, kRed) << row.nCode;
        }
        DeleteObject(hBrush);

        CBrush brush;
        XfnCreateBrush(&brush, &style, kRed, kBlue);
        EXPECT_EQ(BrushOf(brush.GetSafeHandle()).lbStyle, row.nStyle) << row.nCode;
    }
}

TEST(XfnCreateBrush, UserMaskPaintsUprightInBothColours)
{
    // Each row is a little-endian word read from bit 31 (column 0) down; the
    // four bytes differ so that a wrong byte order shows.
    unsigned char mask[128] = {};
    mask[0] = 0x80; // row 0: bit 7, column 24
    mask[3] = 0x01; // row 0: bit 24, column 7
    mask[31 * 4 + 3] = 0x80; // row 31: bit 31, column 0
    tagXFillStyle style;
    style.SetStyle(mask);

    XTestCanvas c(64, 32);
    HBRUSH hBrush = nullptr;
    XfnCreateBrush(hBrush, &style, kRed, kBlue);
    const RECT rc = {0, 0, 64, 32};
    FillRect(c.DC(), &rc, hBrush);
    DeleteObject(hBrush);
    EXPECT_EQ(c.Px(24, 0), kRed);
    EXPECT_EQ(c.Px(7, 0), kRed);
    EXPECT_EQ(c.Px(0, 31), kRed);
    EXPECT_EQ(c.Px(32 + 24, 0), kRed); // tiled from the origin
    EXPECT_EQ(c.Count(kRed), 6);
    EXPECT_EQ(c.Count(kBlue), 64 * 32 - 6);
}

TEST(XfnCreateFont, SetsHeightAndEscapementOnTheStyle)
{
    tagXTextStyle style;
    style.lf.lfOrientation = 450;
    HFONT hFont = nullptr;
    XfnCreateFont(hFont, &style, 0);
    EXPECT_EQ(GetObjectType(hFont), static_cast<DWORD>(OBJ_FONT));
    EXPECT_EQ(style.lf.lfHeight, 1); // never a zero height
    EXPECT_EQ(style.lf.lfEscapement, 450);
    DeleteObject(hFont);

    CFont font;
    XfnCreateFont(&font, &style, 17);
    EXPECT_EQ(style.lf.lfHeight, 17);
    LOGFONTA lf;
    ASSERT_NE(font.GetObject(sizeof lf, &lf), 0);
    EXPECT_EQ(lf.lfHeight, 17);
    EXPECT_EQ(lf.lfEscapement, 450);
}

TEST(XfnDrawRubberBand, SecondDrawingErasesTheFirst)
{
    // Half black, half white, so that XOR shows on both.
    XTestCanvas c(48, 32);
    const RECT left = {0, 0, 24, 32};
    FillRect(c.DC(), &left, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
    std::vector<COLORREF> before;
    for (int y = 0; y < 32; ++y)
        for (int x = 0; x < 48; ++x)
            before.push_back(c.Px(x, y));
    auto Flipped = [&](int x, int y) { return c.Px(x, y) == (before[y * 48 + x] ^ kRed); };

    tagXLineStyle solid;
    for (tagXLineStyle* pStyle : {&solid, static_cast<tagXLineStyle*>(nullptr)}) {
        XfnDrawRubberBand(c.DC(), CPoint(5, 4), CPoint(40, 25), pStyle, 0, kRed);
        EXPECT_TRUE(Flipped(5, 4)); // a solid line, or the first dot
        if (pStyle != nullptr) {
            // Every pixel of the outline once, corners included.
            for (const POINT& pt : {POINT{40, 4}, POINT{40, 25}, POINT{5, 25}, POINT{22, 4}, POINT{40, 15}})
                EXPECT_TRUE(Flipped(pt.x, pt.y)) << pt.x << "," << pt.y;
        } else {
            EXPECT_FALSE(Flipped(6, 4) && Flipped(7, 4) && Flipped(8, 4)); // dotted
        }
        EXPECT_EQ(c.Px(20, 12), before[12 * 48 + 20]); // inside is untouched
        EXPECT_EQ(GetROP2(c.DC()), R2_COPYPEN);
        XfnDrawRubberBand(c.DC(), CPoint(5, 4), CPoint(40, 25), pStyle, 0, kRed);
        for (int y = 0, i = 0; y < 32; ++y)
            for (int x = 0; x < 48; ++x, ++i)
                ASSERT_EQ(c.Px(x, y), before[i]) << x << "," << y;
    }
}

} // namespace
