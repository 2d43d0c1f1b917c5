// XBackBuffer3D: its context on a DC, the camera's trackball, the font cache.
#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/drawing/XBackBuffer3D.h"
#include "XGLTestContext.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

namespace {

double Distance(const tagXVector3& a, const tagXVector3& b)
{
    return std::sqrt((a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y) + (a.z - b.z) * (a.z - b.z));
}

// OpenGL keeps its matrices in single precision.
void ExpectNear(const tagXVector3& a, const tagXVector3& b, double dTol = 1e-5)
{
    EXPECT_NEAR(a.x, b.x, dTol);
    EXPECT_NEAR(a.y, b.y, dTol);
    EXPECT_NEAR(a.z, b.z, dTol);
}

class BackBuffer3DTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(bb.Create(dc.Handle()), 1);
        bb.Resize(dc.Handle(), dc.Width(), dc.Height());
        bb.LookAt(0, 0, 10, 0, 0, 0, 0, 1, 0);
    }
    XGLTestDC dc{21, 21};
    XBackBuffer3D bb;
};

TEST_F(BackBuffer3DTest, TrackballRotateTurnsAboutTheCentre)
{
    // A drag to the right through the middle turns the eye about the up axis and keeps its distance; the centre does
    // not move.
    bb.TrackballRotate(5, 10, 15, 10);
    EXPECT_NEAR(Distance(bb.GetEye(), bb.GetCenter()), 10.0, 1e-9);
    EXPECT_NEAR(bb.GetEye().y, 0.0, 1e-9);
    EXPECT_LT(bb.GetEye().x, -1.0);
    ExpectNear(bb.GetCenter(), tagXVector3(0, 0, 0), 0.0);
    double m[16];
    glGetDoublev(GL_MODELVIEW_MATRIX, m); // LookAt loaded the new camera
    EXPECT_NEAR(-(m[2] * m[12] + m[6] * m[13] + m[10] * m[14]), bb.GetEye().z, 1e-5);
}

TEST_F(BackBuffer3DTest, TrackballTranslateFollowsTheDrag)
{
    bb.Ortho(-10, 10, -10, 10, 0.1, 100);
    bb.TrackballTranslate(10, 10, 20, 10); // 21 pixels span 20 units: 10 pixels to the right is 10 units
    ExpectNear(bb.GetEye(), tagXVector3(-10, 0, 10));
    ExpectNear(bb.GetCenter(), tagXVector3(-10, 0, 0));
    glMatrixMode(GL_PROJECTION); // a projection that cannot be inverted leaves the camera alone
    double zero[16] = {};
    glLoadMatrixd(zero);
    bb.TrackballTranslate(0, 0, 20, 20);
    ExpectNear(bb.GetEye(), tagXVector3(-10, 0, 10));
}

TEST_F(BackBuffer3DTest, FontCacheIsKeyedByFaceAndWeight)
{
    tagXTextStyle style{};
    std::memcpy(style.lf.lfFaceName, "Liberation Sans", 16);
    style.lf.lfWeight = 700;
    style.lf.lfOrientation = 450;
    {
        XBackBuffer3D other;
        other.AddGLFont(&style); // no DC: nothing
        EXPECT_EQ(XBackBuffer3D::GetGLFont(&style), -1);
    }
    bb.AddGLFont(&style);
    int nBase = XBackBuffer3D::GetGLFont(&style);
    ASSERT_GT(nBase, 0);
    EXPECT_EQ(style.lf.lfOrientation, 450); // put back after the outlines were made
    // Size and orientation are not in the key; weight is.
    tagXTextStyle bigger = style;
    bigger.lf.lfHeight = 99;
    bigger.lf.lfOrientation = 0;
    EXPECT_EQ(XBackBuffer::GetGLFont(&bigger), nBase);
    bigger.lf.lfWeight = 400;
    EXPECT_EQ(XBackBuffer::GetGLFont(&bigger), -1);

    const _GLYPHMETRICSFLOAT* pGlyphs = XBackBuffer3D::GetGLFontGlyph(&style);
    ASSERT_NE(pGlyphs, nullptr);
    double w = 0, h = 0, dTallest = 0;
    ASSERT_EQ(XBackBuffer::GetTextDimensionGL("A\xC3", &style, w, h), 1);
    EXPECT_DOUBLE_EQ(w, 2.0 * pGlyphs['A'].gmfCellIncX); // a byte above 127 counts as "A"
    for (int c = 0; c < 255; ++c)
        dTallest = std::max<double>(dTallest, pGlyphs[c].gmfBlackBoxY);
    EXPECT_DOUBLE_EQ(h, dTallest);
    EXPECT_EQ(XBackBuffer::GetTextDimensionGL("A", &bigger, w, h), 0);
}

TEST(BackBuffer3D, TheLastBackBufferToGoEmptiesTheFontCache)
{
    // A back buffer made by type and destroyed unbalances the class count for the rest of the process, and the cache
    // then stays: the case needs a process of its own (as ctest runs it).
    if (XBackBuffer::GetRefCount() != 0 || XBackBuffer3D::GetRefCount() != 0)
        GTEST_SKIP() << "an earlier test of this process left the class count unbalanced";
    XGLTestDC dc(8, 8);
    tagXTextStyle style{};
    std::memcpy(style.lf.lfFaceName, "Liberation Serif", 17);
    {
        XBackBuffer3D bb;
        ASSERT_EQ(bb.Create(dc.Handle()), 1);
        bb.AddGLFont(&style);
        ASSERT_GT(XBackBuffer::GetGLFont(&style), 0);
    }
    EXPECT_EQ(XBackBuffer::GetGLFont(&style), -1);
}

} // namespace
