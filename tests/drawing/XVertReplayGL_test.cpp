// The OpenGL replay (path 2) on pixels, read back from the DC the frame lands in.
#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/drawing/XVertBuffer.h"
#include "XGLTestContext.h"
#include "drawing/XVertRecord.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

const COLORREF kRed = 0x0000FF, kGreen = 0x00FF00, kBlue = 0xFF0000, kWhite = 0xFFFFFF;
// At() reads blue, green, red from the low byte: the swap of a COLORREF.
DWORD Px(COLORREF c) { return ((c & 0xFF) << 16) | (c & 0xFF00) | ((c >> 16) & 0xFF); }

// A type 3 back buffer on a 100 by 100 DC: world x is the pixel column and world y counts up from the bottom row (pixel
// centres at half units).
class ReplayGLTest : public ::testing::Test {
protected:
    static const int W = 100, H = 100;
    void SetUp() override
    {
        ASSERT_EQ(back.Create(dc.Handle(), XBackBuffer::TYPE_OPENGL), 1);
        ASSERT_EQ(back.Resize(dc.Handle(), W, H), 1);
        back.SetWorldToCenter(W / 2.0, H / 2.0);
        back.Clear(kWhite, nullptr);
        vb.Start();
    }
    void TearDown() override { vb.Free(); }
    // Replays and lands the frame in the DC.
    void Replay(const char* pszPng)
    {
        vb.End();
        vb.Draw(&back);
        back.Swap(static_cast<HDC>(nullptr), SRCCOPY);
        dc.Save(pszPng);
    }
    DWORD AtWorld(int x, int y) const { return dc.At(x, H - 1 - y); }
    int Count(COLORREF clr, int x0 = 0, int y0 = 0, int x1 = W - 1, int y1 = H - 1) const
    {
        int n = 0;
        for (int y = y0; y <= y1; ++y)
            for (int x = x0; x <= x1; ++x)
                n += AtWorld(x, y) == Px(clr);
        return n;
    }
    void Square(double x0, double y0, double x1, double y1)
    {
        double x[4] = {x0, x1, x1, x0}, y[4] = {y0, y0, y1, y1}, ext[4] = {x0, y0, x1, y1};
        vb.AddPolygon(x, y, 4, ext);
    }

    XGLTestDC dc{W, H};
    XBackBuffer back;
    XVertBuffer vb{XVertBuffer::PATH_GL};
};

TEST_F(ReplayGLTest, SolidAndHollowPolygonsAreOutlinesAndRingsCutNoHoles)
{
    tagXFillStyle solid, hollow, hatch;
    hollow.SetStyle(tagXFillStyle::STYLE_HOLLOW);
    hatch.SetStyle(tagXFillStyle::STYLE_HORIZONTAL);
    vb.AddFillStyle(&solid, kRed, kGreen, 1.0);
    vb.AddLineColor(kBlue, 1.0);
    Square(5.5, 5.5, 30.5, 30.5);
    vb.AddFillStyle(&hollow, kRed, kGreen, 1.0);
    Square(5.5, 40.5, 30.5, 65.5);
    // Two rings, the second inside the first: both fill with the back colour.
    vb.AddFillStyle(&hatch, kRed, kGreen, 1.0);
    double x[8] = {40.5, 95.5, 95.5, 40.5, 60.5, 75.5, 75.5, 60.5};
    double y[8] = {40.5, 40.5, 95.5, 95.5, 60.5, 60.5, 75.5, 75.5};
    int counts[2] = {4, 4};
    double ext[4] = {40.5, 40.5, 95.5, 95.5};
    vb.AddPolyPolygon(x, y, counts, 2, ext);
    // Kinds with no meaning here draw nothing.
    vb.AddEllipse(20.0, 85.0, 10.0, 10.0);
    vb.AddTextBox(5.0, 70.0, 0.0, 35.0, 99.0, nullptr);
    const unsigned char emf[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    vb.AddEMF(20.0, 85.0, 0.0, 1, 1, 1, sizeof(emf), emf, "x");
    vb.AddPolyFillMode(2);
    Replay("replay_gl_polygons");
    EXPECT_EQ(AtWorld(18, 18), Px(kWhite));
    EXPECT_EQ(AtWorld(18, 52), Px(kWhite));
    for (const POINT& pt : {POINT{5, 18}, POINT{30, 18}, POINT{18, 30}, POINT{5, 52}, POINT{60, 68}})
        EXPECT_EQ(AtWorld(pt.x, pt.y), Px(kBlue)) << pt.x << "," << pt.y; // outlines, the inner ring's too
    EXPECT_GT(Count(kGreen, 62, 62, 74, 74), 0);
    EXPECT_EQ(Count(kWhite, 62, 62, 74, 74), 0);
    EXPECT_EQ(Count(kRed, 0, 0, 35, 69), 0); // no solid fill
    EXPECT_EQ(Count(kWhite, 0, 70, 35, 99), 36 * 30);
}

TEST_F(ReplayGLTest, HatchedPolygonPaintsTheBackPassThenTheStippledForePass)
{
    tagXFillStyle hatch;
    hatch.SetStyle(tagXFillStyle::STYLE_CROSS);
    vb.AddFillStyle(&hatch, kRed, kGreen, 1.0);
    vb.AddLineColor(kBlue, 1.0);
    Square(10.5, 10.5, 90.5, 90.5);
    Replay("replay_gl_hatch");
    // Inside, each pixel is fore where the stipple's bit is set (window coordinates, byte 0 leftmost, high bit first)
    // and back elsewhere.
    for (int y = 20; y < 80; y += 3)
        for (int x = 20; x < 80; x += 5) {
            const bool bSet = (hatch.Pattern[(y % 32) * 4 + (x % 32) / 8] >> (7 - x % 8)) & 1;
            EXPECT_EQ(AtWorld(x, y), Px(bSet ? kRed : kGreen)) << x << "," << y;
        }
    EXPECT_GT(Count(kRed, 11, 11, 89, 89), 100);
    EXPECT_GT(Count(kGreen, 11, 11, 89, 89), 100);
    EXPECT_EQ(AtWorld(10, 50), Px(kBlue)); // the outline in the line colour
}

TEST_F(ReplayGLTest, LineStipplesWidthsPointsAndCulling)
{
    tagXLineStyle dashed, solid;
    dashed.SetStyle(0xF0F0, 1);
    vb.AddLineStyle(&dashed, -3.0, kBlue, 1.0); // 3 pixels at any zoom
    vb.AddLine(10.0, 50.5, 90.0, 50.5);
    vb.AddLineStyle(&solid, -0.5, kRed, 1.0); // half a pixel is sent as one
    double x[3] = {10.0, 90.5, 90.5}, y[3] = {20.5, 20.5, 30.0}, ext[4] = {10.0, 20.5, 90.5, 30.0};
    vb.AddPolyline(x, y, 3, ext);
    // Shapes outside the view are culled, and a wrong extent is the caller's promise: the line at 60.5 is culled by it.
    // Points are drawn.
    vb.AddLineColor(kGreen, 1.0);
    double off[2] = {150.0, 160.0}, y2[2] = {60.5, 60.5}, offExt[4] = {150.0, 50.5, 160.0, 50.5};
    vb.AddPolyline(off, y2, 2, offExt);
    double x2[2] = {10.0, 90.0};
    vb.AddPolyline(x2, y2, 2, offExt);
    double px[2] = {30.5, 70.5}, py[2] = {35.5, 35.5};
    vb.AddPolypoint(px, py, 2, offExt);
    Replay("replay_gl_lines");
    GLfloat fWidth = 0;
    glGetFloatv(GL_LINE_WIDTH, &fWidth);
    EXPECT_EQ(fWidth, 1.0f);
    EXPECT_FALSE(glIsEnabled(GL_LINE_STIPPLE));
    // The dashed line: half of it lit, in runs along x with a gap within every 8, 3 rows thick.
    const int nLit = Count(kBlue, 10, 50, 89, 50);
    EXPECT_NEAR(nLit, 40, 1);
    EXPECT_EQ(Count(kBlue, 10, 49, 89, 51), 3 * nLit);
    EXPECT_EQ(Count(kBlue, 10, 52, 89, 53), 0);
    EXPECT_LT(Count(kBlue, 10, 50, 17, 50), 8);
    // The thin solid polyline: one row, unbroken.
    EXPECT_EQ(Count(kRed, 10, 20, 89, 20), 80);
    EXPECT_EQ(Count(kRed, 10, 21, 88, 21), 0);
    EXPECT_EQ(AtWorld(90, 25), Px(kRed));
    EXPECT_EQ(AtWorld(30, 35), Px(kGreen));
    EXPECT_EQ(AtWorld(70, 35), Px(kGreen));
    EXPECT_EQ(Count(kGreen), 2);
}

TEST_F(ReplayGLTest, ImageIsTexturedOnceAndDrawnAgainWithTheSameTexture)
{
    // 2 by 2, bottom row first: blue, green over red, white.
    BITMAPINFO info = {};
    info.bmiHeader = BITMAPINFOHEADER{40, 2, 2, 1, 32, 0, 0, 0, 0, 0, 0};
    const BYTE bits[16] = {255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255, 255, 255, 255};
    vb.AddDIB(reinterpret_cast<const char*>(bits), &info, 20.5, 80.5, 80.5, 20.5, 0.0, 1.0, 0);
    Replay("replay_gl_image");
    void* pRecord = vb.GetRecord(1);
    ASSERT_EQ(XVertRecord::Kind(pRecord), XVertBuffer::KIND_DIB);
    GLuint nTexture = XVertRecord::GetU32(XVertRecord::At(pRecord, XVertRecord::OFS_DIB_TEXTURE));
    EXPECT_TRUE(nTexture != 0 && glIsTexture(nTexture));
    // Linear filtering: the colours are exact at the texel centres, a quarter of the way in from each edge.
    const struct {
        int x, y;
        COLORREF clr;
    } probes[] = {{35, 35, kBlue}, {65, 35, kGreen}, {35, 65, kRed}, {65, 65, kWhite}, {10, 10, kWhite}};
    for (const auto& p : probes)
        EXPECT_EQ(AtWorld(p.x, p.y), Px(p.clr)) << p.x << "," << p.y;

    glClear(GL_COLOR_BUFFER_BIT);
    vb.Draw(&back);
    EXPECT_EQ(XVertRecord::GetU32(XVertRecord::At(pRecord, XVertRecord::OFS_DIB_TEXTURE)), nTexture);
    back.Swap(static_cast<HDC>(nullptr), SRCCOPY);
    EXPECT_EQ(AtWorld(65, 35), Px(kGreen));
    vb.Free(); // deletes the texture through the replay
    EXPECT_FALSE(glIsTexture(nTexture));
}

TEST_F(ReplayGLTest, OutlineTextStandsAtItsAnchor)
{
    tagXTextStyle style;
    std::memcpy(style.lf.lfFaceName, "Liberation Sans", 16);
    back.AddGLFont(&style);
    ASSERT_GE(XBackBuffer::GetGLFont(&style), 0);
    // Left-bottom at (10, 60), right-top at (90, 40): the text lies up and right of the first anchor and down and left
    // of the second.
    style.nAlign = tagXTextStyle::ALIGN_LEFT | tagXTextStyle::ALIGN_BOTTOM;
    vb.AddTextStyle(&style, 20.0, kBlue, kWhite, 1.0);
    vb.AddText("HH", 10.0, 60.0, 0.0);
    style.nAlign = tagXTextStyle::ALIGN_RIGHT | tagXTextStyle::ALIGN_TOP;
    vb.AddTextStyle(&style, 20.0, kRed, kWhite, 1.0);
    vb.AddText("HH", 90.0, 40.0, 0.0);
    Replay("replay_gl_text_outline");
    EXPECT_GT(Count(kBlue, 10, 60, 45, 79), 50);
    EXPECT_EQ(Count(kBlue, 0, 0, 9, 99) + Count(kBlue, 0, 0, 99, 59), 0);
    EXPECT_GT(Count(kRed, 55, 20, 89, 39), 50);
    EXPECT_EQ(Count(kRed, 91, 0, 99, 99) + Count(kRed, 0, 41, 99, 99), 0);
}

} // namespace
