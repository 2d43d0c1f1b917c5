#include "KVDbase/geometry/XWarp2D.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace {

// Affine on each quadrant around (2, 2) and continuous: a 2 by 2 grid fits it exactly, no polynomial does.
tagXVector2 PiecewiseMap(double x, double y)
{
    return tagXVector2(2 * x + y + 0.5 * std::fabs(x - 2) - 0.75 * std::fabs(y - 2),
                       x - y + 0.25 * std::fabs(x - 2) + 0.5 * std::fabs(y - 2));
}

// The 9 by 9 lattice of step 0.5 over [0,4] x [0,4] and its images, optionally without the closed upper right quadrant.
struct tagLattice {
    std::vector<double> sx, sy, tx, ty;

    explicit tagLattice(bool bSkipUpperRight = false)
    {
        for (int j = 0; j <= 8; j++) {
            for (int i = 0; i <= 8; i++) {
                if (bSkipUpperRight && i >= 4 && j >= 4)
                    continue;
                const tagXVector2 t = PiecewiseMap(i * 0.5, j * 0.5);
                sx.push_back(i * 0.5);
                sy.push_back(j * 0.5);
                tx.push_back(t.x);
                ty.push_back(t.y);
            }
        }
    }
    int Count() const { return static_cast<int>(sx.size()); }
    int Fit(XWarpCoeff& warp) { return warp.Create(2, Count(), sx.data(), sy.data(), tx.data(), ty.data(), nullptr); }
    int Fit(XWarp2D& warp, int nCellsX, int nCellsY, int nOrder = 2)
    {
        return warp.Create(nOrder, Count(), sx.data(), sy.data(), tx.data(), ty.data(), nullptr, nCellsX, nCellsY);
    }
};

// Reaches the protected lookup and grid, and can be told to fail.
class XWarp2DProbe : public XWarp2D {
public:
    bool bFail = false;

    using XWarp2D::GetWarpCoeffLocal;
    using XWarp2D::WarpPoint;
    int WarpPoint(double& dX, double& dY) override { return bFail ? 0 : XWarp2D::WarpPoint(dX, dY); }

    void SetGrid(int nCellsX, int nCellsY, tagXVector2 lower, tagXVector2 upper)
    {
        numCellsX = nCellsX;
        numCellsY = nCellsY;
        minPoint = lower;
        maxPoint = upper;
        localCoeffs.SetSize(nCellsX * nCellsY);
    }
    void SetCell(int nIndex, const XWarpCoeff& cell) { localCoeffs[nIndex] = cell; }
};

} // namespace

TEST(XWarp2D, ResetWarpPassesPointsWhereXWarpCoeffFails)
{
    XWarp2D warp;
    // Through the base's table and an array form; a failed fit of either form leaves the same state.
    double sx[2] = {0, 1}, sy[2] = {0, 1};
    tagXVector2 points[2] = {{1, 2}, {5, 6}};
    EXPECT_EQ(warp.Create(2, 2, sx, sy, sx, sy, nullptr, 2, 2), 0);
    EXPECT_EQ(warp.Create(2, 2, points, points, nullptr, 2, 2), 0);
    XWarpCoeff& base = warp;
    EXPECT_EQ(base.WarpPoint(points, 2), 1);
    EXPECT_EQ(points[1], tagXVector2(5, 6));
    EXPECT_EQ(warp.GetLocalCoeffs().GetSize(), 0);
}

TEST(XWarp2D, GridFitsEachCellAndFallsBackOnEmptyOnes)
{
    tagLattice points;
    XWarpCoeff global;
    XWarp2D fitted, warp;
    ASSERT_EQ(points.Fit(global), 1);
    ASSERT_EQ(points.Fit(fitted, 2, 2), 1);
    // An assigned copy owns its cells.
    ASSERT_EQ(points.Fit(warp, 3, 3, 4), 1);
    warp = fitted;
    fitted.Reset();
    EXPECT_TRUE(warp.GetMinPoint() == tagXVector2(0, 0) && warp.GetMaxPoint() == tagXVector2(4, 4));
    ASSERT_EQ(warp.GetLocalCoeffs().GetSize(), 4);
    // The global model is a plain fit; the error is that of the piecewise model, which is exact here.
    EXPECT_EQ(warp.GetCoeffX()[1], global.GetCoeffX()[1]);
    EXPECT_GT(global.GetError().z, 0.1);
    EXPECT_LT(warp.GetError().z, 1e-12);
    // Inside each quadrant, and far outside the box, where the nearest edge cell serves, not the global model.
    const double probes[][2] = {{1.3, 0.7}, {3.1, 0.2}, {0.4, 3.9}, {2.9, 2.1}, {100, -50}, {-30, 70}, {1e4, 1e4}};
    for (const auto& p : probes) {
        const tagXVector2 t = PiecewiseMap(p[0], p[1]);
        double x = p[0], y = p[1];
        ASSERT_EQ(warp.WarpPoint(&x, &y, 1), 1);
        EXPECT_NEAR(x, t.x, 1e-9 * (1 + std::fabs(t.x))) << p[0] << "," << p[1];
        EXPECT_NEAR(y, t.y, 1e-9 * (1 + std::fabs(t.y))) << p[0] << "," << p[1];
    }

    // Without the upper right quadrant its cell has no model: the global one serves. Through the vector form.
    tagLattice partial(true);
    std::vector<tagXVector2> src, dst;
    for (int i = 0; i < partial.Count(); i++) {
        src.emplace_back(partial.sx[i], partial.sy[i]);
        dst.emplace_back(partial.tx[i], partial.ty[i]);
    }
    ASSERT_EQ(partial.Fit(global), 1);
    ASSERT_EQ(warp.Create(2, partial.Count(), src.data(), dst.data(), nullptr, 2, 2), 1);
    ASSERT_EQ(warp.GetLocalCoeffs().GetSize(), 4);
    EXPECT_EQ(warp.GetLocalCoeffs()[2].GetOrder(), 2);
    EXPECT_EQ(warp.GetLocalCoeffs()[3].GetOrder(), -1);
    tagXVector2 viaGrid(3.5, 2.5), viaGlobal(3.5, 2.5);
    ASSERT_EQ(global.WarpPoint(viaGlobal), 1);
    EXPECT_EQ(warp.WarpPoint(viaGrid), 1);
    EXPECT_EQ(viaGrid, viaGlobal);
}

TEST(XWarp2D, CellsAreClosedHonourTheUseMaskAndDegenerateShapesGiveAGlobalWarp)
{
    // Two cells over [0,4] x [0,2]; the right one has three points only because (2, 1) on the edge counts twice.
    double sx[6] = {0, 1, 0, 2, 4, 3}, sy[6] = {0, 2, 2, 1, 0, 2}, tx[6], ty[6];
    for (int i = 0; i < 6; i++) {
        tx[i] = 3 * sx[i] - sy[i] + 1;
        ty[i] = sx[i] + 2 * sy[i] - 5;
    }
    XWarp2D warp;
    ASSERT_EQ(warp.Create(2, 6, sx, sy, tx, ty, nullptr, 2, 1), 1);
    ASSERT_EQ(warp.GetLocalCoeffs().GetSize(), 2);
    EXPECT_EQ(warp.GetLocalCoeffs()[0].GetOrder(), 2);
    EXPECT_EQ(warp.GetLocalCoeffs()[1].GetOrder(), 2);
    // Without the edge point the right cell has no fit; without the rightmost point the box narrows.
    int use[6] = {1, 1, 1, 0, 1, 1};
    ASSERT_EQ(warp.Create(2, 6, sx, sy, tx, ty, use, 2, 1), 1);
    EXPECT_EQ(warp.GetLocalCoeffs()[0].GetOrder(), 2);
    EXPECT_EQ(warp.GetLocalCoeffs()[1].GetOrder(), -1);
    int useNarrow[6] = {1, 1, 1, 1, 0, 1};
    ASSERT_EQ(warp.Create(2, 6, sx, sy, tx, ty, useNarrow, 2, 1), 1);
    EXPECT_EQ(warp.GetMaxPoint(), tagXVector2(3, 2));
    // Shapes of fewer than two cells, or of more cells than an int holds, give a global warp.
    tagLattice points;
    const int shapes[][2] = {{1, 1}, {0, 5}, {5, 0}, {-2, -2}, {1 << 16, 1 << 16}};
    for (const auto& shape : shapes) {
        ASSERT_EQ(points.Fit(warp, shape[0], shape[1]), 1);
        EXPECT_EQ(warp.GetLocalCoeffs().GetSize() + warp.GetNumCellsX(), 0) << shape[0] << "x" << shape[1];
        EXPECT_GT(warp.GetError().z, 0.1);
    }
    // A single column of three rows is a grid.
    ASSERT_EQ(points.Fit(warp, 1, 3), 1);
    EXPECT_EQ(warp.GetLocalCoeffs().GetSize(), 3);
}

TEST(XWarp2D, CellLookupHoldsToTheGridAndCellsAloneMovePoints)
{
    XWarp2DProbe warp;
    EXPECT_EQ(warp.GetWarpCoeffLocal(0, 0), nullptr);
    warp.SetGrid(4, 3, tagXVector2(10, 20), tagXVector2(18, 26));
    const XWarpCoeff* pCells = warp.GetLocalCoeffs().GetData();
    EXPECT_EQ(warp.GetWarpCoeffLocal(10, 20), pCells);
    EXPECT_EQ(warp.GetWarpCoeffLocal(13.9, 22.1), pCells + 1 * 4 + 1);
    EXPECT_EQ(warp.GetWarpCoeffLocal(18, 26), pCells + 2 * 4 + 3);
    EXPECT_EQ(warp.GetWarpCoeffLocal(1e9, -1e9), pCells + 3);
    // Billions of cells away the quotient has no int value: the first cell.
    EXPECT_EQ(warp.GetWarpCoeffLocal(1e12, 21), pCells);
    // All points at one x give a grid of zero width: every x, even NaN, falls in the first column.
    warp.SetGrid(2, 2, tagXVector2(5, 0), tagXVector2(5, 4));
    pCells = warp.GetLocalCoeffs().GetData();
    for (double x : {5.0, 4.0, 6.0, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_EQ(warp.GetWarpCoeffLocal(x, 3), pCells + 2) << x;
    // Cells alone, with no global model, still change points.
    warp.SetGrid(2, 1, tagXVector2(0, 0), tagXVector2(2, 1));
    EXPECT_EQ(warp.IsUnchanged(), 1);
    XWarpCoeff rotation;
    rotation.CreateRotation(90, 0, 0);
    warp.SetCell(1, rotation);
    EXPECT_EQ(warp.IsUnchanged(), 0);
    tagXVector2 p(1.5, 0.5);
    EXPECT_EQ(warp.WarpPoint(p), 1);
    EXPECT_NEAR(p.x, -0.5, 1e-15);
    EXPECT_NEAR(p.y, 1.5, 1e-15);
}

TEST(XWarp2D, ChainRunsPrevThenSelfThenNext)
{
    // shift: x + 10; twice: 2x; each from three exact points.
    double sx[3] = {0, 1, 0}, sy[3] = {0, 0, 1};
    double shiftX[3] = {10, 11, 10}, twiceX[3] = {0, 2, 0}, twiceY[3] = {0, 0, 2};
    XWarp2D shift, twice, center, identity;
    ASSERT_EQ(shift.Create(2, 3, sx, sy, shiftX, sy, nullptr, 1, 1), 1);
    ASSERT_EQ(twice.Create(2, 3, sx, sy, twiceX, twiceY, nullptr, 1, 1), 1);
    // IsUnchanged looks through the links.
    center.SetPrev(&identity);
    center.SetNext(&identity);
    EXPECT_EQ(center.IsUnchanged(), 1);
    center.SetPrev(&shift);
    center.SetNext(&twice);
    EXPECT_EQ(center.IsUnchanged(), 0);
    double x = 1, y = 3;
    ASSERT_EQ(center.WarpPoint(x, y), 1);
    EXPECT_NEAR(x, 22, 1e-12);
    EXPECT_NEAR(y, 6, 1e-12);
    // Each warp follows its own links: shift's next runs inside center's prev. A copy shares the links.
    shift.SetNext(&twice);
    XWarp2D copy(center);
    tagXVector2 p(1, 3);
    ASSERT_EQ(copy.WarpPoint(p), 1);
    EXPECT_NEAR(p.x, 44, 1e-12);

    // A failing prev stops the call before anything moves the point.
    XWarp2DProbe failing;
    failing.bFail = true;
    center.SetPrev(&failing);
    tagXVector2 q(1, 3);
    EXPECT_EQ(center.WarpPoint(q), 0);
    EXPECT_EQ(q, tagXVector2(1, 3));
    // A failing next fails the call after the point has moved.
    center.SetPrev(&shift);
    center.SetNext(&failing);
    EXPECT_EQ(center.WarpPoint(q), 0);
    EXPECT_NEAR(q.x, 22, 1e-12);
    // Create clears both links, even when it fails.
    center.SetPrev(&shift);
    EXPECT_EQ(center.Create(5, 3, sx, sy, sx, sy, nullptr, 2, 2), 0);
    EXPECT_EQ(center.GetPrev(), nullptr);
    EXPECT_EQ(center.GetNext(), nullptr);
}
