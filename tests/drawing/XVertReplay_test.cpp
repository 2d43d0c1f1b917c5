// The three replays on pixels: one scene per record kind, recorded once and replayed on the raster (1), OpenGL (2)
// and antialiased (3) paths, each path with its row of expected pixels where the paths differ by design.
#include "XDrawingTestReplay.h"
#include "drawing/XVertRecord.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

const tagXFillStyle kSolid;

void Pen(XVertBuffer& vb, int nCode, double dWidth, COLORREF clr, double dAlpha = 1.0)
{
    tagXLineStyle s = LineCode(nCode);
    vb.AddLineStyle(&s, dWidth, clr, dAlpha);
}

void Square(XVertBuffer& vb, double x0, double y0, double x1, double y1)
{
    const double x[4] = {x0, x1, x1, x0}, y[4] = {y0, y0, y1, y1}, e[4] = {x0, y0, x1, y1};
    vb.AddPolygon(x, y, 4, e);
}

void Text(XVertBuffer& vb, const char* pszText, double x, double y, int nAlign, double dSize, COLORREF clr)
{
    tagXTextStyle style;
    std::strcpy(style.lf.lfFaceName, "Liberation Sans");
    style.nAlign = nAlign;
    vb.AddTextStyle(&style, dSize, Opaque(clr), Opaque(kWhite), 1.0);
    vb.AddText(pszText, x, y, 0.0);
}

TEST(XVertReplay, LineWidthsStylesAndOpacity)
{
    const Recorder lines = [](XVertBuffer& vb) {
        Pen(vb, 0, -3.0, Opaque(kRed)); // 3 pixels at any zoom, row 10
        vb.AddLine(10, 50, 70, 50);
        Pen(vb, 0, 2.0, Opaque(kBlue)); // 2 world units, rows 29 and 30
        vb.AddLine(10, 30.5, 70, 30.5);
        tagXLineStyle dashed;
        dashed.SetStyle(0xF0F0, 1);
        vb.AddLineStyle(&dashed, -1.0, Opaque(kBlack), 1.0); // row 40
        vb.AddLine(10, 20, 70, 20);
        // Half opacity: blended by the high byte on the antialiased path; raster lines and OpenGL draw opaque.
        Pen(vb, 0, -5.0, 0x80FF0000, 0.5); // row 20
        vb.AddLine(10, 40, 70, 40);
        Pen(vb, 0, -0.5, Opaque(kGreen)); // half a pixel is one, rows 46 to 50
        const double x[3] = {10, 40, 70}, y[3] = {10, 14, 10}, e[4] = {10, 10, 70, 14};
        vb.AddPolyline(x, y, 3, e);
    };
    // Per path and zoom: the blue line's pixels and its inked ones in a column, the hairline's inked ones, the dashes'
    // lit pixels of 60 (fewer antialiased at zoom 1, where their ends blend), the half-transparent blue's red and green.
    const struct {
        int nBlue[2], nBlueInk[2], nHair, nDashes[2], nHalf;
    } rows[3] = {{{2, 4}, {2, 4}, 1, {30, 60}, 0}, {{2, 4}, {2, 4}, 1, {30, 60}, 0}, {{2, 3}, {2, 5}, 2, {28, 60}, 127}};
    for (int nPath = 1; nPath <= 3; ++nPath)
        for (int s : {1, 2}) {
            const Frame f = Play(nPath, lines, View(80 * s, 60 * s, s), "replay_lines_" + std::to_string(s));
            const auto& row = rows[nPath - 1];
            SCOPED_TRACE(testing::Message() << kPathNames[nPath] << " at " << s);
            EXPECT_EQ(f.Count(kRed, 45 * s, 0, 45 * s + 1, 15 * s), 3);
            EXPECT_EQ(f.Count(kBlue, 45 * s, 25 * s, 45 * s + 1, 35 * s), row.nBlue[s - 1]);
            EXPECT_EQ(f.Count(kInked, 45 * s, 25 * s, 45 * s + 1, 35 * s), row.nBlueInk[s - 1]);
            EXPECT_EQ(f.Count(kInked, 12 * s, 45 * s, 12 * s + 1, 55 * s), row.nHair);
            EXPECT_NEAR(f.Count(kBlack, 10 * s, 40 * s, 70 * s, 40 * s + 1), row.nDashes[s - 1], 2 * s);
            const COLORREF half = f.Px(45 * s, 20 * s);
            EXPECT_NEAR(GetRValue(half), row.nHalf, 3);
            EXPECT_NEAR(GetGValue(half), row.nHalf, 3);
            EXPECT_GE(GetBValue(half), 252);
        }
}

TEST(XVertReplay, FillStylesAndTheirBackground)
{
    // On red, 16 wide and full height, fore green, back blue, no pen: solid, hollow, a cross hatch, and the mask of
    // columns 0 and 4 of every 8 as a stipple (code 8) and as a pattern.
    const int codes[5] = {0, 1, tagXFillStyle::STYLE_CROSS, tagXFillStyle::STYLE_TRANSPARENT_PATTERN,
                          tagXFillStyle::STYLE_USER};
    const Recorder fills = [&](XVertBuffer& vb) {
        Pen(vb, tagXLineStyle::STYLE_NONE, 0.0, Opaque(kBlack));
        for (int i = 0; i < 5; ++i) {
            tagXFillStyle s = FillCode(codes[i]);
            if (i >= 3) {
                std::memset(s.Pattern, 0x88, sizeof s.Pattern);
                s.nStyle = codes[i];
            }
            vb.AddFillStyle(&s, Opaque(kGreen), Opaque(kBlue), 1.0);
            Square(vb, 20.0 * i, 0, 20.0 * i + 16, 60);
        }
    };
    // Per path, in the squares' middles (700 pixels each): solid green, hollow red, the hatch's green and blue, and the
    // masks' gaps. The raster hatch leaves its gaps alone though the back colour is opaque: the walk judges the
    // background by the back colour's opacity byte, which a back colour record that changed the colour has cleared.
    const struct {
        int nSolid, nHollow, nHatch, nHatchBack;
        COLORREF stippleGap, patternGap;
    } rows[3] = {{700, 700, 128, 0, kRed, kBlue}, {0, 700, 128, 572, kBlue, kBlue}, {700, 700, 128, 572, kRed, kBlue}};
    for (int nPath = 1; nPath <= 3; ++nPath) {
        View v(100);
        v.clrBack = kRed;
        const Frame f = Play(nPath, fills, v, "replay_fills");
        const auto& row = rows[nPath - 1];
        SCOPED_TRACE(kPathNames[nPath]);
        EXPECT_EQ(f.Count(kGreen, 1, 5, 15, 55), row.nSolid);
        EXPECT_EQ(f.Count(kRed, 21, 5, 35, 55), row.nHollow);
        EXPECT_EQ(f.Count(kGreen, 41, 5, 55, 55), row.nHatch);
        EXPECT_EQ(f.Count(kBlue, 41, 5, 55, 55), row.nHatchBack);
        // The masks' tiles start at the surface's left edge.
        for (int x = 61; x < 95; ++x)
            if (x < 75 || x > 80) {
                const COLORREF gap = x < 75 ? row.stippleGap : row.patternGap;
                EXPECT_EQ(f.Count(x % 4 == 0 ? kGreen : gap, x, 5, x + 1, 55), 50) << x;
            }
        if (nPath != XVertBuffer::PATH_GL)
            continue;
        // OpenGL stipples in window coordinates (rows from the bottom), byte 0 leftmost, high bit first.
        const tagXFillStyle cross = FillCode(tagXFillStyle::STYLE_CROSS);
        for (int y = 5; y < 55; ++y)
            for (int x = 41; x < 55; ++x) {
                const int wy = f.h - 1 - y;
                const bool bSet = (cross.Pattern[(wy % 32) * 4 + (x % 32) / 8] >> (7 - x % 8)) & 1;
                EXPECT_EQ(f.Px(x, y), bSet ? kGreen : kBlue) << x << "," << y;
            }
    }
}

TEST(XVertReplay, PolyPolygonsByFillModeAndStyle)
{
    // A square in a square, turning alike, on a raster DC that fills by winding; mode 0 changes nothing. Hollow and
    // stippled rings are outlined ring by ring, the stipple filling by alternate. OpenGL fills no solid and cuts no hole;
    // the antialiased fill reads its ring sizes by ring index (kept as it always was) and fills nothing here.
    const double x[8] = {10, 50, 50, 10, 20, 40, 40, 20}, y[8] = {10, 10, 50, 50, 20, 20, 40, 40};
    const int counts[2] = {4, 4};
    const double e[4] = {10, 10, 50, 50};
    tagXFillStyle full = FillCode(0);
    full.nStyle = tagXFillStyle::STYLE_TRANSPARENT_PATTERN;
    const struct {
        int nMode;
        tagXFillStyle fill;
        COLORREF hole[3], ring[3]; // per path
    } rows[] = {
        {0, FillCode(0), {kGreen, kWhite, kWhite}, {kGreen, kWhite, kWhite}},
        {ALTERNATE, FillCode(0), {kWhite, kWhite, kWhite}, {kGreen, kWhite, kWhite}},
        {ALTERNATE, FillCode(1), {kWhite, kWhite, kWhite}, {kWhite, kWhite, kWhite}},
        {WINDING, full, {kWhite, kGreen, kWhite}, {kGreen, kGreen, kWhite}},
    };
    for (const auto& row : rows)
        for (int nPath = 1; nPath <= 3; ++nPath) {
            const Recorder rings = [&](XVertBuffer& vb) {
                Pen(vb, 0, -1.0, Opaque(kRed));
                vb.AddFillStyle(&row.fill, Opaque(kGreen), Opaque(kWhite), 1.0);
                vb.AddPolyFillMode(row.nMode);
                vb.AddPolyPolygon(x, y, counts, 2, e);
            };
            const Frame f = Play(nPath, rings, View(), "replay_rings");
            SCOPED_TRACE(testing::Message() << kPathNames[nPath] << " " << row.nMode << " " << row.fill.nStyle);
            EXPECT_EQ(f.Px(30, 30), row.hole[nPath - 1]);
            EXPECT_EQ(f.Px(15, 30), row.ring[nPath - 1]);
            EXPECT_GT(f.Count(kRed, 9, 30, 11, 31), 0); // both rings outlined
            EXPECT_GT(f.Count(kRed, 19, 30, 21, 31), 0);
        }
}

TEST(XVertReplay, TextAtItsSizeAndTurningWithTheView)
{
    // The ink's height at zoom 2 over that at zoom 1 for sizes in world units (flag 0) and in pixels (flag 1). OpenGL
    // turns a world size to pixels as the others do, then draws it in world units; with flag 1 it takes the size as is.
    const double ratios[3][2] = {{2, 1}, {4, 2}, {2, 1}};
    for (int nPath = 1; nPath <= 3; ++nPath) {
        int nInk[3];
        for (int i = 0; i < 3; ++i) {
            const Recorder sized = [&](XVertBuffer& vb) {
                vb.SetFontSizeFlag(i == 2 ? 1 : 0);
                Text(vb, "HIH", 5, 15, tagXTextStyle::ALIGN_LEFT | tagXTextStyle::ALIGN_VCENTER, 20.0, kBlack);
            };
            View v(160, 140, i == 0 ? 1.0 : 2.0);
            v.cx = 40;
            v.cy = 15;
            const Frame f = Play(nPath, sized, v, "replay_text_size_" + std::to_string(i));
            int nTop = -1, nBottom = -1;
            for (int y = 0; y < f.h; ++y)
                if (f.Count(kInked, 0, y, f.w, y + 1) > 0) {
                    nTop = nTop < 0 ? y : nTop;
                    nBottom = y;
                }
            nInk[i] = nBottom - nTop + 1;
        }
        SCOPED_TRACE(kPathNames[nPath]);
        EXPECT_GT(nInk[0], 8);
        EXPECT_NEAR(nInk[1], ratios[nPath - 1][0] * nInk[0], 3);
        EXPECT_NEAR(nInk[2], ratios[nPath - 1][1] * nInk[0], 2);
    }
    // The slope of the inked pixels by least squares, in screen degrees (negative: rising to the right): only the
    // antialiased text turns with the view.
    const Recorder row = [](XVertBuffer& vb) {
        vb.SetFontSizeFlag(1);
        Text(vb, "ooooooooooooooo", 60.0, 100.0, 0, 14.0, kBlack);
    };
    const double turns[3] = {0.0, 0.0, 30.0};
    for (int nPath = 1; nPath <= 3; ++nPath) {
        View v(200, 200);
        v.dAngle = 30.0;
        const Frame f = Play(nPath, row, v, "replay_text_30");
        double n = 0, sx = 0, sy = 0, sxx = 0, sxy = 0;
        for (int i = 0; i < f.w * f.h; ++i)
            if (f.px[i] != kWhite) {
                const double x = i % f.w, y = i / f.w;
                n += 1, sx += x, sy += y, sxx += x * x, sxy += x * y;
            }
        SCOPED_TRACE(kPathNames[nPath]);
        EXPECT_GT(n, 100);
        EXPECT_NEAR(std::atan2(sxy / n - sx / n * sy / n, sxx / n - sx / n * sx / n) * 180.0 / M_PI, -turns[nPath - 1],
                    2.0);
    }
}

TEST(XVertReplay, ImagesKeyedAndBlendedOnTheirCorners)
{
    // 2 by 2, bottom row first: blue and the key colour under red and green; 40 by 40 from world (10, 50) to (49, 11),
    // and 20 by 20 from (55, 50) at half opacity and from (55, 25) opaque, unkeyed. Colours are exact at the texel centres.
    BITMAPINFO bi = {};
    bi.bmiHeader = {40, 2, 2, 1, 24, BI_RGB, 0, 0, 0, 0, 0};
    const BYTE bits[16] = {0xFF, 0, 0, 0xEE, 0xEE, 0xEE, 0, 0, 0, 0, 0xFF, 0, 0xFF, 0, 0, 0};
    const Recorder images = [&](XVertBuffer& vb) {
        vb.AddDIB(reinterpret_cast<const char*>(bits), &bi, 10, 50, 49, 11, 0, 1.0, 0xEEEEEE01);
        vb.AddDIB(reinterpret_cast<const char*>(bits), &bi, 55, 50, 74, 31, 0, 0.5, 0);
        vb.AddDIB(reinterpret_cast<const char*>(bits), &bi, 55, 25, 74, 6, 0, 1.0, 0);
    };
    // Each colour within a tolerance: OpenGL and the antialiased path filter; the raster path is exact. Corners are
    // pixels on the raster and antialiased paths, world positions on OpenGL.
    auto near = [](COLORREF a, COLORREF b, int nTol) {
        return std::abs(GetRValue(a) - GetRValue(b)) <= nTol && std::abs(GetGValue(a) - GetGValue(b)) <= nTol &&
               std::abs(GetBValue(a) - GetBValue(b)) <= nTol;
    };
    const int tolerances[3] = {2, 40, 24};
    for (int nPath = 1; nPath <= 3; ++nPath) {
        View v;
        GLuint nTexture = 0;
        if (nPath == XVertBuffer::PATH_GL)
            v.after = [&](XVertBuffer& vb, XBackBuffer& bb) { // textured once, drawn again with the same texture
                void* pRecord = vb.GetRecord(1);
                nTexture = XVertRecord::GetU32(XVertRecord::At(pRecord, XVertRecord::OFS_DIB_TEXTURE));
                EXPECT_TRUE(nTexture != 0 && glIsTexture(nTexture));
                vb.Draw(&bb);
                EXPECT_EQ(XVertRecord::GetU32(XVertRecord::At(pRecord, XVertRecord::OFS_DIB_TEXTURE)), nTexture);
                vb.Free(); // deletes the texture through the replay
                EXPECT_FALSE(glIsTexture(nTexture));
            };
        const Frame f = Play(nPath, images, v, "replay_images");
        const int nTol = tolerances[nPath - 1];
        SCOPED_TRACE(kPathNames[nPath]);
        const PixelIs probes[] = {{20, 20, kRed}, {40, 20, kGreen}, {20, 40, kBlue}, {60, 15, RGB(255, 128, 128)}, {60, 40, kRed}};
        for (const PixelIs& p : probes)
            EXPECT_TRUE(near(f.Px(p.x, p.y), p.clr, nTol)) << p.x << "," << p.y << " " << std::hex << f.Px(p.x, p.y);
        ExpectPixels(f, {{40, 40, kWhite}, {9, 20, kWhite}}); // keyed, outside
        if (nPath != XVertBuffer::PATH_GL)
            ExpectPixels(f, {{10, 10, kRed}, {49, 49, kWhite}, {10, 49, kBlue}});
    }
}

TEST(XVertReplay, PointsEllipsesAndMetafileRecords)
{
    const Recorder shapes = [](XVertBuffer& vb) {
        Pen(vb, 0, -1.0, Opaque(kRed));
        // World (79, 59) is the view's corner, pixel (79, 1); (40, 200) is far out.
        // Points are drawn whatever their extent; a line whose extent is off the view is culled.
        const double x[3] = {5, 79, 40}, y[3] = {55, 59, 200}, e[4] = {150, 50, 160, 50};
        vb.AddPolypoint(x, y, 3, e);
        const double lx[2] = {10, 70}, ly[2] = {15, 15};
        vb.AddPolyline(lx, ly, 2, e);
        vb.AddFillStyle(&kSolid, Opaque(kGreen), Opaque(kWhite), 1.0);
        vb.AddEllipse(40, 30, 10, 5); // box (30, 25) to (50, 35)
        // Metafile records have nothing to play on here and are passed over.
        vb.AddTextBox(10, 10, 0, 30, 30, nullptr);
        const unsigned char emf[8] = {1, 2, 3, 4, 5, 6, 7, 8};
        vb.AddEMF(20, 20, 0, 10, 10, 1, sizeof emf, emf, "emf");
    };
    // Per path: ink at the view's corner (the antialiased point, a one-pixel stroke right and down, leaves the clip),
    // the ellipse's inside.
    const struct {
        int nCorner;
        COLORREF inside;
    } rows[3] = {{1, kGreen}, {1, kWhite}, {0, kGreen}};
    for (int nPath = 1; nPath <= 3; ++nPath) {
        const Frame f = Play(nPath, shapes, View(), "replay_shapes");
        SCOPED_TRACE(kPathNames[nPath]);
        EXPECT_GT(f.Count(kInked, 4, 4, 7, 7), 0);
        EXPECT_EQ(f.Count(kInked, 77, 0, 80, 3), rows[nPath - 1].nCorner);
        EXPECT_EQ(f.Px(40, 30), rows[nPath - 1].inside);
        EXPECT_EQ(f.Px(40, 23), kWhite);
        EXPECT_EQ(f.Count(kInked, 0, 36, 80, 60), 0); // no text box, no metafile, no culled line
    }
}

TEST(XVertReplay, LatLongViewRepeatsATurnOnlyOnTheRaster)
{
    const Recorder wrapped = [](XVertBuffer& vb) {
        Pen(vb, 0, -1.0, Opaque(kRed));
        vb.AddLine(170, 0, 190, 0); // across the antimeridian
        // The extent claims 530 to 550, the points lie at 190 to 200: only the copy a turn to the left passes the box
        // test, and it lands at -170 to -160. Without the wrap the box test culls it.
        const double px[4] = {190, 200, 200, 190}, py[4] = {-20, -20, -30, -30}, pe[4] = {530, -30, 550, -20};
        vb.AddFillStyle(&kSolid, Opaque(kGreen), Opaque(kWhite), 1.0);
        vb.AddPolygon(px, py, 4, pe);
    };
    for (int nPath = 1; nPath <= 3; ++nPath)
        for (bool bWrap : {true, false}) {
            View v(360, 180);
            v.cx = v.cy = 0; // world x is pixel x - 180
            v.bWrap = bWrap;
            const Frame f = Play(nPath, wrapped, v, bWrap ? "replay_latlong" : "replay_latlong_off");
            const bool bRepeat = bWrap && nPath == XVertBuffer::PATH_GDI;
            SCOPED_TRACE(testing::Message() << kPathNames[nPath] << " " << bWrap);
            EXPECT_GT(f.Count(kRed, 350, 89, 360, 92), 0);
            EXPECT_EQ(f.Count(kRed, 0, 89, 10, 92) > 0, bRepeat);
            EXPECT_EQ(f.Count(kGreen, 0, 0, 360, 180), bRepeat ? 81 : 0); // 10 by 10, outlined left and top
        }
}

TEST(XVertReplay, RawRecordsBeyondTheRecordedMaximumGrowTheScratch)
{
    // A raw polyline of 300 points across row 10: nMaxPoints stays 0, as it does for a stream that understates it.
    const int n = 300;
    const Recorder raw = [&](XVertBuffer& vb) {
        Pen(vb, 0, -1.0, Opaque(kBlack));
        BYTE* r = static_cast<BYTE*>(std::calloc(1, 40 + 24 * n));
        XVertRecord::PutI32(r, XVertBuffer::KIND_POLYLINE);
        XVertRecord::PutI32(r + 4, n);
        const double e[4] = {0, 50, 79, 50};
        for (int i = 0; i < 4; ++i)
            XVertRecord::PutF64(r + 8 + 8 * i, e[i]);
        for (int i = 0; i < n; ++i) {
            XVertRecord::PutF64(r + 40 + 24 * i, i * 79.0 / (n - 1));
            XVertRecord::PutF64(r + 48 + 24 * i, 50.0);
        }
        vb.AddRawBuffer(r);
        EXPECT_EQ(vb.GetMaxPoints(), 0);
    };
    for (int nPath = 1; nPath <= 3; ++nPath) {
        const Frame f = Play(nPath, raw, View(), "replay_raw");
        EXPECT_NEAR(f.Count(kInked, 0, 8, 80, 13), 79, 1) << kPathNames[nPath];
    }
}

} // namespace
