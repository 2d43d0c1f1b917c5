#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/files/XPath.h"
#include "KVDbase/text/XSyllable.h"
#include "XGLTestContext.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

namespace {

struct GlyphCase {
    wchar_t ch;
    int nInitial, nVowel, nFinal;
};

const GlyphCase kGlyphCases[] = {
    {L' ', -1, -1, -1},         {31, -1, -1, -1},           {L'!', 515, -1, -1},
    {127, 609, -1, -1},         {128, -1, -1, -1},          {0x1100, 0, -1, -1},
    {0x1112, 18, -1, -1},       {0x1161, -1, 19, -1},       {0x1175, -1, 39, -1},
    {0x11A8, -1, -1, 40},       {0x11C2, -1, -1, 66},       {0xAC00, 67, 371, -1},  // first syllable
    {0xAC01, 219, 392, 413},    {0xD7A3, 237, 487, 439},    {0xD76C, 161, 465, -1}, // last; c 18 j 19
    {0xABFF, -1, -1, -1},       {0xD7A4, -1, -1, -1},
};

// The glyph numbers of each piece; the quads' atlas cells are checked on the pixels of the text below.
TEST(Syllable, GlyphNumbersOfEachPiece)
{
    for (const GlyphCase& c : kGlyphCases) {
        int g[3];
        XfnGetSyllableGlyphs(c.ch, g);
        EXPECT_EQ((std::vector<int>{g[0], g[1], g[2]}), (std::vector<int>{c.nInitial, c.nVowel, c.nFinal}))
            << static_cast<int>(c.ch);
    }
}

// The atlas file the build placed beside the test program.
std::vector<unsigned char> AtlasFile()
{
    std::vector<unsigned char> atlas(512 * 512);
    XString strFile = XfnGetModulePath(XfnGetLibraryModule()) + "dotum.xhf";
    FILE* fp = std::fopen(strFile, "rb");
    if (fp == nullptr || std::fread(atlas.data(), 1, atlas.size(), fp) != atlas.size())
        atlas.clear();
    if (fp != nullptr)
        std::fclose(fp);
    return atlas;
}

// One test holds every use of the class-wide atlas: its texture belongs to
// the context that loaded it.
TEST(Syllable, RenderTextDrawsTheComposedSyllablesFromTheAtlas)
{
    std::vector<unsigned char> atlas = AtlasFile();
    ASSERT_FALSE(atlas.empty()) << "dotum.xhf missing beside the test program";
    XGLTestDC dc(200, 60);
    ASSERT_TRUE(dc.MakeCurrent());
    ASSERT_EQ(XBackBuffer::CreateCompositeFont(), 1);
    unsigned int nTexture = 0;
    ASSERT_EQ(XBackBuffer::GetFontTexture(nTexture), 1);
    EXPECT_TRUE(glIsTexture(nTexture));

    glViewport(0, 0, 200, 60);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(0, 200, 0, 60, -1, 1);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glClearColor(0, 0, 0, 1);
    glClear(GL_COLOR_BUFFER_BIT);
    glColor4f(1, 1, 1, 1);
    // Base line from (10, 10) to (190, 10), tops along y 50: two cells 90 wide.
    tagXVector3 corners[4] = {{10, 10, 0}, {10, 50, 0}, {190, 50, 0}, {190, 10, 0}};
    XfnRenderText("\xEA\xB0\x81" "A", 4, corners); // U+AC01 and "A"
    XfnRenderText("", 0, corners);
    EXPECT_TRUE(glIsEnabled(GL_BLEND));
    EXPECT_FALSE(glIsEnabled(GL_TEXTURE_2D));
    ASSERT_TRUE(SwapBuffers(dc.Handle()));

    // Every pixel against the atlas composed at its place, nearest texel.
    const wchar_t text[2] = {0xAC01, L'A'};
    int nBoth = 0, nEither = 0;
    for (int y = 10; y < 50; ++y) {
        for (int x = 10; x < 190; ++x) {
            int i = (x - 10) / 90;
            int g[3];
            XfnGetSyllableGlyphs(text[i], g);
            // Texture rows run down from the top edge.
            int tx = static_cast<int>((x + 0.5 - 10 - 90 * i) / 90 * 20);
            int ty = static_cast<int>((50 - (y + 0.5)) / 40 * 20);
            bool bAtlas = false;
            for (int glyph : g)
                bAtlas = bAtlas ||
                         (glyph >= 0 && atlas[(glyph / 25 * 20 + 3 + ty) * 512 + glyph % 25 * 20 + 3 + tx] >= 128);
            bool bDrawn = (dc.At(x, 59 - y) & 0xFF) >= 128; // y counts up from the bottom
            nBoth += bAtlas && bDrawn;
            nEither += bAtlas || bDrawn;
        }
    }
    ASSERT_GT(nEither, 200);
    EXPECT_GT(static_cast<double>(nBoth) / nEither, 0.75);
    for (int x = 0; x < 200; ++x) // nothing below the base line
        EXPECT_EQ(dc.At(x, 59 - 5), 0u) << x;
    dc.Save("atlas_text");
}

} // namespace
