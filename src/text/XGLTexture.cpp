// Textures from DIBs. Source row 0 becomes texture row 0: the bottom-up DIB
// lands with its bottom row at t = 0, as OpenGL counts. Resampling goes
// through a column map and a row map worked out once, so the inner loop only
// looks up and copies.
#include "KVDbase/text/XGLTexture.h"
#include "KVDbase/drawing/XDIB.h"
#include "KVDbase/geometry/XScaleFactor.h"
#include "KVDbase/raster/XBitHelpers.h"

#include <GL/gl.h>
#include <GL/glext.h>

#include <cstdlib>
#include <cstring>
#include <new>
#include <vector>

namespace {

// A power of two not below n.
int PowerOfTwoSize(int n)
{
    int p = XfnGetNearest2nValue(n);
    return p < n ? p * 2 : p;
}

// Target index to source index along one axis of nTarget entries (with the
// border ones among them) over nSource; -1 marks a border entry.
void BuildMap(std::vector<int>& map, int nTarget, int nSource, bool bResized, bool bBorder)
{
    map.resize(nTarget);
    if (bResized) {
        double dOffset = 0.0, dScale = 0.0;
        if (bBorder)
            XfnGetScaleFactor(1.0, nTarget - 2.0, 0.0, nSource - 1.0, dOffset, dScale);
        else
            XfnGetScaleFactor(0.0, nTarget - 1.0, 0.0, nSource - 1.0, dOffset, dScale);
        for (int i = 0; i < nTarget; ++i)
            map[i] = static_cast<int>(i * dScale + dOffset + 0.5);
    } else {
        for (int i = 0; i < nTarget; ++i)
            map[i] = bBorder ? i - 1 : i;
    }
    if (bBorder) {
        map[0] = -1;
        map[nTarget - 1] = -1;
    }
}

} // namespace

unsigned int XfnCreateGLTextureFromDIB(void* pBits, BITMAPINFO* pInfo, int nBorder)
{
    if (pInfo == nullptr || pInfo->bmiHeader.biBitCount < 8)
        return 0;
    const BITMAPINFOHEADER& hdr = pInfo->bmiHeader;
    int w = hdr.biWidth, h = hdr.biHeight, b = hdr.biBitCount / 8;
    if (w <= 0 || h <= 0 || pBits == nullptr)
        return 0;
    int nStride = XfnCalcDIBWidthBytes(pInfo);
    bool bPadded = nStride != w * b;
    int tw = PowerOfTwoSize(w), th = PowerOfTwoSize(h);
    bool bResized = tw != w || th != h;
    bool bBorder = nBorder != 0;
    if (bBorder) {
        tw += 2;
        th += 2;
    }
    int d = (b == 1 || b == 2) ? 3 : b;
    const BYTE* pSource = static_cast<const BYTE*>(pBits);

    BYTE* pBlock = nullptr;
    const void* pPixels = pBits;
    if (bBorder || bResized || d != b || bPadded) {
        size_t nBytes = static_cast<size_t>(tw) * th * d;
        // The border texels are never written: a cleared block makes them black.
        pBlock = static_cast<BYTE*>(bBorder ? std::calloc(nBytes, 1) : std::malloc(nBytes));
        if (pBlock == nullptr)
            return 0;
        pPixels = pBlock;
        size_t nRow = static_cast<size_t>(tw) * d;
        if (!bResized && d == b) {
            for (int i = 0; i < h; ++i) {
                const BYTE* pFrom = pSource + static_cast<size_t>(i) * nStride;
                if (bBorder)
                    std::memcpy(pBlock + (i + 1) * nRow + d, pFrom, static_cast<size_t>(tw - 2) * d);
                else
                    std::memcpy(pBlock + i * nRow, pFrom, nRow);
            }
        } else {
            std::vector<int> cols, rows;
            try {
                BuildMap(cols, tw, w, bResized, bBorder);
                BuildMap(rows, th, h, bResized, bBorder);
            } catch (const std::bad_alloc&) {
                std::free(pBlock);
                return 0;
            }
            int nPalette = XfnGetDIBPaletteSize(&hdr);
            const RGBQUAD* pPalette = pInfo->bmiColors;
            BYTE last[3] = {0, 0, 0};
            for (int y = 0; y < th; ++y) {
                if (rows[y] < 0)
                    continue;
                const BYTE* pFrom = pSource + static_cast<size_t>(rows[y]) * nStride;
                BYTE* pTo = pBlock + y * nRow;
                for (int x = 0; x < tw; ++x) {
                    if (cols[x] < 0)
                        continue;
                    const BYTE* p = pFrom + static_cast<size_t>(cols[x]) * b;
                    BYTE* q = pTo + static_cast<size_t>(x) * d;
                    if (b == 1) {
                        // An index beyond the palette repeats the colour before it.
                        if (*p < nPalette) {
                            last[0] = pPalette[*p].rgbBlue;
                            last[1] = pPalette[*p].rgbGreen;
                            last[2] = pPalette[*p].rgbRed;
                        }
                        q[0] = last[0];
                        q[1] = last[1];
                        q[2] = last[2];
                    } else if (b == 2) {
                        unsigned v = p[0] | p[1] << 8;
                        q[0] = static_cast<BYTE>((v & 0x1F) * 8);
                        q[1] = static_cast<BYTE>(((v >> 5) & 0x1F) * 8);
                        q[2] = static_cast<BYTE>(((v >> 10) & 0x1F) * 8);
                    } else {
                        std::memcpy(q, p, d);
                    }
                }
            }
        }
    }

    GLuint nTexture = 0;
    glGenTextures(1, &nTexture);
    glBindTexture(GL_TEXTURE_2D, nTexture);
    glTexEnvf(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP);
    // Rows of one or two 24-bit texels are not whole words: they, like the
    // bordered rows, go byte-aligned.
    bool bByteRows = bBorder || (static_cast<size_t>(tw) * d) % 4 != 0;
    GLint nAlignment = 4;
    if (bByteRows) {
        glGetIntegerv(GL_UNPACK_ALIGNMENT, &nAlignment);
        glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    }
    if (d == 3 || d == 4) {
        glTexImage2D(GL_TEXTURE_2D, 0, d, tw, th, nBorder == 1 ? 1 : 0, d == 3 ? GL_BGR_EXT : GL_BGRA_EXT,
                     GL_UNSIGNED_BYTE, pPixels);
    }
    if (bByteRows)
        glPixelStorei(GL_UNPACK_ALIGNMENT, nAlignment);
    std::free(pBlock);
    return nTexture;
}
