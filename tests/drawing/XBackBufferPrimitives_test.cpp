// The back buffer's world-space primitives on pixels: rounding, closing, fill styles, the stipple, holes, text.
#include "KVDbase/drawing/XBackBuffer.h"
#include "XDrawingTestCanvas.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <vector>

namespace {

// World (x, y) is pixel (x, 40 - y) on these 64 by 40 canvases.
const int W = 64, H = 40;

void Pen(XBackBuffer& bb, COLORREF clr, int nCode = tagXLineStyle::STYLE_SOLID)
{
    tagXLineStyle s = LineCode(nCode);
    bb.SetLineStyle(&s, false, 0.0, clr, 1.0);
}

void Fill(XBackBuffer& bb, tagXFillStyle s, COLORREF fore) { bb.SetFillStyle(&s, fore, kBlack, 1.0); }

TEST(XBackBufferPrimitives, PointsRoundHalfAwayFromZero)
{
    XTestCanvas c(W, H);
    Pen(c.bb, kRed);
    // Each point is a one-pixel stroke at its rounded pixel: -0.4 rounds to 0, -0.5 to -1 (off the surface), 20.5 to
    // 21, pixel y 10.5 to 11.
    double x[] = {10.4, 20.5, 30.49, -0.5, -0.4}, y[] = {30.0, 30.0, 29.5, 20.0, 10.0}, e[4] = {};
    c.bb.DrawPolypoint(x, y, 5, e);
    ExpectPixels(c, {{10, 10, kRed}, {21, 10, kRed}, {30, 11, kRed}, {0, 30, kRed}});
    EXPECT_EQ(c.Count(kRed), 4);
}

TEST(XBackBufferPrimitives, EveryPointFormDrawsTheSameShape)
{
    // Each family's forms take the same points as arrays, 2D and 3D vectors; z is not used. Polylines leave the last
    // point out; polygons close and fill.
    double x[4] = {10, 40, 40, 10}, y[4] = {30, 30, 5, 5}, z[4] = {7, 8, 9, 9}, e[4] = {10, 5, 40, 30};
    tagXVector2 v2[4];
    tagXVector3 v3[4];
    for (int i = 0; i < 4; ++i) {
        v2[i] = {x[i], y[i]};
        v3[i] = {x[i], y[i], z[i]};
    }
    int counts[1] = {4};
    using Form = std::function<void(XBackBuffer&)>;
    const std::vector<std::vector<Form>> families = {
        {[&](XBackBuffer& b) { b.DrawLine(x[0], y[0], x[1], y[1]); },
         [&](XBackBuffer& b) { b.DrawLine(x[0], y[0], 1, x[1], y[1], 2); },
         [&](XBackBuffer& b) { b.DrawLine(v2[0], v2[1]); }, [&](XBackBuffer& b) { b.DrawLine(v3[0], v3[1]); }},
        {[&](XBackBuffer& b) { b.DrawPolyline(x, y, 4, e); }, [&](XBackBuffer& b) { b.DrawPolyline(x, y, z, 4, e); },
         [&](XBackBuffer& b) { b.DrawPolyline(v2, 4, e); }, [&](XBackBuffer& b) { b.DrawPolyline(v3, 4, e); }},
        {[&](XBackBuffer& b) { b.DrawPolypoint(x, y, 4, e); }, [&](XBackBuffer& b) { b.DrawPolypoint(x, y, z, 4, e); },
         [&](XBackBuffer& b) { b.DrawPolypoint(v2, 4, e); }, [&](XBackBuffer& b) { b.DrawPolypoint(v3, 4, e); }},
        {[&](XBackBuffer& b) { b.DrawPolygon(x, y, 4, e); }, [&](XBackBuffer& b) { b.DrawPolygon(x, y, z, 4, e); },
         [&](XBackBuffer& b) { b.DrawPolygon(v2, 4, e); }, [&](XBackBuffer& b) { b.DrawPolygon(v3, 4, e); },
         [&](XBackBuffer& b) { b.DrawPolyPolygon(x, y, counts, 1, e); },
         [&](XBackBuffer& b) { b.DrawPolyPolygon(x, y, z, counts, 1, e); },
         [&](XBackBuffer& b) { b.DrawPolyPolygon(v2, counts, 1, e); },
         [&](XBackBuffer& b) { b.DrawPolyPolygon(v3, counts, 1, e); }},
    };
    const int nBlue[4] = {30, 30 + 25 + 30, 4, 2 * 30 + 2 * 25}, nGreen[4] = {0, 0, 0, 29 * 24};
    for (size_t f = 0; f < families.size(); ++f)
        for (size_t i = 0; i < families[f].size(); ++i) {
            XTestCanvas c(W, H);
            Pen(c.bb, kBlue);
            Fill(c.bb, FillCode(99), kGreen); // an unknown code fills as solid
            families[f][i](c.bb);
            EXPECT_EQ(c.Count(kBlue), nBlue[f]) << f << " " << i;
            EXPECT_EQ(c.Count(kGreen), nGreen[f]) << f << " " << i;
            EXPECT_EQ(c.Px(10, 10), kBlue) << f << " " << i;
        }
    // Negative counts and rings draw nothing.
    XTestCanvas c(W, H);
    int bad[2] = {3, -1};
    c.bb.DrawPolyline(v2, -1, e);
    c.bb.DrawPolygon(v2, 0, e);
    c.bb.DrawPolyPolygon(v2, counts, 0, e);
    c.bb.DrawPolyPolygon(v2, bad, 2, e);
    EXPECT_EQ(c.Count(kWhite), W * H);
}

// A mask whose bytes differ: columns 0, 1 and 31 of every row but row 3 in the order of glPolygonStipple, where the
// brush's word order would give columns 7, 24 and 25.
tagXFillStyle Stipple()
{
    tagXFillStyle s = FillCode(tagXFillStyle::STYLE_TRANSPARENT_PATTERN);
    for (int r = 0; r < 32; ++r) {
        s.Pattern[4 * r] = r == 3 ? 0 : 0xC0;
        s.Pattern[4 * r + 1] = s.Pattern[4 * r + 2] = 0;
        s.Pattern[4 * r + 3] = r == 3 ? 0 : 0x01;
    }
    return s;
}

TEST(XBackBufferPrimitives, StippleFillPaintsTheMaskWithinItsExtent)
{
    XTestCanvas c(W, H);
    c.bb.Clear(kRed, nullptr);
    Fill(c.bb, Stipple(), kGreen);
    Pen(c.bb, kBlue, tagXLineStyle::STYLE_NONE);
    double x[4] = {0, 64, 64, 0}, y[4] = {40, 40, 0, 0}, e[4] = {0, 0, 64, 40};
    c.bb.DrawPolygon(x, y, 4, e);
    for (int py : {0, 5, 39}) {
        for (int px : {0, 1, 31, 32, 33, 63})
            EXPECT_EQ(c.Px(px, py), kGreen) << px << "," << py;
        for (int px : {2, 7, 24, 25, 30, 34})
            EXPECT_EQ(c.Px(px, py), kRed) << px << "," << py; // gaps untouched
    }
    EXPECT_EQ(c.Px(0, 3), kRed);  // mask row 3 is empty ...
    EXPECT_EQ(c.Px(0, 35), kRed); // ... and anchored at the surface origin

    // An extent off the surface paints nothing and the outline still comes; one cut short cuts the fill (truncated:
    // columns up to 32).
    XTestCanvas d(W, H);
    Fill(d.bb, Stipple(), kGreen);
    Pen(d.bb, kBlue);
    double tx[3] = {10, 40, 10}, ty[3] = {30, 30, 5}, offExt[4] = {100, 100, 200, 200}, cutExt[4] = {0, 0, 32.9, 40};
    d.bb.DrawPolygon(tx, ty, 3, offExt);
    EXPECT_EQ(d.Count(kGreen), 0);
    EXPECT_EQ(d.Px(10, 20), kBlue);
    d.bb.DrawPolygon(tx, ty, 3, cutExt);
    EXPECT_EQ(d.Px(32, 12), kGreen);
    EXPECT_EQ(d.Px(33, 12), kWhite);
}

TEST(XBackBufferPrimitives, PolyPolygonHolesAndOutlines)
{
    // A 40 by 30 square with a 10 by 10 square inside, both turning alike.
    tagXVector2 pts[8] = {{5, 35}, {45, 35}, {45, 5}, {5, 5}, {20, 25}, {30, 25}, {30, 15}, {20, 15}};
    int counts[2] = {4, 4};
    double e[4] = {5, 5, 45, 35};
    tagXFillStyle fullMask = FillCode(tagXFillStyle::STYLE_SOLID);
    fullMask.nStyle = tagXFillStyle::STYLE_TRANSPARENT_PATTERN;
    const struct {
        tagXFillStyle style;
        int nMode;
        COLORREF ring, hole;
    } rows[] = {
        {FillCode(tagXFillStyle::STYLE_HOLLOW), ALTERNATE, kWhite, kWhite},
        {fullMask, ALTERNATE, kGreen, kWhite}, // the stipple takes the DC's mode
        {fullMask, WINDING, kGreen, kGreen},
    };
    for (const auto& row : rows) {
        XTestCanvas c(W, H);
        Pen(c.bb, kBlue);
        Fill(c.bb, row.style, kGreen);
        c.bb.SetPolyFillMode(row.nMode);
        c.bb.DrawPolyPolygon(pts, counts, 2, e);
        SCOPED_TRACE(testing::Message() << row.style.nStyle << " " << row.nMode);
        // The ring, the hole, and both rings' outlines, closed.
        ExpectPixels(c, {{10, 20, row.ring}, {25, 20, row.hole}, {20, 5, kBlue}, {20, 20, kBlue}, {5, 20, kBlue}});
    }
}

// The box of the non-white pixels.
RECT Ink(const XTestCanvas& c)
{
    RECT r = {1 << 20, 1 << 20, -1, -1};
    for (int y = 0; y < c.bb.GetHeight(); ++y)
        for (int x = 0; x < c.bb.GetWidth(); ++x)
            if (c.Px(x, y) != kWhite)
                r = {std::min<LONG>(x, r.left), std::min<LONG>(y, r.top), std::max<LONG>(x, r.right),
                     std::max<LONG>(y, r.bottom)};
    return r;
}

TEST(XBackBufferPrimitives, TextStandsOnItsAnchor)
{
    tagXTextStyle style;
    style.lf.lfWeight = 700;
    style.lf.lfHeight = 20;
    double w = 0, h = 0;
    ASSERT_EQ(XBackBuffer::GetTextDimensionGDI(nullptr, "HH", &style, w, h), 1);
    ASSERT_GT(w, 10);
    // Bits 1/2/4 put the box right of, centred on, left of x; 8/16/32 above, centred on, below y. The ink must lie in
    // that box.
    for (int nAlign : {9, 10, 12, 17, 18, 20, 33, 34, 36}) {
        XTestCanvas c(W * 2, H * 2);
        SetBkMode(c.DC(), OPAQUE);
        tagXTextStyle s = style;
        s.nAlign = nAlign;
        c.bb.SetTextStyle(&s, false, 20.0, kBlack, kWhite, 1.0);
        c.bb.DrawTextA("HH", 64, 40, 0); // pixel (64, 40)
        const double left = 64 - (nAlign & 2 ? w / 2 : nAlign & 4 ? w : 0);
        const double top = 40 - (nAlign & 8 ? h : nAlign & 16 ? h / 2 : 0);
        const RECT ink = Ink(c);
        SCOPED_TRACE(nAlign);
        EXPECT_GE(ink.left, left - 1);
        EXPECT_LE(ink.right, left + w);
        EXPECT_GE(ink.top, top - 1);
        EXPECT_LE(ink.bottom, top + h);
        EXPECT_GT(ink.right - ink.left, w / 2);
        EXPECT_EQ(GetBkMode(c.DC()), OPAQUE); // as it found it
    }
    // Turned a quarter: left and top (33) has no shift, so the anchor stays and the text runs up from it to its right;
    // left and bottom (9) shifts the anchor up by the height and turns it about (64, 40), to the left.
    RECT inks[2];
    for (int i = 0; i < 2; ++i) {
        XTestCanvas c(W * 2, H * 2);
        tagXTextStyle s = style;
        s.nAlign = i == 0 ? 33 : 9;
        s.lf.lfOrientation = 900;
        c.bb.SetTextStyle(&s, false, 20.0, kBlack, kWhite, 1.0);
        c.bb.DrawTextA("HHH", 64, 40, 0);
        inks[i] = Ink(c);
    }
    EXPECT_GE(inks[0].left, 63);
    EXPECT_LE(inks[0].bottom, 40);
    EXPECT_LT(inks[1].left, inks[0].left - 10);
    // No DC to measure on: 0 and an empty box.
    HDC hGone = CreateCompatibleDC(nullptr);
    DeleteDC(hGone);
    EXPECT_EQ(XBackBuffer::GetTextDimensionGDI(hGone, "abc", &style, w, h), 0);
    EXPECT_EQ(w + h, 0.0);
}

} // namespace
