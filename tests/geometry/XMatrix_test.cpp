#include "KVDbase/geometry/XMatrix.h"

#include <gtest/gtest.h>

namespace {

void ExpectNearIdentity(const tagXMatrix& m, double dTolerance)
{
    for (unsigned int r = 0; r < 4; r++) {
        for (unsigned int c = 0; c < 4; c++)
            EXPECT_NEAR(m(r, c), r == c ? 1.0 : 0.0, dTolerance) << r << "," << c;
    }
}

} // namespace

TEST(XMatrix, ConstructionLayoutAndExactIdentity)
{
    EXPECT_EQ(tagXMatrix(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15)(2, 1), 9.0);
    tagXMatrix id;
    id.Identity();
    EXPECT_EQ(id.IsIdentity(), 1);
    id(1, 2) = 1e-300;
    EXPECT_EQ(id.IsIdentity(), 0);
    id.Identity();
    id(3, 3) = 1.0000000000000002;
    EXPECT_EQ(id.IsIdentity(), 0);
}

TEST(XMatrix, ProductRowByColumnAndVectorAsARowOnTheLeft)
{
    const tagXMatrix a(1, 2, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 3, 4, 0, 1);
    const tagXMatrix b(2, 0, 0, 0, 1, 3, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
    const tagXMatrix ab = a * b;
    EXPECT_EQ(ab, tagXMatrix(4, 6, 0, 0, 1, 3, 0, 0, 0, 0, 1, 0, 10, 12, 0, 1));
    EXPECT_EQ((a + b - b) * 4.0 / 2.0 - 1.0 + 1.0, a + a);
    // *= works on a copy, so a matrix may multiply itself.
    tagXMatrix c = a;
    c *= c;
    EXPECT_EQ(c, a * a);

    // Translation sits in row 3; the three-component form divides by the resulting w.
    tagXMatrix t(1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 5, -6, 7, 1);
    EXPECT_EQ(t * tagXVector3(1, 2, 3), tagXVector3(6, -4, 10));
    EXPECT_EQ(t * tagXVector4(1, 2, 3, 0), tagXVector4(1, 2, 3, 0));
    t(3, 3) = 2;
    t(2, 3) = 1;
    EXPECT_EQ(t * tagXVector3(1, 2, 3), tagXVector3(6.0 / 5, -4.0 / 5, 10.0 / 5));
    // Column j of the matrix meets the vector: a rotation of x toward y.
    const tagXMatrixf r(0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1);
    EXPECT_EQ(r * tagXVector3f(1, 0, 0), tagXVector3f(0, 1, 0));
    EXPECT_EQ(r * tagXVector4f(0, 1, 0, 1), tagXVector4f(-1, 0, 0, 1));
}

TEST(XMatrix, InverseOfAffineTransformsAndFailuresThatLeaveTheMatrix)
{
    tagXMatrix m(0, 2, 0, 0, -3, 0, 0, 0, 0, 0, 4, 0, 10, 20, 30, 1);
    const tagXMatrix original = m;
    ASSERT_EQ(m.Inverse(), 1);
    ExpectNearIdentity(original * m, 1e-15);
    // A matrix whose pivots need a cycle of row exchanges.
    tagXMatrix cyc(0, 0, 1, 2, 3, 0, 0, 1, 0, 5, 0, 0, 1, 1, 1, 7);
    const tagXMatrix cycOriginal = cyc;
    ASSERT_EQ(cyc.Inverse(), 1);
    ExpectNearIdentity(cycOriginal * cyc, 1e-14);
    tagXMatrixf f(2, 0, 0, 0, 0, 4, 0, 0, 0, 0, 8, 0, 1, 1, 1, 1);
    ASSERT_EQ(f.Inverse(), 1);
    EXPECT_EQ(f, tagXMatrixf(0.5f, 0, 0, 0, 0, 0.25f, 0, 0, 0, 0, 0.125f, 0, -0.5f, -0.25f, -0.125f, 1));

    tagXMatrix tiny;
    tiny.Identity();
    tiny *= 1e-10;
    const tagXMatrix failing[] = {tagXMatrix(1, 2, 3, 4, 0, 0, 0, 0, 5, 6, 7, 8, 9, 1, 2, 3), tagXMatrix(), tiny};
    for (const tagXMatrix& bad : failing) {
        tagXMatrix work = bad;
        EXPECT_EQ(work.Inverse(), 0);
        EXPECT_EQ(work, bad);
    }
}
