#include "XGLTestContext.h"
#include "text/XCompositeFont.h"

#include <GL/gl.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

std::string TempFile(const char* pszName, const std::vector<unsigned char>& bytes)
{
    std::string strPath = std::string("/tmp/kvd_text_") + std::to_string(getpid()) + pszName;
    FILE* fp = std::fopen(strPath.c_str(), "wb");
    std::fwrite(bytes.data(), 1, bytes.size(), fp);
    std::fclose(fp);
    return strPath;
}

std::vector<unsigned char> TextureAlpha(unsigned int nTexture)
{
    std::vector<unsigned char> texels(512 * 512, 0xAA);
    glBindTexture(GL_TEXTURE_2D, nTexture);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glGetTexImage(GL_TEXTURE_2D, 0, GL_ALPHA, GL_UNSIGNED_BYTE, texels.data());
    return texels;
}

// The loader takes a texture name and reads the file once per start flag: a
// missing file fails that once, a short one leaves the rest of the atlas empty.
TEST(CompositeFont, LoadsOnceAndKeepsWhatTheFirstCallFound)
{
    XGLTestDC dc(4, 4);
    ASSERT_TRUE(dc.MakeCurrent());
    unsigned int nTexture = 0;
    int bStarted = 0;
    EXPECT_EQ(XfnLoadCompositeFont("/nonexistent/dotum.xhf", nTexture, bStarted), 0);
    EXPECT_EQ(bStarted, 1);
    EXPECT_NE(nTexture, 0u); // the name was taken before the failure
    const unsigned int nFirst = nTexture;
    EXPECT_EQ(XfnLoadCompositeFont("/nonexistent/dotum.xhf", nTexture, bStarted), 1);
    EXPECT_EQ(nTexture, nFirst);

    std::vector<unsigned char> bytes(1000);
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<unsigned char>(i * 7 + 1);
    const std::string strShort = TempFile("short.xhf", bytes);
    const std::string strFull = TempFile("full.xhf", std::vector<unsigned char>(512 * 512, 0xFF));
    nTexture = 0;
    bStarted = 0;
    ASSERT_EQ(XfnLoadCompositeFont(strShort.c_str(), nTexture, bStarted), 1);
    std::vector<unsigned char> texels = TextureAlpha(nTexture);
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), texels.begin()));
    EXPECT_EQ(std::count(texels.begin() + 1000, texels.end(), 0), 512 * 512 - 1000);
    EXPECT_EQ(XfnLoadCompositeFont(strFull.c_str(), nTexture, bStarted), 1);
    EXPECT_EQ(TextureAlpha(nTexture)[2000], 0); // still the short file's texture
    std::remove(strShort.c_str());
    std::remove(strFull.c_str());
}

} // namespace
