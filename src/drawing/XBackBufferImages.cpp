// Images in and out of an XBackBuffer: DrawDIB places a device-independent
// bitmap on a world rectangle (plain, masked or blended, or resampled under a
// rotated view), and the readers copy the surface out as DIB rows.
#include "KVDbase/drawing/XBackBuffer.h"

#include "KVDbase/drawing/XDIB.h"
#include "KVDbase/geometry/XScaleFactor.h"
#include "KVDbase/platform/XGdi.h"
#include "drawing/XDIBConvert.h"
#include "drawing/XPixelRound.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

// A source pixel as blue, green, red: through the palette at one byte a
// pixel, else the first three bytes.
struct SourceImage {
    const BYTE* pBits;
    const BITMAPINFO* pInfo;
    int nWidth;
    int nHeight;
    int nBytesPixel;
    int nStride;

    SourceImage(const BYTE* pBitsArg, const BITMAPINFO* pInfoArg)
        : pBits(pBitsArg), pInfo(pInfoArg), nWidth(pInfoArg->bmiHeader.biWidth),
          nHeight(pInfoArg->bmiHeader.biHeight), nBytesPixel(pInfoArg->bmiHeader.biBitCount / 8),
          nStride(XfnCalcDIBWidthBytes(pInfoArg))
    {
    }

    void Get(int col, int row, double* bgr) const
    {
        const BYTE* p = pBits + static_cast<size_t>(nStride) * row + static_cast<size_t>(nBytesPixel) * col;
        if (nBytesPixel == 1) {
            const RGBQUAD& q = pInfo->bmiColors[*p];
            bgr[0] = q.rgbBlue;
            bgr[1] = q.rgbGreen;
            bgr[2] = q.rgbRed;
        } else {
            bgr[0] = p[0];
            bgr[1] = p[1];
            bgr[2] = p[2];
        }
    }
};

BYTE MaskAt(const BYTE* pMask, int nWidth, int col, int row)
{
    return pMask[static_cast<size_t>(XfnCalcDIBWidthBytes(nWidth, 8)) * row + col];
}

// Source over destination with opacity a, channel by channel: each part
// truncated to a byte before the sum.
COLORREF Blend(const double* bgr, double a, COLORREF dst)
{
    const double dstBgr[3] = {static_cast<double>(GetBValue(dst)), static_cast<double>(GetGValue(dst)),
                              static_cast<double>(GetRValue(dst))};
    BYTE out[3];
    for (int i = 0; i < 3; ++i)
        out[i] = static_cast<BYTE>((static_cast<int>(bgr[i] * a) & 0xFF) + (static_cast<int>(dstBgr[i] * (1 - a)) & 0xFF));
    return RGB(out[2], out[1], out[0]);
}

COLORREF ColourOf(const double* bgr)
{
    return RGB(static_cast<BYTE>(static_cast<int>(bgr[2])), static_cast<BYTE>(static_cast<int>(bgr[1])),
               static_cast<BYTE>(static_cast<int>(bgr[0])));
}

// A 40-byte header of w by h pixels, one plane, nBits, no compression.
void FillHeader(BITMAPINFOHEADER& bih, int w, int h, int nBits)
{
    std::memset(&bih, 0, sizeof bih);
    bih.biSize = sizeof(BITMAPINFOHEADER);
    bih.biWidth = w;
    bih.biHeight = h;
    bih.biPlanes = 1;
    bih.biBitCount = static_cast<WORD>(nBits);
    bih.biCompression = BI_RGB;
}

// The 8-bit header of a mask plane: a grey ramp, entry i being (i, i, i).
struct GreyInfo {
    BITMAPINFOHEADER bmiHeader;
    RGBQUAD bmiColors[256];

    GreyInfo(int w, int h)
    {
        FillHeader(bmiHeader, w, h, 8);
        for (int i = 0; i < 256; ++i)
            bmiColors[i] = {static_cast<BYTE>(i), static_cast<BYTE>(i), static_cast<BYTE>(i), 0};
    }
    const BITMAPINFO* Info() const { return reinterpret_cast<const BITMAPINFO*>(this); }
};

// On a device with a palette, the system palette is selected and realised
// for the time of the drawing; the raster device has none.
class SystemPalette {
public:
    explicit SystemPalette(HDC hDC) : hDC(hDC)
    {
        if ((GetDeviceCaps(hDC, RASTERCAPS) & RC_PALETTE) == 0)
            return;
        int nCount = GetDeviceCaps(hDC, SIZEPALETTE);
        if (nCount == 0)
            nCount = GetDeviceCaps(hDC, NUMCOLORS);
        if (nCount <= 0 || nCount > 0xFFFF)
            return;
        LOGPALETTE* pLog =
            static_cast<LOGPALETTE*>(std::malloc(sizeof(LOGPALETTE) + sizeof(PALETTEENTRY) * static_cast<size_t>(nCount)));
        if (pLog == nullptr)
            return;
        pLog->palVersion = 0x300;
        pLog->palNumEntries = static_cast<WORD>(nCount);
        GetSystemPaletteEntries(hDC, 0, static_cast<UINT>(nCount), pLog->palPalEntry);
        hPalette = CreatePalette(pLog);
        std::free(pLog);
        if (hPalette != nullptr) {
            hOld = SelectPalette(hDC, hPalette, TRUE);
            RealizePalette(hDC);
        }
    }
    ~SystemPalette()
    {
        if (hPalette == nullptr)
            return;
        SelectPalette(hDC, hOld, TRUE);
        DeleteObject(hPalette);
    }
    SystemPalette(const SystemPalette&) = delete;
    SystemPalette& operator=(const SystemPalette&) = delete;

private:
    HDC hDC;
    HPALETTE hPalette = nullptr;
    HPALETTE hOld = nullptr;
};

} // namespace

// ---------------------------------------------------------------------------
// Drawing

void XBackBuffer::DrawDIB(unsigned char* pBitsArg, BITMAPINFO* pInfo, double left, double top, double right,
                          double bottom, int nClass, unsigned char* pMask)
{
    if (pBitsArg == nullptr || pInfo == nullptr || pInfo->bmiHeader.biWidth <= 0 || pInfo->bmiHeader.biHeight <= 0)
        return;
    if (dRotationAngle != 0.0) {
        ResampleDIB(pBitsArg, pInfo, left, top, right, bottom, nClass, pMask);
        return;
    }
    SystemPalette palette(hDC);
    const POINT tl = ToPixel(left, top);
    const POINT br = ToPixel(right, bottom);
    ::SetStretchBltMode(hDC, COLORONCOLOR);
    const int tw = std::abs(static_cast<int>(tl.x - br.x)) + 1;
    const int th = std::abs(static_cast<int>(tl.y - br.y)) + 1;
    const int w = pInfo->bmiHeader.biWidth;
    const int h = pInfo->bmiHeader.biHeight;

    if (nClass == -1) {
        ::StretchDIBits(hDC, tl.x, tl.y, tw, th, 0, 0, w, h, pBitsArg, pInfo, DIB_RGB_COLORS, SRCCOPY);
    } else if (nClass == 0 && pMask != nullptr) {
        // The mask clears the opaque pixels; the image, black where it is
        // transparent, is ORed into them.
        const GreyInfo grey(w, h);
        ::StretchDIBits(hDC, tl.x, tl.y, tw, th, 0, 0, w, h, pMask, grey.Info(), DIB_RGB_COLORS, SRCAND);
        ::StretchDIBits(hDC, tl.x, tl.y, tw, th, 0, 0, w, h, pBitsArg, pInfo, DIB_RGB_COLORS, SRCPAINT);
    } else if (nClass == 1 && pMask != nullptr) {
        BlendDIB(pBitsArg, pInfo, tl, tw, th, pMask);
    }
}

void XBackBuffer::BlendDIB(const BYTE* pBitsArg, const BITMAPINFO* pInfo, POINT topLeft, int tw, int th,
                           const BYTE* pMask)
{
    const SourceImage src(pBitsArg, pInfo);
    const int w = src.nWidth, h = src.nHeight;
    for (int t = 0; t < th; ++t) {
        // Target rows run down, DIB rows up: the top row is row h - 1.
        const int row = th == 1 ? h - 1 : XPixelRound::Round(h - 1 - t * static_cast<double>(h - 1) / (th - 1));
        if (row < 0 || row >= h)
            continue;
        for (int c = 0; c < tw; ++c) {
            const int col = tw == 1 ? 0 : XPixelRound::Round(c * static_cast<double>(w - 1) / (tw - 1));
            if (col < 0 || col >= w)
                continue;
            const int x = topLeft.x + c, y = topLeft.y + t;
            const COLORREF dst = ::GetPixel(hDC, x, y);
            if (dst == CLR_INVALID)
                continue; // off the surface
            double bgr[3];
            src.Get(col, row, bgr);
            ::SetPixel(hDC, x, y, Blend(bgr, (255 - MaskAt(pMask, w, col, row)) / 255.0, dst));
        }
    }
}

void XBackBuffer::ResampleDIB(const BYTE* pBitsArg, const BITMAPINFO* pInfo, double left, double top,
                              double right, double bottom, int nClass, const BYTE* pMask)
{
    const SourceImage src(pBitsArg, pInfo);
    const int w = src.nWidth, h = src.nHeight;
    const POINT corners[4] = {ToPixel(left, top), ToPixel(right, top), ToPixel(right, bottom),
                              ToPixel(left, bottom)};
    LONG minX = corners[0].x, maxX = corners[0].x, minY = corners[0].y, maxY = corners[0].y;
    for (const POINT& pt : corners) {
        minX = pt.x < minX ? pt.x : minX;
        maxX = pt.x > maxX ? pt.x : maxX;
        minY = pt.y < minY ? pt.y : minY;
        maxY = pt.y > maxY ? pt.y : maxY;
    }
    minX = minX < 0 ? 0 : minX;
    minY = minY < 0 ? 0 : minY;
    maxX = maxX > nWidth - 1 ? nWidth - 1 : maxX;
    maxY = maxY > nHeight - 1 ? nHeight - 1 : maxY;

    // World to source pixel; source rows count up from the bottom.
    double ox, sx, oy, sy;
    XfnGetScaleFactor(left, right, 0.0, w - 1.0, ox, sx);
    XfnGetScaleFactor(top, bottom, h - 1.0, 0.0, oy, sy);

    for (LONG py = minY; py <= maxY; ++py) {
        for (LONG px = minX; px <= maxX; ++px) {
            double x = px, y = py;
            ConvPixelToWorldCoord(x, y);
            const double u = sx * x + ox, v = sy * y + oy;
            if (!(u >= 0.0 && u < w && v >= 0.0 && v < h))
                continue;
            const int c0 = static_cast<int>(u), r0 = static_cast<int>(v);
            const int c1 = c0 + 1 < w ? c0 + 1 : w - 1;
            const int r1 = r0 + 1 < h ? r0 + 1 : h - 1;
            const double fx = u - c0, fy = v - r0;
            // Under rotation a class 0 pixel is painted where its mask value
            // is not 0: the reverse of the masked copy's sense.
            if (nClass == 0 && pMask != nullptr && MaskAt(pMask, w, c0, r0) == 0)
                continue;
            double a[3], b[3], c[3], d[3], bgr[3];
            src.Get(c0, r0, a);
            src.Get(c1, r0, b);
            src.Get(c1, r1, c);
            src.Get(c0, r1, d);
            for (int i = 0; i < 3; ++i)
                bgr[i] = a[i] + (b[i] - a[i]) * fx + (d[i] - a[i]) * fy + fx * fy * (a[i] - b[i] - d[i] + c[i]);
            COLORREF clr = ColourOf(bgr);
            if (nClass == 1 && pMask != nullptr) {
                const COLORREF dst = ::GetPixel(hDC, px, py);
                if (dst == CLR_INVALID)
                    continue;
                clr = Blend(bgr, (255 - MaskAt(pMask, w, c0, r0)) / 255.0, dst);
            }
            ::SetPixel(hDC, px, py, clr);
        }
    }
}

void XBackBuffer::DrawDIB(char* pBitsArg, BITMAPINFO* pInfo, double left, double top, double right, double bottom,
                          double, double dAlpha, DWORD dwKey)
{
    if (pBitsArg == nullptr || pInfo == nullptr)
        return;
    const int w = pInfo->bmiHeader.biWidth, h = pInfo->bmiHeader.biHeight;
    if (w <= 0 || h <= 0)
        return;
    const int64_t nRows = static_cast<int64_t>(XfnCalcDIBWidthBytes(w, 24)) * h;
    const int64_t nBytes = nRows + static_cast<int64_t>(XfnCalcDIBWidthBytes(w, 8)) * h;
    if (nBytes > 0x7FFFFFFF || !AllocTemp(static_cast<int>(nBytes)))
        return;
    BYTE* pRows = static_cast<BYTE*>(pTemp);
    const int nClass = XfnConvertDIBPixels(pBitsArg, pInfo, dAlpha, dwKey, XDIB_FORM_ROWS_AND_MASK, pRows);
    DrawDIB(pRows, pInfo, left, top, right, bottom, nClass, pRows + nRows);
}

// ---------------------------------------------------------------------------
// Reading

void* XBackBuffer::GetDIBits(BITMAPINFO& info)
{
    if (nType != TYPE_DIB)
        return nullptr;
    FillHeader(info.bmiHeader, nWidth, nHeight, nBitsPixel);
    return pBits;
}

int XBackBuffer::GetDIBFromDDB(unsigned int nStart, unsigned int nLines, void* pOut)
{
    BITMAPINFO bmi;
    FillHeader(bmi.bmiHeader, nWidth, nHeight, nBitsPixel);
    return ::GetDIBits(hDC, hBitmap, nStart, nLines, pOut, &bmi, DIB_RGB_COLORS);
}

int XBackBuffer::SetDIBToDDB(unsigned int nStart, unsigned int nLines, const void* pIn)
{
    BITMAPINFO bmi;
    FillHeader(bmi.bmiHeader, nWidth, nHeight, nBitsPixel);
    return ::SetDIBits(hDC, hBitmap, nStart, nLines, pIn, &bmi, DIB_RGB_COLORS);
}

int XBackBuffer::ReadDIB24(void* pOut, BITMAPINFO* pInfo, int x, int y, int w, int h)
{
    return ReadDIB(pOut, pInfo, x, y, w, h, 24);
}

int XBackBuffer::ReadDIB32(void* pOut, BITMAPINFO* pInfo, int x, int y, int w, int h)
{
    return ReadDIB(pOut, pInfo, x, y, w, h, 32);
}

int XBackBuffer::ReadDIB(void* pOut, BITMAPINFO* pInfo, int x, int y, int w, int h, int nBits)
{
    if (!XfnCheckDIBRead(pOut, pInfo, x, y, w, h, nWidth, nHeight, nBits))
        return 0;
    BITMAPINFOHEADER& bih = pInfo->bmiHeader;
    // The rows the caller's header promised room for, before it is rewritten.
    const int nRoomRows = bih.biHeight;
    FillHeader(bih, w, h, nBits);
    const int nOutStride = XfnCalcDIBWidthBytes(w, nBits);
    const int nOutBytes = nBits / 8;
    BYTE* pDst = static_cast<BYTE*>(pOut);

    if (nType == TYPE_OPENGL)
        return ReadDIBGL(pOut, x, y, w, h, nBits);

    if (nType == TYPE_DDB) {
        if (w == nWidth) {
            ::GetDIBits(hDC, hBitmap, static_cast<UINT>(y), static_cast<UINT>(h), pOut, pInfo, DIB_RGB_COLORS);
            return 1;
        }
        // A row at a time through a scratch row of the full surface width.
        const int nRowBytes = XfnCalcDIBWidthBytes(nWidth, nBits);
        if (!AllocTemp(nRowBytes))
            return 0;
        BITMAPINFO rowInfo;
        for (int r = 0; r < h; ++r) {
            FillHeader(rowInfo.bmiHeader, nWidth, nHeight, nBits);
            if (::GetDIBits(hDC, hBitmap, static_cast<UINT>(y + r), 1, pTemp, &rowInfo, DIB_RGB_COLORS) == 0)
                break;
            std::memcpy(pDst + static_cast<size_t>(nOutStride) * r,
                        static_cast<const BYTE*>(pTemp) + static_cast<size_t>(nOutBytes) * x,
                        static_cast<size_t>(nOutBytes) * w);
        }
        return 1;
    }

    if (nType == TYPE_DIB) {
        if (pBits == nullptr)
            return 0;
        const BYTE* pSurface = static_cast<const BYTE*>(pBits);
        if (nBitsPixel == nBits && w == nWidth) {
            std::memcpy(pDst, pSurface + static_cast<size_t>(nDIBWidthBytes) * y, static_cast<size_t>(nOutStride) * h);
            return 1;
        }
        const int nSrcBytes = nBitsPixel / 8;
        for (int r = 0; r < h; ++r) {
            // ReadDIB24 takes surface line y + r into row r; ReadDIB32 takes
            // surface line r into row y + r, as it always has. Rows past the
            // room of the caller's header are not written.
            const int nSrcRow = nBits == 24 ? y + r : r;
            const int nDstRow = nBits == 24 ? r : y + r;
            if (nDstRow >= nRoomRows)
                break;
            const BYTE* s = pSurface + static_cast<size_t>(nDIBWidthBytes) * nSrcRow;
            BYTE* d = pDst + static_cast<size_t>(nOutStride) * nDstRow;
            for (int c = 0; c < w; ++c) {
                const BYTE* sp = s + static_cast<size_t>(nSrcBytes) * (x + c);
                BYTE* dp = d + static_cast<size_t>(nOutBytes) * c;
                switch (nBitsPixel) {
                case 8:
                    dp[0] = dp[1] = dp[2] = sp[0];
                    break;
                case 16: {
                    const unsigned v = sp[0] | (sp[1] << 8);
                    dp[0] = static_cast<BYTE>((v >> 10) * 8);
                    dp[1] = static_cast<BYTE>((v >> 5) * 8);
                    dp[2] = static_cast<BYTE>(v * 8);
                    break;
                }
                case 32:
                    dp[0] = sp[0];
                    dp[1] = sp[1];
                    dp[2] = sp[2];
                    break;
                default:
                    break; // other depths are not converted
                }
            }
        }
    }
    return 1;
}
