#include "drawing/XGdiDraw.h"

#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/platform/XGdi.h"
#include "drawing/XPixelRound.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

void XfnFillRingGDI(HDC hDC, const tagPOINT* pPoints, int n)
{
    BeginPath(hDC);
    Polyline(hDC, pPoints, n);
    EndPath(hDC);
    FillPath(hDC);
}

void XfnStippleFillGDI(XBackBuffer* pBack, HRGN hRgn, const double* pExtent, const BYTE* pPattern, COLORREF clr)
{
    HDC hDC = pBack->GetDC();
    double l = pExtent[0], t = pExtent[3];
    double r = pExtent[2], b = pExtent[1];
    pBack->ConvWorldToPixelCoord(l, t);
    pBack->ConvWorldToPixelCoord(r, b);
    LONG left = XPixelRound::Trunc(l), top = XPixelRound::Trunc(t);
    LONG right = XPixelRound::Trunc(r), bottom = XPixelRound::Trunc(b);
    if (top < 0)
        top = 0;
    if (left < 0)
        left = 0;
    if (bottom >= pBack->GetHeight())
        bottom = pBack->GetHeight() - 1;
    if (right >= pBack->GetWidth())
        right = pBack->GetWidth() - 1;

    // Pixels outside the region's box are never in it: the walk keeps to the
    // box, which asks the region the same question for every pixel it could
    // answer yes to.
    RECT box;
    if (::GetRgnBox(hRgn, &box) == ERROR)
        return;
    left = std::max<LONG>(left, box.left);
    top = std::max<LONG>(top, box.top);
    right = std::min<LONG>(right, box.right - 1);
    bottom = std::min<LONG>(bottom, box.bottom - 1);

    for (LONG y = top; y <= bottom; ++y) {
        // The row's four bytes as one word, byte 0 in the high bits, so that
        // bit 31 - (x mod 32) is the pixel's bit in the glPolygonStipple order.
        const BYTE* pRow = pPattern + (static_cast<DWORD>(y) % 32) * 4;
        const uint32_t nRow = (uint32_t(pRow[0]) << 24) | (uint32_t(pRow[1]) << 16) | (uint32_t(pRow[2]) << 8) | pRow[3];
        if (nRow == 0)
            continue;
        for (LONG x = left; x <= right;) {
            // The mask is the cheaper test, so it goes first, and a run of
            // clear bits is stepped over at once; the pixels painted are the
            // same either way. The row rotated so that pixel x's bit is the
            // high one is never zero, so it has a leading one to find.
            const unsigned nShift = static_cast<DWORD>(x) % 32;
            const uint32_t nAhead = nShift == 0 ? nRow : (nRow << nShift) | (nRow >> (32 - nShift));
            const int nClear = __builtin_clz(nAhead);
            if (nClear > 0) {
                x += nClear;
                continue;
            }
            if (PtInRegion(hRgn, x, y))
                SetPixel(hDC, x, y, clr);
            ++x;
        }
    }
}

void XfnTextShift(int nAlign, double w, double h, double& sx, double& sy)
{
    sx = sy = 0.0;
    if (nAlign & tagXTextStyle::ALIGN_HCENTER)
        sx = w / 2;
    if (nAlign & tagXTextStyle::ALIGN_RIGHT)
        sx = w;
    if (nAlign & tagXTextStyle::ALIGN_BOTTOM)
        sy = h;
    if (nAlign & tagXTextStyle::ALIGN_VCENTER)
        sy = h / 2;
    if (nAlign & tagXTextStyle::ALIGN_TOP)
        sy = 0.0;
}

void XfnRotateAnchor(double& x, double& y, double cx, double cy, LONG nTenths)
{
    const double dRad = nTenths / 10.0 * 3.14159265 / 180.0;
    const double c = std::cos(dRad), s = std::sin(dRad);
    const double dx = x - cx, dy = y - cy;
    x = dx * c - dy * s + cx;
    y = dx * s + dy * c + cy;
}
