#include "drawing/XDIBConvert.h"

#include "KVDbase/drawing/XDIB.h"

#include <cstdint>

BYTE XfnOpacityByte(double dAlpha)
{
    const double v = dAlpha * 255.0;
    if (!(v > -2147483648.0 && v < 2147483648.0))
        return 0;
    return static_cast<BYTE>(static_cast<int32_t>(v));
}

int XfnConvertDIBPixels(const char* pBits, const BITMAPINFO* pInfo, double dAlpha, DWORD dwKey, XDIBForm nForm,
                        BYTE* pOut)
{
    const BITMAPINFOHEADER& bih = pInfo->bmiHeader;
    const int w = bih.biWidth;
    const int h = bih.biHeight;
    const BYTE* pSrc = reinterpret_cast<const BYTE*>(pBits);
    const int nSrcStride = XfnCalcDIBWidthBytes(pInfo);
    const int nBitCount = bih.biBitCount;
    const bool bGrey = XfnGetDIBPaletteSize(&bih) == 0;
    const BYTE* pPalette = reinterpret_cast<const BYTE*>(pInfo->bmiColors);
    const BYTE nOpacity = XfnOpacityByte(dAlpha);
    const bool bKey = (dwKey & 0xFFu) != 0;
    const BYTE keyRed = static_cast<BYTE>(dwKey >> 8);
    const BYTE keyGreen = static_cast<BYTE>(dwKey >> 16);
    const BYTE keyBlue = static_cast<BYTE>(dwKey >> 24);

    const int nStride24 = XfnCalcDIBWidthBytes(w, 24);
    const int nStride8 = XfnCalcDIBWidthBytes(w, 8);
    BYTE* pMask = pOut + static_cast<size_t>(nStride24) * h;

    bool bSeenZero = false, bSeenPartial = false;
    BYTE blue = 0, green = 0, red = 0;
    for (int row = 0; row < h; ++row) {
        const BYTE* s = pSrc + static_cast<size_t>(nSrcStride) * row;
        const int nTargetRow = nForm == XDIB_FORM_BGRA_TOP_DOWN ? h - 1 - row : row;
        for (int col = 0; col < w; ++col) {
            switch (nBitCount) {
            case 8: {
                const BYTE v = s[col];
                if (bGrey) {
                    blue = green = red = v;
                } else {
                    blue = pPalette[4 * v];
                    green = pPalette[4 * v + 1];
                    red = pPalette[4 * v + 2];
                }
                break;
            }
            case 16: {
                const unsigned v = static_cast<unsigned>(s[2 * col]) | (static_cast<unsigned>(s[2 * col + 1]) << 8);
                blue = static_cast<BYTE>((v & 0x1Fu) << 3);
                green = static_cast<BYTE>(((v >> 5) & 0x1Fu) << 3);
                red = static_cast<BYTE>(((v >> 10) & 0x1Fu) << 3);
                break;
            }
            case 24:
                blue = s[3 * col];
                green = s[3 * col + 1];
                red = s[3 * col + 2];
                break;
            case 32:
                blue = s[4 * col];
                green = s[4 * col + 1];
                red = s[4 * col + 2];
                break;
            default:
                break; // an unread depth keeps the last value
            }
            BYTE alpha = nOpacity;
            BYTE b = blue, g = green, r = red;
            if (bKey && r == keyRed && g == keyGreen && b == keyBlue)
                b = g = r = alpha = 0;
            if (nForm == XDIB_FORM_ROWS_AND_MASK) {
                BYTE* t = pOut + static_cast<size_t>(nStride24) * nTargetRow + 3 * col;
                t[0] = b;
                t[1] = g;
                t[2] = r;
                pMask[static_cast<size_t>(nStride8) * nTargetRow + col] = static_cast<BYTE>(255 - alpha);
            } else {
                BYTE* t = pOut + (static_cast<size_t>(w) * nTargetRow + col) * 4;
                t[0] = b;
                t[1] = g;
                t[2] = r;
                t[3] = alpha;
            }
            if (alpha == 0)
                bSeenZero = true;
            else if (alpha != 255)
                bSeenPartial = true;
        }
    }
    if (nForm == XDIB_FORM_BGRA_TOP_DOWN)
        return -1;
    return bSeenPartial ? 1 : (bSeenZero ? 0 : -1);
}

bool XfnCheckDIBRead(const void* pOut, const BITMAPINFO* pInfo, int x, int y, int& w, int& h, int nWidth, int nHeight,
                     int nBits)
{
    if (pOut == nullptr || pInfo == nullptr)
        return false;
    if (w == 0)
        w = nWidth;
    if (h == 0)
        h = nHeight;
    const BITMAPINFOHEADER& bih = pInfo->bmiHeader;
    return x >= 0 && y >= 0 && w >= 0 && h >= 0 && static_cast<int64_t>(x) + w <= nWidth &&
           static_cast<int64_t>(y) + h <= nHeight && w <= bih.biWidth && h <= bih.biHeight && bih.biBitCount >= nBits;
}
