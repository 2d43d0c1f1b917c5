#include "KVDbase/drawing/XBackBuffer.h"
#include "XDrawingTestCanvas.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

// World (x, y) is pixel (x, 40 - y) on these 64 by 40 canvases.
const int W = 64, H = 40;

void Pen(XBackBuffer& bb, COLORREF clr, int nCode = tagXLineStyle::STYLE_SOLID)
{
    tagXLineStyle s;
    s.SetStyle(nCode);
    bb.SetLineStyle(&s, false, 0.0, clr, 1.0);
}

void Fill(XBackBuffer& bb, int nCode, COLORREF fore, COLORREF back = kWhite)
{
    tagXFillStyle s;
    s.SetStyle(nCode);
    bb.SetFillStyle(&s, fore, back, 1.0);
}

TEST(XBackBufferPrimitives, PointsRoundHalfAwayFromZero)
{
    XTestCanvas c(W, H);
    Pen(c.bb, kRed);
    // Each point is a one-pixel stroke at its rounded pixel.
    double x[] = {10.4, 20.5, 30.49, -0.5, -0.4};
    double y[] = {30.0, 30.0, 29.5, 20.0, 10.0};
    double ext[4] = {0, 0, 0, 0};
    c.bb.DrawPolypoint(x, y, 5, ext);
    EXPECT_EQ(c.Px(10, 10), kRed);
    EXPECT_EQ(c.Px(21, 10), kRed);
    EXPECT_EQ(c.Px(30, 11), kRed); // y 29.5 is pixel 10.5, which rounds to 11
    EXPECT_EQ(c.Px(0, 30), kRed);  // -0.4 rounds to 0 ...
    EXPECT_EQ(c.Px(0, 20), kWhite); // ... and -0.5 to -1, off the surface
    EXPECT_EQ(c.Count(kRed), 4);
    c.bb.DrawPolypoint(x, y, 0, ext); // nothing
    EXPECT_EQ(c.Count(kRed), 4);
}

TEST(XBackBufferPrimitives, LinesAndPolylinesInEveryShape)
{
    XTestCanvas c(W, H);
    Pen(c.bb, kBlue);
    c.bb.DrawLine(2, 38, 12, 38); // row 2, the last pixel left out
    EXPECT_EQ(c.Count(kBlue, 0, 2, W, 3), 10);
    EXPECT_EQ(c.Px(12, 2), kWhite);

    // The same L in three shapes: along a row, then down a column, the end
    // point left out.
    tagXVector3 v3[3] = {{2, 30, 9}, {20, 30, 9}, {20, 20, 9}};
    tagXVector2 v2[3] = {{2, 18}, {20, 18}, {20, 8}};
    double xs[3] = {30, 48, 48}, ys[3] = {30, 30, 20}, zs[3] = {1, 2, 3};
    double ext[4] = {0, 0, 0, 0};
    c.bb.DrawPolyline(v3, 3, ext);
    c.bb.DrawPolyline(v2, 3, ext);
    c.bb.DrawPolyline(xs, ys, zs, 3, ext);
    const POINT starts[3] = {{2, 10}, {2, 22}, {30, 10}};
    for (const POINT& p : starts) {
        EXPECT_EQ(c.Count(kBlue, p.x, p.y, p.x + 18, p.y + 1), 18) << p.x << "," << p.y;
        EXPECT_EQ(c.Count(kBlue, p.x + 18, p.y, p.x + 19, p.y + 10), 10) << p.x << "," << p.y;
        EXPECT_EQ(c.Px(p.x + 18, p.y + 10), kWhite) << p.x << "," << p.y;
    }
    c.bb.DrawLine(tagXVector2{40, 5}, tagXVector2{44, 5});
    c.bb.DrawLine(40, 3, 0, 44, 3, 0);
    EXPECT_EQ(c.Count(kBlue, 40, 35, 44, 36), 4);
    EXPECT_EQ(c.Count(kBlue, 40, 37, 44, 38), 4);
}

// A triangle with its right angle at (10, 30).
double g_tx[3] = {10, 40, 10}, g_ty[3] = {30, 30, 5};
double g_text[4] = {10, 5, 40, 30};

TEST(XBackBufferPrimitives, PolygonIsClosedAndFilledByItsStyle)
{
    struct Row {
        int nStyle;
        COLORREF inside;
    } rows[] = {
        {tagXFillStyle::STYLE_SOLID, kGreen},
        {tagXFillStyle::STYLE_HOLLOW, kWhite},
        {99, kGreen}, // unknown codes fill solid
    };
    for (const Row& row : rows) {
        XTestCanvas c(W, H);
        Pen(c.bb, kBlue);
        Fill(c.bb, row.nStyle, kGreen);
        c.bb.DrawPolygon(g_tx, g_ty, 3, g_text);
        EXPECT_EQ(c.Px(14, 15), row.inside) << row.nStyle;
        // The outline: both legs and the closing hypotenuse, over the fill.
        EXPECT_EQ(c.Px(10, 10), kBlue) << row.nStyle;
        EXPECT_EQ(c.Px(25, 10), kBlue) << row.nStyle;
        EXPECT_EQ(c.Px(10, 30), kBlue) << row.nStyle;
        EXPECT_EQ(c.Px(10, 36), kWhite) << row.nStyle;
    }
}

TEST(XBackBufferPrimitives, HatchedFillKeepsTheBackgroundRule)
{
    for (int nMode : {OPAQUE, TRANSPARENT}) {
        XTestCanvas c(W, H);
        c.bb.Clear(kRed, nullptr);
        Pen(c.bb, kBlue);
        Fill(c.bb, tagXFillStyle::STYLE_HORIZONTAL, kGreen, kBlack);
        SetBkMode(c.DC(), nMode);
        SetBkColor(c.DC(), kWhite);
        double x[4] = {0, 64, 64, 0}, y[4] = {40, 40, 0, 0}, ext[4] = {0, 0, 64, 40};
        c.bb.DrawPolygon(x, y, 4, ext);
        // One hatch row in eight; the gaps in the DC's background colour
        // when it is opaque, untouched when transparent.
        int nHatchRows = 0;
        for (int py = 1; py < 39; ++py)
            nHatchRows += c.Px(20, py) == kGreen;
        EXPECT_GE(nHatchRows, 4);
        EXPECT_LE(nHatchRows, 5);
        EXPECT_EQ(c.Count(nMode == OPAQUE ? kWhite : kRed, 10, 1, 60, 39), 50 * (38 - nHatchRows)) << nMode;
    }
}

// A mask whose four bytes a row differ: bits for columns 0, 1 and 31 in the
// order of glPolygonStipple, which the brush's word order would put at
// columns 7, 24 and 25.
tagXFillStyle StippleStyle()
{
    unsigned char mask[128];
    for (int r = 0; r < 32; ++r) {
        mask[4 * r] = r == 3 ? 0x00 : 0xC0;
        mask[4 * r + 1] = mask[4 * r + 2] = 0;
        mask[4 * r + 3] = r == 3 ? 0x00 : 0x01;
    }
    tagXFillStyle s;
    s.SetStyle(mask);
    s.nStyle = tagXFillStyle::STYLE_TRANSPARENT_PATTERN;
    return s;
}

TEST(XBackBufferPrimitives, StippleFillPaintsTheMaskAndLeavesTheGaps)
{
    XTestCanvas c(W, H);
    c.bb.Clear(kRed, nullptr);
    tagXFillStyle s = StippleStyle();
    c.bb.SetFillStyle(&s, kGreen, kBlack, 1.0);
    Pen(c.bb, kBlue, tagXLineStyle::STYLE_NONE);
    double x[4] = {0, 64, 64, 0}, y[4] = {40, 40, 0, 0};
    double ext[4] = {0, 0, 64, 40};
    c.bb.DrawPolygon(x, y, 4, ext);
    for (int py : {0, 5, 39}) {
        for (int px : {0, 1, 31, 32, 33, 63})
            EXPECT_EQ(c.Px(px, py), kGreen) << px << "," << py;
        for (int px : {2, 7, 24, 25, 30, 34})
            EXPECT_EQ(c.Px(px, py), kRed) << px << "," << py;
    }
    EXPECT_EQ(c.Px(0, 3), kRed);  // mask row 3 is empty
    EXPECT_EQ(c.Px(0, 35), kRed); // and repeats 32 rows down
    EXPECT_EQ(c.Count(kBlack), 0);
}

TEST(XBackBufferPrimitives, StippleFillIsBoundedByItsExtent)
{
    XTestCanvas c(W, H);
    tagXFillStyle s = StippleStyle();
    c.bb.SetFillStyle(&s, kGreen, kBlack, 1.0);
    Pen(c.bb, kBlue);
    // An extent off the surface paints nothing; the outline still comes.
    double offExt[4] = {100, 100, 200, 200};
    c.bb.DrawPolygon(g_tx, g_ty, 3, offExt);
    EXPECT_EQ(c.Count(kGreen), 0);
    EXPECT_EQ(c.Px(10, 10), kBlue);
    // An extent cut short cuts the fill: truncated, columns 0 to 32 only.
    double cutExt[4] = {0, 0, 32.9, 40};
    c.bb.DrawPolygon(g_tx, g_ty, 3, cutExt);
    EXPECT_EQ(c.Px(32, 12), kGreen);
    EXPECT_EQ(c.Px(33, 12), kWhite);
}

TEST(XBackBufferPrimitives, PolyPolygonHolesAndOutlines)
{
    // A 40 by 30 square with a 10 by 10 square inside it, both clockwise.
    tagXVector2 pts[8] = {{5, 35}, {45, 35}, {45, 5}, {5, 5}, {20, 25}, {30, 25}, {30, 15}, {20, 15}};
    int counts[2] = {4, 4};
    double ext[4] = {5, 5, 45, 35};
    struct Row {
        int nStyle;
        int nMode;
        COLORREF ring, hole;
    } rows[] = {
        {tagXFillStyle::STYLE_SOLID, ALTERNATE, kGreen, kWhite},
        {tagXFillStyle::STYLE_SOLID, WINDING, kGreen, kGreen},
        {tagXFillStyle::STYLE_HOLLOW, ALTERNATE, kWhite, kWhite},
    };
    for (const Row& row : rows) {
        XTestCanvas c(W, H);
        Pen(c.bb, kBlue);
        Fill(c.bb, row.nStyle, kGreen);
        c.bb.SetPolyFillMode(row.nMode);
        c.bb.DrawPolyPolygon(pts, counts, 2, ext);
        EXPECT_EQ(c.Px(10, 20), row.ring) << row.nStyle << " " << row.nMode;
        EXPECT_EQ(c.Px(25, 20), row.hole) << row.nStyle << " " << row.nMode;
        EXPECT_EQ(c.Px(20, 5), kBlue);  // outer outline
        EXPECT_EQ(c.Px(20, 20), kBlue); // inner outline
        EXPECT_EQ(c.Px(5, 20), kBlue);  // the closing edge of the outer ring
    }
    // A stippled set takes the DC's fill mode for its region.
    for (int nMode : {ALTERNATE, WINDING}) {
        XTestCanvas c(W, H);
        tagXFillStyle s; // a full mask
        s.nStyle = tagXFillStyle::STYLE_TRANSPARENT_PATTERN;
        c.bb.SetFillStyle(&s, kGreen, kBlack, 1.0);
        c.bb.SetPolyFillMode(nMode);
        c.bb.DrawPolyPolygon(pts, counts, 2, ext);
        EXPECT_EQ(c.Px(10, 20), kGreen);
        EXPECT_EQ(c.Px(25, 20), nMode == WINDING ? kGreen : kWhite);
        EXPECT_EQ(c.Px(20, 20), kBlack); // rings outlined one by one
    }
}

// The box of the non-white pixels, or an empty box.
RECT Ink(const XTestCanvas& c)
{
    RECT r = {W, H, -1, -1};
    for (int y = 0; y < H * 2; ++y)
        for (int x = 0; x < W * 2; ++x)
            if (c.Px(x, y) != kWhite && c.Px(x, y) != CLR_INVALID) {
                r.left = x < r.left ? x : r.left;
                r.top = y < r.top ? y : r.top;
                r.right = x > r.right ? x : r.right;
                r.bottom = y > r.bottom ? y : r.bottom;
            }
    return r;
}

TEST(XBackBufferPrimitives, TextStandsOnItsAnchor)
{
    tagXTextStyle style;
    style.lf.lfWeight = 700;
    double w = 0, h = 0;
    {
        XTestCanvas c(W * 2, H * 2);
        c.bb.SetTextStyle(&style, false, 20.0, kBlack, kWhite, 1.0);
        ASSERT_EQ(XBackBuffer::GetTextDimensionGDI(c.DC(), "HH", &style, w, h), 1);
    }
    ASSERT_GT(w, 10);
    ASSERT_GT(h, 10);
    // nAlign: bit 1/2/4 put the box right of, centred on and left of x; bit
    // 8/16/32 above, centred on and below y. The ink must lie in that box.
    for (int nAlign : {9, 10, 12, 17, 18, 20, 33, 34, 36}) {
        XTestCanvas c(W * 2, H * 2);
        SetBkMode(c.DC(), OPAQUE);
        tagXTextStyle aligned = style;
        aligned.nAlign = nAlign;
        c.bb.SetTextStyle(&aligned, false, 20.0, kBlack, kWhite, 1.0);
        c.bb.DrawTextA("HH", 64, 40, 0); // pixel (64, 40)
        const double left = 64 - (nAlign & 2 ? w / 2 : nAlign & 4 ? w : 0);
        const double top = 40 - (nAlign & 8 ? h : nAlign & 16 ? h / 2 : 0);
        const RECT ink = Ink(c);
        EXPECT_GE(ink.left, left - 1) << nAlign;
        EXPECT_LE(ink.right, left + w) << nAlign;
        EXPECT_GE(ink.top, top - 1) << nAlign;
        EXPECT_LE(ink.bottom, top + h) << nAlign;
        EXPECT_GT(ink.right - ink.left, w / 2) << nAlign;
        EXPECT_EQ(GetBkMode(c.DC()), OPAQUE) << nAlign; // as it found it
    }
}

TEST(XBackBufferPrimitives, TurnedTextTurnsItsAnchorOnlyWhenShifted)
{
    tagXTextStyle style;
    style.lf.lfOrientation = 900; // a quarter turn, reading upwards
    RECT inks[2];
    for (int i = 0; i < 2; ++i) {
        XTestCanvas c(W * 2, H * 2);
        style.nAlign = i == 0 ? 33 : 9;
        tagXTextStyle s = style;
        c.bb.SetTextStyle(&s, false, 20.0, kBlack, kWhite, 1.0);
        c.bb.DrawTextA("HHH", 64, 40, 0);
        inks[i] = Ink(c);
    }
    // Left and top (33): no shift, so no turn of the anchor; the text runs
    // up from pixel (64, 40), its lines to the right of it.
    EXPECT_GE(inks[0].left, 63);
    EXPECT_LE(inks[0].bottom, 40);
    // Left and bottom (9): the anchor is shifted up by the height and turned
    // about (64, 40), which puts it left of the point.
    EXPECT_LT(inks[1].left, inks[0].left);
}

TEST(XBackBufferPrimitives, MeasureFailsWithoutADC)
{
    tagXTextStyle style;
    HDC hGone = CreateCompatibleDC(nullptr);
    DeleteDC(hGone);
    double w = 5, h = 5;
    EXPECT_EQ(XBackBuffer::GetTextDimensionGDI(hGone, "abc", &style, w, h), 0);
    EXPECT_EQ(w, 0.0);
    EXPECT_EQ(h, 0.0);
}

} // namespace
