// The syllable composer. The atlas is 512 texels square with cells on a
// 20-texel pitch, 25 to a row; a quad samples the 20 texels from 3 into its
// cell. Precomposed syllables pick the initial's shape by the vowel (eight
// shapes), and each piece has a second set of shapes for syllables with a
// final consonant.
#include "KVDbase/text/XSyllable.h"
#include "KVDbase/drawing/XBackBuffer.h"
#include "platform/XMbText.h"

#include <GL/gl.h>

#include <vector>

namespace {

const double kCellExtent = 0.0390625; // 20 / 512

// The first cell of the initial consonants' shape for each vowel of a
// precomposed syllable with no final.
const int kInitialBase[21] = {67, 86, 67, 86, 67, 86, 67, 86, 105, 143, 162,
                              143, 105, 124, 181, 200, 181, 124, 105, 143, 67};

} // namespace

void XfnGetSyllableGlyphs(wchar_t ch, int* pGlyphs)
{
    long cp = static_cast<long>(ch);
    int nInitial = -1, nVowel = -1, nFinal = -1;
    if (cp >= 33 && cp <= 127)
        nInitial = static_cast<int>(cp) + 482;
    if (cp >= 4352 && cp <= 4370)
        nInitial = static_cast<int>(cp) - 4352;
    if (cp >= 4449 && cp <= 4469)
        nVowel = static_cast<int>(cp) - 4430;
    if (cp >= 4520 && cp <= 4546)
        nFinal = static_cast<int>(cp) - 4480;
    if (cp >= 44032 && cp <= 55203) {
        int s = static_cast<int>(cp) - 44032;
        int c = s / 588, j = (s % 588) / 28, t = s % 28;
        nInitial = c + kInitialBase[j];
        nVowel = j + ((c == 14 || c == 18) ? 446 : 371);
        if (t != 0) {
            nVowel += 21;
            nInitial += 152;
            nFinal = t + 412;
        }
    }
    pGlyphs[0] = nInitial;
    pGlyphs[1] = nVowel;
    pGlyphs[2] = nFinal;
}

void XfnDrawSyllable(wchar_t ch, double* pQuad)
{
    int glyphs[3];
    XfnGetSyllableGlyphs(ch, glyphs);
    for (int g : glyphs) {
        if (g < 0)
            continue;
        double u = ((g % 25) * 20 + 3) / 512.0;
        double v = ((g / 25) * 20 + 3) / 512.0;
        glTexCoord2d(u, v);
        glVertex2d(pQuad[0], pQuad[1]);
        glTexCoord2d(u, v + kCellExtent);
        glVertex2d(pQuad[2], pQuad[3]);
        glTexCoord2d(u + kCellExtent, v + kCellExtent);
        glVertex2d(pQuad[4], pQuad[5]);
        glTexCoord2d(u + kCellExtent, v);
        glVertex2d(pQuad[6], pQuad[7]);
    }
}

void XfnRenderText(const char* pszText, int nLength, tagXVector3* pCorners)
{
    unsigned int nTexture = 0;
    if (!XBackBuffer::GetFontTexture(nTexture))
        return;
    // UTF-8 never takes fewer bytes than characters: nLength wide characters
    // always suffice.
    std::vector<wchar_t> text(nLength > 0 ? nLength : 1);
    int n = nLength > 0 ? XMbText::NarrowToWide(pszText, nLength, text.data(), nLength) : 0;
    double dStepX = (pCorners[3].x - pCorners[0].x) / n;
    double dStepY = (pCorners[3].y - pCorners[0].y) / n;

    glDisable(GL_POLYGON_STIPPLE);
    glPolygonMode(GL_FRONT_AND_BACK, GL_FILL);
    glBindTexture(GL_TEXTURE_2D, nTexture);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glEnable(GL_TEXTURE_2D);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexEnvi(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
    glBegin(GL_QUADS);
    double ax = pCorners[1].x, ay = pCorners[1].y;
    double bx = pCorners[0].x, by = pCorners[0].y;
    for (int i = 0; i < n; ++i) {
        double quad[8] = {ax, ay, bx, by, bx + dStepX, by + dStepY, ax + dStepX, ay + dStepY};
        XfnDrawSyllable(text[i], quad);
        ax += dStepX;
        ay += dStepY;
        bx += dStepX;
        by += dStepY;
    }
    glEnd();
    glDisable(GL_TEXTURE_2D);
}
