// The reference map replayed on the raster, antialiased and OpenGL paths: each keeps its known colours at the probes,
// with the differences by design (docs/drawing.md), and writes its PNG.
#include "XDrawingTestReplay.h"
#include "XReferenceDrawing.h"
#include "drawing/XVertRecord.h"

#include <gtest/gtest.h>

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

} // namespace
