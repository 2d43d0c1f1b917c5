// Bitmaps, DIB sections and the transfers between surfaces and DIBs: BitBlt,
// StretchBlt and StretchDIBits with every ternary raster operation,
// GetDIBits and SetDIBits.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/XSysGdiObject.h"

namespace {

HBITMAP AddBitmap(std::unique_ptr<XGdiSurface> s, void* pBits)
{
    if (!s)
        return nullptr;
    std::unique_ptr<XGdiBitmap> bm(new (std::nothrow) XGdiBitmap);
    if (!bm)
        return nullptr;
    bm->surface = std::move(s);
    bm->pDIBBits = pBits;
    return static_cast<HBITMAP>(XfnGdiAdd(std::move(bm)));
}

bool UsesSource(unsigned t) { return (((t >> 2) ^ t) & 0x33) != 0; }
bool UsesPattern(unsigned t) { return (((t >> 4) ^ t) & 0x0F) != 0; }

// Where a DIB's bytes and colours are, for reading pixels out of it.
struct DIBSource {
    const uint8_t* pBits = nullptr;
    const RGBQUAD* pColors = nullptr;
    int nColors = 0;
    int nWidth = 0, nHeight = 0, nBits = 0;
    bool bBottomUp = true;
    size_t nRowBytes = 0;

    bool Set(const BITMAPINFO* bmi, const void* bits)
    {
        if (bmi == nullptr || bits == nullptr)
            return false;
        const BITMAPINFOHEADER& h = bmi->bmiHeader;
        if (h.biSize < 40 || h.biWidth <= 0 || h.biHeight == 0 || h.biHeight == INT32_MIN || h.biPlanes != 1 ||
            h.biCompression != BI_RGB || (h.biBitCount != 8 && h.biBitCount != 24 && h.biBitCount != 32))
            return false;
        nWidth = h.biWidth;
        nHeight = h.biHeight < 0 ? -h.biHeight : h.biHeight;
        bBottomUp = h.biHeight > 0;
        nBits = h.biBitCount;
        nRowBytes = ((static_cast<size_t>(nWidth) * nBits + 31) / 32) * 4;
        pBits = static_cast<const uint8_t*>(bits);
        pColors = reinterpret_cast<const RGBQUAD*>(reinterpret_cast<const uint8_t*>(bmi) + h.biSize);
        nColors = nBits == 8 ? (h.biClrUsed != 0 ? static_cast<int>(std::min<DWORD>(h.biClrUsed, 256)) : 256) : 0;
        return true;
    }
    // Pixel (x, y) with y counted from the top.
    uint32_t At(int x, int y) const
    {
        const uint8_t* r = pBits + nRowBytes * static_cast<size_t>(bBottomUp ? nHeight - 1 - y : y);
        if (nBits == 8) {
            const int i = r[x];
            if (i >= nColors)
                return 0xFF000000u;
            const RGBQUAD& q = pColors[i];
            return 0xFF000000u | (uint32_t(q.rgbRed) << 16) | (uint32_t(q.rgbGreen) << 8) | q.rgbBlue;
        }
        const uint8_t* p = r + static_cast<size_t>(x) * (nBits / 8);
        return 0xFF000000u | (uint32_t(p[2]) << 16) | (uint32_t(p[1]) << 8) | p[0];
    }
};

// One axis of a stretch: target pixel i of n (from the lower coordinate)
// takes source pixel Map(i); a negative extent on one side mirrors.
struct Axis {
    int64_t nDst0, nDstCount, nSrc0, nSrcCount;
    bool bMirror;
    Axis(int d, int dw, int s, int sw)
        : nDst0(dw < 0 ? int64_t(d) + dw : d), nDstCount(std::llabs(dw)), nSrc0(sw < 0 ? int64_t(s) + sw : s),
          nSrcCount(std::llabs(sw)), bMirror((dw < 0) != (sw < 0))
    {
    }
    int64_t Map(int64_t i) const
    {
        // The source pixel under the centre of target pixel i.
        int64_t u = ((2 * i + 1) * nSrcCount) / (2 * nDstCount);
        if (bMirror)
            u = nSrcCount - 1 - u;
        return nSrc0 + u;
    }
};

// Runs the raster operation over the target rectangle, reading the source
// through src(x, y), which reports false for a pixel it does not have.
template <class Src>
void Transfer(XGdiDC* dst, const Axis& ax, const Axis& ay, unsigned t, Src&& src)
{
    XGdiSurface* s = dst->pSurface;
    const XGdiBrush* br = UsesPattern(t) ? XfnGdiBrush(dst->hBrush) : nullptr;
    const uint32_t bg = XfnGdiPixel(dst->clrBk);
    const int64_t i0 = std::max<int64_t>(0, -ax.nDst0), i1 = std::min<int64_t>(ax.nDstCount, s->Width() - ax.nDst0);
    const int64_t j0 = std::max<int64_t>(0, -ay.nDst0), j1 = std::min<int64_t>(ay.nDstCount, s->Height() - ay.nDst0);
    if (i0 >= i1 || j0 >= j1)
        return;
    std::vector<int64_t> cols(static_cast<size_t>(i1 - i0));
    for (int64_t i = i0; i < i1; ++i)
        cols[static_cast<size_t>(i - i0)] = ax.Map(i);
    for (int64_t j = j0; j < j1; ++j) {
        const int y = static_cast<int>(ay.nDst0 + j);
        const int64_t sy = ay.Map(j);
        uint32_t* row = s->Row(y);
        for (int64_t i = i0; i < i1; ++i) {
            const int x = static_cast<int>(ax.nDst0 + i);
            uint32_t sp = 0;
            if (!src(cols[static_cast<size_t>(i - i0)], sy, sp))
                continue;
            if (t == 0xCC) {
                row[x] = sp;
                continue;
            }
            const uint32_t p = br != nullptr ? XfnGdiBrushPixel(br, x, y, bg) : 0;
            row[x] = XfnGdiRop3(t, p, sp, row[x]);
        }
    }
}

BOOL Blit(HDC hdcDest, int xDest, int yDest, int wDest, int hDest, HDC hdcSrc, int xSrc, int ySrc, int wSrc, int hSrc,
          DWORD rop)
{
    XGdiDC* dst = XfnGdiDrawDC(hdcDest);
    if (dst == nullptr)
        return FALSE;
    const unsigned t = (rop >> 16) & 0xFF;
    const Axis ax(xDest, wDest, xSrc, wSrc);
    const Axis ay(yDest, hDest, ySrc, hSrc);
    if (!UsesSource(t)) {
        Transfer(dst, ax, ay, t, [](int64_t, int64_t, uint32_t& v) {
            v = 0;
            return true;
        });
        return TRUE;
    }
    XGdiDC* src = XfnGdiDrawDC(hdcSrc);
    if (src == nullptr || wSrc == 0 || hSrc == 0)
        return FALSE;
    XGdiSurface* ss = src->pSurface;
    cairo_surface_flush(ss->pCairo);
    // A transfer within one surface reads a copy, so that overlapping
    // rectangles see the source as it was.
    std::vector<uint32_t> copy;
    int64_t cx0 = 0, cy0 = 0, cw = 0;
    if (ss == dst->pSurface) {
        cx0 = std::max<int64_t>(ax.nSrc0, 0);
        cy0 = std::max<int64_t>(ay.nSrc0, 0);
        const int64_t cx1 = std::min<int64_t>(ax.nSrc0 + ax.nSrcCount, ss->Width());
        const int64_t cy1 = std::min<int64_t>(ay.nSrc0 + ay.nSrcCount, ss->Height());
        if (cx0 >= cx1 || cy0 >= cy1)
            return TRUE;
        cw = cx1 - cx0;
        copy.resize(static_cast<size_t>(cw * (cy1 - cy0)));
        for (int64_t y = cy0; y < cy1; ++y)
            std::memcpy(&copy[static_cast<size_t>((y - cy0) * cw)], ss->Row(static_cast<int>(y)) + cx0,
                        static_cast<size_t>(cw) * 4);
    }
    const int nW = ss->Width(), nH = ss->Height();
    Transfer(dst, ax, ay, t, [&](int64_t x, int64_t y, uint32_t& v) {
        if (x < 0 || y < 0 || x >= nW || y >= nH)
            return false;
        v = copy.empty() ? ss->Row(static_cast<int>(y))[x] : copy[static_cast<size_t>((y - cy0) * cw + (x - cx0))];
        return true;
    });
    return TRUE;
}

} // namespace

HBITMAP CreateCompatibleBitmap(HDC hdc, int cx, int cy)
{
    if ((hdc != nullptr && XfnGdiDC(hdc) == nullptr) || cx < 0 || cy < 0)
        return nullptr;
    // A zero size gives the 1 by 1 bitmap, as documented.
    if (cx == 0 || cy == 0)
        cx = cy = 1;
    return AddBitmap(XGdiSurface::Create(cx, cy), nullptr);
}

HBITMAP CreateDIBSection(HDC hdc, const BITMAPINFO* pbmi, UINT usage, void** ppvBits, HANDLE hSection, DWORD)
{
    if (ppvBits != nullptr)
        *ppvBits = nullptr;
    if ((hdc != nullptr && XfnGdiDC(hdc) == nullptr) || pbmi == nullptr || hSection != nullptr ||
        usage != DIB_RGB_COLORS)
        return nullptr;
    const BITMAPINFOHEADER& h = pbmi->bmiHeader;
    if (h.biSize < 40 || h.biPlanes != 1 || h.biBitCount != 32 || h.biCompression != BI_RGB || h.biWidth <= 0 ||
        h.biHeight == 0 || h.biHeight == INT32_MIN)
        return nullptr;
    const int nHeight = h.biHeight < 0 ? -h.biHeight : h.biHeight;
    std::unique_ptr<XGdiSurface> s = XGdiSurface::Create(h.biWidth, nHeight);
    if (!s)
        return nullptr;
    uint8_t* pMem = s->pOwned;
    if (h.biHeight > 0) {
        // Bottom row first in memory: the surface reads it upside down.
        std::unique_ptr<XGdiSurface> flipped = XGdiSurface::Wrap(
            pMem + static_cast<ptrdiff_t>(nHeight - 1) * h.biWidth * 4, h.biWidth, nHeight,
            -static_cast<ptrdiff_t>(h.biWidth) * 4);
        if (!flipped)
            return nullptr;
        flipped->pOwned = pMem;
        s->pOwned = nullptr;
        s = std::move(flipped);
    }
    HBITMAP hbm = AddBitmap(std::move(s), pMem);
    if (hbm != nullptr && ppvBits != nullptr)
        *ppvBits = pMem;
    return hbm;
}

BOOL GetBitmapDimensionEx(HBITMAP hbm, SIZE* lpsize)
{
    XGdiBitmap* bm = XfnGdiBitmap(hbm);
    if (bm == nullptr || lpsize == nullptr)
        return FALSE;
    *lpsize = bm->dimension;
    return TRUE;
}

BOOL SetBitmapDimensionEx(HBITMAP hbm, int w, int h, SIZE* lpsz)
{
    XGdiBitmap* bm = XfnGdiBitmap(hbm);
    if (bm == nullptr)
        return FALSE;
    if (lpsz != nullptr)
        *lpsz = bm->dimension;
    bm->dimension = {w, h};
    return TRUE;
}

namespace {

// The bitmap that GetDIBits or SetDIBits may touch through hdc.
XGdiBitmap* DIBitsTarget(HDC hdc, HBITMAP hbm)
{
    XGdiDC* dc = XfnGdiDC(hdc);
    XGdiBitmap* bm = XfnGdiBitmap(hbm);
    if (dc == nullptr || bm == nullptr || bm->bStock)
        return nullptr;
    if (bm->nSelected > 0 && dc->hBitmap != hbm)
        return nullptr;
    return bm;
}

bool DIBRowFormat(const BITMAPINFOHEADER& h)
{
    return h.biSize >= 40 && h.biWidth > 0 && h.biHeight != 0 && h.biHeight != INT32_MIN && h.biPlanes == 1 &&
           h.biCompression == BI_RGB && (h.biBitCount == 24 || h.biBitCount == 32);
}

// Calls fn(dibLine k, bitmap row y, pointer into the caller's rows) for the
// lines start to start + cLines - 1 of the DIB that fall on the bitmap.
template <class Fn>
int WalkLines(const BITMAPINFOHEADER& h, const XGdiSurface& s, UINT start, UINT cLines, uint8_t* pRows, Fn&& fn)
{
    const int64_t nDIBHeight = h.biHeight < 0 ? -int64_t(h.biHeight) : h.biHeight;
    const size_t nRowBytes = ((static_cast<size_t>(h.biWidth) * h.biBitCount + 31) / 32) * 4;
    int nDone = 0;
    for (int64_t k = 0; k < cLines; ++k) {
        const int64_t j = int64_t(start) + k;
        if (j >= nDIBHeight)
            break;
        const int64_t y = h.biHeight > 0 ? nDIBHeight - 1 - j : j;
        if (y < 0 || y >= s.Height())
            continue;
        fn(static_cast<int>(y), pRows + nRowBytes * static_cast<size_t>(k), nRowBytes);
        ++nDone;
    }
    return nDone;
}

} // namespace

int GetDIBits(HDC hdc, HBITMAP hbm, UINT start, UINT cLines, LPVOID lpvBits, BITMAPINFO* lpbmi, UINT usage)
{
    XGdiBitmap* bm = DIBitsTarget(hdc, hbm);
    if (bm == nullptr || lpbmi == nullptr || usage != DIB_RGB_COLORS)
        return 0;
    XGdiSurface& s = *bm->surface;
    BITMAPINFOHEADER& h = lpbmi->bmiHeader;
    if (lpvBits == nullptr) {
        // The query form: the bitmap's own format.
        if (h.biSize < 40)
            return 0;
        if (h.biBitCount == 0) {
            h.biWidth = s.Width();
            h.biHeight = s.Height();
            h.biPlanes = 1;
            h.biBitCount = 32;
            h.biCompression = BI_RGB;
        }
        h.biSizeImage = static_cast<DWORD>(((static_cast<size_t>(h.biWidth) * h.biBitCount + 31) / 32) * 4 *
                                           static_cast<size_t>(h.biHeight < 0 ? -h.biHeight : h.biHeight));
        return 1;
    }
    if (!DIBRowFormat(h))
        return 0;
    cairo_surface_flush(s.pCairo);
    const int nCopy = std::min<int>(h.biWidth, s.Width());
    const int nBytes = h.biBitCount / 8;
    return WalkLines(h, s, start, cLines, static_cast<uint8_t*>(lpvBits), [&](int y, uint8_t* out, size_t nRowBytes) {
        std::memset(out, 0, nRowBytes);
        const uint32_t* row = s.Row(y);
        for (int x = 0; x < nCopy; ++x) {
            const uint32_t v = row[x];
            uint8_t* p = out + static_cast<size_t>(x) * nBytes;
            p[0] = static_cast<uint8_t>(v);
            p[1] = static_cast<uint8_t>(v >> 8);
            p[2] = static_cast<uint8_t>(v >> 16);
            if (nBytes == 4)
                p[3] = 0;
        }
    });
}

int SetDIBits(HDC hdc, HBITMAP hbm, UINT start, UINT cLines, const void* lpBits, const BITMAPINFO* lpbmi, UINT usage)
{
    XGdiBitmap* bm = DIBitsTarget(hdc, hbm);
    if (bm == nullptr || lpbmi == nullptr || lpBits == nullptr || usage != DIB_RGB_COLORS ||
        !DIBRowFormat(lpbmi->bmiHeader))
        return 0;
    XGdiSurface& s = *bm->surface;
    const BITMAPINFOHEADER& h = lpbmi->bmiHeader;
    const int nCopy = std::min<int>(h.biWidth, s.Width());
    const int nBytes = h.biBitCount / 8;
    const int n = WalkLines(h, s, start, cLines, static_cast<uint8_t*>(const_cast<void*>(lpBits)),
                            [&](int y, const uint8_t* in, size_t) {
                                uint32_t* row = s.Row(y);
                                for (int x = 0; x < nCopy; ++x) {
                                    const uint8_t* p = in + static_cast<size_t>(x) * nBytes;
                                    row[x] = 0xFF000000u | (uint32_t(p[2]) << 16) | (uint32_t(p[1]) << 8) | p[0];
                                }
                            });
    cairo_surface_mark_dirty(s.pCairo);
    return n;
}

BOOL BitBlt(HDC hdc, int x, int y, int cx, int cy, HDC hdcSrc, int x1, int y1, DWORD rop)
{
    return Blit(hdc, x, y, cx, cy, hdcSrc, x1, y1, cx, cy, rop);
}

BOOL StretchBlt(HDC hdcDest, int xDest, int yDest, int wDest, int hDest, HDC hdcSrc, int xSrc, int ySrc, int wSrc,
                int hSrc, DWORD rop)
{
    return Blit(hdcDest, xDest, yDest, wDest, hDest, hdcSrc, xSrc, ySrc, wSrc, hSrc, rop);
}

int StretchDIBits(HDC hdc, int xDest, int yDest, int DestWidth, int DestHeight, int xSrc, int ySrc, int SrcWidth,
                  int SrcHeight, const void* lpBits, const BITMAPINFO* lpbmi, UINT iUsage, DWORD rop)
{
    XGdiDC* dst = XfnGdiDrawDC(hdc);
    DIBSource dib;
    if (dst == nullptr || iUsage != DIB_RGB_COLORS || !dib.Set(lpbmi, lpBits) || SrcWidth == 0 || SrcHeight == 0)
        return 0;
    const unsigned t = (rop >> 16) & 0xFF;
    // The source rectangle's y counts from the bottom row of a bottom-up DIB,
    // so its top row (in top-down terms) is the height less its far edge.
    const int64_t nTop = dib.bBottomUp ? int64_t(dib.nHeight) - (int64_t(ySrc) + std::llabs(SrcHeight)) : ySrc;
    const Axis ax(xDest, DestWidth, xSrc, SrcWidth);
    Axis ay(yDest, DestHeight, 0, SrcHeight);
    ay.nSrc0 = nTop;
    Transfer(dst, ax, ay, t, [&](int64_t x, int64_t y, uint32_t& v) {
        if (x < 0 || y < 0 || x >= dib.nWidth || y >= dib.nHeight)
            return false;
        v = dib.At(static_cast<int>(x), static_cast<int>(y));
        return true;
    });
    return static_cast<int>(std::llabs(SrcHeight));
}
