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
DWORD Px(COLORREF c)
{
    return ((c & 0xFF) << 16) | (c & 0xFF00) | ((c >> 16) & 0xFF);
}

class ReplayGLTest : public ::testing::Test {
protected:
    static const int W = 100, H = 100;
    // A type 3 back buffer on the DC: world x is the pixel column and world
    // y counts up from the bottom row (pixel centres at half units).
    void SetUp() override
    {
        back = new XBackBuffer();
        ASSERT_EQ(back->Create(dc.Handle(), XBackBuffer::TYPE_OPENGL), 1);
        ASSERT_EQ(back->Resize(dc.Handle(), W, H), 1);
        back->SetWorldToCenter(W / 2.0, H / 2.0);
        back->Clear(kWhite, nullptr);
        vb.Start();
    }
    void TearDown() override
    {
        vb.Free();
        delete back;
    }
    // Replays and lands the frame in the DC; y of At() counts from the top.
    void Replay(const char* pszPng)
    {
        vb.End();
        vb.Draw(back);
        back->Swap(static_cast<HDC>(nullptr), 0xCC0020); // lands the frame in the DC's pixels
        dc.Save(pszPng);
    }
    DWORD AtWorld(int x, int y) const { return dc.At(x, H - 1 - y); }
    int CountInRect(DWORD px, int x0, int y0, int x1, int y1) const
    {
        int n = 0;
        for (int y = y0; y <= y1; ++y)
            for (int x = x0; x <= x1; ++x)
                n += AtWorld(x, y) == px;
        return n;
    }
    void Square(double x0, double y0, double x1, double y1)
    {
        double x[4] = {x0, x1, x1, x0}, y[4] = {y0, y0, y1, y1};
        double ext[4] = {x0, y0, x1, y1};
        vb.AddPolygon(x, y, 4, ext);
    }

    XGLTestDC dc{W, H};
    XBackBuffer* back = nullptr;
    XVertBuffer vb{XVertBuffer::PATH_GL};
};

TEST_F(ReplayGLTest, SolidPolygonDrawsOnlyItsOutline)
{
    tagXFillStyle solid;
    vb.AddFillStyle(&solid, kRed, kGreen, 1.0);
    vb.AddLineColor(kBlue, 1.0);
    Square(20.5, 20.5, 80.5, 80.5);
    Replay("replay_gl_solid_outline");
    EXPECT_EQ(AtWorld(50, 50), Px(kWhite));
    EXPECT_EQ(AtWorld(20, 50), Px(kBlue));
    EXPECT_EQ(AtWorld(80, 50), Px(kBlue));
    EXPECT_EQ(AtWorld(50, 80), Px(kBlue));
    EXPECT_EQ(CountInRect(Px(kRed), 0, 0, W - 1, H - 1), 0);
}

TEST_F(ReplayGLTest, HatchedPolygonPaintsTheBackPassThenTheStippledForePass)
{
    tagXFillStyle hatch;
    hatch.SetStyle(tagXFillStyle::STYLE_CROSS);
    vb.AddFillStyle(&hatch, kRed, kGreen, 1.0);
    vb.AddLineColor(kBlue, 1.0);
    Square(10.5, 10.5, 90.5, 90.5);
    Replay("replay_gl_hatch");
    // Inside, each pixel is fore where the stipple's bit is set (window
    // coordinates, byte 0 leftmost, high bit first) and back elsewhere.
    for (int y = 20; y < 80; y += 3) {
        for (int x = 20; x < 80; x += 5) {
            const bool bSet = (hatch.Pattern[(y % 32) * 4 + (x % 32) / 8] >> (7 - x % 8)) & 1;
            EXPECT_EQ(AtWorld(x, y), Px(bSet ? kRed : kGreen)) << x << "," << y;
        }
    }
    EXPECT_GT(CountInRect(Px(kRed), 11, 11, 89, 89), 100);
    EXPECT_GT(CountInRect(Px(kGreen), 11, 11, 89, 89), 100);
    EXPECT_EQ(AtWorld(10, 50), Px(kBlue)); // the outline in the line colour
}

TEST_F(ReplayGLTest, HollowPolygonAndRingsOfAPolyPolygon)
{
    tagXFillStyle hollow;
    hollow.SetStyle(tagXFillStyle::STYLE_HOLLOW);
    vb.AddFillStyle(&hollow, kRed, kGreen, 1.0);
    vb.AddLineColor(kBlue, 1.0);
    Square(5.5, 5.5, 30.5, 30.5);
    // Two rings, the second inside the first: no hole is cut on this path,
    // both fill with the back colour.
    tagXFillStyle hatch;
    hatch.SetStyle(tagXFillStyle::STYLE_HORIZONTAL);
    vb.AddFillStyle(&hatch, kRed, kGreen, 1.0);
    double x[8] = {40.5, 95.5, 95.5, 40.5, 60.5, 75.5, 75.5, 60.5};
    double y[8] = {40.5, 40.5, 95.5, 95.5, 60.5, 60.5, 75.5, 75.5};
    int counts[2] = {4, 4};
    double ext[4] = {40.5, 40.5, 95.5, 95.5};
    vb.AddPolyPolygon(x, y, counts, 2, ext);
    Replay("replay_gl_hollow_rings");
    EXPECT_EQ(AtWorld(18, 18), Px(kWhite));
    EXPECT_EQ(AtWorld(5, 18), Px(kBlue));
    EXPECT_EQ(AtWorld(60, 68), Px(kBlue)); // the inner ring's outline
    EXPECT_GT(CountInRect(Px(kGreen), 62, 62, 74, 74), 0);
    EXPECT_EQ(CountInRect(Px(kWhite), 62, 62, 74, 74), 0);
}

TEST_F(ReplayGLTest, LineStipplesAndWidths)
{
    tagXLineStyle dashed;
    dashed.SetStyle(0xF0F0, 1);
    vb.AddLineStyle(&dashed, -3.0, kBlue, 1.0); // 3 pixels at any zoom
    vb.AddLine(10.0, 50.5, 90.0, 50.5);
    tagXLineStyle solid;
    vb.AddLineStyle(&solid, -0.5, kRed, 1.0);
    double x[3] = {10.0, 90.5, 90.5}, y[3] = {20.5, 20.5, 30.0};
    double ext[4] = {10.0, 20.5, 90.5, 30.0};
    vb.AddPolyline(x, y, 3, ext);
    Replay("replay_gl_lines");
    GLfloat fWidth = 0;
    glGetFloatv(GL_LINE_WIDTH, &fWidth);
    EXPECT_EQ(fWidth, 1.0f); // half a pixel is sent as one
    EXPECT_FALSE(glIsEnabled(GL_LINE_STIPPLE));

    // The dashed line: half of it lit, in runs along x, 3 rows thick.
    int nLit = CountInRect(Px(kBlue), 10, 50, 89, 50);
    EXPECT_NEAR(nLit, 40, 1);
    EXPECT_EQ(CountInRect(Px(kBlue), 10, 49, 89, 51), 3 * nLit);
    EXPECT_EQ(CountInRect(Px(kBlue), 10, 52, 89, 53), 0);
    EXPECT_LT(CountInRect(Px(kBlue), 10, 50, 17, 50), 8); // a gap within every 8
    // The thin solid polyline: one row, unbroken.
    EXPECT_EQ(CountInRect(Px(kRed), 10, 20, 89, 20), 80);
    EXPECT_EQ(CountInRect(Px(kRed), 10, 21, 88, 21), 0);
    EXPECT_EQ(AtWorld(90, 25), Px(kRed));
}

TEST_F(ReplayGLTest, ImageIsTexturedOnceAndDrawnAgainWithTheSameTexture)
{
    // 2 by 2, bottom row first: blue, green over red, white... and one pixel
    // half transparent makes the record blend.
    std::vector<BYTE> header(sizeof(BITMAPINFO), 0);
    BITMAPINFO* pInfo = reinterpret_cast<BITMAPINFO*>(header.data());
    pInfo->bmiHeader = BITMAPINFOHEADER{40, 2, 2, 1, 32, 0, 0, 0, 0, 0, 0};
    const BYTE bits[16] = {255, 0, 0, 255, 0, 255, 0, 255, 0, 0, 255, 255, 255, 255, 255, 255};
    vb.AddDIB(reinterpret_cast<const char*>(bits), pInfo, 20.5, 80.5, 80.5, 20.5, 0.0, 1.0, 0);
    Replay("replay_gl_image");
    void* pRecord = nullptr;
    for (int i = 0; i < vb.GetRecordCount(); ++i)
        if (XVertRecord::Kind(vb.GetRecord(i)) == XVertBuffer::KIND_DIB)
            pRecord = vb.GetRecord(i);
    ASSERT_NE(pRecord, nullptr);
    GLuint nTexture = XVertRecord::GetU32(XVertRecord::At(pRecord, XVertRecord::OFS_DIB_TEXTURE));
    EXPECT_NE(nTexture, 0u);
    EXPECT_TRUE(glIsTexture(nTexture));
    // Linear filtering: the colours are exact at the texel centres, a
    // quarter of the way in from each edge (20.5 + 60 / 4, a pixel centre).
    EXPECT_EQ(AtWorld(35, 35), Px(kBlue));
    EXPECT_EQ(AtWorld(65, 35), Px(kGreen));
    EXPECT_EQ(AtWorld(35, 65), Px(kRed));
    EXPECT_EQ(AtWorld(65, 65), Px(kWhite));
    EXPECT_EQ(AtWorld(10, 10), Px(kWhite)); // outside

    glClear(GL_COLOR_BUFFER_BIT);
    vb.Draw(back);
    EXPECT_EQ(XVertRecord::GetU32(XVertRecord::At(pRecord, XVertRecord::OFS_DIB_TEXTURE)), nTexture);
    back->Swap(static_cast<HDC>(nullptr), 0xCC0020);
    EXPECT_EQ(AtWorld(65, 35), Px(kGreen));

    vb.Free(); // deletes the texture through the replay
    EXPECT_FALSE(glIsTexture(nTexture));
}

TEST_F(ReplayGLTest, OutlineTextStandsAtItsAnchor)
{
    tagXTextStyle style;
    std::memcpy(style.lf.lfFaceName, "Liberation Sans", 16);
    back->AddGLFont(&style);
    ASSERT_GE(XBackBuffer::GetGLFont(&style), 0);
    // Left-bottom at (10, 60); right-top at (90, 40): the text lies up and
    // right of the first anchor and down and left of the second.
    style.nAlign = tagXTextStyle::ALIGN_LEFT | tagXTextStyle::ALIGN_BOTTOM;
    vb.AddTextStyle(&style, 20.0, kBlue, kWhite, 1.0);
    vb.AddText("HH", 10.0, 60.0, 0.0);
    style.nAlign = tagXTextStyle::ALIGN_RIGHT | tagXTextStyle::ALIGN_TOP;
    vb.AddTextStyle(&style, 20.0, kRed, kWhite, 1.0);
    vb.AddText("HH", 90.0, 40.0, 0.0);
    Replay("replay_gl_text_outline");
    int nBlueAbove = CountInRect(Px(kBlue), 10, 60, 45, 79);
    EXPECT_GT(nBlueAbove, 50);
    EXPECT_EQ(CountInRect(Px(kBlue), 0, 0, 9, 99) + CountInRect(Px(kBlue), 0, 0, 99, 59), 0);
    EXPECT_GT(CountInRect(Px(kRed), 55, 20, 89, 39), 50);
    EXPECT_EQ(CountInRect(Px(kRed), 91, 0, 99, 99) + CountInRect(Px(kRed), 0, 41, 99, 99), 0);
}

TEST_F(ReplayGLTest, KindsWithNoMeaningHereDrawNothing)
{
    vb.AddLineColor(kBlue, 1.0);
    vb.AddEllipse(50.0, 50.0, 20.0, 20.0);
    vb.AddTextBox(10.0, 10.0, 0.0, 90.0, 90.0, nullptr);
    const unsigned char emf[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    vb.AddEMF(50.0, 50.0, 0.0, 1, 1, 1, sizeof(emf), emf, "x");
    vb.AddPolyFillMode(2);
    Replay("replay_gl_nothing");
    EXPECT_EQ(CountInRect(Px(kWhite), 0, 0, W - 1, H - 1), W * H);
}

TEST_F(ReplayGLTest, ShapesOutsideTheViewAreCulledAndPointsDrawn)
{
    vb.AddLineColor(kRed, 1.0);
    double x[2] = {150.0, 160.0}, y[2] = {50.5, 50.5};
    double ext[4] = {150.0, 50.5, 160.0, 50.5};
    vb.AddPolyline(x, y, 2, ext);
    // A wrong extent is the caller's promise: the shape is culled by it.
    double x2[2] = {10.0, 90.0}, y2[2] = {60.5, 60.5};
    vb.AddPolyline(x2, y2, 2, ext);
    double px[2] = {30.5, 70.5}, py[2] = {30.5, 30.5};
    vb.AddPolypoint(px, py, 2, ext);
    Replay("replay_gl_cull");
    EXPECT_EQ(CountInRect(Px(kRed), 0, 60, W - 1, 60), 0);
    EXPECT_EQ(AtWorld(30, 30), Px(kRed));
    EXPECT_EQ(AtWorld(70, 30), Px(kRed));
    EXPECT_EQ(CountInRect(Px(kRed), 0, 0, W - 1, H - 1), 2);
}

} // namespace

#include "XReferenceDrawing.h"

namespace {

// The reference map on this path. Its labels are sized in world units; this
// path turns a world size into pixels (flag 0) and then draws it in world
// units, so the map is replayed with the flag that takes sizes as they are.
TEST(ReplayGLReference, ReferenceMap)
{
    using namespace XReferenceDrawing;
    XGLTestDC dc(kWidth, kHeight);
    XBackBuffer bb;
    ASSERT_EQ(bb.Create(dc.Handle(), XBackBuffer::TYPE_OPENGL), 1);
    ASSERT_EQ(bb.Resize(dc.Handle(), kWidth, kHeight), 1);
    SetView(bb);
    ASSERT_EQ(XBackBuffer::CreateCompositeFont(), 1);
    for (LONG nWeight : {400, 700}) {
        tagXTextStyle style;
        style.lf.lfWeight = nWeight;
        bb.AddGLFont(&style);
    }
    XVertBuffer vb(XVertBuffer::PATH_GL);
    vb.SetFontSizeFlag(1);
    Record(vb);
    bb.Clear(0xFFFFFF, nullptr);
    vb.Draw(&bb);
    bb.Swap(static_cast<HDC>(nullptr), 0xCC0020);
    dc.Save("reference_map_gl");

    auto at = [&](double x, double y) {
        bb.ConvWorldToPixelCoord(x, y);
        return dc.At(static_cast<int>(x), static_cast<int>(y));
    };
    // Solid areas are outlines only here: the open sea and the land stay
    // white; the hatched island paints its mask and its gaps.
    for (const Probe& p : Probes())
        EXPECT_EQ(at(p.x, p.y), Px(kWhite)) << p.x << "," << p.y;
    int nIsland = 0, nGaps = 0;
    for (double x = 126.4; x < 126.8; x += 0.01) {
        DWORD px = at(x, 33.45);
        nIsland += px == Px(kIsland);
        nGaps += px == Px(kLand);
    }
    EXPECT_GT(nIsland, 0);
    EXPECT_GT(nGaps, 0);
    // The half-transparent legend is blended over the white.
    EXPECT_NE(at(123.72, 38.88), Px(kWhite));
    // "서울" goes by the atlas: ink left of and below its anchor (126.92,
    // 37.5), none right of it.
    int nInk = 0, nRight = 0;
    for (double x = 126.3; x < 126.99; x += 0.01) { // the road runs past 127
        for (double y = 37.22; y < 37.48; y += 0.01) {
            bool bInk = at(x, y) != Px(kWhite);
            (x < 126.94 ? nInk : nRight) += bInk; // a pixel past the anchor
        }
    }
    EXPECT_GT(nInk, 100);
    EXPECT_EQ(nRight, 0);
}

} // namespace
