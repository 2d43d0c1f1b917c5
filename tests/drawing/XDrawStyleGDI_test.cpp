#include "KVDbase/drawing/XDrawStyleGDI.h"
#include "KVDbase/platform/XGdiClasses.h"
#include "XDrawingTestCanvas.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// What a pen turned out to be: OBJ_PEN (CreatePen) or OBJ_EXTPEN (ExtCreatePen), its style word and dashes.
struct PenShape {
    DWORD nType, nStyle;
    std::vector<DWORD> runs;
    bool operator==(const PenShape& o) const { return nType == o.nType && nStyle == o.nStyle && runs == o.runs; }
};

PenShape ShapeOf(HGDIOBJ hPen)
{
    PenShape s = {GetObjectType(hPen), 0, {}};
    std::vector<BYTE> buf(256);
    GetObjectA(hPen, static_cast<int>(buf.size()), buf.data());
    if (s.nType == OBJ_EXTPEN) {
        const EXTLOGPEN* p = reinterpret_cast<const EXTLOGPEN*>(buf.data());
        s.nStyle = p->elpPenStyle;
        s.runs.assign(p->elpStyleEntry, p->elpStyleEntry + p->elpNumEntries);
    } else {
        s.nStyle = reinterpret_cast<const LOGPEN*>(buf.data())->lopnStyle;
    }
    return s;
}

tagXLineStyle Style(int nCode, unsigned short nPattern = 0, int nFactor = 1)
{
    tagXLineStyle s;
    s.SetStyle(nCode);
    if (nCode == tagXLineStyle::STYLE_USER)
        s.SetStyle(nPattern, nFactor);
    s.SetPenBits(PS_JOIN_MITER);
    s.SetSolidPenBits(PS_ENDCAP_SQUARE);
    return s;
}

const DWORD kGeo = 0x10207, kBits = PS_JOIN_MITER, kSolid = PS_ENDCAP_SQUARE;
const int U = tagXLineStyle::STYLE_USER;

TEST(XfnCreatePen, BothFormsFollowTheStyleTable)
{
    // The handle form ORs in the pen bits; the wrapper form ignores them, draws solid with CreatePen and gives the
    // hairline dash code 513.
    struct Row {
        tagXLineStyle style;
        int nWidth;
        PenShape handle, wrapper;
    } rows[] = {
        {Style(0), 3, {OBJ_EXTPEN, kBits | 0x10000 | kSolid, {}}, {OBJ_PEN, PS_SOLID, {}}},
        {Style(0), 0, {OBJ_PEN, kBits | 0x10000 | kSolid, {}}, {OBJ_PEN, PS_SOLID, {}}},
        {Style(1), 2, {OBJ_EXTPEN, kGeo | kBits, {6, 2}}, {OBJ_EXTPEN, kGeo, {6, 2}}},
        {Style(1), 0, {OBJ_PEN, PS_DASH, {}}, {OBJ_PEN, 513, {}}},
        {Style(2), 3, {OBJ_EXTPEN, kGeo | kBits, {3, 3}}, {OBJ_EXTPEN, kGeo, {3, 3}}},
        {Style(2), 0, {OBJ_PEN, kBits | 514, {}}, {OBJ_PEN, 514, {}}},
        {Style(3), 2, {OBJ_EXTPEN, kGeo | kBits, {6, 4, 2, 4}}, {OBJ_EXTPEN, kGeo, {6, 4, 2, 4}}},
        {Style(4), 1, {OBJ_EXTPEN, kGeo | kBits, {3, 1, 1, 1, 1, 1}}, {OBJ_EXTPEN, kGeo, {3, 1, 1, 1, 1, 1}}},
        {Style(5), 4, {OBJ_PEN, PS_NULL, {}}, {OBJ_PEN, PS_NULL, {}}},
        // User patterns shift up to a dash, then runs times factor (and width).
        {Style(U, 0x8001, 1), 0, {OBJ_EXTPEN, kGeo | kBits, {1, 14, 1}}, {OBJ_EXTPEN, kGeo, {1, 14, 1}}},
        {Style(U, 0x00FF, 1), 0, {OBJ_EXTPEN, kGeo | kBits, {8, 8}}, {OBJ_EXTPEN, kGeo, {8, 8}}},
        {Style(U, 0xFFFF, 3), 0, {OBJ_EXTPEN, kGeo | kBits, {48}}, {OBJ_EXTPEN, kGeo, {48}}},
        {Style(U, 0xF0F0, 2), 3, {OBJ_EXTPEN, kGeo | kBits, {24, 24, 24, 24}}, {OBJ_EXTPEN, kGeo, {24, 24, 24, 24}}},
        // A zero pattern is no line, not an endless shift.
        {Style(U, 0x0000, 2), 0, {OBJ_PEN, PS_NULL, {}}, {OBJ_PEN, PS_NULL, {}}},
    };
    for (Row& row : rows) {
        HPEN hPen = nullptr;
        XfnCreatePen(hPen, &row.style, row.nWidth, kRed);
        CPen pen;
        XfnCreatePen(&pen, &row.style, row.nWidth, kRed);
        EXPECT_EQ(ShapeOf(hPen), row.handle) << std::hex << row.style.nPattern << " width " << row.nWidth;
        EXPECT_EQ(ShapeOf(pen.GetSafeHandle()), row.wrapper) << std::hex << row.style.nPattern;
        DeleteObject(hPen);
    }
    HPEN hPen = reinterpret_cast<HPEN>(1);
    XfnCreatePen(hPen, nullptr, 1, kRed);
    EXPECT_EQ(hPen, nullptr);
}

TEST(XfnCreateBrush, CodesAndTheUprightUserMask)
{
    const UINT styles[9] = {BS_SOLID, BS_NULL, BS_HATCHED, BS_HATCHED, BS_HATCHED,
                            BS_HATCHED, BS_HATCHED, BS_HATCHED, BS_SOLID};
    const ULONG_PTR hatches[9] = {0, 0, HS_BDIAGONAL, HS_CROSS, HS_DIAGCROSS, HS_FDIAGONAL, HS_HORIZONTAL, HS_VERTICAL, 0};
    for (int nCode = 0; nCode < 9; ++nCode) {
        tagXFillStyle style;
        style.SetStyle(nCode);
        CBrush brush;
        XfnCreateBrush(&brush, &style, kRed, kBlue);
        LOGBRUSH lb = {99, 0, 0};
        GetObjectA(brush.GetSafeHandle(), sizeof lb, &lb);
        EXPECT_EQ(lb.lbStyle, styles[nCode]) << nCode;
        EXPECT_EQ(lb.lbHatch, hatches[nCode]) << nCode;
    }
    // Each mask row is a little-endian word read from bit 31 (column 0), row 0 on top; the bytes differ so that a wrong
    // order shows.
    unsigned char mask[128] = {};
    mask[0] = 0x80;          // row 0, bit 7: column 24
    mask[3] = 0x01;          // row 0, bit 24: column 7
    mask[31 * 4 + 3] = 0x80; // row 31, bit 31: column 0
    tagXFillStyle style;
    style.SetStyle(mask);
    XTestCanvas c(64, 32);
    HBRUSH hBrush = nullptr;
    XfnCreateBrush(hBrush, &style, kRed, kBlue);
    const RECT rc = {0, 0, 64, 32};
    FillRect(c.DC(), &rc, hBrush);
    DeleteObject(hBrush);
    ExpectPixels(c, {{24, 0, kRed}, {7, 0, kRed}, {0, 31, kRed}, {56, 0, kRed}});
    EXPECT_EQ(c.Count(kBlue), 64 * 32 - 6);
}

TEST(XfnCreateFont, BothFormsSetHeightAndEscapementOnTheStyle)
{
    for (bool bWrapper : {false, true}) {
        tagXTextStyle style;
        style.lf.lfOrientation = 450;
        HFONT hFont = nullptr;
        CFont font;
        if (bWrapper)
            XfnCreateFont(&font, &style, 0);
        else
            XfnCreateFont(hFont, &style, 0);
        EXPECT_EQ(style.lf.lfHeight, 1); // never a zero height
        EXPECT_EQ(style.lf.lfEscapement, 450);
        LOGFONTA lf;
        ASSERT_NE(GetObjectA(bWrapper ? font.GetSafeHandle() : hFont, sizeof lf, &lf), 0);
        EXPECT_EQ(lf.lfHeight * 1000 + lf.lfEscapement, 1450);
        DeleteObject(hFont);
    }
    // No style, no object.
    HFONT hFont = reinterpret_cast<HFONT>(1);
    HBRUSH hBrush = reinterpret_cast<HBRUSH>(1);
    XfnCreateFont(hFont, nullptr, 10);
    XfnCreateBrush(hBrush, nullptr, kRed, kBlue);
    EXPECT_EQ(hFont, nullptr);
    EXPECT_EQ(hBrush, nullptr);
}

TEST(XfnDrawRubberBand, SecondDrawingErasesTheFirst)
{
    XTestCanvas c(48, 32); // half black, half white, so that XOR shows on both
    const RECT left = {0, 0, 24, 32};
    FillRect(c.DC(), &left, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
    std::vector<COLORREF> before;
    for (int i = 0; i < 48 * 32; ++i)
        before.push_back(c.Px(i % 48, i / 48));
    auto Flipped = [&](int x, int y) { return c.Px(x, y) == (before[y * 48 + x] ^ kRed); };
    tagXLineStyle solid;
    for (tagXLineStyle* pStyle : {&solid, static_cast<tagXLineStyle*>(nullptr)}) {
        XfnDrawRubberBand(c.DC(), CPoint(5, 4), CPoint(40, 25), pStyle, 0, kRed);
        if (pStyle != nullptr) { // every pixel of the outline once, corners too
            for (const POINT& pt : {POINT{5, 4}, POINT{40, 4}, POINT{40, 25}, POINT{5, 25}, POINT{22, 4}})
                EXPECT_TRUE(Flipped(pt.x, pt.y)) << pt.x << "," << pt.y;
        } else { // dotted
            EXPECT_TRUE(Flipped(5, 4));
            EXPECT_FALSE(Flipped(6, 4) && Flipped(7, 4) && Flipped(8, 4));
        }
        EXPECT_EQ(c.Px(20, 12), before[12 * 48 + 20]);
        EXPECT_EQ(GetROP2(c.DC()), R2_COPYPEN);
        CDC dc; // the wrapper form draws on the wrapper's handle
        dc.Attach(c.DC());
        XfnDrawRubberBand(&dc, CPoint(5, 4), CPoint(40, 25), pStyle, 0, kRed);
        dc.Detach();
        for (int i = 0; i < 48 * 32; ++i)
            ASSERT_EQ(c.Px(i % 48, i / 48), before[i]) << i;
    }
}

} // namespace
