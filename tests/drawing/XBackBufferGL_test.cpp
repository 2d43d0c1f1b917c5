#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/drawing/XDIB.h"
#include "XGLTestContext.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(XBackBufferGL, SurfaceOnADC)
{
    XGLTestDC dc(40, 20), window(40, 20);
    XBackBuffer bb;
    ASSERT_EQ(bb.Create(dc.Handle(), XBackBuffer::TYPE_OPENGL), 1);
    EXPECT_NE(bb.GetRC(), nullptr);
    EXPECT_EQ(bb.GetDC(), dc.Handle());
    EXPECT_EQ(bb.Resize(dc.Handle(), 0, 20), 0);
    ASSERT_EQ(bb.Resize(dc.Handle(), 40, 20), 1);
    GLint viewport[4];
    glGetIntegerv(GL_VIEWPORT, viewport);
    EXPECT_EQ(viewport[2], 40);

    // The projection is the view's box out to the far distance.
    bb.SetWorldPerPixel(2.0, 2.0);
    bb.SetWorldToCenter(100.0, 50.0);
    bb.SetFarDistance(1000.0);
    double m[16];
    glGetDoublev(GL_PROJECTION_MATRIX, m);
    EXPECT_NEAR(m[0], 2.0 / 80.0, 1e-7);  // 40 pixels of 2 units
    EXPECT_NEAR(m[12], -100.0 / 40.0, 1e-6); // centred on x 100
    EXPECT_NEAR(m[10], -2.0 / (1000.0 - 0.1), 1e-7);

    // Clear lands in the DC at the swap, and the swap blits it to a window.
    bb.Clear(0x0000FF, nullptr);
    bb.Swap(window.Handle(), 0xCC0020);
    EXPECT_EQ(dc.At(5, 5), 0xFF0000u); // red, read blue first
    EXPECT_EQ(window.At(39, 19), 0xFF0000u);

    // The type 3 reader: the back buffer as bottom-up rows.
    std::vector<BYTE> header(sizeof(BITMAPINFO), 0);
    BITMAPINFO* pInfo = reinterpret_cast<BITMAPINFO*>(header.data());
    pInfo->bmiHeader = BITMAPINFOHEADER{40, 40, 20, 1, 32, 0, 0, 0, 0, 0, 0};
    std::vector<BYTE> out(40 * 20 * 4, 0);
    ASSERT_EQ(bb.ReadDIB32(out.data(), pInfo, 0, 0, 0, 0), 1);
    EXPECT_EQ(out[2], 255);
    EXPECT_EQ(out[0], 0);
    ASSERT_EQ(bb.ReadDIB24(out.data(), pInfo, 38, 18, 2, 2), 1);
    EXPECT_EQ(pInfo->bmiHeader.biBitCount, 24);
    EXPECT_EQ(out[2], 255);
}

} // namespace
