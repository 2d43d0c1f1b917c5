#include "KVDbase/drawing/XVertBuffer.h"
#include "XDrawingTestCanvas.h"
#include "XReferenceDrawing.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// A path 1 buffer with its replay scratch in view.
struct GdiBuffer : XVertBuffer {
    GdiBuffer() : XVertBuffer(PATH_GDI) {}
    void* Scratch() const { return pPoints; }
    int ScratchBytes() const { return nPointsBytes; }
};

const int W = 80, H = 60;

tagXLineStyle Line(int nCode)
{
    tagXLineStyle s;
    s.SetStyle(nCode);
    return s;
}

tagXFillStyle Fill(int nCode)
{
    tagXFillStyle s;
    s.SetStyle(nCode);
    return s;
}

void Square(XVertBuffer& vb, double x0, double y0, double x1, double y1)
{
    const double x[4] = {x0, x1, x1, x0}, y[4] = {y1, y1, y0, y0};
    const double e[4] = {x0, y0, x1, y1};
    vb.AddPolygon(x, y, 4, e);
}

// Rows of column x that hold clr.
int Thickness(const XTestCanvas& c, int x, COLORREF clr) { return c.Count(clr, x, 0, x + 1, c.bb.GetHeight()); }

TEST(XVertReplayGDI, LineColoursAndWidthsInPixelsAndWorldUnits)
{
    GdiBuffer vb;
    vb.Start();
    tagXLineStyle solid = Line(tagXLineStyle::STYLE_SOLID);
    vb.AddLineStyle(&solid, -3.0, kRed, 1.0); // 3 pixels at any zoom
    vb.AddLine(10, 50, 70, 50);
    vb.AddLineStyle(&solid, 2.0, kBlue, 1.0); // 2 world units
    vb.AddLine(10, 30, 70, 30);
    vb.AddLineStyle(&solid, 0.0, kGreen, 1.0); // the hairline
    const double x[3] = {10, 40, 70}, y[3] = {10, 14, 10}, e[4] = {10, 10, 70, 14};
    vb.AddPolyline(x, y, 3, e);
    vb.End();
    for (int nScale : {1, 2}) {
        // World (x, y) is pixel (s x, s (60 - y)) at s pixels a unit.
        XTestCanvas c(W * nScale, H * nScale);
        c.bb.SetWorldPerPixel(1.0 / nScale, 1.0 / nScale);
        c.bb.SetWorldToCenter(W / 2.0, H / 2.0);
        vb.Draw(&c.bb);
        c.SavePNG(nScale == 1 ? "replay_widths_1" : "replay_widths_2");
        const int x = 45 * nScale;
        EXPECT_EQ(Thickness(c, x, kRed), 3) << nScale;
        EXPECT_EQ(Thickness(c, x, kBlue), 2 * nScale) << nScale;
        EXPECT_GE(c.Count(kGreen), 60 * nScale) << nScale;
        EXPECT_EQ(Thickness(c, 12 * nScale, kGreen), 1) << nScale;
    }
}

TEST(XVertReplayGDI, FillStylesAndTheirBackground)
{
    GdiBuffer vb;
    vb.Start();
    tagXLineStyle none = Line(tagXLineStyle::STYLE_NONE);
    vb.AddLineStyle(&none, 0.0, kBlack, 1.0);
    const int codes[4] = {tagXFillStyle::STYLE_SOLID, tagXFillStyle::STYLE_HOLLOW, tagXFillStyle::STYLE_VERTICAL,
                          tagXFillStyle::STYLE_TRANSPARENT_PATTERN};
    for (int i = 0; i < 4; ++i) {
        tagXFillStyle s = Fill(codes[i]);
        if (codes[i] == tagXFillStyle::STYLE_TRANSPARENT_PATTERN)
            std::memset(s.Pattern, 0x88, sizeof s.Pattern); // columns 0 and 4 of every 8
        vb.AddFillStyle(&s, kGreen, kBlue, 1.0);
        Square(vb, 20.0 * i, 0, 20.0 * i + 16, 60);
    }
    vb.End();
    XTestCanvas c(W, H);
    c.bb.Clear(kRed, nullptr);
    vb.Draw(&c.bb);
    EXPECT_EQ(c.Count(kGreen, 1, 5, 15, 55), 14 * 50); // solid
    EXPECT_EQ(c.Count(kRed, 21, 5, 35, 55), 14 * 50);  // hollow
    // Vertical hatch: one column in eight. Its gaps are left alone: the
    // walk judges the background by the opacity byte of its back colour,
    // which a back colour record that changed the colour has cleared.
    EXPECT_EQ(c.Count(kGreen, 41, 5, 57, 55), 2 * 50);
    EXPECT_EQ(c.Count(kRed, 41, 5, 57, 55), 14 * 50);
    // Style 8: the mask in the fore colour, its gaps untouched.
    EXPECT_EQ(c.Count(kGreen, 60, 5, 76, 55), 4 * 50);
    EXPECT_EQ(c.Count(kRed, 60, 5, 76, 55), 12 * 50);
    EXPECT_EQ(c.Px(60, 20), kGreen);
    EXPECT_EQ(c.Px(64, 20), kGreen);
    EXPECT_EQ(c.Px(61, 20), kRed);
}

TEST(XVertReplayGDI, FillModeRecordsAndModeZero)
{
    // A square with a square inside it, both turning the same way.
    const tagXVector2 pts[8] = {{10, 10}, {50, 10}, {50, 50}, {10, 50}, {20, 20}, {40, 20}, {40, 40}, {20, 40}};
    const int counts[2] = {4, 4};
    const double e[4] = {10, 10, 50, 50};
    for (int nMode : {0, 1, 2}) {
        GdiBuffer vb;
        vb.Start();
        tagXFillStyle solid = Fill(tagXFillStyle::STYLE_SOLID);
        vb.AddFillStyle(&solid, kGreen, kWhite, 1.0);
        vb.AddPolyFillMode(nMode);
        vb.AddPolyPolygon(pts, counts, 2, e);
        vb.End();
        XTestCanvas c(W, H);
        SetPolyFillMode(c.DC(), WINDING);
        vb.Draw(&c.bb);
        // Mode 0 changes nothing: the DC's winding mode fills the hole.
        EXPECT_EQ(c.Px(30, 30), nMode == 1 ? kWhite : kGreen) << nMode;
        EXPECT_EQ(c.Px(15, 30), kGreen) << nMode;
        EXPECT_EQ(GetPolyFillMode(c.DC()), WINDING) << nMode; // restored
    }
}

// The height of the ink of a text drawn by the replay.
int InkHeight(const XTestCanvas& c)
{
    int nTop = -1, nBottom = -1;
    for (int y = 0; y < c.bb.GetHeight(); ++y)
        if (c.Count(kWhite, 0, y, c.bb.GetWidth(), y + 1) != c.bb.GetWidth()) {
            nTop = nTop < 0 ? y : nTop;
            nBottom = y;
        }
    return nTop < 0 ? 0 : nBottom - nTop + 1;
}

TEST(XVertReplayGDI, TextSizesByWorldAndByPixel)
{
    int nInk[3];
    for (int i = 0; i < 3; ++i) {
        GdiBuffer vb;
        vb.SetFontSizeFlag(i == 2 ? 1 : 0); // 0: world units; other: pixels
        vb.Start();
        tagXTextStyle style;
        style.nAlign = 17; // left of the box on the anchor, centred in y
        vb.AddTextStyle(&style, 20.0, kBlack, kWhite, 1.0);
        vb.AddText("HIH", 10, 30, 0);
        vb.End();
        XTestCanvas c(W * 2, H);
        const double dZoom = i == 1 ? 0.5 : 1.0;
        c.bb.SetWorldPerPixel(dZoom, dZoom);
        c.bb.SetWorldToCenter(40, 30);
        SetBkMode(c.DC(), OPAQUE);
        vb.Draw(&c.bb);
        nInk[i] = InkHeight(c);
        EXPECT_EQ(GetBkMode(c.DC()), OPAQUE); // the walk's modes are undone
    }
    EXPECT_GT(nInk[0], 8);
    EXPECT_NEAR(nInk[1], 2 * nInk[0], 2); // world sizes follow the zoom
    EXPECT_EQ(nInk[2], nInk[0]);           // 20 pixels, 20 world units at 1:1
}

TEST(XVertReplayGDI, ImagesWithTransparency)
{
    // A 2 by 1 picture: red and black; black is the key.
    BITMAPINFO bmi = {};
    bmi.bmiHeader = {sizeof(BITMAPINFOHEADER), 2, 1, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    const char bits[8] = {0, 0, static_cast<char>(255), 0, 0, 0, 0, 0};
    GdiBuffer vb;
    vb.Start();
    vb.AddDIB(bits, &bmi, 10, 50, 29, 41, 0, 1.0, 1);  // keyed: class 0
    vb.AddDIB(bits, &bmi, 40, 50, 59, 41, 0, 0.5, 0);  // half: class 1
    vb.End();
    XTestCanvas c(W, H);
    c.bb.Clear(kBlue, nullptr);
    vb.Draw(&c.bb);
    EXPECT_EQ(c.Px(12, 12), kRed);
    EXPECT_EQ(c.Px(25, 12), kBlue); // the key lets the surface through
    const BYTE half = static_cast<BYTE>(static_cast<int>(255 * 127 / 255.0));
    const BYTE rest = static_cast<BYTE>(static_cast<int>(255 * (1 - 127 / 255.0)));
    EXPECT_EQ(c.Px(42, 12), RGB(half, 0, rest));
    EXPECT_EQ(c.Px(57, 12), RGB(0, 0, rest));
}

TEST(XVertReplayGDI, PointsEllipsesAndMetafileRecords)
{
    GdiBuffer vb;
    vb.Start();
    tagXLineStyle solid = Line(tagXLineStyle::STYLE_SOLID);
    vb.AddLineStyle(&solid, -1.0, kRed, 1.0);
    // A point exactly on the view's edge is drawn: (79, 1) is the last
    // column's pixel, world (79, 59) the box's corner.
    const double x[3] = {5, 79, 40}, y[3] = {55, 59, 200}, e[4] = {0, 0, 0, 0};
    vb.AddPolypoint(x, y, 3, e);
    tagXFillStyle solidFill = Fill(tagXFillStyle::STYLE_SOLID);
    vb.AddFillStyle(&solidFill, kGreen, kWhite, 1.0);
    vb.AddEllipse(40, 30, 10, 5);
    // Metafile records have nothing to play on here and are passed over.
    vb.AddTextBox(10, 10, 0, 30, 30, nullptr);
    const unsigned char emf[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    vb.AddEMF(20, 20, 0, 10, 10, 1, sizeof emf, emf, "emf");
    vb.End();
    XTestCanvas c(W, H);
    vb.Draw(&c.bb);
    EXPECT_EQ(c.Px(5, 5), kRed);
    EXPECT_EQ(c.Px(79, 1), kRed);
    EXPECT_EQ(c.Px(40, 25), kRed);   // the ellipse's outline, in the box
    EXPECT_EQ(c.Px(40, 30), kGreen); // (30, 25) to (50, 35), and its inside
    EXPECT_EQ(c.Px(40, 24), kWhite); // above the box 30 - 5 .. 30 + 5
    EXPECT_EQ(c.Px(25, 30), kWhite);
    EXPECT_EQ(c.Px(20, 40), kWhite); // no text box, no metafile
}

TEST(XVertReplayGDI, LatLongViewDrawsThreeTurns)
{
    // A line from 170 to 190 east crosses the antimeridian: it shows at both
    // edges of a world view.
    GdiBuffer vb;
    vb.Start();
    tagXLineStyle solid = Line(tagXLineStyle::STYLE_SOLID);
    vb.AddLineStyle(&solid, -1.0, kRed, 1.0);
    vb.AddLine(170, 0, 190, 0);
    // A polygon whose extent says 530 to 550 while its points lie at 190 to
    // 200: only the copy a turn to the left passes the box test, and it
    // lands at -170 to -160.
    const double px[4] = {190, 200, 200, 190}, py[4] = {-20, -20, -30, -30};
    const double pe[4] = {530, -30, 550, -20};
    tagXFillStyle solidFill = Fill(tagXFillStyle::STYLE_SOLID);
    vb.AddFillStyle(&solidFill, kGreen, kWhite, 1.0);
    vb.AddPolygon(px, py, 4, pe);
    vb.End();
    for (bool bWrap : {true, false}) {
        XTestCanvas c(360, 180);
        c.bb.SetLatLongRounding(bWrap);
        c.bb.SetWorldToCenter(0, 0); // world x is pixel x - 180
        vb.Draw(&c.bb);
        EXPECT_EQ(c.Px(355, 90), kRed) << bWrap;                       // 175 east
        EXPECT_EQ(c.Px(5, 90), bWrap ? kRed : kWhite) << bWrap;        // 175 west
        EXPECT_EQ(c.Px(15, 115), bWrap ? kGreen : kWhite) << bWrap;    // 165 west
        EXPECT_EQ(c.Count(kGreen), bWrap ? 81 : 0) << bWrap; // 10 by 10, outlined left and top
    }
}

TEST(XVertReplayGDI, StartAndEndAloneLeaveTheDeviceAsItWas)
{
    GdiBuffer vb;
    vb.Start();
    vb.End();
    XTestCanvas c(W, H);
    HDC dc = c.DC();
    SetBkMode(dc, TRANSPARENT);
    SetBkColor(dc, kGreen);
    SetPolyFillMode(dc, WINDING);
    HGDIOBJ pen = GetCurrentObject(dc, OBJ_PEN), brush = GetCurrentObject(dc, OBJ_BRUSH);
    HGDIOBJ font = GetCurrentObject(dc, OBJ_FONT);
    vb.Draw(&c.bb);
    EXPECT_EQ(GetBkMode(dc), TRANSPARENT);
    EXPECT_EQ(GetBkColor(dc), kGreen);
    EXPECT_EQ(GetPolyFillMode(dc), WINDING);
    EXPECT_EQ(GetCurrentObject(dc, OBJ_PEN), pen);
    EXPECT_EQ(GetCurrentObject(dc, OBJ_BRUSH), brush);
    EXPECT_EQ(GetCurrentObject(dc, OBJ_FONT), font);
    EXPECT_EQ(c.Count(kWhite), W * H);
}

TEST(XVertReplayGDI, ScratchIsSizedOnceAndGrowsForRawRecords)
{
    GdiBuffer vb;
    vb.Start();
    const double x[5] = {1, 20, 40, 60, 79}, y[5] = {5, 5, 5, 5, 5}, e[4] = {1, 5, 79, 5};
    vb.AddPolyline(x, y, 5, e);
    vb.End();
    XTestCanvas c(W, H);
    vb.Draw(&c.bb);
    ASSERT_NE(vb.Scratch(), nullptr);
    EXPECT_EQ(vb.ScratchBytes(), 5 * 8 + 8);
    void* pFirst = vb.Scratch();
    vb.Draw(&c.bb);
    EXPECT_EQ(vb.Scratch(), pFirst); // reused between replays

    // A raw record of more points than nMaxPoints knows about.
    const int n = 300;
    unsigned char* pRaw = static_cast<unsigned char*>(std::calloc(1, 40 + 24 * n));
    for (int i = 0; i < n; ++i) {
        const double px = i * 79.0 / (n - 1), py = 50;
        std::memcpy(pRaw + 40 + 24 * i, &px, 8);
        std::memcpy(pRaw + 48 + 24 * i, &py, 8);
    }
    const double re[4] = {0, 50, 79, 50};
    vb.AddRawPolyBuffer(pRaw, XVertBuffer::KIND_POLYLINE, n, re);
    const int nMax = vb.GetMaxPoints();
    vb.Draw(&c.bb);
    EXPECT_GE(vb.ScratchBytes(), (nMax + 1) * 8);
    EXPECT_EQ(c.Count(kBlack, 0, 10, W, 11), 79);
}

TEST(XVertReplayGDI, DrawOnAPlainDCThroughTheCallersTransform)
{
    HWND hWnd = XfnCreateImageWindow(101, 101);
    HDC hDC = GetDC(hWnd);
    for (int nPath : {XVertBuffer::PATH_GDI, XVertBuffer::PATH_GL}) {
        XVertBuffer vb(nPath);
        vb.Start();
        tagXLineStyle solid = Line(tagXLineStyle::STYLE_SOLID);
        vb.AddLineStyle(&solid, -1.0, nPath == 1 ? kRed : 0x0000FF, 1.0);
        const double x[1] = {20}, y[1] = {0}, e[4] = {20, 0, 20, 0};
        vb.AddPolypoint(x, y, 1, e);
        vb.End();
        // Pixel = world * 2 + 10 across, world * -2 + 50 down: world (20, 0)
        // is the centre of the view made from it, pixel 50.5 on both axes,
        // which rounds to 51.
        vb.Draw(hDC, 10, 2, 50, -2);
    }
    EXPECT_EQ(GetPixel(hDC, 51, 51), kRed);
    int nRed = 0;
    for (int yy = 0; yy < 101; ++yy)
        for (int xx = 0; xx < 101; ++xx)
            nRed += GetPixel(hDC, xx, yy) == kRed;
    EXPECT_EQ(nRed, 1); // the OpenGL path draws nothing here
    DestroyWindow(hWnd);
}

TEST(XVertReplayGDI, ReferenceMap)
{
    XVertBuffer vb(XVertBuffer::PATH_GDI);
    XReferenceDrawing::Record(vb);
    XTestCanvas c(XReferenceDrawing::kWidth, XReferenceDrawing::kHeight);
    XReferenceDrawing::SetView(c.bb);
    vb.Draw(&c.bb);
    c.SavePNG("reference_map_gdi");
    for (const XReferenceDrawing::Probe& p : XReferenceDrawing::Probes()) {
        double x = p.x, y = p.y;
        c.bb.ConvWorldToPixelCoord(x, y);
        EXPECT_EQ(c.Px(static_cast<int>(std::lround(x)), static_cast<int>(std::lround(y))), p.clr)
            << p.x << "," << p.y;
    }
    // The legend is blended over the sea at 60 %; the keyed picture shows
    // its gradient and lets the land through its black middle.
    double lx = 123.72, ly = 38.88;
    c.bb.ConvWorldToPixelCoord(lx, ly);
    const COLORREF legend = c.Px(static_cast<int>(lx), static_cast<int>(ly));
    EXPECT_NE(legend, XReferenceDrawing::kSea);
    EXPECT_GT(GetRValue(legend), GetRValue(XReferenceDrawing::kSea));
    double kx = 128.85, ky = 36.95;
    c.bb.ConvWorldToPixelCoord(kx, ky);
    EXPECT_EQ(c.Px(static_cast<int>(kx), static_cast<int>(ky)), XReferenceDrawing::kLand);
}

} // namespace
