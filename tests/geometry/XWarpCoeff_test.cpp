#include "KVDbase/geometry/XWarpCoeff.h"
#include "geometry/XLeastSquares.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

const double XNO_VALUE = 1.7e308;

// Evaluates a model's polynomial directly from its definition.
struct tagPoly {
    int nOrder;
    double a[10];
    double b[10];

    void Map(double x, double y, double& u, double& v) const
    {
        const double t2[] = {x, y, 1};
        const double t3[] = {x, y, x * y, 1};
        const double t4[] = {x * x, y * y, x * y, x, y, 1};
        const double t5[] = {x * x * x, y * y * y, x * x * y, x * y * y, x * x, y * y, x * y, x, y, 1};
        const double* t = nOrder == 2 ? t2 : nOrder == 3 ? t3 : nOrder == 4 ? t4 : t5;
        u = v = 0;
        for (int i = 0; i < Terms(); i++) {
            u += a[i] * t[i];
            v += b[i] * t[i];
        }
    }

    int Terms() const { return nOrder == 2 ? 3 : nOrder == 3 ? 4 : nOrder == 4 ? 6 : 10; }
};

// Samples the polynomial on a grid, fits it and checks that the fit gives
// back its coefficients and maps every sample onto its target.
void ExpectExactFit(const tagPoly& poly, const std::vector<double>& grid, double dTolerance)
{
    std::vector<double> sx, sy, tx, ty;
    for (double y : grid) {
        for (double x : grid) {
            double u, v;
            poly.Map(x, y, u, v);
            sx.push_back(x);
            sy.push_back(y);
            tx.push_back(u);
            ty.push_back(v);
        }
    }
    XWarpCoeff warp;
    const int n = static_cast<int>(sx.size());
    ASSERT_EQ(warp.Create(poly.nOrder, n, sx.data(), sy.data(), tx.data(), ty.data(), nullptr), 1);
    EXPECT_EQ(warp.GetOrder(), poly.nOrder);
    const int nTerms = poly.Terms();
    for (int i = 0; i < XWarpCoeff::MAX_COEFFS; i++) {
        EXPECT_NEAR(warp.GetCoeffX()[i], i < nTerms ? poly.a[i] : 0.0, dTolerance) << "A" << i;
        EXPECT_NEAR(warp.GetCoeffY()[i], i < nTerms ? poly.b[i] : 0.0, dTolerance) << "B" << i;
    }
    EXPECT_LT(warp.GetError().z, dTolerance);
    for (int i = 0; i < n; i++) {
        double x = sx[i], y = sy[i];
        ASSERT_EQ(warp.WarpPoint(x, y), 1);
        EXPECT_NEAR(x, tx[i], dTolerance);
        EXPECT_NEAR(y, ty[i], dTolerance);
    }
}

// Exposes the protected model so that the orders no operation produces can
// be evaluated, and counts how often the computing form is reached.
class XWarpProbe : public XWarpCoeff {
public:
    int nCalls = 0;
    bool bFailNegative = false;

    void SetModel(int nOrder, std::initializer_list<double> a, std::initializer_list<double> b)
    {
        Reset();
        order = nOrder;
        std::copy(a.begin(), a.end(), coeffX);
        std::copy(b.begin(), b.end(), coeffY);
    }

    using XWarpCoeff::WarpPoint;
    int WarpPoint(double& dX, double& dY) override
    {
        nCalls++;
        if (bFailNegative && dX < 0)
            return 0;
        return XWarpCoeff::WarpPoint(dX, dY);
    }
};

} // namespace

TEST(XWarpCoeff, FitsReproduceExactPolynomials)
{
    // Affine from three points: the fewest it takes.
    tagPoly affine = {2, {2, 3, 5}, {-1, 0.5, 1}};
    std::vector<double> sx = {0, 1, 0}, sy = {0, 0, 1}, tx(3), ty(3);
    for (int i = 0; i < 3; i++)
        affine.Map(sx[i], sy[i], tx[i], ty[i]);
    XWarpCoeff warp;
    ASSERT_EQ(warp.Create(2, 3, sx.data(), sy.data(), tx.data(), ty.data(), nullptr), 1);
    for (int i = 0; i < 3; i++) {
        EXPECT_NEAR(warp.GetCoeffX()[i], affine.a[i], 1e-14);
        EXPECT_NEAR(warp.GetCoeffY()[i], affine.b[i], 1e-14);
    }
    EXPECT_LT(warp.GetError().x, 1e-14);
    EXPECT_LT(warp.GetError().y, 1e-14);

    // Bilinear from the four corners of a square.
    tagPoly bilinear = {3, {2, -1, 0.5, 1}, {-1, 4, 0.25, 3}};
    ExpectExactFit(bilinear, {0, 2}, 1e-13);
    // Full second degree from a 3 by 3 grid, third degree from 4 by 4.
    tagPoly quadratic = {4, {0.5, -0.25, 1, 2, -3, 7}, {-1, 2, 0.5, 0, 1, -4}};
    ExpectExactFit(quadratic, {-1, 0, 2}, 1e-12);
    tagPoly cubic = {5, {0.1, -0.2, 0.3, 0.05, 1, -1, 2, 3, -4, 5}, {-0.3, 0.2, 0, 0.1, 0.5, 2, -1, 1, 1, -2}};
    ExpectExactFit(cubic, {-2, -0.5, 1, 3}, 1e-10);
}

TEST(XWarpCoeff, OverdeterminedFitIsLeastSquares)
{
    // x' = xy on the unit square has the best plane 0.5 x + 0.5 y - 0.25,
    // with residuals of 0.25 at every corner.
    tagXVector2 src[4] = {{0, 0}, {1, 0}, {0, 1}, {1, 1}};
    tagXVector2 dst[4] = {{0, 0}, {0, 0}, {0, 0}, {1, 0}};
    XWarpCoeff warp;
    ASSERT_EQ(warp.Create(2, 4, src, dst, nullptr), 1);
    EXPECT_NEAR(warp.GetCoeffX()[0], 0.5, 1e-15);
    EXPECT_NEAR(warp.GetCoeffX()[1], 0.5, 1e-15);
    EXPECT_NEAR(warp.GetCoeffX()[2], -0.25, 1e-15);
    EXPECT_NEAR(warp.GetError().x, 0.25, 1e-15);
    EXPECT_NEAR(warp.GetError().y, 0.0, 1e-15);
    EXPECT_NEAR(warp.GetError().z, 0.25, 1e-15);

    // Both forms of Create share one fit, to the bit.
    double sx[4], sy[4], tx[4], ty[4];
    for (int i = 0; i < 4; i++) {
        sx[i] = src[i].x;
        sy[i] = src[i].y;
        tx[i] = dst[i].x;
        ty[i] = dst[i].y;
    }
    XWarpCoeff other;
    ASSERT_EQ(other.Create(2, 4, sx, sy, tx, ty, nullptr), 1);
    for (int i = 0; i < XWarpCoeff::MAX_COEFFS; i++) {
        EXPECT_EQ(other.GetCoeffX()[i], warp.GetCoeffX()[i]);
        EXPECT_EQ(other.GetCoeffY()[i], warp.GetCoeffY()[i]);
    }
    EXPECT_EQ(other.GetError(), warp.GetError());
}

TEST(XWarpCoeff, CreateRefusesAndResets)
{
    double sx[10] = {0, 1, 0, 1, 2, 3, 5, 7, 2, 9}, sy[10] = {0, 0, 1, 1, 5, 2, 3, 1, 8, 4};
    XWarpCoeff warp;
    warp.CreateRotation(30, 1, 2);
    for (int nOrder : {0, 1, 6, -1}) {
        EXPECT_EQ(warp.Create(nOrder, 10, sx, sy, sx, sy, nullptr), 0);
        EXPECT_EQ(warp.GetOrder(), -1);
        EXPECT_EQ(warp.GetCoeffX()[0], 0.0);
        double x = 1, y = 1;
        EXPECT_EQ(warp.WarpPoint(x, y), 0);
    }
    // Two used points give 4 rows, fewer than the 6 unknowns.
    int use[10] = {0, 1, 0, 0, 0, 0, 1, 0, 0, 0};
    EXPECT_EQ(warp.Create(2, 10, sx, sy, sx, sy, use), 0);
    EXPECT_EQ(warp.Create(5, 9, sx, sy, sx, sy, nullptr), 0);
    EXPECT_EQ(warp.Create(5, 10, sx, sy, sx, sy, nullptr), 1);

    // Coincident points make an exact zero pivot.
    double px[3] = {1, 1, 1}, py[3] = {2, 2, 2};
    EXPECT_EQ(warp.Create(2, 3, px, py, px, py, nullptr), 0);
    EXPECT_EQ(warp.GetOrder(), -1);
    EXPECT_EQ(warp.IsUnchanged(), 1);
}

TEST(XWarpCoeff, CalcErrorResidualsAndMask)
{
    XWarpCoeff identity;
    identity.CreateRotation(0, 0, 0);
    double sx[4] = {0, 1, 2, 3}, sy[4] = {0, 1, 2, 3};
    double tx[4] = {1, 1, 2, 9}, ty[4] = {0, 3, 2, 9};
    int use[4] = {1, 1, 0, 1};
    double rx[4] = {0}, ry[4] = {0};
    const tagXVector3 err = identity.CalcError(4, sx, sy, tx, ty, use, rx, ry);
    EXPECT_EQ(rx[0], 1.0);
    EXPECT_EQ(ry[1], 2.0);
    EXPECT_EQ(rx[2], XNO_VALUE);
    EXPECT_EQ(ry[2], XNO_VALUE);
    EXPECT_EQ(rx[3], 6.0);
    EXPECT_EQ(err.x, std::sqrt(37.0 / 3));
    EXPECT_EQ(err.y, std::sqrt(40.0 / 3));
    EXPECT_EQ(err.z, std::sqrt(77.0 / 3));

    tagXVector2 src[4], dst[4], res[4];
    for (int i = 0; i < 4; i++) {
        src[i] = tagXVector2(sx[i], sy[i]);
        dst[i] = tagXVector2(tx[i], ty[i]);
    }
    EXPECT_EQ(identity.CalcError(4, src, dst, use, res), err);
    EXPECT_EQ(res[1], tagXVector2(0, 2));
    EXPECT_EQ(res[2], tagXVector2(XNO_VALUE, XNO_VALUE));

    // No usable point: nothing excluded mapped, or a model that maps nothing.
    int none[4] = {0, 0, 0, 0};
    EXPECT_EQ(identity.CalcError(4, sx, sy, tx, ty, none, nullptr, nullptr),
              tagXVector3(XNO_VALUE, XNO_VALUE, XNO_VALUE));
    XWarpCoeff reset;
    EXPECT_EQ(reset.CalcError(4, src, dst, nullptr, res), tagXVector3(XNO_VALUE, XNO_VALUE, XNO_VALUE));
    EXPECT_EQ(res[0], tagXVector2(XNO_VALUE, XNO_VALUE));
}

TEST(XWarpCoeff, CreateRotation)
{
    XWarpCoeff warp;
    warp.CreateRotation(90, 0, 0);
    EXPECT_EQ(warp.GetOrder(), 2);
    EXPECT_EQ(warp.GetError(), tagXVector3(0, 0, 0));
    EXPECT_EQ(warp.IsUnchanged(), 0);
    tagXVector2 p(1, 0);
    ASSERT_EQ(warp.WarpPoint(p), 1);
    EXPECT_NEAR(p.x, 0, 1e-15);
    EXPECT_NEAR(p.y, 1, 1e-15);

    warp.CreateRotation(-37.5, 12.25, -3.5);
    tagXVector2 center;
    ASSERT_EQ(warp.WarpPoint(tagXVector2(12.25, -3.5), center), 1);
    EXPECT_NEAR(center.x, 12.25, 1e-14);
    EXPECT_NEAR(center.y, -3.5, 1e-14);
    // Distances from the centre are kept.
    tagXVector2 q;
    warp.WarpPoint(tagXVector2(15.25, 0.5), q);
    EXPECT_NEAR(std::hypot(q.x - 12.25, q.y + 3.5), 5.0, 1e-14);
}

TEST(XWarpCoeff, EvaluatesEveryOrderAndCopies)
{
    XWarpProbe probe;
    EXPECT_EQ(probe.IsUnchanged(), 1);
    probe.SetModel(0, {5}, {5});
    double x = 3, y = 4;
    EXPECT_EQ(probe.WarpPoint(x, y), 1);
    EXPECT_EQ(x, 3.0);
    EXPECT_EQ(probe.IsUnchanged(), 1);

    probe.SetModel(1, {2, 1}, {-1, 10});
    EXPECT_EQ(probe.WarpPoint(x, y), 1);
    EXPECT_EQ(x, 7.0);
    EXPECT_EQ(y, 6.0);

    probe.SetModel(7, {1}, {1});
    EXPECT_EQ(probe.WarpPoint(x, y), 0);
    EXPECT_EQ(x, 7.0);

    // An identity of order 2 still counts as changed.
    probe.SetModel(2, {1, 0, 0}, {0, 1, 0});
    EXPECT_EQ(probe.IsUnchanged(), 0);

    probe.SetModel(3, {1, 2, 3, 4}, {4, 3, 2, 1});
    XWarpCoeff copy(probe);
    XWarpCoeff assigned;
    assigned = probe;
    double cx = 2, cy = 5, ax = 2, ay = 5;
    copy.WarpPoint(cx, cy);
    assigned.WarpPoint(ax, ay);
    EXPECT_EQ(cx, 1 * 2 + 2 * 5 + 3 * 10 + 4.0);
    EXPECT_EQ(cy, 4 * 2 + 3 * 5 + 2 * 10 + 1.0);
    EXPECT_EQ(ax, cx);
    EXPECT_EQ(ay, cy);
}

TEST(XWarpCoeff, EveryFormEndsInTheOverridableOne)
{
    XWarpProbe probe;
    probe.SetModel(2, {1, 0, 10}, {0, 1, 0});
    probe.bFailNegative = true;

    // The array forms carry on past a failure and report it at the end.
    tagXVector2 pts[3] = {{1, 1}, {-1, 1}, {2, 2}};
    EXPECT_EQ(probe.WarpPoint(pts, 3), 0);
    EXPECT_EQ(pts[0], tagXVector2(11, 1));
    EXPECT_EQ(pts[1], tagXVector2(-1, 1));
    EXPECT_EQ(pts[2], tagXVector2(12, 2));
    double xs[2] = {-5, 5}, ys[2] = {0, 0};
    EXPECT_EQ(probe.WarpPoint(xs, ys, 2), 0);
    EXPECT_EQ(xs[1], 15.0);
    EXPECT_EQ(probe.WarpPoint(xs + 1, ys + 1, 1), 1);
    EXPECT_EQ(probe.nCalls, 6);

    // The separate-output form copies the input even when the move fails.
    double ox = 0, oy = 0;
    EXPECT_EQ(probe.WarpPoint(-2.0, 3.0, ox, oy), 0);
    EXPECT_EQ(ox, -2.0);
    EXPECT_EQ(oy, 3.0);

    // CalcError maps through the override, so the failing point is skipped.
    double sx[2] = {-1, 1}, sy[2] = {0, 0}, tx[2] = {0, 11}, ty[2] = {0, 0}, rx[2];
    const tagXVector3 err = probe.CalcError(2, sx, sy, tx, ty, nullptr, rx, nullptr);
    EXPECT_EQ(rx[0], XNO_VALUE);
    EXPECT_EQ(rx[1], 0.0);
    EXPECT_EQ(err, tagXVector3(0, 0, 0));
}

TEST(XLeastSquares, NormalEquationsWithFreeAndFixedUnknowns)
{
    // y = a0 + a1 x through (0, 1), (1, 3), (2, 6): a1 = 2.5, a0 = 5/6.
    double rows[3][2] = {{1, 0}, {1, 1}, {1, 2}};
    double* pRows[3] = {rows[0], rows[1], rows[2]};
    const double y[3] = {1, 3, 6}, sigma[3] = {1, 1, 1};
    double a[2] = {0, 0};
    const int allFree[2] = {1, 1};
    double covar[2][2];
    double* pCovar[2] = {covar[0], covar[1]};
    double dChi = -1;
    ASSERT_EQ(XfnLinearLeastSquares(pRows, y, sigma, 3, a, allFree, 2, pCovar, dChi), 1);
    EXPECT_NEAR(a[0], 5.0 / 6, 1e-15);
    EXPECT_NEAR(a[1], 2.5, 1e-15);
    EXPECT_NEAR(dChi, 1.0 / 6, 1e-15);
    EXPECT_NEAR(covar[0][0], 5.0 / 6, 1e-15);
    EXPECT_NEAR(covar[0][1], -0.5, 1e-15);
    EXPECT_NEAR(covar[1][1], 0.5, 1e-15);

    // With a0 held at 1 and every sigma 2, only the slope is fitted.
    const double y2[3] = {1, 3, 5}, sigma2[3] = {2, 2, 2};
    double b[2] = {1, 0};
    const int slopeOnly[2] = {0, 1};
    ASSERT_EQ(XfnLinearLeastSquares(pRows, y2, sigma2, 3, b, slopeOnly, 2, pCovar, dChi), 1);
    EXPECT_EQ(b[0], 1.0);
    EXPECT_EQ(b[1], 2.0);
    EXPECT_EQ(dChi, 0.0);
    EXPECT_EQ(covar[0][0], 0.0);
    EXPECT_EQ(covar[0][1], 0.0);
    EXPECT_EQ(covar[1][1], 0.8);

    const int noneFree[2] = {0, 0};
    EXPECT_EQ(XfnLinearLeastSquares(pRows, y, sigma, 3, a, noneFree, 2, pCovar, dChi), 0);
}

TEST(XLeastSquares, GaussJordanInvertsAndSolves)
{
    double c[3][3] = {{0, 2, 1}, {1, 0, 0}, {3, 1, 4}};
    double rhs[3][2] = {{5, 1}, {1, 0}, {16, 0}};
    double* pC[3] = {c[0], c[1], c[2]};
    double* pB[3] = {rhs[0], rhs[1], rhs[2]};
    ASSERT_EQ(XfnGaussJordan(pC, 3, pB, 2), 1);
    // First column: the solution (1, 1, 3) of the system.
    EXPECT_NEAR(rhs[0][0], 1, 1e-15);
    EXPECT_NEAR(rhs[1][0], 1, 1e-15);
    EXPECT_NEAR(rhs[2][0], 3, 1e-15);
    // Second column solves for e0, which is the first column of the inverse.
    const double original[3][3] = {{0, 2, 1}, {1, 0, 0}, {3, 1, 4}};
    for (int i = 0; i < 3; i++) {
        EXPECT_NEAR(rhs[i][1], c[i][0], 1e-15);
        for (int j = 0; j < 3; j++) {
            double d = 0;
            for (int k = 0; k < 3; k++)
                d += original[i][k] * c[k][j];
            EXPECT_NEAR(d, i == j ? 1.0 : 0.0, 1e-15);
        }
    }

    double s[2][2] = {{1, 2}, {2, 4}};
    double sb[2][1] = {{1}, {2}};
    double* pS[2] = {s[0], s[1]};
    double* pSB[2] = {sb[0], sb[1]};
    EXPECT_EQ(XfnGaussJordan(pS, 2, pSB, 1), 0);
}
