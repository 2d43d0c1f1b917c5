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

// A model's polynomial evaluated from its definition; the coefficients past its terms are zero.
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

// Sets the protected model directly, counts calls of the computing form and can fail on negative x.
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
        std::vector<double> grid; // the coordinates of the nodes of a square grid
        double dTolerance;
    } cases[] = {
        {{2, {2, 3, 5}, {-1, 0.5, 1}}, {0, 1}, 1e-14},
        {{3, {2, -1, 0.5, 1}, {-1, 4, 0.25, 3}}, {0, 2}, 1e-13},
        {{4, {0.5, -0.25, 1, 2, -3, 7}, {-1, 2, 0.5, 0, 1, -4}}, {-1, 0, 2}, 1e-12},
        {{5, {0.1, -0.2, 0.3, 0.05, 1, -1, 2, 3, -4, 5}, {-0.3, 0.2, 0, 0.1, 0.5, 2, -1, 1, 1, -2}},
         {-2, -0.5, 1, 3},
         1e-10},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.poly.nOrder);
        XValues sx, sy, tx, ty;
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
            EXPECT_NEAR(warp.GetCoeffX()[i], c.poly.a[i], c.dTolerance) << "A" << i;
            EXPECT_NEAR(warp.GetCoeffY()[i], c.poly.b[i], c.dTolerance) << "B" << i;
        }
        EXPECT_LT(warp.GetError().z, c.dTolerance);
        ASSERT_EQ(warp.WarpPoint(sx.data(), sy.data(), n), 1);
        for (int i = 0; i < n; i++) {
            EXPECT_NEAR(sx[i], tx[i], c.dTolerance);
            EXPECT_NEAR(sy[i], ty[i], c.dTolerance);
        }
    }
}

TEST(XWarpCoeff, OverdeterminedFitIsLeastSquares)
{
    // x' = xy on the unit square has the best plane 0.5 x + 0.5 y - 0.25, with residuals of 0.25 at every corner.
    tagXVector2 src[4] = {{0, 0}, {1, 0}, {0, 1}, {1, 1}};
    tagXVector2 dst[4] = {{0, 0}, {0, 0}, {0, 0}, {1, 0}};
    XWarpCoeff warp;
    ASSERT_EQ(warp.Create(2, 4, src, dst, nullptr), 1);
    for (int i = 0; i < 3; i++)
        EXPECT_NEAR(warp.GetCoeffX()[i], (XValues{0.5, 0.5, -0.25})[i], 1e-15);
    EXPECT_NEAR(warp.GetError().x, 0.25, 1e-15);
    EXPECT_NEAR(warp.GetError().z, 0.25, 1e-15);
}

TEST(XWarpCoeff, CreateRefusesAndResetsAndARotationIsExact)
{
    double sx[10] = {0, 1, 0, 1, 2, 3, 5, 7, 2, 9}, sy[10] = {0, 0, 1, 1, 5, 2, 3, 1, 8, 4};
    XWarpCoeff warp;
    warp.CreateRotation(30, 1, 2);
    for (int nOrder : {0, 1, 6, -1}) {
        EXPECT_EQ(warp.Create(nOrder, 10, sx, sy, sx, sy, nullptr), 0);
        EXPECT_EQ(warp.GetOrder(), -1);
        tagXVector2 p(1, 1);
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
    // A rotation is an exact affine model.
    warp.CreateRotation(90, 0, 0);
    EXPECT_EQ(warp.GetOrder(), 2);
    EXPECT_EQ(warp.IsUnchanged(), 0);
    tagXVector2 p(1, 0);
    ASSERT_EQ(warp.WarpPoint(p), 1);
    EXPECT_NEAR(p.x, 0, 1e-15);
    EXPECT_NEAR(p.y, 1, 1e-15);
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
    tagXVector2 src[4] = {{0, 0}, {1, 1}, {2, 2}, {3, 3}}, res[4];

    // No usable point: nothing excluded mapped, or a model that maps nothing.
    int none[4] = {0, 0, 0, 0};
    const tagXVector3 noValue(XNO_VALUE, XNO_VALUE, XNO_VALUE);
    EXPECT_EQ(identity.CalcError(4, sx, sy, tx, ty, none, nullptr, nullptr), noValue);
    EXPECT_EQ(identity.CalcError(4, src, src, nullptr, res), tagXVector3(0, 0, 0));
    XWarpCoeff reset;
    EXPECT_EQ(reset.CalcError(4, src, src, nullptr, res), noValue);
    EXPECT_EQ(res[0], tagXVector2(XNO_VALUE, XNO_VALUE));
}

TEST(XWarpCoeff, EveryFormEndsInTheOverridableOne)
{
    XWarpProbe probe;
    EXPECT_EQ(probe.IsUnchanged(), 1);
    // An identity of order 2 still counts as changed.
    probe.SetModel(2, {1, 0, 0}, {0, 1, 0});
    EXPECT_EQ(probe.IsUnchanged(), 0);
    probe.SetModel(2, {1, 0, 10}, {0, 1, 0});
    probe.bFailNegative = true;
    // The array forms carry on past a failure and report it at the end.
    tagXVector2 pts[3] = {{1, 1}, {-1, 1}, {2, 2}};
    EXPECT_EQ(probe.WarpPoint(pts, 3), 0);
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

// Full pivoting solves a system whose first pivot is zero; only an exact zero pivot, or NaN, counts as singular.
TEST(XLeastSquares, GaussJordanSolvesAndRefusesSingularAndNaNMatrices)
{
    double c[3][3] = {{0, 2, 1}, {1, 0, 0}, {3, 1, 4}}, rhs[3][1] = {{5}, {1}, {16}};
    double* pC[3] = {c[0], c[1], c[2]};
    double* pB[3] = {rhs[0], rhs[1], rhs[2]};
    ASSERT_EQ(XfnGaussJordan(pC, 3, pB, 1), 1);
    for (int i = 0; i < 3; i++)
        EXPECT_NEAR(rhs[i][0], (XValues{1, 1, 3})[i], 1e-15);
    const double dNaN = std::nan("");
    double s[2][2] = {{1, 2}, {2, 4}}, n[2][2] = {{dNaN, dNaN}, {dNaN, dNaN}}, sb[2][1] = {{1}, {2}};
    double* pS[2] = {s[0], s[1]};
    double* pN[2] = {n[0], n[1]};
    double* pSB[2] = {sb[0], sb[1]};
    EXPECT_EQ(XfnGaussJordan(pS, 2, pSB, 1), 0);
    EXPECT_EQ(XfnGaussJordan(pN, 2, pSB, 1), 0);
}
