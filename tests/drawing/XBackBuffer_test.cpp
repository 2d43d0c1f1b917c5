#include "KVDbase/drawing/XBackBuffer.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

// A viewport of w by h pixels with the default scale and centre.
struct View : XBackBuffer {
    View(int w, int h)
    {
        SetViewSize(w, h);
        CalcWarpCoeff();
    }
};

void ExpectPixelToWorld(XBackBuffer& bb, double px, double py, double wx, double wy)
{
    double x = px, y = py;
    bb.ConvPixelToWorldCoord(x, y);
    EXPECT_DOUBLE_EQ(x, wx) << "pixel " << px << ", " << py;
    EXPECT_DOUBLE_EQ(y, wy) << "pixel " << px << ", " << py;
}

TEST(XBackBuffer, RegisteredButNotCreatable)
{
    const XRuntimeClass* p = XBackBuffer::GetRuntimeClassStatic();
    EXPECT_STREQ(p->lpszClassName, "XBackBuffer");
    EXPECT_EQ(p->pfnCreateObject, nullptr);
    EXPECT_EQ(p->CreateObject(), nullptr);
    View bb(1, 1);
    EXPECT_TRUE(bb.IsKindOf(XObject::GetRuntimeClassStatic()));
}

TEST(XBackBuffer, DefaultsAndCounting)
{
    const int nBefore = XBackBuffer::GetRefCount();
    {
        XBackBuffer bb;
        EXPECT_EQ(XBackBuffer::GetRefCount(), nBefore + 1);
        EXPECT_EQ(bb.GetType(), 1);
        double x, y;
        bb.GetWorldPerPixel(x, y);
        EXPECT_EQ(x, 1.0);
        EXPECT_EQ(y, 1.0);
        bb.GetWorldToCenter(x, y);
        EXPECT_EQ(x, 0.0);
        EXPECT_EQ(y, 0.0);
        EXPECT_EQ(bb.GetRotationAngle(), 0.0);
        EXPECT_FALSE(bb.IsLatLongRounding());
        EXPECT_TRUE(bb.IsUpdateNeeded());
        bb.UpdateCompleted();
        EXPECT_FALSE(bb.IsUpdateNeeded());
        // No transform yet: a new warp leaves points alone.
        EXPECT_EQ(bb.GetWarpCoeffPixelToWorld()->GetOrder(), -1);
    }
    EXPECT_EQ(XBackBuffer::GetRefCount(), nBefore);
    {
        // The typed form is not counted in, but is counted out.
        XBackBuffer bb(3);
        EXPECT_EQ(bb.GetType(), 3);
        EXPECT_EQ(XBackBuffer::GetRefCount(), nBefore);
    }
    EXPECT_EQ(XBackBuffer::GetRefCount(), nBefore - 1);
}

TEST(XBackBuffer, CornersOfAHundredByFiftySurface)
{
    View bb(100, 50);
    ExpectPixelToWorld(bb, 0, 0, -50, 25);
    ExpectPixelToWorld(bb, 100, 50, 50, -25);
    EXPECT_EQ(bb.GetWarpCoeffPixelToWorld()->GetOrder(), 2);
    EXPECT_EQ(bb.GetWarpCoeffWorldToPixel()->GetOrder(), 2);
    const double* a = bb.GetWarpCoeffPixelToWorld()->GetCoeffX();
    const double* b = bb.GetWarpCoeffPixelToWorld()->GetCoeffY();
    EXPECT_EQ(a[0], 1.0);
    EXPECT_EQ(a[1], 0.0);
    EXPECT_EQ(a[2], -50.0);
    EXPECT_EQ(b[0], 0.0);
    EXPECT_EQ(b[1], -1.0);
    EXPECT_EQ(b[2], 25.0);
    double x = 50, y = -25;
    bb.ConvWorldToPixelCoord(x, y);
    EXPECT_EQ(x, 100.0);
    EXPECT_EQ(y, 50.0);
}

TEST(XBackBuffer, ScaleAndCentreEnterTheTransform)
{
    View bb(200, 100);
    bb.SetWorldPerPixel(0.5, 2.0);
    bb.SetWorldToCenter(1000, -500);
    ExpectPixelToWorld(bb, 0, 0, 1000 - 50, -500 + 100);
    ExpectPixelToWorld(bb, 200, 100, 1000 + 50, -500 - 100);
}

TEST(XBackBuffer, RotationTurnsTheViewAboutItsCentre)
{
    View bb(100, 100);
    bb.SetWorldToCenter(10, 20);
    bb.SetRotationAngle(90);
    // The centre stays put.
    ExpectPixelToWorld(bb, 50, 50, 10, 20);
    // Rotated by 90 degrees the unrotated pixel-to-world map (x right, y up)
    // turns by -90: one pixel right goes one world unit down.
    double x = 51, y = 50;
    bb.ConvPixelToWorldCoord(x, y);
    EXPECT_NEAR(x, 10, 1e-12);
    EXPECT_NEAR(y, 19, 1e-12);
}

TEST(XBackBuffer, CoordinatesRoundTripWithAndWithoutRotation)
{
    for (double dAngle : {0.0, 30.0, -123.456, 90.0, 359.0}) {
        View bb(640, 480);
        bb.SetWorldToCenter(127.5, 37.25);
        bb.SetWorldPerPixel(0.001, 0.002);
        bb.SetRotationAngle(dAngle);
        for (double px : {0.0, 0.5, 333.0, 639.0})
            for (double py : {0.0, 17.25, 479.0}) {
                double x = px, y = py;
                bb.ConvPixelToWorldCoord(x, y);
                bb.ConvWorldToPixelCoord(x, y);
                EXPECT_NEAR(x, px, 1e-9) << dAngle;
                EXPECT_NEAR(y, py, 1e-9) << dAngle;
            }
        // And from world coordinates.
        double x = 127.9, y = 36.8;
        bb.ConvWorldToPixelCoord(x, y);
        bb.ConvPixelToWorldCoord(x, y);
        EXPECT_NEAR(x, 127.9, 1e-12);
        EXPECT_NEAR(y, 36.8, 1e-12);
    }
}

TEST(XBackBuffer, LengthsAreAbsolute)
{
    View bb(100, 50);
    bb.SetWorldPerPixel(2.0, 4.0);
    double x = 10, y = 10;
    bb.ConvWorldToPixelLength(x, y);
    EXPECT_DOUBLE_EQ(x, 5.0);
    EXPECT_DOUBLE_EQ(y, 2.5); // the y axis flips, the length stays positive
    x = -3;
    y = 1;
    bb.ConvPixelToWorldLength(x, y);
    EXPECT_DOUBLE_EQ(x, 6.0);
    EXPECT_DOUBLE_EQ(y, 4.0);
}

TEST(XBackBuffer, Zooming)
{
    View bb(100, 50);
    bb.SetWorldPerPixel(2.0, 3.0);
    bb.ZoomIn(0);
    bb.ZoomOut(-1);
    double x, y;
    bb.GetWorldPerPixel(x, y);
    EXPECT_EQ(x, 2.0);
    EXPECT_EQ(y, 3.0);
    bb.ZoomIn(1);
    bb.GetWorldPerPixel(x, y);
    EXPECT_EQ(x, 1.0);
    EXPECT_EQ(y, 1.5);
    bb.ZoomOut(1);
    bb.ZoomOut(1);
    bb.GetWorldPerPixel(x, y);
    EXPECT_EQ(x, 4.0);
    EXPECT_EQ(y, 6.0);

    bb.SetWorldPerPixelBase(2.0, 2.0);
    bb.GetZoomFactor(x, y);
    EXPECT_EQ(x, 2.0);
    EXPECT_EQ(y, 3.0);
    bb.SetZoomFactor(0.5, 4.0);
    bb.GetWorldPerPixel(x, y);
    EXPECT_EQ(x, 1.0);
    EXPECT_EQ(y, 8.0);
    EXPECT_EQ(bb.GetWorldPerPixel(), 1.0);
}

TEST(XBackBuffer, ZoomFitShowsAllWhileZoomRectWorldFills)
{
    View bb(100, 50);
    bb.ZoomFit(0, 0, 400, 100); // ratios 4 and 2: the larger
    double x, y;
    bb.GetWorldPerPixel(x, y);
    EXPECT_EQ(x, 4.0);
    EXPECT_EQ(y, 4.0);
    bb.GetWorldToCenter(x, y);
    EXPECT_EQ(x, 200.0);
    EXPECT_EQ(y, 50.0);

    bb.ZoomRectWorld(7, 8, -400, 100); // abs ratios 4 and 2: the smaller
    bb.GetWorldPerPixel(x, y);
    EXPECT_EQ(x, 2.0);
    EXPECT_EQ(y, 2.0);
    bb.GetWorldToCenter(x, y);
    EXPECT_EQ(x, 7.0);
    EXPECT_EQ(y, 8.0);
}

TEST(XBackBuffer, ZoomRectPixelCentresOnThePixelAtThePixelsSmallerLength)
{
    View bb(100, 50);
    bb.SetWorldPerPixel(2.0, 3.0);
    bb.ZoomRectPixel(0, 0, 999, -999);
    double x, y;
    bb.GetWorldToCenter(x, y);
    EXPECT_EQ(x, -100.0);
    EXPECT_EQ(y, 75.0);
    bb.GetWorldPerPixel(x, y);
    EXPECT_EQ(x, 2.0);
    EXPECT_EQ(y, 2.0);
}

TEST(XBackBuffer, PanningFollowsTheMouse)
{
    View bb(100, 50);
    bb.SetWorldPerPixel(2.0, 2.0);
    bb.PanWorld(10, -4);
    double x, y;
    bb.GetWorldToCenter(x, y);
    EXPECT_EQ(x, 10.0);
    EXPECT_EQ(y, -4.0);
    // Dragging 5 pixels right and 3 down brings the world 10 left and 6 up
    // under the centre.
    bb.PanPixel(5, 3);
    bb.GetWorldToCenter(x, y);
    EXPECT_EQ(x, 0.0);
    EXPECT_EQ(y, 2.0);
    // What was at pixel (0, 0) is now at pixel (5, 3).
    View before(100, 50);
    before.SetWorldPerPixel(2.0, 2.0);
    before.SetRotationAngle(30);
    double wx = 0, wy = 0;
    before.ConvPixelToWorldCoord(wx, wy);
    before.PanPixel(5, 3);
    before.ConvWorldToPixelCoord(wx, wy);
    EXPECT_NEAR(wx, 5.0, 1e-12);
    EXPECT_NEAR(wy, 3.0, 1e-12);
}

TEST(XBackBuffer, LatLongFitting)
{
    View bb(100, 50);
    bb.SetLatLongRounding(true);
    bb.SetWorldPerPixel(0.1, 0.1);
    bb.SetWorldToCenter(190, 0);
    double x, y;
    bb.GetWorldToCenter(x, y);
    EXPECT_EQ(x, -170.0);
    bb.SetWorldToCenter(-190, 0);
    bb.GetWorldToCenter(x, y);
    EXPECT_EQ(x, 170.0);
    bb.SetWorldToCenter(600, 0); // once only
    bb.GetWorldToCenter(x, y);
    EXPECT_EQ(x, 240.0);

    // 400 degrees wide comes to 360, and the y scale follows.
    bb.SetWorldPerPixel(4.0, 1.0);
    bb.GetWorldPerPixel(x, y);
    EXPECT_EQ(x, 3.6);
    EXPECT_EQ(y, 3.6);
    // Too high comes to 180 degrees first.
    bb.SetWorldPerPixel(1.0, 4.0);
    bb.GetWorldPerPixel(x, y);
    EXPECT_EQ(x, 3.6);
    EXPECT_EQ(y, 3.6);

    // The view stays between the poles: 25 degrees high at 1.0.
    bb.SetWorldPerPixel(1.0, 1.0);
    bb.SetWorldToCenter(0, 80);
    bb.GetWorldToCenter(x, y);
    EXPECT_EQ(y, 65.0);
    bb.SetWorldToCenter(0, -80);
    bb.GetWorldToCenter(x, y);
    EXPECT_EQ(y, -65.0);

    // A resize refits but leaves the transform to the next setter.
    bb.SetWorldToCenter(0, 0);
    const double a2 = bb.GetWarpCoeffPixelToWorld()->GetCoeffX()[2];
    bb.SetViewSize(1000, 50);
    bb.GetWorldPerPixel(x, y);
    EXPECT_EQ(x, 0.36);
    EXPECT_EQ(bb.GetWarpCoeffPixelToWorld()->GetCoeffX()[2], a2);
}

TEST(XBackBuffer, ScratchBlockOnlyGrows)
{
    XBackBuffer bb;
    EXPECT_EQ(bb.AllocTemp(100), 1);
    void* p = bb.GetTemp();
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(bb.AllocTemp(50), 1);
    EXPECT_EQ(bb.GetTemp(), p);
    EXPECT_EQ(bb.GetTempSize(), 100);
    EXPECT_EQ(bb.AllocTemp(1000), 1);
    EXPECT_EQ(bb.GetTempSize(), 1000);
    bb.FreeTemp();
    EXPECT_EQ(bb.GetTemp(), nullptr);
    EXPECT_EQ(bb.GetTempSize(), 0);
}

} // namespace
