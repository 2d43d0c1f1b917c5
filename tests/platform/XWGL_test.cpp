#include "KVDbase/platform/XWGL.h"
#include "platform/XSysGLTarget.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

// A DC that is nothing but pixels, standing for the DC layer's.
struct FakeDC {
    std::vector<BYTE> bits;
    int w, h;
    bool bTopDown;
    FakeDC(int w, int h, bool bTopDown) : bits(static_cast<size_t>(w) * h * 4, 0), w(w), h(h), bTopDown(bTopDown) {}
    HDC Handle() { return reinterpret_cast<HDC>(this); }
    // Blue, green, red of the pixel at column x and row y counted from the top.
    DWORD At(int x, int yFromTop) const
    {
        int row = bTopDown ? yFromTop : h - 1 - yFromTop;
        const BYTE* p = &bits[(static_cast<size_t>(row) * w + x) * 4];
        return p[0] | p[1] << 8 | p[2] << 16;
    }
};

bool FakeSource(HDC hdc, XSysDCPixels& px)
{
    FakeDC* dc = reinterpret_cast<FakeDC*>(hdc);
    px = XSysDCPixels{dc->bits.data(), dc->w, dc->h, dc->w * 4, dc->bTopDown};
    return true;
}

const PIXELFORMATDESCRIPTOR kPfd = [] {
    PIXELFORMATDESCRIPTOR pfd{};
    pfd.nSize = 40;
    pfd.nVersion = 1;
    pfd.dwFlags = 0x25;
    pfd.cColorBits = 32;
    pfd.cDepthBits = 32;
    return pfd;
}();

class WGLTest : public ::testing::Test {
protected:
    void SetUp() override { pfnOld = XSysGLSetPixelSource(&FakeSource); }
    void TearDown() override
    {
        wglMakeCurrent(nullptr, nullptr);
        for (HGLRC rc : contexts)
            wglDeleteContext(rc);
        XSysGLSetPixelSource(pfnOld);
    }
    HGLRC Context(FakeDC& dc)
    {
        int iFormat = ChoosePixelFormat(dc.Handle(), &kPfd);
        EXPECT_TRUE(SetPixelFormat(dc.Handle(), iFormat, &kPfd));
        HGLRC rc = wglCreateContext(dc.Handle());
        EXPECT_NE(rc, nullptr);
        contexts.push_back(rc);
        return rc;
    }
    XSysDCPixelSource pfnOld = nullptr;
    std::vector<HGLRC> contexts;
};

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

TEST_F(WGLTest, FormatIsRgbaDoubleBufferedWithDeepDepth)
{
    FakeDC dc(4, 4, true);
    int iFormat = ChoosePixelFormat(dc.Handle(), &kPfd);
    ASSERT_GT(iFormat, 0);
    PIXELFORMATDESCRIPTOR pfd{};
    EXPECT_GE(DescribePixelFormat(dc.Handle(), iFormat, sizeof(pfd), &pfd), iFormat);
    EXPECT_EQ(pfd.nSize, 40);
    EXPECT_EQ(pfd.dwFlags & 0x25u, 0x25u);
    EXPECT_EQ(pfd.iPixelType, PFD_TYPE_RGBA);
    EXPECT_EQ(pfd.cColorBits, 32);
    EXPECT_GE(pfd.cDepthBits, 24);
    EXPECT_LE(pfd.cDepthBits, 32);
    EXPECT_EQ(DescribePixelFormat(dc.Handle(), 0, sizeof(pfd), &pfd), 0);
}

TEST_F(WGLTest, ContextIsCompatibilityProfile)
{
    FakeDC dc(8, 8, true);
    ASSERT_TRUE(wglMakeCurrent(dc.Handle(), Context(dc)));
    // Immediate mode, stipples and lists are there: no error after using them.
    GLuint list = glGenLists(1);
    glNewList(list, GL_COMPILE);
    glBegin(GL_LINES);
    glVertex2f(0, 0);
    glVertex2f(1, 1);
    glEnd();
    glEndList();
    glEnable(GL_LINE_STIPPLE);
    glLineStipple(1, 0xF0F0);
    glCallList(list);
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    EXPECT_EQ(wglGetCurrentDC(), dc.Handle());
}

TEST_F(WGLTest, SwapBuffersCopiesTheFrameRightWayUp)
{
    for (bool bTopDown : {true, false}) {
        FakeDC dc(16, 10, bTopDown);
        ASSERT_TRUE(wglMakeCurrent(dc.Handle(), Context(dc)));
        DrawTopHalf();
        ASSERT_TRUE(SwapBuffers(dc.Handle()));
        EXPECT_EQ(dc.At(0, 0), 0x00FF00u) << bTopDown;
        EXPECT_EQ(dc.At(15, 4), 0x00FF00u) << bTopDown;
        EXPECT_EQ(dc.At(0, 5), 0xFF0000u) << bTopDown;
        EXPECT_EQ(dc.At(15, 9), 0xFF0000u) << bTopDown;
    }
}

TEST_F(WGLTest, SurfaceFollowsTheSizeOfTheDC)
{
    FakeDC dc(8, 8, true);
    HGLRC rc = Context(dc);
    ASSERT_TRUE(wglMakeCurrent(dc.Handle(), rc));
    dc = FakeDC(20, 6, true);
    ASSERT_TRUE(wglMakeCurrent(dc.Handle(), rc));
    glViewport(0, 0, 20, 6);
    DrawTopHalf();
    ASSERT_TRUE(SwapBuffers(dc.Handle()));
    EXPECT_EQ(dc.At(19, 0), 0x00FF00u);
    EXPECT_EQ(dc.At(19, 5), 0xFF0000u);
}

TEST_F(WGLTest, FailuresAreReported)
{
    FakeDC dc(4, 4, true), other(4, 4, true);
    EXPECT_EQ(wglCreateContext(other.Handle()), nullptr); // no format yet
    HGLRC rc = Context(dc);
    EXPECT_FALSE(SetPixelFormat(dc.Handle(), 9999, &kPfd));
    EXPECT_FALSE(wglMakeCurrent(other.Handle(), rc)); // other has no format
    EXPECT_FALSE(SwapBuffers(dc.Handle()));           // not current
    EXPECT_FALSE(wglShareLists(rc, rc));
    EXPECT_FALSE(wglDeleteContext(nullptr));
}

TEST_F(WGLTest, SharedContextsSeeListsAndTextures)
{
    FakeDC a(4, 4, true), b(4, 4, true);
    HGLRC rcA = Context(a), rcB = Context(b);
    ASSERT_TRUE(wglShareLists(rcA, rcB));
    ASSERT_TRUE(wglMakeCurrent(a.Handle(), rcA));
    GLuint list = glGenLists(1);
    glNewList(list, GL_COMPILE);
    glColor3f(0, 0, 1);
    glRectf(-1, -1, 1, 1);
    glEndList();
    GLuint tex = 0;
    glGenTextures(1, &tex);
    glBindTexture(GL_TEXTURE_2D, tex);
    ASSERT_TRUE(wglMakeCurrent(b.Handle(), rcB));
    EXPECT_TRUE(glIsList(list));
    EXPECT_TRUE(glIsTexture(tex));
    glCallList(list);
    ASSERT_TRUE(SwapBuffers(b.Handle()));
    EXPECT_EQ(b.At(2, 2), 0x0000FFu);
}

TEST_F(WGLTest, OutlineGlyphsInEmUnits)
{
    FakeDC dc(64, 64, true);
    ASSERT_TRUE(wglMakeCurrent(dc.Handle(), Context(dc)));
    LOGFONTA lf{};
    std::memcpy(lf.lfFaceName, "Liberation Sans", 16);
    GLuint base = glGenLists(256);
    std::vector<GLYPHMETRICSFLOAT> gm(256);
    ASSERT_TRUE(XfnUseFontOutlines(&lf, 0, 255, base, 0.0f, 0.0f, WGL_FONT_POLYGONS, gm.data()));
    // An upright capital stands on the base line, under one em, with an
    // advance that moves the pen; a blank draws nothing but advances.
    const GLYPHMETRICSFLOAT& h = gm['H'];
    EXPECT_GT(h.gmfBlackBoxY, 0.6f);
    EXPECT_LT(h.gmfBlackBoxY, 1.0f);
    EXPECT_NEAR(h.gmfptGlyphOrigin.y, h.gmfBlackBoxY, 1e-6);
    EXPECT_GT(h.gmfCellIncX, h.gmfBlackBoxX);
    EXPECT_EQ(h.gmfCellIncY, 0.0f);
    EXPECT_EQ(gm[' '].gmfBlackBoxY, 0.0f);
    EXPECT_GT(gm[' '].gmfCellIncX, 0.0f);
    EXPECT_GT(gm[0xE9].gmfBlackBoxY, gm['e'].gmfBlackBoxY); // the accent of e-acute in the ANSI page
    EXPECT_GT(gm[0x80].gmfCellIncX, 0.0f);                  // the euro sign at 0x80

    // "H" drawn at 48 pixels to the em fills its two stems and leaves the
    // space between them open.
    glClearColor(0, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(0, 64, 0, 64, -1, 1);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glTranslated(8, 8, 0);
    glScaled(48, 48, 1);
    glColor3f(1, 1, 1);
    glListBase(base);
    glCallLists(1, GL_UNSIGNED_BYTE, "H");
    GLdouble m[16];
    glGetDoublev(GL_MODELVIEW_MATRIX, m);
    EXPECT_NEAR(m[12], 8 + 48 * h.gmfCellIncX, 1e-3); // the list moved the pen
    ASSERT_TRUE(SwapBuffers(dc.Handle()));
    int nStemX = 8 + static_cast<int>(48 * (h.gmfptGlyphOrigin.x + 0.05f));
    int nMidY = 64 - 8 - static_cast<int>(48 * h.gmfBlackBoxY * 0.25f);
    EXPECT_EQ(dc.At(nStemX, nMidY), 0xFFFFFFu);
    EXPECT_EQ(dc.At(8 + static_cast<int>(48 * (h.gmfptGlyphOrigin.x + h.gmfBlackBoxX / 2)), nMidY), 0u);
    glDeleteLists(base, 256);
}
