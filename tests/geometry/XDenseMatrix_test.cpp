#include "KVDbase/geometry/XDenseMatrix.h"

#include <gtest/gtest.h>

#include <cmath>

TEST(XDenseMatrix, AddSubtractAndSizes)
{
    double a[6] = {1, 2, 3, 4, 5, 6};
    double b[6] = {6, 5, 4, 3, 2, 1};
    double out[6] = {0};
    EXPECT_EQ(XfnMatrixAdd(a, b, out, 3, 2), 1);
    for (double d : out)
        EXPECT_EQ(d, 7.0);
    // The output may be one of the inputs.
    EXPECT_EQ(XfnMatrixSubtract(a, b, a, 2, 3), 1);
    EXPECT_EQ(a[0], -5.0);
    EXPECT_EQ(a[5], 5.0);

    double untouched[6] = {9, 9, 9, 9, 9, 9};
    EXPECT_EQ(XfnMatrixAdd(a, b, untouched, 0, 2), 0);
    EXPECT_EQ(XfnMatrixSubtract(a, b, untouched, 3, -1), 0);
    EXPECT_EQ(untouched[0], 9.0);
}

TEST(XDenseMatrix, MultiplyColumnsFirst)
{
    // a: 2 rows of 3, b: 3 rows of 2.
    double a[6] = {1, 2, 3, 4, 5, 6};
    double b[6] = {7, 8, 9, 10, 11, 12};
    double out[4] = {0};
    ASSERT_EQ(XfnMatrixMultiply(a, b, out, 3, 2, 2, 3), 1);
    EXPECT_EQ(out[0], 58.0);
    EXPECT_EQ(out[1], 64.0);
    EXPECT_EQ(out[2], 139.0);
    EXPECT_EQ(out[3], 154.0);

    double keep[4] = {-1, -1, -1, -1};
    EXPECT_EQ(XfnMatrixMultiply(a, b, keep, 3, 2, 2, 2), 0);
    EXPECT_EQ(XfnMatrixMultiply(a, b, keep, 3, 0, 2, 3), 0);
    EXPECT_EQ(keep[0], -1.0);
}

TEST(XDenseMatrix, TransposeForms)
{
    double in[6] = {1, 2, 3, 4, 5, 6}; // 2 rows of 3
    double out[6] = {0};
    ASSERT_EQ(XfnMatrixTranspose(in, out, 3, 2), 1);
    const double expected[6] = {1, 4, 2, 5, 3, 6};
    for (int i = 0; i < 6; i++)
        EXPECT_EQ(out[i], expected[i]);
    EXPECT_EQ(XfnMatrixTranspose(in, out, 0, 2), 0);

    // In place, 2 columns by 3 rows becomes 3 columns by 2 rows.
    double m[6] = {1, 2, 3, 4, 5, 6};
    ASSERT_EQ(XfnMatrixTranspose(m, 2, 3), 1);
    const double expectedInPlace[6] = {1, 3, 5, 2, 4, 6};
    for (int i = 0; i < 6; i++)
        EXPECT_EQ(m[i], expectedInPlace[i]);
    EXPECT_EQ(XfnMatrixTranspose(m, 0, 3), 0);
    EXPECT_EQ(m[1], 3.0);

    double sq[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
    EXPECT_EQ(XfnMatrixTranspose(sq, 3, 3), 1);
    EXPECT_EQ(sq[1], 4.0);
    EXPECT_EQ(sq[5], 8.0);
    EXPECT_EQ(XfnMatrixTranspose(sq, 1), 1);
    EXPECT_EQ(XfnMatrixTranspose(sq, -4), 1);
    EXPECT_EQ(sq[1], 4.0);
}

TEST(XDenseMatrix, InverseSizeLimits)
{
    double m[4] = {1, 0, 0, 1};
    double dDet = 123;
    EXPECT_EQ(XfnMatrixInverse(m, 1, dDet), 0);
    EXPECT_EQ(XfnMatrixInverse(m, 1025, dDet), 0);
    EXPECT_EQ(dDet, 123.0);
}

TEST(XDenseMatrix, InverseDeterminantAsTheRoutineKeepsIt)
{
    double id[4] = {1, 0, 0, 1};
    double dDet = 0;
    ASSERT_EQ(XfnMatrixInverse(id, 2, dDet), 1);
    EXPECT_EQ(dDet, 1.0);

    double diag[4] = {2, 0, 0, 4};
    ASSERT_EQ(XfnMatrixInverse(diag, 2, dDet), 1);
    EXPECT_EQ(dDet, 8.0);
    EXPECT_EQ(diag[0], 0.5);
    EXPECT_EQ(diag[3], 0.25);

    // A row exchange restarts the determinant from minus the magnitude of the
    // column's last element: true value 2, reported -2, inverse still right.
    double swap[4] = {0, 1, -2, 0};
    ASSERT_EQ(XfnMatrixInverse(swap, 2, dDet), 1);
    EXPECT_EQ(dDet, -2.0);
    EXPECT_EQ(swap[0], 0.0);
    EXPECT_EQ(swap[1], -0.5);
    EXPECT_EQ(swap[2], 1.0);
    EXPECT_EQ(swap[3], 0.0);

    double m[4] = {1, 2, 3, 4};
    ASSERT_EQ(XfnMatrixInverse(m, 2, dDet), 1);
    EXPECT_EQ(dDet, -2.0);
    EXPECT_NEAR(m[0], -2.0, 1e-15);
    EXPECT_NEAR(m[1], 1.0, 1e-15);
    EXPECT_NEAR(m[2], 1.5, 1e-15);
    EXPECT_NEAR(m[3], -0.5, 1e-15);
}

TEST(XDenseMatrix, InverseThresholdAndSingularCases)
{
    double dDet = 55;
    double zero[9] = {0};
    EXPECT_EQ(XfnMatrixInverse(zero, 3, dDet), -6001);
    EXPECT_EQ(dDet, 55.0); // a first column of zeros finds no pivot row

    // The threshold pivot is refused with the determinant built so far.
    double atThreshold[4] = {1e-10, 0, 0, 1};
    EXPECT_EQ(XfnMatrixInverse(atThreshold, 2, dDet), -6001);
    EXPECT_EQ(dDet, 1.0);
    double later[4] = {2, 4, 1, 2.00000000001};
    EXPECT_EQ(XfnMatrixInverse(later, 2, dDet), -6001);
    EXPECT_EQ(dDet, 2.0);

    const double dAbove = std::nextafter(1e-10, 1.0);
    double above[4] = {dAbove, 0, 0, 1};
    ASSERT_EQ(XfnMatrixInverse(above, 2, dDet), 1);
    EXPECT_EQ(dDet, dAbove);
    EXPECT_EQ(above[0], 1.0 / dAbove);
}

TEST(XDenseMatrix, ZeroColumnBelowTheDiagonalReusesTheOldPivotRow)
{
    // The second column has only a zero from the diagonal down, so the
    // routine pivots on row 0 again and reports success on a singular matrix.
    double m[4] = {1, 2, 0, 0};
    double dDet = 7;
    ASSERT_EQ(XfnMatrixInverse(m, 2, dDet), 1);
    EXPECT_EQ(dDet, 0.0);
    EXPECT_TRUE(std::signbit(dDet));
    EXPECT_EQ(m[0], 0.0);
    EXPECT_EQ(m[1], 0.0);
    EXPECT_EQ(m[2], 0.5);
    EXPECT_EQ(m[3], 0.5);
}
