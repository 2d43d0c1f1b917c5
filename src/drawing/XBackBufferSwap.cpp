// Presenting an XBackBuffer: the surface blitted to a window's DC, whole or
// as the panned and zoomed previews shown while the user drags, with the
// Copy forms that take the window back into the surface.
#include "KVDbase/drawing/XBackBuffer.h"

#include "KVDbase/platform/XGdi.h"
#include "KVDbase/platform/XGdiClasses.h"

namespace {

const COLORREF kNoFill = 0xFFFFFFFF;

void FillStrip(HDC hDst, HBRUSH hBrush, LONG left, LONG top, LONG right, LONG bottom)
{
    const RECT rc = {left, top, right, bottom};
    FillRect(hDst, &rc, hBrush);
}

HDC HandleOf(CDC* pDC) { return pDC != nullptr ? pDC->GetSafeHdc() : nullptr; }

// The end of the Copy forms: the window back into the surface.
void CopyBack(HDC hSurface, HDC dst, int w, int h, DWORD rop)
{
    if (dst != nullptr && dst != hSurface)
        BitBlt(hSurface, 0, 0, w, h, dst, 0, 0, rop);
}

} // namespace

void XBackBuffer::Swap(HDC dst, DWORD rop)
{
    if (nType == TYPE_OPENGL)
        SwapGL();
    if (dst == nullptr || dst == hDC)
        return;
    ::BitBlt(dst, 0, 0, nWidth, nHeight, hDC, 0, 0, rop);
}

void XBackBuffer::SwapPan(HDC dst, int dx, int dy, COLORREF fill, DWORD rop)
{
    if (dx == 0 && dy == 0) {
        Swap(dst, rop);
        return;
    }
    if (nType == TYPE_OPENGL)
        SwapGL();
    if (dst == nullptr || dst == hDC)
        return;
    if (fill != kNoFill) {
        HBRUSH hBrush = ::CreateSolidBrush(fill);
        if (dx >= 1)
            FillStrip(dst, hBrush, 0, 0, dx, nHeight);
        else
            FillStrip(dst, hBrush, nWidth + dx + 1, 0, nWidth, nHeight);
        if (dy >= 1)
            FillStrip(dst, hBrush, 0, 0, nWidth, dy);
        else
            FillStrip(dst, hBrush, 0, nHeight + dy + 1, nWidth, nHeight);
        ::DeleteObject(hBrush);
    }
    ::BitBlt(dst, dx, dy, nWidth, nHeight, hDC, 0, 0, rop);
}

void XBackBuffer::SwapZoomIn(HDC dst, double f, int cx, int cy, COLORREF, DWORD rop)
{
    if (nType == TYPE_OPENGL)
        SwapGL();
    if (dst == nullptr || dst == hDC || !(f > 0.0))
        return;
    const double k = 1.0 / (f + 1.0);
    const int w = static_cast<int>(nWidth * k);
    const int h = static_cast<int>(nHeight * k);
    ::SetStretchBltMode(dst, COLORONCOLOR);
    ::StretchBlt(dst, 0, 0, nWidth, nHeight, hDC, cx - w / 2, cy - h / 2, w, h, rop);
}

void XBackBuffer::SwapZoomIn(HDC dst, double f, COLORREF fill, DWORD rop)
{
    SwapZoomIn(dst, f, nWidth / 2, nHeight / 2, fill, rop);
}

void XBackBuffer::SwapZoomOut(HDC dst, double f, int cx, int cy, COLORREF fill, DWORD rop)
{
    if (nType == TYPE_OPENGL)
        SwapGL();
    if (dst == nullptr || dst == hDC || !(f > 0.0))
        return;
    const int w = static_cast<int>(nWidth / (f + 1.0));
    const int h = static_cast<int>(nHeight / (f + 1.0));
    const int l = cx - w / 2;
    const int t = cy - h / 2;
    if (fill != kNoFill) {
        HBRUSH hBrush = ::CreateSolidBrush(fill);
        FillStrip(dst, hBrush, 0, 0, nWidth, t);
        FillStrip(dst, hBrush, 0, t + h + 1, nWidth, nHeight);
        FillStrip(dst, hBrush, 0, t + 1, l, t + 1 + h);
        FillStrip(dst, hBrush, l + w + 1, t + 1, nWidth, t + 1 + h);
        ::DeleteObject(hBrush);
    }
    ::SetStretchBltMode(dst, COLORONCOLOR);
    ::StretchBlt(dst, l, t, w, h, hDC, 0, 0, nWidth, nHeight, rop);
}

void XBackBuffer::SwapZoomOut(HDC dst, double f, COLORREF fill, DWORD rop)
{
    SwapZoomOut(dst, f, nWidth / 2, nHeight / 2, fill, rop);
}

void XBackBuffer::SwapPanCopy(HDC dst, int dx, int dy, COLORREF fill, DWORD rop)
{
    SwapPan(dst, dx, dy, fill, rop);
    CopyBack(hDC, dst, nWidth, nHeight, rop);
}

void XBackBuffer::SwapZoomInCopy(HDC dst, double f, COLORREF fill, DWORD rop)
{
    SwapZoomIn(dst, f, fill, rop);
    CopyBack(hDC, dst, nWidth, nHeight, rop);
}

void XBackBuffer::SwapZoomOutCopy(HDC dst, double f, COLORREF fill, DWORD rop)
{
    SwapZoomOut(dst, f, fill, rop);
    CopyBack(hDC, dst, nWidth, nHeight, rop);
}

void XBackBuffer::Swap(CDC* pDst, DWORD rop) { Swap(HandleOf(pDst), rop); }

void XBackBuffer::SwapPan(CDC* pDst, int dx, int dy, COLORREF fill, DWORD rop)
{
    SwapPan(HandleOf(pDst), dx, dy, fill, rop);
}

void XBackBuffer::SwapZoomIn(CDC* pDst, double f, int cx, int cy, COLORREF fill, DWORD rop)
{
    SwapZoomIn(HandleOf(pDst), f, cx, cy, fill, rop);
}

void XBackBuffer::SwapZoomIn(CDC* pDst, double f, COLORREF fill, DWORD rop)
{
    SwapZoomIn(HandleOf(pDst), f, fill, rop);
}

void XBackBuffer::SwapZoomOut(CDC* pDst, double f, int cx, int cy, COLORREF fill, DWORD rop)
{
    SwapZoomOut(HandleOf(pDst), f, cx, cy, fill, rop);
}

void XBackBuffer::SwapZoomOut(CDC* pDst, double f, COLORREF fill, DWORD rop)
{
    SwapZoomOut(HandleOf(pDst), f, fill, rop);
}

void XBackBuffer::SwapPanCopy(CDC* pDst, int dx, int dy, COLORREF fill, DWORD rop)
{
    SwapPanCopy(HandleOf(pDst), dx, dy, fill, rop);
}

void XBackBuffer::SwapZoomInCopy(CDC* pDst, double f, COLORREF fill, DWORD rop)
{
    SwapZoomInCopy(HandleOf(pDst), f, fill, rop);
}

void XBackBuffer::SwapZoomOutCopy(CDC* pDst, double f, COLORREF fill, DWORD rop)
{
    SwapZoomOutCopy(HandleOf(pDst), f, fill, rop);
}
