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
#include <map>
#include <vector>

namespace {

using namespace XReferenceDrawing;

const int kCell = 8;
const int kCols = kWidth / kCell, kRows = kHeight / kCell;
// At most this share of a class's inked cells may be misplaced.
const double kMaxMisplaced = 0.05;

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

// Per colour class, the cells holding a pixel that shows it: exactly, or
// by its nearest colour on the antialiased path.
using Cells = std::vector<bool>;
std::map<COLORREF, Cells> Inked(HDC dc, bool bBlends)
{
    std::map<COLORREF, Cells> m;
    for (COLORREF c : kPalette)
        m[c].assign(static_cast<size_t>(kCols) * kRows, false);
    for (int y = 0; y < kRows * kCell; ++y)
        for (int x = 0; x < kCols * kCell; ++x) {
            const COLORREF px = GetPixel(dc, x, y);
            auto it = m.find(bBlends ? ClassOf(px) : px);
            if (it != m.end())
                it->second[static_cast<size_t>(y / kCell) * kCols + x / kCell] = true;
        }
    return m;
}

std::map<COLORREF, Cells> OnCanvas(int nPath)
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
    return Inked(c.DC(), nPath == XVertBuffer::PATH_GDIP);
}

std::map<COLORREF, Cells> OnOpenGL()
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
    return Inked(dc.Handle(), false);
}

struct Agreement {
    int nInkedA, nInkedB, nMisplaced;
};

Agreement Compare(const Cells& a, const Cells& b)
{
    auto nearby = [](const Cells& m, int cx, int cy) {
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
    auto raster = OnCanvas(XVertBuffer::PATH_GDI), aa = OnCanvas(XVertBuffer::PATH_GDIP), gl = OnOpenGL();
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
        std::vector<std::pair<const char*, Agreement>> pairs;
        if (c.bAntialiased)
            pairs.push_back({"raster/antialiased", Compare(raster[c.clr], aa[c.clr])});
        if (c.bOpenGL)
            pairs.push_back({"raster/opengl", Compare(raster[c.clr], gl[c.clr])});
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
