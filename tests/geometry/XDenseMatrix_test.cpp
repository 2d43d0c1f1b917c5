#include "KVDbase/geometry/XDenseMatrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

typedef std::vector<double> XValues;

XValues Of(const double* p, int n)
{
    return XValues(p, p + n);
}

} // namespace

// Matrices are rows of columns; products and transposes follow that layout, and an output may be an input.
TEST(XDenseMatrix, LayoutOfProductAndTransposesAndShapesThatDoNotFit)
{
    double a[6] = {1, 2, 3, 4, 5, 6}, b[6] = {6, 5, 4, 3, 2, 1}, c[6] = {7, 8, 9, 10, 11, 12}, out[6] = {0};
    ASSERT_EQ(XfnMatrixMultiply(a, c, out, 3, 2, 2, 3), 1); // 2 rows of 3 times 3 rows of 2
    EXPECT_EQ(Of(out, 4), (XValues{58, 64, 139, 154}));
    EXPECT_EQ(XfnMatrixTranspose(a, out, 3, 2), 1);
    EXPECT_EQ(Of(out, 6), (XValues{1, 4, 2, 5, 3, 6}));
    EXPECT_EQ(XfnMatrixAdd(a, b, a, 3, 2), 1);
    EXPECT_EQ(XfnMatrixSubtract(a, b, a, 2, 3), 1);
    EXPECT_EQ(Of(a, 6), (XValues{1, 2, 3, 4, 5, 6}));
    // Shapes that do not fit leave the output alone.
    double untouched[6] = {9, 9, 9, 9, 9, 9};
    EXPECT_EQ(XfnMatrixAdd(a, b, untouched, 0, 2), 0);
    EXPECT_EQ(XfnMatrixMultiply(a, b, untouched, 3, 2, 2, 2), 0);
    EXPECT_EQ(XfnMatrixTranspose(a, untouched, 0, 2), 0);
    EXPECT_EQ(Of(untouched, 6), XValues(6, 9.0));
    // In place: 2 columns by 3 rows become 3 columns by 2 rows; the square form succeeds on sizes below 2.
    ASSERT_EQ(XfnMatrixTranspose(a, 2, 3), 1);
    EXPECT_EQ(Of(a, 6), (XValues{1, 3, 5, 2, 4, 6}));
    EXPECT_EQ(XfnMatrixTranspose(a, 0, 3), 0);
    double sq[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_EQ(XfnMatrixTranspose(sq, 3, 3), 1);
    EXPECT_EQ(XfnMatrixTranspose(sq, -4), 1);
    EXPECT_EQ(Of(sq, 9), (XValues{1, 4, 7, 2, 5, 8, 3, 6, 9}));
}

// The determinant as the routine keeps it, and the inverse; a pivot at the threshold is refused with the
// determinant built so far.
TEST(XDenseMatrix, InverseAndItsDeterminantAsTheRoutineKeepsIt)
{
    const double dAbove = std::nextafter(1e-10, 1.0);
    const struct {
        double m[4];
        int nResult;
        double dDet;
        double inverse[4];
    } cases[] = {
        {{2, 0, 0, 4}, 1, 8.0, {0.5, 0, 0, 0.25}},
        // A row exchange restarts the determinant from minus the column's last element: 2 is reported as -2.
        {{0, 1, -2, 0}, 1, -2.0, {0, -0.5, 1, 0}},
        {{1, 2, 3, 4}, 1, -2.0, {-2, 1, 1.5, -0.5}},
        // Only a zero from the diagonal down: the routine pivots on row 0 again and succeeds, with -0.
        {{1, 2, 0, 0}, 1, -0.0, {0, 0, 0.5, 0.5}},
        {{dAbove, 0, 0, 1}, 1, dAbove, {1 / dAbove, 0, 0, 1}},
        {{1e-10, 0, 0, 1}, -6001, 1.0, {}},
        {{2, 4, 1, 2.00000000001}, -6001, 2.0, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.m[0] << " " << c.m[1] << " " << c.m[2] << " " << c.m[3]);
        double m[4] = {c.m[0], c.m[1], c.m[2], c.m[3]};
        double dDet = 7;
        ASSERT_EQ(XfnMatrixInverse(m, 2, dDet), c.nResult);
        EXPECT_EQ(dDet, c.dDet);
        EXPECT_EQ(std::signbit(dDet), std::signbit(c.dDet));
        for (int i = 0; i < 4 && c.nResult == 1; i++)
            EXPECT_NEAR(m[i], c.inverse[i], 1e-15) << i;
    }
    // Sizes out of range, and a first column of zeros that finds no pivot row, leave the determinant.
    double m[4] = {1, 0, 0, 1}, zero[9] = {0};
    double dDet = 123;
    EXPECT_EQ(XfnMatrixInverse(m, 1, dDet), 0);
    EXPECT_EQ(XfnMatrixInverse(m, 1025, dDet), 0);
    EXPECT_EQ(XfnMatrixInverse(zero, 3, dDet), -6001);
    EXPECT_EQ(dDet, 123.0);
}
