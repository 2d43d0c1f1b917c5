// The raster replay (path 1) on pixels, grouped by record kind.
#include "KVDbase/drawing/XVertBuffer.h"
#include "XDrawingTestCanvas.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

namespace {

// A path 1 buffer, recording from construction, with its scratch in view.
struct Gdi : XVertBuffer {
    Gdi() : XVertBuffer(PATH_GDI) { Start(); }
    void* Scratch() const { return pPoints; }
    int ScratchBytes() const { return nPointsBytes; }
    void Pen(int nCode, double dWidth, COLORREF clr)
    {
        tagXLineStyle s = LineCode(nCode);
        AddLineStyle(&s, dWidth, clr, 1.0);
    }
    void Fill(tagXFillStyle s, COLORREF fore, COLORREF back) { AddFillStyle(&s, fore, back, 1.0); }
    void Square(double x0, double y0, double x1, double y1)
    {
        const double x[4] = {x0, x1, x1, x0}, y[4] = {y1, y1, y0, y0}, e[4] = {x0, y0, x1, y1};
        AddPolygon(x, y, 4, e);
    }
};

const int W = 80, H = 60; // world (x, y) is pixel (x, 60 - y)

TEST(XVertReplayGDI, LineWidthsInPixelsAndWorldUnits)
{
    Gdi vb;
    vb.Pen(0, -3.0, kRed); // 3 pixels at any zoom
    vb.AddLine(10, 50, 70, 50);
    vb.Pen(0, 2.0, kBlue); // 2 world units
    vb.AddLine(10, 30, 70, 30);
    vb.Pen(0, 0.0, kGreen); // the hairline
    const double x[3] = {10, 40, 70}, y[3] = {10, 14, 10}, e[4] = {10, 10, 70, 14};
    vb.AddPolyline(x, y, 3, e);
    vb.End();
    for (int s : {1, 2}) {
        XTestCanvas c(W * s, H * s);
        c.bb.SetWorldPerPixel(1.0 / s, 1.0 / s);
        c.bb.SetWorldToCenter(W / 2.0, H / 2.0);
        vb.Draw(&c.bb);
        c.SavePNG(s == 1 ? "replay_widths_1" : "replay_widths_2");
        EXPECT_EQ(c.Count(kRed, 45 * s, 0, 45 * s + 1, H * s), 3) << s;
        EXPECT_EQ(c.Count(kBlue, 45 * s, 0, 45 * s + 1, H * s), 2 * s) << s;
        EXPECT_EQ(c.Count(kGreen, 12 * s, 0, 12 * s + 1, H * s), 1) << s;
    }
}

TEST(XVertReplayGDI, FillStylesAndTheirBackground)
{
    Gdi vb;
    vb.Pen(tagXLineStyle::STYLE_NONE, 0.0, kBlack);
    const int codes[4] = {0, 1, tagXFillStyle::STYLE_VERTICAL, tagXFillStyle::STYLE_TRANSPARENT_PATTERN};
    for (int i = 0; i < 4; ++i) {
        tagXFillStyle s = FillCode(codes[i]);
        if (i == 3)
            std::memset(s.Pattern, 0x88, sizeof s.Pattern); // columns 0 and 4 of every 8
        vb.Fill(s, kGreen, kBlue);
        vb.Square(20.0 * i, 0, 20.0 * i + 16, 60);
    }
    vb.End();
    XTestCanvas c(W, H);
    c.bb.Clear(kRed, nullptr);
    HDC dc = c.DC(); // the walk leaves the device as it found it
    SetBkMode(dc, TRANSPARENT);
    SetBkColor(dc, kGreen);
    const UINT kinds[3] = {OBJ_PEN, OBJ_BRUSH, OBJ_FONT};
    HGDIOBJ objects[3];
    for (int i = 0; i < 3; ++i)
        objects[i] = GetCurrentObject(dc, kinds[i]);
    vb.Draw(&c.bb);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(GetCurrentObject(dc, kinds[i]), objects[i]) << kinds[i];
    EXPECT_EQ(GetBkMode(dc), TRANSPARENT);
    EXPECT_EQ(GetBkColor(dc), kGreen);
    EXPECT_EQ(c.Count(kGreen, 1, 5, 15, 55), 14 * 50); // solid
    EXPECT_EQ(c.Count(kRed, 21, 5, 35, 55), 14 * 50);  // hollow
    // The hatch's gaps are left alone though the back colour is opaque: the walk judges the background by the back
    // colour's opacity byte, which a back colour record that changed the colour has cleared.
    EXPECT_EQ(c.Count(kGreen, 41, 5, 57, 55), 2 * 50);
    EXPECT_EQ(c.Count(kRed, 41, 5, 57, 55), 14 * 50);
    // Style 8: the mask in the fore colour, the gaps untouched.
    EXPECT_EQ(c.Count(kGreen, 60, 5, 76, 55), 4 * 50);
    EXPECT_EQ(c.Px(64, 20), kGreen);
    EXPECT_EQ(c.Px(61, 20), kRed);
}

TEST(XVertReplayGDI, PolyPolygonsByFillModeAndStyle)
{
    // A square in a square, turning alike, on a DC that fills by winding. Mode 0 changes nothing; hollow and stippled
    // rings are outlined ring by ring, the stipple filling by alternate.
    const tagXVector2 pts[8] = {{10, 10}, {50, 10}, {50, 50}, {10, 50}, {20, 20}, {40, 20}, {40, 40}, {20, 40}};
    const int counts[2] = {4, 4};
    const double e[4] = {10, 10, 50, 50};
    tagXFillStyle full = FillCode(0);
    full.nStyle = tagXFillStyle::STYLE_TRANSPARENT_PATTERN;
    const struct {
        int nMode;
        tagXFillStyle fill;
        COLORREF hole, ring, outline;
    } rows[] = {{0, FillCode(0), kGreen, kGreen, kRed},        {ALTERNATE, FillCode(0), kWhite, kGreen, kRed},
                {WINDING, FillCode(0), kGreen, kGreen, kRed},  {ALTERNATE, FillCode(1), kWhite, kWhite, kRed},
                {WINDING, full, kWhite, kGreen, kRed}};
    for (const auto& row : rows) {
        Gdi vb;
        vb.Pen(0, -1.0, kRed);
        vb.Fill(row.fill, kGreen, kWhite);
        vb.AddPolyFillMode(row.nMode);
        vb.AddPolyPolygon(pts, counts, 2, e);
        vb.End();
        XTestCanvas c(W, H);
        SetPolyFillMode(c.DC(), WINDING);
        vb.Draw(&c.bb);
        SCOPED_TRACE(testing::Message() << row.nMode << " " << row.fill.nStyle);
        ExpectPixels(c, {{30, 30, row.hole}, {15, 30, row.ring}, {10, 30, row.outline}, {20, 30, row.outline}});
        EXPECT_EQ(GetPolyFillMode(c.DC()), WINDING); // restored
    }
}

TEST(XVertReplayGDI, TextSizesByWorldAndByPixel)
{
    int nInk[3];
    for (int i = 0; i < 3; ++i) {
        Gdi vb;
        vb.SetFontSizeFlag(i == 2 ? 1 : 0); // 0: world units; other: pixels
        tagXTextStyle style;
        style.nAlign = 17;
        vb.AddTextStyle(&style, 20.0, kBlack, kWhite, 1.0);
        vb.AddText("HIH", 10, 30, 0);
        vb.End();
        XTestCanvas c(W * 2, H);
        c.bb.SetWorldPerPixel(i == 1 ? 0.5 : 1.0, i == 1 ? 0.5 : 1.0);
        c.bb.SetWorldToCenter(40, 30);
        SetBkMode(c.DC(), OPAQUE);
        vb.Draw(&c.bb);
        int nTop = -1, nBottom = -1;
        for (int y = 0; y < H; ++y)
            if (c.Count(kWhite, 0, y, W * 2, y + 1) != W * 2) {
                nTop = nTop < 0 ? y : nTop;
                nBottom = y;
            }
        nInk[i] = nBottom - nTop + 1;
        EXPECT_EQ(GetBkMode(c.DC()), OPAQUE); // the walk's modes are undone
    }
    EXPECT_GT(nInk[0], 8);
    EXPECT_NEAR(nInk[1], 2 * nInk[0], 2); // world sizes follow the zoom
    EXPECT_EQ(nInk[2], nInk[0]);           // 20 pixels, or 20 units at 1:1
}

TEST(XVertReplayGDI, ImagesPointsEllipsesAndMetafiles)
{
    BITMAPINFO bmi = {};
    bmi.bmiHeader = {sizeof(BITMAPINFOHEADER), 2, 1, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    const char bits[8] = {0, 0, static_cast<char>(255), 0, 0, 0, 0, 0}; // red, black
    Gdi vb;
    vb.AddDIB(bits, &bmi, 10, 50, 29, 41, 0, 1.0, 1); // black keyed: class 0
    vb.AddDIB(bits, &bmi, 40, 50, 59, 41, 0, 0.5, 0); // class 1
    vb.Pen(0, -1.0, kRed);
    // A point on the view's very edge is drawn: world (79, 59) is the box's corner, pixel (79, 1).
    const double x[3] = {5, 79, 40}, y[3] = {55, 59, 200}, e[4] = {};
    vb.AddPolypoint(x, y, 3, e);
    vb.Fill(FillCode(0), kGreen, kWhite);
    vb.AddEllipse(40, 30, 10, 5); // box (30, 25) to (50, 35)
    // Metafile records have nothing to play on here and are passed over.
    vb.AddTextBox(10, 10, 0, 30, 30, nullptr);
    const unsigned char emf[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    vb.AddEMF(20, 20, 0, 10, 10, 1, sizeof emf, emf, "emf");
    vb.End();
    XTestCanvas c(W, H);
    c.bb.Clear(kBlue, nullptr);
    vb.Draw(&c.bb);
    const BYTE half = static_cast<BYTE>(static_cast<int>(255 * 127 / 255.0)), rest = 255 - half;
    // The key lets the surface through at (25, 12); the point at the view's corner is drawn at (79, 1).
    ExpectPixels(c, {{12, 12, kRed}, {25, 12, kBlue}, {42, 12, RGB(half, 0, rest)}, {57, 12, RGB(0, 0, rest)},
                     {5, 5, kRed}, {79, 1, kRed}, {40, 25, kRed}, {40, 30, kGreen}, {40, 24, kBlue}});
    EXPECT_EQ(c.Count(kBlue, 0, 36, W, H), W * (H - 36)); // no text box, no metafile
}

TEST(XVertReplayGDI, LatLongViewDrawsThreeTurns)
{
    Gdi vb;
    vb.Pen(0, -1.0, kRed);
    vb.AddLine(170, 0, 190, 0); // across the antimeridian
    // The extent claims 530 to 550, the points lie at 190 to 200: only the copy a turn to the left passes the box test,
    // and it lands at -170 to -160. Without the wrap the box test culls it.
    const double px[4] = {190, 200, 200, 190}, py[4] = {-20, -20, -30, -30}, pe[4] = {530, -30, 550, -20};
    vb.Fill(FillCode(0), kGreen, kWhite);
    vb.AddPolygon(px, py, 4, pe);
    vb.End();
    for (bool bWrap : {true, false}) {
        XTestCanvas c(360, 180);
        c.bb.SetLatLongRounding(bWrap);
        c.bb.SetWorldToCenter(0, 0); // world x is pixel x - 180
        vb.Draw(&c.bb);
        EXPECT_EQ(c.Px(355, 90), kRed) << bWrap;
        EXPECT_EQ(c.Px(5, 90), bWrap ? kRed : kWhite) << bWrap;
        EXPECT_EQ(c.Count(kGreen), bWrap ? 81 : 0) << bWrap; // 10 by 10, outlined left and top
    }
}

TEST(XVertReplayGDI, ScratchIsSizedOnceAndGrowsForRawRecords)
{
    Gdi vb;
    const double x[5] = {1, 20, 40, 60, 79}, y[5] = {55, 55, 55, 55, 55}, e[4] = {1, 55, 79, 55};
    vb.AddPolyline(x, y, 5, e);
    vb.End();
    XTestCanvas c(W, H);
    vb.Draw(&c.bb);
    EXPECT_EQ(vb.ScratchBytes(), 5 * 8 + 8);
    void* pFirst = vb.Scratch();
    vb.Draw(&c.bb);
    EXPECT_EQ(vb.Scratch(), pFirst); // reused between replays
    // A raw record of more points than nMaxPoints knew when it was sized.
    const int n = 300;
    unsigned char* pRaw = static_cast<unsigned char*>(std::calloc(1, 40 + 24 * n));
    for (int i = 0; i < n; ++i) {
        const double xy[2] = {i * 79.0 / (n - 1), 50};
        std::memcpy(pRaw + 40 + 24 * i, xy, 16);
    }
    const double re[4] = {0, 50, 79, 50};
    vb.AddRawPolyBuffer(pRaw, XVertBuffer::KIND_POLYLINE, n, re);
    vb.Draw(&c.bb);
    EXPECT_GE(vb.ScratchBytes(), (n + 1) * 8);
    EXPECT_EQ(c.Count(kBlack, 0, 10, W, 11), 79);
}

TEST(XVertReplayGDI, DrawOnAPlainDCThroughTheCallersTransform)
{
    XTestCanvas c(101, 101);
    HDC hDC = c.WindowDC();
    for (int nPath : {XVertBuffer::PATH_GDI, XVertBuffer::PATH_GL}) {
        XVertBuffer vb(nPath);
        vb.Start();
        tagXLineStyle solid;
        vb.AddLineStyle(&solid, -1.0, kRed, 1.0);
        const double x[1] = {20}, y[1] = {0}, e[4] = {20, 0, 20, 0};
        vb.AddPolypoint(x, y, 1, e);
        vb.End();
        // Pixel = world * 2 + 10 across and world * -2 + 50 down: world (20, 0) is the centre of the view made from it,
        // pixel 50.5 on both axes, which rounds to 51. The OpenGL path draws nothing here.
        vb.Draw(hDC, 10, 2, 50, -2);
    }
    int nRed = 0;
    for (int i = 0; i < 101 * 101; ++i)
        nRed += GetPixel(hDC, i % 101, i / 101) == kRed;
    EXPECT_EQ(GetPixel(hDC, 51, 51), kRed);
    EXPECT_EQ(nRed, 1);
}

} // namespace
