// Textures from DIBs: sizes grown to powers of two, palettes, 5-5-5 pixels,
// rows in order without their padding, and what is refused.
#include "KVDbase/text/XGLTexture.h"
#include "KVDbase/drawing/XDIB.h"
#include "XGLTestContext.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

#include <vector>

namespace {

// A DIB of w by h at the given depth, with room for a 256-entry palette.
struct TestDIB {
    std::vector<BYTE> header;
    std::vector<BYTE> bits;
    TestDIB(int w, int h, int nBits) : header(sizeof(BITMAPINFOHEADER) + 256 * sizeof(RGBQUAD), 0)
    {
        Info()->bmiHeader = {40, w, h, 1, static_cast<WORD>(nBits), BI_RGB, 0, 0, 0, 0, 0};
        bits.assign(static_cast<size_t>(XfnCalcDIBWidthBytes(w, nBits)) * h, 0);
    }
    BITMAPINFO* Info() { return reinterpret_cast<BITMAPINFO*>(header.data()); }
    unsigned int Texture(int nBorder = 0) { return XfnCreateGLTextureFromDIB(bits.data(), Info(), nBorder); }
};

// Width, height and border of the texture's level 0.
std::vector<GLint> SizeOf(unsigned int nTexture)
{
    GLint w = 0, h = 0, b = 0;
    glBindTexture(GL_TEXTURE_2D, nTexture);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &w);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &h);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_BORDER, &b);
    return {w, h, b};
}

std::vector<BYTE> TexelsBGR(unsigned int nTexture, int w, int h)
{
    std::vector<BYTE> texels(static_cast<size_t>(w) * h * 3);
    glBindTexture(GL_TEXTURE_2D, nTexture);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glGetTexImage(GL_TEXTURE_2D, 0, GL_BGR, GL_UNSIGNED_BYTE, texels.data());
    return texels;
}

class GLTextureTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(dc.MakeCurrent()); }
    XGLTestDC dc{4, 4};
};

TEST_F(GLTextureTest, SizesGrowToPowersOfTwoAndBordersAddTwo)
{
    const struct {
        int w, h, nBits, nBorder;
        std::vector<GLint> expected;
    } cases[] = {
        {256, 256, 32, 0, {256, 256, 0}}, {100, 50, 24, 0, {128, 64, 0}}, {100, 50, 8, 0, {128, 64, 0}},
        {64, 64, 32, 2, {66, 66, 0}},     {3, 1, 16, 0, {4, 1, 0}},        {1, 1, 24, 0, {1, 1, 0}},
    };
    for (const auto& c : cases) {
        TestDIB dib(c.w, c.h, c.nBits);
        unsigned int nTexture = dib.Texture(c.nBorder);
        ASSERT_NE(nTexture, 0u) << c.w << "x" << c.h;
        EXPECT_EQ(SizeOf(nTexture), c.expected) << c.w << "x" << c.h << " border " << c.nBorder;
        glDeleteTextures(1, &nTexture);
    }
    TestDIB mono(8, 8, 1), empty(0, 0, 24);
    EXPECT_EQ(mono.Texture(), 0u);
    EXPECT_EQ(empty.Texture(), 0u);
    EXPECT_EQ(XfnCreateGLTextureFromDIB(mono.bits.data(), nullptr, 0), 0u);
}

TEST_F(GLTextureTest, PalettesFiveFiveFivePixelsAndPaddedRowsBecomeBGR)
{
    // 8 bits: indexes 0, 1, 9 (beyond a 2-entry palette: the colour before
    // again), 1; rows of 4 need no enlarging.
    TestDIB pal(4, 1, 8);
    pal.Info()->bmiHeader.biClrUsed = 2;
    pal.Info()->bmiColors[0] = RGBQUAD{10, 20, 30, 0};
    reinterpret_cast<RGBQUAD*>(pal.Info()->bmiColors)[1] = RGBQUAD{40, 50, 60, 0};
    pal.bits = {0, 1, 9, 0};
    EXPECT_EQ(TexelsBGR(pal.Texture(), 4, 1), (std::vector<BYTE>{10, 20, 30, 40, 50, 60, 40, 50, 60, 10, 20, 30}));
    // 16 bits, 3 wide: enlarged to 4 by nearest neighbour, ends aligned
    // (columns 0, 1, 1, 2). Pixel 0 is pure blue, 1 green, 2 red with the top
    // bit set, which is ignored.
    TestDIB rgb(3, 1, 16);
    rgb.bits = {0x1F, 0x00, 0xE0, 0x03, 0x00, 0xFC, 0, 0};
    EXPECT_EQ(TexelsBGR(rgb.Texture(), 4, 1), (std::vector<BYTE>{248, 0, 0, 0, 248, 0, 0, 248, 0, 0, 0, 248}));
    // 2 by 2 at 24 bits: rows of 6 bytes padded to 8; source row 0 is texture row 0.
    TestDIB padded(2, 2, 24);
    padded.bits = {1, 2, 3, 4, 5, 6, 0xEE, 0xEE, 7, 8, 9, 10, 11, 12, 0xEE, 0xEE};
    EXPECT_EQ(TexelsBGR(padded.Texture(), 2, 2), (std::vector<BYTE>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}));
}

} // namespace
