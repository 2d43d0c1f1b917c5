#include "drawing/XGdiDraw.h"

#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/platform/XGdi.h"
#include "drawing/XPixelRound.h"

#include <cmath>

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

    // The region answers for every pixel of the extent at once: the pixels
    // painted are those a PtInRegion and SetPixel per pixel of the mask
    // would paint.
    const RECT bounds = {left, top, right + 1, bottom + 1};
    XfnStippleRgn(hDC, hRgn, &bounds, pPattern, clr);
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
