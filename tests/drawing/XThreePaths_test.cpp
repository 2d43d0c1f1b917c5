// The reference map replayed on the raster, antialiased and OpenGL paths: each keeps its known colours at the probes
// and writes its PNG, and all ink the same places but for the differences by design (docs/drawing.md).
#include "XDrawingTestReplay.h"
#include "XReferenceDrawing.h"
#include "drawing/XVertRecord.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

using namespace XReferenceDrawing;

// The colour at world (x, y) of a replayed map.
COLORREF At(const Frame& m, double x, double y)
{
    XBackBuffer view;
    view.SetViewSize(kWidth, kHeight);
    SetView(view);
    view.ConvWorldToPixelCoord(x, y);
    return m.Px(static_cast<int>(x), static_cast<int>(y));
}

// The map replayed on a path, its PNG written and its pixels read back. Labels are in world units: OpenGL draws them
// so with the flag that takes sizes as they are.
Frame Replay(int nPath)
{
    XVertBuffer vb(nPath);
    vb.SetFontSizeFlag(nPath == XVertBuffer::PATH_GL);
    Record(vb);
    if (nPath == XVertBuffer::PATH_GDIP) // the colours' opacity is their high byte here
        for (int i = 0; i < vb.GetRecordCount(); ++i) {
            BYTE* r = static_cast<BYTE*>(vb.GetRecord(i));
            const int nKind = XVertRecord::Kind(r);
            if (nKind >= XVertBuffer::KIND_LINECOLOR && nKind <= XVertBuffer::KIND_BACKCOLOR)
                XVertRecord::PutU32(r + 4, XVertRecord::GetU32(r + 4) | 0xFF000000u);
        }
    View v(kWidth, kHeight);
    v.before = [](XVertBuffer& buffer, XBackBuffer& bb) {
        SetView(bb);
        if (buffer.GetType() != XVertBuffer::PATH_GL)
            return;
        EXPECT_EQ(XBackBuffer::CreateCompositeFont(), 1);
        for (LONG nWeight : {400, 700}) {
            tagXTextStyle style;
            style.lf.lfWeight = nWeight;
            bb.AddGLFont(&style);
        }
    };
    return Play(vb, v, "reference_map");
}

struct ThreePaths : ::testing::Test {
    static Frame raster, aa, gl;
    static void SetUpTestSuite()
    {
        raster = Replay(XVertBuffer::PATH_GDI);
        aa = Replay(XVertBuffer::PATH_GDIP);
        gl = Replay(XVertBuffer::PATH_GL);
    }
};
Frame ThreePaths::raster, ThreePaths::aa, ThreePaths::gl;

TEST_F(ThreePaths, EachPathKeepsTheMapsColours)
{
    // The antialiased poly-polygon fill reads its ring sizes by ring index, so the land shows the sea; OpenGL draws no
    // solid fill: its probes stay white.
    for (const Probe& p : Probes()) {
        SCOPED_TRACE(testing::Message() << p.x << "," << p.y);
        EXPECT_EQ(At(raster, p.x, p.y), p.clr);
        EXPECT_EQ(At(aa, p.x, p.y), p.clr == kLand ? kSea : p.clr);
        EXPECT_EQ(At(gl, p.x, p.y), 0xFFFFFFu);
    }
    // The legend blends at 60 % over the sea (or the white); the keyed picture's black middle lets the land through.
    EXPECT_GT(GetRValue(At(raster, 123.72, 38.88)), GetRValue(kSea));
    EXPECT_EQ(At(raster, 128.85, 36.95), kLand);
    EXPECT_NE(At(aa, 128.85, 36.95), kBlack);
    // On OpenGL the hatched island paints its mask and its gaps, and "서울" (anchored right, below at (126.92, 37.5))
    // goes by the atlas: ink left of the anchor, none right of it.
    int nIsland = 0, nGaps = 0, nInk = 0, nRight = 0;
    for (double x = 126.4; x < 126.8; x += 0.01) {
        nIsland += At(gl, x, 33.45) == kIsland;
        nGaps += At(gl, x, 33.45) == kLand;
    }
    for (double x = 126.3; x < 126.99; x += 0.01) // the road runs past 127
        for (double y = 37.22; y < 37.48; y += 0.01)
            (x < 126.94 ? nInk : nRight) += At(gl, x, y) != 0xFFFFFFu;
    EXPECT_GT(nIsland, 0);
    EXPECT_GT(nGaps, 0);
    EXPECT_GT(nInk, 100);
    EXPECT_EQ(nRight, 0);
}

// The 8 by 8 cells holding a pixel of a colour: exactly, or on the antialiased path within a distance of 24 (edge
// pixels, blends of two colours, count for none).
const int kCell = 8, kCols = kWidth / kCell, kRows = kHeight / kCell;

std::vector<bool> Cells(const Frame& m, COLORREF clr, bool bBlends)
{
    std::vector<bool> cells(static_cast<size_t>(kCols) * kRows, false);
    for (int i = 0; i < kWidth * kHeight; ++i) {
        double d = 0;
        for (int b = 0; b < 24; b += 8)
            d += ((m.px[i] >> b & 0xFF) - double(clr >> b & 0xFF)) * ((m.px[i] >> b & 0xFF) - double(clr >> b & 0xFF));
        if (bBlends ? d <= 24.0 * 24.0 : m.px[i] == clr)
            cells[static_cast<size_t>(i / kWidth / kCell) * kCols + i % kWidth / kCell] = true;
    }
    return cells;
}

// Inked cells of each picture, and those with no inked cell of the other within one cell.
void Compare(const std::vector<bool>& a, const std::vector<bool>& b, int& nInked, int& nMisplaced)
{
    auto nearby = [](const std::vector<bool>& m, int cx, int cy) {
        for (int y = std::max(cy - 1, 0); y <= std::min(cy + 1, kRows - 1); ++y)
            for (int x = std::max(cx - 1, 0); x <= std::min(cx + 1, kCols - 1); ++x)
                if (m[static_cast<size_t>(y) * kCols + x])
                    return true;
        return false;
    };
    nInked = nMisplaced = 0;
    for (int i = 0; i < kCols * kRows; ++i) {
        nInked += a[i] + b[i];
        nMisplaced += (a[i] && !nearby(b, i % kCols, i / kCols)) + (b[i] && !nearby(a, i % kCols, i / kCols));
    }
}

TEST_F(ThreePaths, InkTheSamePlaces)
{
    // The sea is left out (no solid fill on OpenGL, the ring-index fill antialiased); the dotted grid spreads over two
    // half-covered pixels antialiased; ellipses and labels (the ink) differ on OpenGL.
    const struct {
        COLORREF clr;
        bool bAntialiased, bOpenGL;
    } classes[] = {{kCoast, true, true}, {kGrid, false, true}, {kHighway, true, true}, {kRoad, true, true},
                   {kIsland, true, true}, {kReef, true, true}, {kInk, true, false}};
    for (const auto& c : classes) {
        const std::vector<bool> base = Cells(raster, c.clr, false);
        for (const Frame* pOther : {&aa, &gl}) {
            if (!(pOther == &aa ? c.bAntialiased : c.bOpenGL))
                continue;
            SCOPED_TRACE(testing::Message() << std::hex << c.clr << (pOther == &aa ? " antialiased" : " opengl"));
            int nInked, nMisplaced;
            Compare(base, Cells(*pOther, c.clr, pOther == &aa), nInked, nMisplaced);
            EXPECT_GT(nInked, 6);
            EXPECT_LE(nMisplaced, 0.05 * nInked); // at most 5 % of the class's inked cells
        }
    }
}

} // namespace
