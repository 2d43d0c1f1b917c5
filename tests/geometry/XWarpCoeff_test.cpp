#include "KVDbase/geometry/XWarpCoeff.h"
#include "geometry/XLeastSquares.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

const double XNO_VALUE = 1.7e308;

typedef std::vector<double> XValues;

XValues Of(const double* p, int n = XWarpCoeff::MAX_COEFFS)
{
    return XValues(p, p + n);
}

// A model's polynomial evaluated from its definition.
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

// A fit from samples of an exact polynomial gives back its coefficients and maps every sample onto its target.
TEST(XWarpCoeff, FitsReproduceExactPolynomials)
{
    const struct {
        tagPoly poly;
        std::vector<double> grid; // the nodes of a square grid, or the three points of the affine case
        double dTolerance;
    } cases[] = {
        {{2, {2, 3, 5}, {-1, 0.5, 1}}, {}, 1e-14},
        {{3, {2, -1, 0.5, 1}, {-1, 4, 0.25, 3}}, {0, 2}, 1e-13},
        {{4, {0.5, -0.25, 1, 2, -3, 7}, {-1, 2, 0.5, 0, 1, -4}}, {-1, 0, 2}, 1e-12},
        {{5, {0.1, -0.2, 0.3, 0.05, 1, -1, 2, 3, -4, 5}, {-0.3, 0.2, 0, 0.1, 0.5, 2, -1, 1, 1, -2}},
         {-2, -0.5, 1, 3},
         1e-10},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.poly.nOrder);
        XValues sx, sy, tx, ty;
        if (c.grid.empty()) {
            sx = {0, 1, 0};
            sy = {0, 0, 1};
        }
        for (double y : c.grid) {
            for (double x : c.grid) {
                sx.push_back(x);
                sy.push_back(y);
            }
        }
        const int n = static_cast<int>(sx.size());
        tx.resize(n);
        ty.resize(n);
        for (int i = 0; i < n; i++)
            c.poly.Map(sx[i], sy[i], tx[i], ty[i]);
        XWarpCoeff warp;
        ASSERT_EQ(warp.Create(c.poly.nOrder, n, sx.data(), sy.data(), tx.data(), ty.data(), nullptr), 1);
        EXPECT_EQ(warp.GetOrder(), c.poly.nOrder);
        for (int i = 0; i < XWarpCoeff::MAX_COEFFS; i++) {
            EXPECT_NEAR(warp.GetCoeffX()[i], i < c.poly.Terms() ? c.poly.a[i] : 0.0, c.dTolerance) << "A" << i;
            EXPECT_NEAR(warp.GetCoeffY()[i], i < c.poly.Terms() ? c.poly.b[i] : 0.0, c.dTolerance) << "B" << i;
        }
        EXPECT_LT(warp.GetError().z, c.dTolerance);
        // Both array forms of a plain XWarpCoeff.
        std::vector<tagXVector2> points;
        for (int i = 0; i < n; i++)
            points.emplace_back(sx[i], sy[i]);
        ASSERT_EQ(warp.WarpPoint(sx.data(), sy.data(), n), 1);
        ASSERT_EQ(warp.WarpPoint(points.data(), n), 1);
        for (int i = 0; i < n; i++) {
            EXPECT_NEAR(sx[i], tx[i], c.dTolerance);
            EXPECT_NEAR(sy[i], ty[i], c.dTolerance);
            EXPECT_EQ(points[i], tagXVector2(sx[i], sy[i]));
        }
    }
}

TEST(XWarpCoeff, OverdeterminedFitIsLeastSquaresTheSameInBothForms)
{
    // x' = xy on the unit square has the best plane 0.5 x + 0.5 y - 0.25, with residuals of 0.25 at every corner.
    tagXVector2 src[4] = {{0, 0}, {1, 0}, {0, 1}, {1, 1}};
    tagXVector2 dst[4] = {{0, 0}, {0, 0}, {0, 0}, {1, 0}};
    XWarpCoeff warp;
    ASSERT_EQ(warp.Create(2, 4, src, dst, nullptr), 1);
    for (int i = 0; i < 3; i++)
        EXPECT_NEAR(warp.GetCoeffX()[i], (XValues{0.5, 0.5, -0.25})[i], 1e-15);
    EXPECT_NEAR(warp.GetError().x, 0.25, 1e-15);
    EXPECT_NEAR(warp.GetError().y, 0.0, 1e-15);
    EXPECT_NEAR(warp.GetError().z, 0.25, 1e-15);
    double sx[4] = {0, 1, 0, 1}, sy[4] = {0, 0, 1, 1}, tx[4] = {0, 0, 0, 1}, ty[4] = {0, 0, 0, 0};
    XWarpCoeff other;
    ASSERT_EQ(other.Create(2, 4, sx, sy, tx, ty, nullptr), 1);
    EXPECT_EQ(Of(other.GetCoeffX()), Of(warp.GetCoeffX()));
    EXPECT_EQ(Of(other.GetCoeffY()), Of(warp.GetCoeffY()));
    EXPECT_EQ(other.GetError(), warp.GetError());
}

TEST(XWarpCoeff, CreateRefusesAndResetsAndARotationKeepsItsCentreAndDistances)
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
        EXPECT_EQ(warp.WarpPoint(&x, &y, 1), 0);
        tagXVector2 p(x, y);
        EXPECT_EQ(warp.WarpPoint(&p, 1), 0);
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
    // A rotation is an exact affine model that keeps its centre and distances.
    warp.CreateRotation(90, 0, 0);
    EXPECT_EQ(warp.GetOrder(), 2);
    EXPECT_EQ(warp.GetError(), tagXVector3(0, 0, 0));
    EXPECT_EQ(warp.IsUnchanged(), 0);
    tagXVector2 p(1, 0);
    ASSERT_EQ(warp.WarpPoint(p), 1);
    EXPECT_NEAR(p.x, 0, 1e-15);
    EXPECT_NEAR(p.y, 1, 1e-15);
    warp.CreateRotation(-37.5, 12.25, -3.5);
    tagXVector2 center, q;
    ASSERT_EQ(warp.WarpPoint(tagXVector2(12.25, -3.5), center), 1);
    EXPECT_NEAR(center.x, 12.25, 1e-14);
    EXPECT_NEAR(center.y, -3.5, 1e-14);
    warp.WarpPoint(tagXVector2(15.25, 0.5), q);
    EXPECT_NEAR(std::hypot(q.x - 12.25, q.y + 3.5), 5.0, 1e-14);
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
    EXPECT_EQ(Of(rx, 4), (XValues{1, 0, XNO_VALUE, 6}));
    EXPECT_EQ(Of(ry, 4), (XValues{0, 2, XNO_VALUE, 6}));
    EXPECT_EQ(err, tagXVector3(std::sqrt(37.0 / 3), std::sqrt(40.0 / 3), std::sqrt(77.0 / 3)));
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
    const tagXVector3 noValue(XNO_VALUE, XNO_VALUE, XNO_VALUE);
    EXPECT_EQ(identity.CalcError(4, sx, sy, tx, ty, none, nullptr, nullptr), noValue);
    XWarpCoeff reset;
    EXPECT_EQ(reset.CalcError(4, src, dst, nullptr, res), noValue);
    EXPECT_EQ(res[0], tagXVector2(XNO_VALUE, XNO_VALUE));
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
    EXPECT_EQ(tagXVector2(x, y), tagXVector2(7, 6));
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
    tagXVector2 c(2, 5), a(2, 5);
    copy.WarpPoint(c);
    assigned.WarpPoint(a);
    EXPECT_EQ(c, tagXVector2(1 * 2 + 2 * 5 + 3 * 10 + 4.0, 4 * 2 + 3 * 5 + 2 * 10 + 1.0));
    EXPECT_EQ(a, c);
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
    EXPECT_EQ(tagXVector2(ox, oy), tagXVector2(-2, 3));
    // CalcError maps through the override, so the failing point is skipped.
    double sx[2] = {-1, 1}, sy[2] = {0, 0}, tx[2] = {0, 11}, ty[2] = {0, 0}, rx[2];
    const tagXVector3 err = probe.CalcError(2, sx, sy, tx, ty, nullptr, rx, nullptr);
    EXPECT_EQ(Of(rx, 2), (XValues{XNO_VALUE, 0}));
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
    const double expected[6] = {5.0 / 6, 2.5, 1.0 / 6, 5.0 / 6, -0.5, 0.5};
    const double got[6] = {a[0], a[1], dChi, covar[0][0], covar[0][1], covar[1][1]};
    for (int i = 0; i < 6; i++)
        EXPECT_NEAR(got[i], expected[i], 1e-15) << i;

    // With a0 held at 1 and every sigma 2, only the slope is fitted.
    const double y2[3] = {1, 3, 5}, sigma2[3] = {2, 2, 2};
    double b[2] = {1, 0};
    const int slopeOnly[2] = {0, 1};
    ASSERT_EQ(XfnLinearLeastSquares(pRows, y2, sigma2, 3, b, slopeOnly, 2, pCovar, dChi), 1);
    EXPECT_EQ((XValues{b[0], b[1], dChi, covar[0][0], covar[0][1], covar[1][1]}), (XValues{1, 2, 0, 0, 0, 0.8}));
    const int noneFree[2] = {0, 0};
    EXPECT_EQ(XfnLinearLeastSquares(pRows, y, sigma, 3, a, noneFree, 2, pCovar, dChi), 0);
}

TEST(XLeastSquares, GaussJordanInvertsAndSolvesAndRefusesSingularAndNaNMatrices)
{
    double c[3][3] = {{0, 2, 1}, {1, 0, 0}, {3, 1, 4}};
    double rhs[3][2] = {{5, 1}, {1, 0}, {16, 0}};
    double* pC[3] = {c[0], c[1], c[2]};
    double* pB[3] = {rhs[0], rhs[1], rhs[2]};
    ASSERT_EQ(XfnGaussJordan(pC, 3, pB, 2), 1);
    // First column: the solution (1, 1, 3); the second solves for e0, the first column of the inverse.
    const double original[3][3] = {{0, 2, 1}, {1, 0, 0}, {3, 1, 4}};
    for (int i = 0; i < 3; i++) {
        EXPECT_NEAR(rhs[i][0], (XValues{1, 1, 3})[i], 1e-15);
        EXPECT_NEAR(rhs[i][1], c[i][0], 1e-15);
        for (int j = 0; j < 3; j++) {
            double d = 0;
            for (int k = 0; k < 3; k++)
                d += original[i][k] * c[k][j];
            EXPECT_NEAR(d, i == j ? 1.0 : 0.0, 1e-15);
        }
    }
    const double dNaN = std::nan("");
    double s[2][2] = {{1, 2}, {2, 4}}, n[2][2] = {{dNaN, dNaN}, {dNaN, dNaN}}, sb[2][1] = {{1}, {2}};
    double* pS[2] = {s[0], s[1]};
    double* pN[2] = {n[0], n[1]};
    double* pSB[2] = {sb[0], sb[1]};
    EXPECT_EQ(XfnGaussJordan(pS, 2, pSB, 1), 0);
    EXPECT_EQ(XfnGaussJordan(pN, 2, pSB, 1), 0);
}
