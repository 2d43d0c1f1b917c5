// The antialiased replay (path 3) on pixels, grouped by record kind.
#include "KVDbase/drawing/XVertBuffer.h"

#include "XDrawingTestCanvas.h"
#include "XReferenceDrawing.h"
#include "drawing/XPixelRound.h"
#include "drawing/XVertRecord.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

// A path 3 recording; colours are 0xAABBGGRR with the alpha as given.
struct Recording : XVertBuffer {
    Recording() : XVertBuffer(PATH_GDIP) { Start(); }
    // Ends the recording and replays it on the canvas.
    void Play(XTestCanvas& cv)
    {
        End();
        Draw(&cv.bb);
    }
};

// A square ring of n + 1 world points about (cx, cy).
void Square(double cx, double cy, double r, tagXVector2* p, double* e)
{
    const tagXVector2 pts[4] = {{cx - r, cy - r}, {cx + r, cy - r}, {cx + r, cy + r}, {cx - r, cy + r}};
    std::memcpy(p, pts, sizeof(pts));
    e[0] = cx - r, e[1] = cy - r, e[2] = cx + r, e[3] = cy + r;
}

bool Near(COLORREF c, int r, int g, int b, int tol = 3)
{
    return std::abs(GetRValue(c) - r) <= tol && std::abs(GetGValue(c) - g) <= tol && std::abs(GetBValue(c) - b) <= tol;
}

// The slope angle in screen degrees (negative: rising to the right) of the
// pixels that are not white, by least squares.
double InkAngle(const XTestCanvas& cv, int w, int h)
{
    double n = 0, sx = 0, sy = 0, sxx = 0, sxy = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            if (cv.Px(x, y) != kWhite) {
                n += 1, sx += x, sy += y, sxx += double(x) * x, sxy += double(x) * y;
            }
    const double cov = sxy / n - sx / n * sy / n, var = sxx / n - sx / n * sx / n;
    return std::atan2(cov, var) * 180.0 / M_PI;
}

} // namespace

TEST(XVertReplayGDIP, ColourRecordsCarryTheirAlphaInTheHighByte)
{
    XTestCanvas cv(40, 20);
    Recording vb;
    tagXLineStyle solid;
    vb.AddLineStyle(&solid, -5.0, 0xFF000000, 1.0);
    vb.AddLineColor(0x80FF0000, 1.0); // red in the low byte: a half-transparent blue
    vb.AddLine(5.0, 10.0, 35.0, 10.0);
    vb.Play(cv);
    EXPECT_TRUE(Near(cv.Px(20, 10), 127, 127, 255)) << std::hex << cv.Px(20, 10);
    EXPECT_EQ(cv.Px(20, 3), kWhite);
}

TEST(XVertReplayGDIP, WithoutAWidthRecordThePenIsOnePixel)
{
    XTestCanvas cv(40, 20);
    Recording vb;
    vb.AddLineColor(0xFF000000, 1.0);
    vb.AddLine(5.0, 10.0, 35.0, 10.0); // pixel row 10
    vb.Play(cv);
    EXPECT_EQ(cv.Px(20, 10), kBlack);
    EXPECT_EQ(cv.Px(20, 9), kWhite);
    EXPECT_EQ(cv.Px(20, 11), kWhite);
    // A world width scales with the view; a negative one is in pixels.
    XTestCanvas wide(40, 40);
    Recording vb2;
    tagXLineStyle solid;
    vb2.AddLineStyle(&solid, 1.5, 0xFF000000, 1.0); // 3 pixels at this zoom
    vb2.AddLine(5.0, 25.0, 35.0, 25.0);              // pixel row 10
    vb2.AddLineStyle(&solid, -3.0, 0xFF000000, 1.0); // 3 pixels at any zoom
    vb2.AddLine(5.0, 15.0, 35.0, 15.0);              // pixel row 30
    vb2.End();
    wide.bb.SetWorldPerPixel(0.5, 0.5); // zoomed in twice
    wide.bb.SetWorldToCenter(20.0, 20.0);
    vb2.Draw(&wide.bb);
    EXPECT_EQ(wide.Count(kBlack, 20, 0, 21, 40), 3 + 3);
    EXPECT_EQ(wide.Px(20, 11), kBlack);
    EXPECT_EQ(wide.Px(20, 12), kWhite);
}

TEST(XVertReplayGDIP, PolygonsFillUnlessHollowAndOutlineUnlessTransparent)
{
    XTestCanvas cv(60, 30);
    Recording vb;
    tagXVector2 p[4];
    double e[4];
    tagXFillStyle hollow, solid;
    hollow.SetStyle(tagXFillStyle::STYLE_HOLLOW);
    vb.AddFillStyle(&hollow, 0xFF0000FF, 0xFFFFFFFF, 1.0);
    vb.AddLineColor(0xFF000000, 1.0);
    Square(15, 15, 10, p, e);
    vb.AddPolygon(p, 4, e); // the outline only
    vb.AddFillStyle(&solid, 0xFF0000FF, 0xFFFFFFFF, 1.0);
    vb.AddLineColor(0x00000000, 1.0);
    Square(45, 15, 10, p, e);
    vb.AddPolygon(p, 4, e); // the fill only
    vb.Play(cv);
    cv.SavePNG("gdip_polygons");
    EXPECT_EQ(cv.Px(15, 15), kWhite);
    EXPECT_EQ(cv.Px(5, 15), kBlack);
    EXPECT_EQ(cv.Px(45, 15), kRed);
    EXPECT_EQ(cv.Count(kBlack, 30, 0, 60, 30), 0);
}

TEST(XVertReplayGDIP, PolyPolygonOutlinesEveryRingByItsOwnPoints)
{
    XTestCanvas cv(60, 40);
    Recording vb;
    tagXVector2 p[8];
    double e[4], e2[4];
    Square(30, 20, 15, p, e);
    Square(30, 20, 5, p + 4, e2);
    const int counts[2] = {4, 4};
    tagXFillStyle hollow = FillCode(tagXFillStyle::STYLE_HOLLOW);
    vb.AddFillStyle(&hollow, 0xFF0000FF, 0xFFFFFFFF, 1.0);
    vb.AddLineColor(0xFF000000, 1.0);
    vb.AddPolyPolygon(p, counts, 2, e);
    vb.Play(cv);
    EXPECT_EQ(cv.Px(15, 20), kBlack);
    EXPECT_EQ(cv.Px(25, 20), kBlack);
    EXPECT_EQ(cv.Px(30, 20), kWhite);
    EXPECT_EQ(cv.Px(20, 20), kWhite);
}

TEST(XVertReplayGDIP, TextTurnsWithTheView)
{
    for (double dAngle : {0.0, 30.0}) {
        XTestCanvas cv(200, 200);
        Recording vb;
        tagXTextStyle style;
        std::strcpy(style.lf.lfFaceName, "Liberation Sans");
        vb.SetFontSizeFlag(1); // pixels
        vb.AddTextStyle(&style, 14.0, 0xFF000000, 0xFFFFFFFF, 1.0);
        vb.AddText("ooooooooooooooo", 60.0, 100.0, 0.0);
        vb.End();
        cv.bb.SetRotationAngle(dAngle);
        vb.Draw(&cv.bb);
        cv.SavePNG(dAngle == 0.0 ? "gdip_text_0" : "gdip_text_30");
        SCOPED_TRACE(dAngle);
        EXPECT_GT(200 * 200 - cv.Count(kWhite), 300);
        EXPECT_NEAR(InkAngle(cv, 200, 200), -dAngle, 2.0);
    }
}

TEST(XVertReplayGDIP, PatternFillsKeepTheirGapsAndStandUpright)
{
    // Row 0 of the mask holds bit 31 only: column 0 of the top row.
    unsigned char pattern[128] = {0};
    pattern[3] = 0x80;
    for (int nCode : {8, 1024}) {
        XTestCanvas cv(64, 64);
        cv.bb.Clear(kBlack, nullptr);
        Recording vb;
        tagXFillStyle style;
        style.SetStyle(pattern);
        style.nStyle = nCode;
        vb.AddFillStyle(&style, 0xFF0000FF, 0xFFFF0000, 1.0); // red on blue
        vb.AddLineColor(0x00000000, 1.0);
        tagXVector2 p[4];
        double e[4];
        Square(32, 32, 40, p, e);
        vb.AddPolygon(p, 4, e);
        vb.Play(cv);
        SCOPED_TRACE(nCode);
        // Tiles start at the surface's top left corner.
        EXPECT_EQ(cv.Px(0, 0), kRed);
        EXPECT_EQ(cv.Px(32, 32), kRed);
        EXPECT_EQ(cv.Px(1, 0), nCode == 8 ? kBlack : kBlue);
        EXPECT_EQ(cv.Px(0, 1), nCode == 8 ? kBlack : kBlue);
        EXPECT_EQ(cv.Count(kRed, 0, 0, 63, 63), 4);
    }
}

TEST(XVertReplayGDIP, HatchesEllipsesAndPoints)
{
    XTestCanvas cv(64, 48);
    Recording vb;
    tagXFillStyle horizontal = FillCode(tagXFillStyle::STYLE_HORIZONTAL);
    vb.AddFillStyle(&horizontal, 0xFF0000FF, 0xFFFF0000, 1.0);
    vb.AddLineColor(0x00000000, 1.0);
    vb.AddEllipse(20.0, 24.0, 12.0, 12.0);
    vb.AddLineColor(0xFF000000, 1.0);
    // The second point passes the clip box, edges included, but its pixel
    // column is the one the clip rectangle leaves out.
    const tagXVector2 pts[2] = {{50.0, 40.0}, {63.0, 10.0}};
    vb.AddPolypoint(pts, 2, nullptr);
    vb.Play(cv);
    cv.SavePNG("gdip_hatch_points");
    EXPECT_EQ(cv.Px(20, 25), kRed); // rows 8k + 1 in the foreground
    EXPECT_EQ(cv.Px(20, 24), kBlue);
    EXPECT_EQ(cv.Px(2, 24), kWhite);
    EXPECT_NE(cv.Px(50, 8), kWhite); // a point is a one-pixel stroke to the pixel right and down
    EXPECT_EQ(cv.Count(kWhite, 60, 20, 64, 48), 4 * 28);
}

TEST(XVertReplayGDIP, NoWrapAndNoMetafiles)
{
    // A view of -320 to -20 degrees: only a copy a turn to the left would
    // show the line at 170 to 190.
    XTestCanvas cv(100, 50);
    cv.bb.SetLatLongRounding(true);
    cv.bb.SetWorldPerPixel(3.0, 3.0);
    cv.bb.SetWorldToCenter(-170.0, 0.0);
    Recording vb;
    vb.AddLineColor(0xFF000000, 1.0);
    vb.AddLine(170.0, 0.0, 190.0, 0.0);
    vb.AddLine(-100.0, 0.0, -50.0, 0.0);
    vb.AddTextBox(0.0, 0.0, 0.0, 1.0, 1.0, nullptr);
    const unsigned char emf[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    vb.AddEMF(0.0, 0.0, 1.0, 10, 10, 1, sizeof(emf), emf, "name");
    vb.Play(cv);
    EXPECT_EQ(cv.Count(kWhite, 40, 0, 52, 50), 12 * 50);
    EXPECT_GT(cv.Count(kBlack, 70, 0, 95, 50), 12);
    EXPECT_EQ(cv.Count(kBlack), cv.Count(kBlack, 70, 0, 95, 50)); // the metafile records drew nothing
}

TEST(XVertReplayGDIP, ImagesLandUprightOnTheirCorners)
{
    XTestCanvas cv(40, 40);
    Recording vb;
    // A 2 by 2 image, top row red and green, bottom row blue and transparent.
    BITMAPINFO bi = {};
    bi.bmiHeader.biSize = 40;
    bi.bmiHeader.biWidth = 2;
    bi.bmiHeader.biHeight = 2;
    bi.bmiHeader.biPlanes = 1;
    bi.bmiHeader.biBitCount = 24;
    const BYTE bits[16] = {0xFF, 0, 0, 0xEE, 0xEE, 0xEE, 0, 0, // bottom row: blue, key colour
                           0, 0, 0xFF, 0, 0xFF, 0, 0, 0};     // top row: red, green
    vb.AddDIB(reinterpret_cast<const char*>(bits), &bi, 10.0, 30.0, 29.0, 11.0, 0.0, 1.0, 0xEEEEEE01);
    vb.Play(cv);
    cv.SavePNG("gdip_image");
    // World (10, 30) is pixel (10, 10); (29, 11) is pixel (29, 29): 20 by 20.
    EXPECT_EQ(cv.Px(12, 12), kRed);
    EXPECT_EQ(cv.Px(27, 12), kGreen);
    EXPECT_EQ(cv.Px(12, 27), kBlue);
    EXPECT_EQ(cv.Px(27, 27), kWhite);
    EXPECT_EQ(cv.Px(9, 12), kWhite);
    EXPECT_EQ(cv.Px(10, 10), kRed);
}

TEST(XVertReplayGDIP, ReferenceMap)
{
    XVertBuffer vb(XVertBuffer::PATH_GDIP);
    XReferenceDrawing::Record(vb);
    // The map gives its colours without an alpha; on this path the alpha is
    // the colour's high byte, so the colour records are made opaque.
    for (int i = 0; i < vb.GetRecordCount(); ++i) {
        BYTE* r = static_cast<BYTE*>(vb.GetRecord(i));
        const int nKind = XVertRecord::Kind(r);
        if (nKind >= XVertBuffer::KIND_LINECOLOR && nKind <= XVertBuffer::KIND_BACKCOLOR)
            XVertRecord::PutU32(r + 4, XVertRecord::GetU32(r + 4) | 0xFF000000u);
    }
    XTestCanvas c(XReferenceDrawing::kWidth, XReferenceDrawing::kHeight);
    XReferenceDrawing::SetView(c.bb);
    vb.Draw(&c.bb);
    c.SavePNG("reference_map_gdip");
    // The land is a polypolygon, whose fill on this path reads its scratch by
    // ring index and so does not cover the land: only the sea probes hold.
    for (const XReferenceDrawing::Probe& p : XReferenceDrawing::Probes()) {
        if (p.clr != XReferenceDrawing::kLand) {
            EXPECT_EQ(c.AtWorld(p.x, p.y), p.clr) << p.x << "," << p.y;
        }
    }
    // The coast is outlined ring by ring all the same, the legend blends over
    // the sea at 60 %, and the keyed picture's black middle lets through what
    // lies below it.
    double cx = 126.6, cy = 38.7; // midway along the first edge of the coast
    c.bb.ConvWorldToPixelCoord(cx, cy);
    const int px = XPixelRound::Round(cx), py = XPixelRound::Round(cy);
    EXPECT_GT(c.Count(XReferenceDrawing::kCoast, px - 2, py - 2, px + 3, py + 3), 0);
    double lx = 123.72, ly = 38.88;
    c.bb.ConvWorldToPixelCoord(lx, ly);
    const COLORREF legend = c.Px(static_cast<int>(lx), static_cast<int>(ly));
    EXPECT_NE(legend, XReferenceDrawing::kSea);
    EXPECT_GT(GetRValue(legend), GetRValue(XReferenceDrawing::kSea));
    double kx = 128.85, ky = 36.95;
    c.bb.ConvWorldToPixelCoord(kx, ky);
    EXPECT_NE(c.Px(static_cast<int>(kx), static_cast<int>(ky)), kBlack);
}

TEST(XVertReplayGDIP, RecordsBeyondTheRecordedMaximumGrowTheScratch)
{
    // A raw polygon of 50 points: nMaxPoints stays 0, as it does for a
    // stream that understates it.
    XTestCanvas cv(40, 40);
    Recording vb;
    const int n = 50;
    BYTE* r = static_cast<BYTE*>(std::malloc(40 + 24 * n));
    XVertRecord::PutI32(r, XVertBuffer::KIND_POLYGON);
    XVertRecord::PutI32(r + 4, n);
    const double e[4] = {5.0, 5.0, 35.0, 35.0};
    for (int i = 0; i < 4; ++i)
        XVertRecord::PutF64(r + 8 + 8 * i, e[i]);
    for (int i = 0; i < n; ++i) {
        const double a = 2 * M_PI * i / n;
        XVertRecord::PutF64(r + 40 + 24 * i, 20.0 + 15.0 * std::cos(a));
        XVertRecord::PutF64(r + 48 + 24 * i, 20.0 + 15.0 * std::sin(a));
        XVertRecord::PutF64(r + 56 + 24 * i, 0.0);
    }
    vb.AddLineColor(0xFF000000, 1.0);
    vb.AddRawBuffer(r);
    vb.End();
    EXPECT_EQ(vb.GetMaxPoints(), 0);
    vb.Draw(&cv.bb);
    EXPECT_EQ(cv.Px(20, 20), kBlack); // filled in the default black
    EXPECT_EQ(cv.Px(2, 2), kWhite);
}
