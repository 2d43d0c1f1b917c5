// The back buffer's view: counting, the world and pixel transforms, zooms, pans, the lat/long fit.
#include "KVDbase/drawing/XBackBuffer.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

typedef std::pair<double, double> XY;

// A viewport of w by h pixels with the default scale and centre.
struct View : XBackBuffer {
    View(int w, int h)
    {
        SetViewSize(w, h);
        CalcWarpCoeff();
    }
    XY Scale() const { return {dWorldPerPixel[0], dWorldPerPixel[1]}; }
    XY Centre() const { return {dWorldToCenter[0], dWorldToCenter[1]}; }
};

TEST(XBackBuffer, RegistrationDefaultsAndCounting)
{
    EXPECT_STREQ(XBackBuffer::GetRuntimeClassStatic()->lpszClassName, "XBackBuffer");
    EXPECT_EQ(XBackBuffer::GetRuntimeClassStatic()->CreateObject(), nullptr); // not creatable by name
    const int nBefore = XBackBuffer::GetRefCount();
    {
        XBackBuffer bb;
        EXPECT_EQ(XBackBuffer::GetRefCount(), nBefore + 1);
        EXPECT_EQ(bb.GetType(), 1);
        EXPECT_EQ(bb.GetWarpCoeffPixelToWorld()->GetOrder(), -1); // no transform until a setter makes one
        double x, y;
        bb.GetWorldPerPixel(x, y);
        EXPECT_EQ(XY(x, y), XY(1, 1));
        bb.GetWorldToCenter(x, y);
        EXPECT_EQ(XY(x, y), XY(0, 0));
    }
    {
        XBackBuffer bb(3); // not counted in, but counted out
        EXPECT_EQ(XBackBuffer::GetRefCount(), nBefore);
    }
    EXPECT_EQ(XBackBuffer::GetRefCount(), nBefore - 1);
    // One buffer kept for the process puts the count back, so that later tests' buffers free the font cache at zero.
    static const XBackBuffer* const pRebalance = new XBackBuffer;
    EXPECT_EQ(XBackBuffer::GetRefCount(), nBefore) << pRebalance;
}

TEST(XBackBuffer, LengthsAreAbsolute)
{
    // The y axis flips, the length stays positive.
    View bb(100, 50);
    bb.SetWorldPerPixel(2.0, 4.0);
    double x = 10, y = 10;
    bb.ConvWorldToPixelLength(x, y);
    EXPECT_EQ(XY(x, y), XY(5, 2.5));
    x = -3, y = 1;
    bb.ConvPixelToWorldLength(x, y);
    EXPECT_EQ(XY(x, y), XY(6, 4));
}

TEST(XBackBuffer, ZoomingAndPanning)
{
    View bb(100, 50);
    bb.SetWorldPerPixel(2.0, 3.0);
    bb.ZoomIn(0);
    bb.ZoomOut(-1);
    EXPECT_EQ(bb.Scale(), XY(2, 3));
    bb.ZoomIn(1);
    EXPECT_EQ(bb.Scale(), XY(1, 1.5));
    bb.ZoomOut(1);
    bb.ZoomOut(1);
    EXPECT_EQ(bb.Scale(), XY(4, 6));
    bb.SetWorldPerPixelBase(2.0, 2.0);
    double x, y;
    bb.SetZoomFactor(0.5, 4.0);
    EXPECT_EQ(bb.Scale(), XY(1, 8));
    bb.ZoomRectWorld(7, 8, -400, 100); // ratios 4 and 2: it fills the surface
    EXPECT_EQ(bb.Scale(), XY(2, 2));
    EXPECT_EQ(bb.Centre(), XY(7, 8));
    bb.SetWorldPerPixel(2.0, 3.0);
    bb.SetWorldToCenter(0, 0);
    bb.ZoomRectPixel(0, 0, 999, -999); // centre on pixel (0, 0), scale of its smaller side
    EXPECT_EQ(bb.Centre(), XY(-100, 75));
    EXPECT_EQ(bb.Scale(), XY(2, 2));

    bb.SetWorldToCenter(0, 0);
    bb.PanWorld(10, -4);
    EXPECT_EQ(bb.Centre(), XY(10, -4));
    bb.PanPixel(5, 3); // 5 pixels right and 3 down: the world moves 10 left and 6 up
    EXPECT_EQ(bb.Centre(), XY(0, 2));
    // Under rotation too, what was at pixel (0, 0) is now at pixel (5, 3).
    bb.SetRotationAngle(30);
    x = 0, y = 0;
    bb.ConvPixelToWorldCoord(x, y);
    bb.PanPixel(5, 3);
    bb.ConvWorldToPixelCoord(x, y);
    EXPECT_NEAR(x, 5.0, 1e-12);
    EXPECT_NEAR(y, 3.0, 1e-12);
}

TEST(XBackBuffer, LatLongFitting)
{
    View bb(100, 50);
    bb.SetLatLongRounding(true);
    bb.SetWorldPerPixel(0.1, 0.1);
    const double centres[][2] = {{190, -170}, {-190, 170}, {600, 240}}; // one turn only
    for (const auto& c : centres) {
        bb.SetWorldToCenter(c[0], 0);
        EXPECT_EQ(bb.Centre().first, c[1]);
    }
    bb.SetWorldPerPixel(4.0, 1.0); // 400 degrees wide comes to 360; y follows
    EXPECT_EQ(bb.Scale(), XY(3.6, 3.6));
    bb.SetWorldPerPixel(1.0, 4.0); // 200 degrees high comes to 180 first
    EXPECT_EQ(bb.Scale(), XY(3.6, 3.6));
    bb.SetWorldPerPixel(1.0, 1.0); // 25 degrees high: kept between the poles
    bb.SetWorldToCenter(0, 80);
    EXPECT_EQ(bb.Centre(), XY(0, 65));
    bb.SetWorldToCenter(0, -80);
    EXPECT_EQ(bb.Centre(), XY(0, -65));
    // A new size refits, but leaves the transform to the next setter.
    const double a2 = bb.GetWarpCoeffPixelToWorld()->GetCoeffX()[2];
    bb.SetViewSize(1000, 50);
    EXPECT_EQ(bb.Scale(), XY(0.36, 0.36));
    EXPECT_EQ(bb.GetWarpCoeffPixelToWorld()->GetCoeffX()[2], a2);
}

} // namespace
