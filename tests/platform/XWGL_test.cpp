// WGL on the DC's bitmap: the pixel format and its failures, SwapBuffers, shared lists, outline glyphs.
#include "KVDbase/platform/XWGL.h"
#include "XGLTestContext.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

// Fills the top half of the surface green over a red clear.
void DrawTopHalf()
{
    glClearColor(1, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glColor3f(0, 1, 0);
    glRectf(-1, 0, 1, 1);
}

} // namespace

TEST(WGL, FormatIsRgbaDoubleBufferedWithDeepDepthAndFailuresAreReported)
{
    XGLTestDC dc(4, 4), other(4, 4);
    PIXELFORMATDESCRIPTOR kPfd = XGLTestDC::Format(), pfd{};
    const int iFormat = ChoosePixelFormat(dc.Handle(), &kPfd);
    ASSERT_GT(iFormat, 0);
    EXPECT_GE(DescribePixelFormat(dc.Handle(), iFormat, sizeof(pfd), &pfd), iFormat);
    EXPECT_EQ((std::vector<int>{pfd.nSize, int(pfd.dwFlags & 0x25u), pfd.iPixelType, pfd.cColorBits}),
              (std::vector<int>{40, 0x25, PFD_TYPE_RGBA, 32}));
    EXPECT_TRUE(pfd.cDepthBits >= 24 && pfd.cDepthBits <= 32) << int(pfd.cDepthBits);
    EXPECT_EQ(DescribePixelFormat(dc.Handle(), 0, sizeof(pfd), &pfd), 0);
    EXPECT_EQ(wglCreateContext(other.Handle()), nullptr); // no format yet
    HGLRC rc = dc.NewContext();
    EXPECT_FALSE(SetPixelFormat(dc.Handle(), 9999, &kPfd));
    EXPECT_FALSE(wglMakeCurrent(other.Handle(), rc)); // other has no format
    EXPECT_FALSE(SwapBuffers(dc.Handle()));           // not current
    EXPECT_FALSE(wglShareLists(rc, rc));
    EXPECT_FALSE(wglDeleteContext(nullptr));
}

TEST(WGL, SwapBuffersCopiesTheFrameRightWayUpAtTheSizeOfTheDC)
{
    for (bool bTopDown : {true, false}) {
        XGLTestDC dc(16, 10, bTopDown);
        ASSERT_TRUE(dc.MakeCurrent());
        DrawTopHalf();
        ASSERT_TRUE(SwapBuffers(dc.Handle()));
        for (int x : {0, 15})
            for (int y : {0, 4, 5, 9})
                EXPECT_EQ(dc.At(x, y), y < 5 ? 0x00FF00u : 0xFF0000u) << bTopDown << " " << x << "," << y;
    }
    // The surface follows the DC's bitmap when it changes size.
    XGLTestDC dc(8, 8);
    HGLRC rc = dc.NewContext();
    ASSERT_TRUE(wglMakeCurrent(dc.Handle(), rc));
    dc.Resize(20, 6);
    ASSERT_TRUE(wglMakeCurrent(dc.Handle(), rc));
    glViewport(0, 0, 20, 6);
    DrawTopHalf();
    ASSERT_TRUE(SwapBuffers(dc.Handle()));
    EXPECT_EQ(dc.At(19, 0), 0x00FF00u);
    EXPECT_EQ(dc.At(19, 5), 0xFF0000u);
}

TEST(WGL, ContextsSeeEachOthersListsAndTextures)
{
    XGLTestDC a(4, 4), b(4, 4);
    HGLRC rcA = a.NewContext(), rcB = b.NewContext();
    ASSERT_TRUE(wglShareLists(rcA, rcB));
    ASSERT_TRUE(wglMakeCurrent(a.Handle(), rcA));
    GLuint list = glGenLists(1), tex = 0;
    glNewList(list, GL_COMPILE);
    glColor3f(0, 0, 1);
    glRectf(-1, -1, 1, 1);
    glEndList();
    glGenTextures(1, &tex);
    glBindTexture(GL_TEXTURE_2D, tex);
    ASSERT_TRUE(wglMakeCurrent(b.Handle(), rcB));
    EXPECT_TRUE(glIsList(list) && glIsTexture(tex));
    glCallList(list);
    ASSERT_TRUE(SwapBuffers(b.Handle()));
    EXPECT_EQ(b.At(2, 2), 0x0000FFu);
}

TEST(WGL, OutlineGlyphsInEmUnits)
{
    XGLTestDC dc(64, 64);
    ASSERT_TRUE(dc.MakeCurrent());
    LOGFONTA lf{};
    std::memcpy(lf.lfFaceName, "Liberation Sans", 16);
    GLuint base = glGenLists(256);
    std::vector<GLYPHMETRICSFLOAT> gm(256);
    ASSERT_TRUE(XfnUseFontOutlines(&lf, 0, 255, base, 0.0f, 0.0f, WGL_FONT_POLYGONS, gm.data()));
    // A capital stands on the base line under one em, its advance moving the pen; a blank only advances.
    const GLYPHMETRICSFLOAT& h = gm['H'];
    EXPECT_TRUE(h.gmfBlackBoxY > 0.6f && h.gmfBlackBoxY < 1.0f) << h.gmfBlackBoxY;
    EXPECT_NEAR(h.gmfptGlyphOrigin.y, h.gmfBlackBoxY, 1e-6);
    EXPECT_GT(h.gmfCellIncX, h.gmfBlackBoxX);
    EXPECT_EQ(h.gmfCellIncY, 0.0f);
    EXPECT_TRUE(gm[' '].gmfBlackBoxY == 0.0f && gm[' '].gmfCellIncX > 0.0f);
    EXPECT_GT(gm[0xE9].gmfBlackBoxY, gm['e'].gmfBlackBoxY); // the accent of e-acute in the ANSI page
    EXPECT_GT(gm[0x80].gmfCellIncX, 0.0f);                  // the euro sign at 0x80

    // "H" at 48 pixels to the em fills its two stems and leaves the space between them open.
    glClearColor(0, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    glMatrixMode(GL_PROJECTION);
    glOrtho(-8, 56, -8, 56, -1, 1); // 64 pixels, the pen starting at (8, 8)
    glMatrixMode(GL_MODELVIEW);
    glScaled(48, 48, 1);
    glColor3f(1, 1, 1);
    glListBase(base);
    glCallLists(1, GL_UNSIGNED_BYTE, "H");
    GLdouble m[16];
    glGetDoublev(GL_MODELVIEW_MATRIX, m);
    EXPECT_NEAR(m[12], 48 * h.gmfCellIncX, 1e-3); // the list moved the pen
    ASSERT_TRUE(SwapBuffers(dc.Handle()));
    const int nStemX = 8 + static_cast<int>(48 * (h.gmfptGlyphOrigin.x + 0.05f));
    const int nMidY = 64 - 8 - static_cast<int>(48 * h.gmfBlackBoxY * 0.25f);
    EXPECT_EQ(dc.At(nStemX, nMidY), 0xFFFFFFu);
    EXPECT_EQ(dc.At(8 + static_cast<int>(48 * (h.gmfptGlyphOrigin.x + h.gmfBlackBoxX / 2)), nMidY), 0u);
    glDeleteLists(base, 256);
}
