// The antialiased replay (path 3) on pixels, grouped by record kind; colours are 0xAABBGGRR, alpha as given.
#include "KVDbase/drawing/XVertBuffer.h"

#include "XDrawingTestCanvas.h"
#include "drawing/XVertRecord.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>

namespace {

// A path 3 recording.
struct Recording : XVertBuffer {
    Recording() : XVertBuffer(PATH_GDIP) { Start(); }
    void Play(XTestCanvas& cv)
    {
        End();
        Draw(&cv.bb);
    }
    // The square ring of half side r about (cx, cy): into p, or recorded as a polygon without one.
    void Square(double cx, double cy, double r, tagXVector2* p = nullptr)
    {
        double e[4] = {cx - r, cy - r, cx + r, cy + r};
        tagXVector2 pts[4] = {{e[0], e[1]}, {e[2], e[1]}, {e[2], e[3]}, {e[0], e[3]}};
        if (p != nullptr)
            std::memcpy(p, pts, sizeof(pts));
        else
            AddPolygon(pts, 4, e);
    }
};

TEST(XVertReplayGDIP, LineAlphaInTheHighByteAndWidths)
{
    XTestCanvas cv(40, 40);
    cv.bb.SetWorldPerPixel(0.5, 0.5); // zoomed in twice: world (x, y) is pixel (2x - 20, 60 - 2y)
    cv.bb.SetWorldToCenter(20.0, 20.0);
    Recording vb;
    vb.AddLineColor(0xFF000000, 1.0);
    vb.AddLine(12.5, 27.5, 17.5, 27.5); // no width record: one pixel, row 5
    tagXLineStyle solid;
    vb.AddLineStyle(&solid, 1.5, 0xFF000000, 1.0); // 3 pixels at this zoom, row 10
    vb.AddLine(12.5, 25.0, 27.5, 25.0);
    vb.AddLineStyle(&solid, -3.0, 0xFF000000, 1.0); // 3 pixels at any zoom, row 20
    vb.AddLine(12.5, 20.0, 27.5, 20.0);
    vb.AddLineStyle(&solid, -5.0, 0x80FF0000, 1.0); // red in the low byte: a half-transparent blue, row 30
    vb.AddLine(12.5, 15.0, 27.5, 15.0);
    vb.Play(cv);
    EXPECT_EQ(cv.Count(kBlack, 8, 0, 9, 40), 1 + 3 + 3);
    ExpectPixels(cv, {{8, 5, kBlack}, {8, 11, kBlack}, {8, 12, kWhite}});
    const COLORREF blue = cv.Px(8, 30);
    EXPECT_TRUE(std::abs(GetRValue(blue) - 127) <= 3 && std::abs(GetGValue(blue) - 127) <= 3 && GetBValue(blue) >= 252)
        << std::hex << blue;
}

TEST(XVertReplayGDIP, PolygonsFillUnlessHollowAndOutlineUnlessTransparent)
{
    XTestCanvas cv(100, 40);
    Recording vb;
    tagXFillStyle hollow = FillCode(tagXFillStyle::STYLE_HOLLOW), solid;
    vb.AddFillStyle(&hollow, 0xFF0000FF, 0xFFFFFFFF, 1.0);
    vb.AddLineColor(0xFF000000, 1.0);
    vb.Square(15, 20, 10); // the outline only
    tagXVector2 rings[8]; // two rings, each outlined by its own points
    vb.Square(70, 20, 15, rings);
    vb.Square(70, 20, 5, rings + 4);
    const int counts[2] = {4, 4};
    const double e[4] = {55, 5, 85, 35};
    vb.AddPolyPolygon(rings, counts, 2, e);
    vb.AddFillStyle(&solid, 0xFF0000FF, 0xFFFFFFFF, 1.0);
    vb.AddLineColor(0x00000000, 1.0);
    vb.Square(40, 20, 8); // the fill only
    vb.Play(cv);
    cv.SavePNG("gdip_polygons");
    ExpectPixels(cv, {{15, 20, kWhite}, {5, 20, kBlack}, {40, 20, kRed}, {55, 20, kBlack}, {65, 20, kBlack},
                      {70, 20, kWhite}, {60, 20, kWhite}});
    EXPECT_EQ(cv.Count(kBlack, 30, 0, 50, 40), 0);
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
        // The slope of the inked pixels by least squares, in screen degrees (negative: rising to the right).
        double n = 0, sx = 0, sy = 0, sxx = 0, sxy = 0;
        for (int i = 0; i < 200 * 200; ++i)
            if (cv.Px(i % 200, i / 200) != kWhite) {
                const double x = i % 200, y = i / 200;
                n += 1, sx += x, sy += y, sxx += x * x, sxy += x * y;
            }
        SCOPED_TRACE(dAngle);
        EXPECT_GT(n, 300);
        EXPECT_NEAR(std::atan2(sxy / n - sx / n * sy / n, sxx / n - sx / n * sx / n) * 180.0 / M_PI, -dAngle, 2.0);
    }
}

TEST(XVertReplayGDIP, PatternFillsKeepTheirGapsAndStandUpright)
{
    unsigned char pattern[128] = {0};
    pattern[3] = 0x80; // row 0 holds bit 31 only: column 0 of the top row
    for (int nCode : {8, 1024}) {
        XTestCanvas cv(64, 64);
        cv.bb.Clear(kBlack, nullptr);
        Recording vb;
        tagXFillStyle style;
        style.SetStyle(pattern);
        style.nStyle = nCode;
        vb.AddFillStyle(&style, 0xFF0000FF, 0xFFFF0000, 1.0); // red on blue
        vb.AddLineColor(0x00000000, 1.0);
        vb.Square(32, 32, 40);
        vb.Play(cv);
        SCOPED_TRACE(nCode);
        // Tiles start at the surface's top left corner.
        ExpectPixels(cv, {{0, 0, kRed}, {32, 32, kRed}, {1, 0, nCode == 8 ? kBlack : kBlue},
                          {0, 1, nCode == 8 ? kBlack : kBlue}});
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
    // The second point passes the clip box, edges included, but its pixel column is one the clip rectangle leaves out.
    const tagXVector2 pts[2] = {{50.0, 40.0}, {63.0, 10.0}};
    vb.AddPolypoint(pts, 2, nullptr);
    vb.Play(cv);
    cv.SavePNG("gdip_hatch_points");
    // Rows 8k + 1 in the foreground.
    ExpectPixels(cv, {{20, 25, kRed}, {20, 24, kBlue}, {2, 24, kWhite}});
    EXPECT_NE(cv.Px(50, 8), kWhite); // a point is a one-pixel stroke to the pixel right and down
    EXPECT_EQ(cv.Count(kWhite, 60, 20, 64, 48), 4 * 28);
}

TEST(XVertReplayGDIP, NoWrapAndNoMetafiles)
{
    // A view of -320 to -20 degrees: only a copy a turn to the left would show the line at 170 to 190.
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
    // A 2 by 2 image, top row red and green, bottom row blue and the key colour.
    BITMAPINFO bi = {};
    bi.bmiHeader = {40, 2, 2, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    const BYTE bits[16] = {0xFF, 0, 0, 0xEE, 0xEE, 0xEE, 0, 0, 0, 0, 0xFF, 0, 0xFF, 0, 0, 0};
    vb.AddDIB(reinterpret_cast<const char*>(bits), &bi, 10.0, 30.0, 29.0, 11.0, 0.0, 1.0, 0xEEEEEE01);
    vb.Play(cv);
    cv.SavePNG("gdip_image");
    // World (10, 30) is pixel (10, 10); (29, 11) is pixel (29, 29): 20 by 20.
    ExpectPixels(cv, {{12, 12, kRed}, {27, 12, kGreen}, {12, 27, kBlue}, {27, 27, kWhite}, {9, 12, kWhite},
                      {10, 10, kRed}});
}

TEST(XVertReplayGDIP, RecordsBeyondTheRecordedMaximumGrowTheScratch)
{
    // A raw polygon of 50 points: nMaxPoints stays 0, as it does for a stream that understates it.
    XTestCanvas cv(40, 40);
    Recording vb;
    const int n = 50;
    BYTE* r = static_cast<BYTE*>(std::malloc(40 + 24 * n));
    XVertRecord::PutI32(r, XVertBuffer::KIND_POLYGON);
    XVertRecord::PutI32(r + 4, n);
    for (int i = 0; i < 4; ++i)
        XVertRecord::PutF64(r + 8 + 8 * i, i < 2 ? 5.0 : 35.0);
    for (int i = 0; i < n; ++i) {
        XVertRecord::PutF64(r + 40 + 24 * i, 20.0 + 15.0 * std::cos(2 * M_PI * i / n));
        XVertRecord::PutF64(r + 48 + 24 * i, 20.0 + 15.0 * std::sin(2 * M_PI * i / n));
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

} // namespace
