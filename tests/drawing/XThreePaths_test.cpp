// The reference map on the raster, antialiased and OpenGL paths: the same
// drawing inks the same places. Pictures are compared per colour class on a
// grid of 8 by 8 pixel cells, which absorbs antialiased edges, dash phases and
// rounding; a cell of one picture with no inked cell of the other within one
// cell counts as misplaced. Known differences are left out: OpenGL draws no
// solid fill, no ellipse and its own text, so only strokes and pattern fills
// are compared with it.
#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/drawing/XVertBuffer.h"
#include "XDrawingTestCanvas.h"
#include "XGLTestContext.h"
#include "XReferenceDrawing.h"
#include "drawing/XVertRecord.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

using namespace XReferenceDrawing;

const int kCell = 8;
const int kCols = kWidth / kCell, kRows = kHeight / kCell;
// At most this share of a class's inked cells may be misplaced.
const double kMaxMisplaced = 0.05;

using Picture = std::vector<COLORREF>; // row by row from the top

Picture ReadBack(HDC dc)
{
    Picture p(static_cast<size_t>(kWidth) * kHeight);
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x)
            p[static_cast<size_t>(y) * kWidth + x] = GetPixel(dc, x, y);
    return p;
}

Picture OnCanvas(int nPath)
{
    XVertBuffer vb(nPath);
    Record(vb);
    if (nPath == XVertBuffer::PATH_GDIP) // the colours' opacity is their high byte here
        for (int i = 0; i < vb.GetRecordCount(); ++i) {
            BYTE* r = static_cast<BYTE*>(vb.GetRecord(i));
            const int nKind = XVertRecord::Kind(r);
            if (nKind >= XVertBuffer::KIND_LINECOLOR && nKind <= XVertBuffer::KIND_BACKCOLOR)
                XVertRecord::PutU32(r + 4, XVertRecord::GetU32(r + 4) | 0xFF000000u);
        }
    XTestCanvas c(kWidth, kHeight);
    SetView(c.bb);
    vb.Draw(&c.bb);
    c.SavePNG(nPath == XVertBuffer::PATH_GDI ? "three_paths_raster" : "three_paths_antialiased");
    return ReadBack(c.DC());
}

Picture OnOpenGL()
{
    XGLTestDC dc(kWidth, kHeight);
    XBackBuffer bb;
    EXPECT_EQ(bb.Create(dc.Handle(), XBackBuffer::TYPE_OPENGL), 1);
    EXPECT_EQ(bb.Resize(dc.Handle(), kWidth, kHeight), 1);
    SetView(bb);
    XBackBuffer::CreateCompositeFont();
    for (LONG nWeight : {400, 700}) {
        tagXTextStyle style;
        style.lf.lfWeight = nWeight;
        bb.AddGLFont(&style);
    }
    XVertBuffer vb(XVertBuffer::PATH_GL);
    vb.SetFontSizeFlag(1); // label sizes are world units, as this path draws text
    Record(vb);
    bb.Clear(0xFFFFFF, nullptr);
    vb.Draw(&bb);
    bb.Swap(static_cast<HDC>(nullptr), SRCCOPY);
    dc.Save("three_paths_opengl");
    return ReadBack(dc.Handle());
}

// The map's colours and the grounds its strokes lie on. An antialiased
// pixel takes the nearest of them, when one lies within kNear; edge pixels,
// blends of two colours, take none.
const COLORREF kPalette[] = {kCoast, kGrid, kHighway, kRoad, kIsland, kReef, kInk, kSea, kLand, 0xFFFFFF};
const double kNear = 24.0;

COLORREF ClassOf(COLORREF px)
{
    double dBest = kNear * kNear;
    COLORREF best = CLR_INVALID;
    for (COLORREF c : kPalette) {
        double d = 0;
        for (int i = 0; i < 3; ++i) {
            const double dc = static_cast<double>((px >> (8 * i)) & 0xFF) - ((c >> (8 * i)) & 0xFF);
            d += dc * dc;
        }
        if (d <= dBest)
            dBest = d, best = c;
    }
    return best;
}

// Cells holding a pixel that shows the colour: exactly, or by its class on
// the antialiased path.
std::vector<bool> Inked(const Picture& p, COLORREF clr, bool bBlends)
{
    std::vector<bool> cells(static_cast<size_t>(kCols) * kRows, false);
    for (int y = 0; y < kRows * kCell; ++y)
        for (int x = 0; x < kCols * kCell; ++x) {
            const COLORREF px = p[static_cast<size_t>(y) * kWidth + x];
            if (px == clr || (bBlends && ClassOf(px) == clr))
                cells[static_cast<size_t>(y / kCell) * kCols + x / kCell] = true;
        }
    return cells;
}

struct Agreement {
    int nInkedA, nInkedB, nMisplaced;
};

Agreement Compare(const std::vector<bool>& a, const std::vector<bool>& b)
{
    auto nearby = [](const std::vector<bool>& m, int cx, int cy) {
        for (int y = std::max(cy - 1, 0); y <= std::min(cy + 1, kRows - 1); ++y)
            for (int x = std::max(cx - 1, 0); x <= std::min(cx + 1, kCols - 1); ++x)
                if (m[static_cast<size_t>(y) * kCols + x])
                    return true;
        return false;
    };
    Agreement r{0, 0, 0};
    for (int y = 0; y < kRows; ++y)
        for (int x = 0; x < kCols; ++x) {
            const size_t i = static_cast<size_t>(y) * kCols + x;
            r.nInkedA += a[i];
            r.nInkedB += b[i];
            r.nMisplaced += (a[i] && !nearby(b, x, y)) + (b[i] && !nearby(a, x, y));
        }
    return r;
}

TEST(ThreePaths, ReferenceMapInksTheSamePlaces)
{
    const Picture raster = OnCanvas(XVertBuffer::PATH_GDI);
    const Picture aa = OnCanvas(XVertBuffer::PATH_GDIP);
    const Picture gl = OnOpenGL();
    // Which pairs compare a class. The sea is left out: OpenGL draws no
    // solid fill, and the antialiased poly-polygon fill reads its ring
    // sizes by ring index, so the land's ring shows the sea beneath. The
    // dotted hairlines of the grid spread over two half-covered pixels on
    // the antialiased path. Ellipses and labels (the ink) are not drawn
    // alike on OpenGL.
    struct Class {
        const char* pszName;
        COLORREF clr;
        bool bAntialiased, bOpenGL;
    };
    const Class classes[] = {
        {"coast", kCoast, true, true}, {"grid", kGrid, false, true},   {"highway", kHighway, true, true},
        {"road", kRoad, true, true},   {"island", kIsland, true, true}, {"reef", kReef, true, true},
        {"ink", kInk, true, false},
    };
    for (const Class& c : classes) {
        const std::vector<bool> mRaster = Inked(raster, c.clr, false);
        std::vector<std::pair<const char*, Agreement>> pairs;
        if (c.bAntialiased)
            pairs.push_back({"raster/antialiased", Compare(mRaster, Inked(aa, c.clr, true))});
        if (c.bOpenGL)
            pairs.push_back({"raster/opengl", Compare(mRaster, Inked(gl, c.clr, false))});
        for (const auto& p : pairs) {
            const Agreement& r = p.second;
            std::printf("%-8s %-18s inked %4d %4d misplaced %3d\n", c.pszName, p.first, r.nInkedA, r.nInkedB,
                        r.nMisplaced);
            EXPECT_GT(r.nInkedA, 3) << c.pszName << " " << p.first;
            EXPECT_GT(r.nInkedB, 3) << c.pszName << " " << p.first;
            EXPECT_LE(r.nMisplaced, kMaxMisplaced * (r.nInkedA + r.nInkedB)) << c.pszName << " " << p.first;
        }
    }
}

} // namespace
