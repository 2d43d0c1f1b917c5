// The immediate primitives of XBackBuffer: world coordinates in, pixels out
// on the DC with the pen, brush and font that the style setters selected.
#include "KVDbase/drawing/XBackBuffer.h"

#include "KVDbase/platform/XGdi.h"
#include "drawing/XGdiDraw.h"
#include "drawing/XPixelRound.h"

#include <cmath>
#include <cstdlib>

// One of the four coordinate shapes: separate arrays, or 2D or 3D vectors.
struct XBackBuffer::PointSource {
    const double* x;
    const double* y;
    const tagXVector2* p2;
    const tagXVector3* p3;

    static PointSource Of(const double* xs, const double* ys) { return {xs, ys, nullptr, nullptr}; }
    static PointSource Of(const tagXVector2* p) { return {nullptr, nullptr, p, nullptr}; }
    static PointSource Of(const tagXVector3* p) { return {nullptr, nullptr, nullptr, p}; }

    void Get(int i, double& px, double& py) const
    {
        if (p2 != nullptr) {
            px = p2[i].x;
            py = p2[i].y;
        } else if (p3 != nullptr) {
            px = p3[i].x;
            py = p3[i].y;
        } else {
            px = x[i];
            py = y[i];
        }
    }
};

namespace {

// A block of n pixel points, null when it cannot be had.
POINT* NewPoints(int n)
{
    if (n < 0)
        return nullptr;
    return static_cast<POINT*>(std::malloc(sizeof(POINT) * static_cast<size_t>(n > 0 ? n : 1)));
}

} // namespace

POINT XBackBuffer::ToPixel(double x, double y)
{
    ConvWorldToPixelCoord(x, y);
    POINT pt = {XPixelRound::Round(x), XPixelRound::Round(y)};
    return pt;
}

void XBackBuffer::ToPixels(const PointSource& src, int nFirst, int n, tagPOINT* pOut)
{
    for (int i = 0; i < n; ++i) {
        double x, y;
        src.Get(nFirst + i, x, y);
        pOut[i] = ToPixel(x, y);
    }
}

// ---------------------------------------------------------------------------
// Lines and points

void XBackBuffer::DrawLine(double x1, double y1, double x2, double y2)
{
    const POINT a = ToPixel(x1, y1);
    const POINT b = ToPixel(x2, y2);
    ::MoveToEx(hDC, a.x, a.y, nullptr);
    ::LineTo(hDC, b.x, b.y);
}

void XBackBuffer::DrawLine(double x1, double y1, double, double x2, double y2, double)
{
    DrawLine(x1, y1, x2, y2);
}

void XBackBuffer::DrawLine(tagXVector2 p1, tagXVector2 p2) { DrawLine(p1.x, p1.y, p2.x, p2.y); }

void XBackBuffer::DrawLine(tagXVector3 p1, tagXVector3 p2) { DrawLine(p1.x, p1.y, p2.x, p2.y); }

void XBackBuffer::PolylineFrom(const PointSource& src, int n)
{
    POINT* pPoints = NewPoints(n);
    if (pPoints == nullptr)
        return;
    ToPixels(src, 0, n, pPoints);
    ::Polyline(hDC, pPoints, n);
    std::free(pPoints);
}

void XBackBuffer::DrawPolyline(double* x, double* y, int n, double* const) { PolylineFrom(PointSource::Of(x, y), n); }

void XBackBuffer::DrawPolyline(double* x, double* y, double*, int n, double* const pExtent)
{
    DrawPolyline(x, y, n, pExtent);
}

void XBackBuffer::DrawPolyline(tagXVector2* pPoints, int n, double* const) { PolylineFrom(PointSource::Of(pPoints), n); }

void XBackBuffer::DrawPolyline(tagXVector3* pPoints, int n, double* const) { PolylineFrom(PointSource::Of(pPoints), n); }

void XBackBuffer::PolypointFrom(const PointSource& src, int n)
{
    for (int i = 0; i < n; ++i) {
        double x, y;
        src.Get(i, x, y);
        const POINT pt = ToPixel(x, y);
        ::MoveToEx(hDC, pt.x, pt.y, nullptr);
        ::LineTo(hDC, pt.x + 1, pt.y + 1);
    }
}

void XBackBuffer::DrawPolypoint(double* x, double* y, int n, double* const) { PolypointFrom(PointSource::Of(x, y), n); }

void XBackBuffer::DrawPolypoint(double* x, double* y, double*, int n, double* const pExtent)
{
    DrawPolypoint(x, y, n, pExtent);
}

void XBackBuffer::DrawPolypoint(tagXVector2* pPoints, int n, double* const) { PolypointFrom(PointSource::Of(pPoints), n); }

void XBackBuffer::DrawPolypoint(tagXVector3* pPoints, int n, double* const) { PolypointFrom(PointSource::Of(pPoints), n); }

// ---------------------------------------------------------------------------
// Polygons

void XBackBuffer::PolygonFrom(const PointSource& src, int n, const double* pExtent)
{
    if (n < 1)
        return;
    POINT* pPoints = NewPoints(n + 1);
    if (pPoints == nullptr)
        return;
    ToPixels(src, 0, n, pPoints);
    pPoints[n] = pPoints[0];

    const int nStyle = FillStyle.GetStyle();
    if (nStyle == tagXFillStyle::STYLE_TRANSPARENT_PATTERN) {
        HRGN hRgn = ::CreatePolygonRgn(pPoints, n + 1, ALTERNATE);
        XfnStippleFillGDI(this, hRgn, pExtent, FillStyle.Pattern, clrFore);
        ::DeleteObject(hRgn);
    } else if (nStyle != tagXFillStyle::STYLE_HOLLOW) {
        XfnFillRingGDI(hDC, pPoints, n + 1);
    }
    ::Polyline(hDC, pPoints, n + 1);
    std::free(pPoints);
}

void XBackBuffer::DrawPolygon(double* x, double* y, int n, double* const pExtent)
{
    PolygonFrom(PointSource::Of(x, y), n, pExtent);
}

void XBackBuffer::DrawPolygon(double* x, double* y, double*, int n, double* const pExtent)
{
    DrawPolygon(x, y, n, pExtent);
}

void XBackBuffer::DrawPolygon(tagXVector2* pPoints, int n, double* const pExtent)
{
    PolygonFrom(PointSource::Of(pPoints), n, pExtent);
}

void XBackBuffer::DrawPolygon(tagXVector3* pPoints, int n, double* const pExtent)
{
    PolygonFrom(PointSource::Of(pPoints), n, pExtent);
}

void XBackBuffer::PolyPolygonFrom(const PointSource& src, const int* pCounts, int nRings, const double* pExtent)
{
    if (nRings < 1)
        return;
    int nTotal = 0, nLargest = 0;
    for (int r = 0; r < nRings; ++r) {
        if (pCounts[r] < 0 || pCounts[r] > 0x7FFFFFF - nTotal)
            return;
        nTotal += pCounts[r];
        if (pCounts[r] > nLargest)
            nLargest = pCounts[r];
    }
    // The block serves both the whole set and the largest ring closed.
    POINT* pPoints = NewPoints(nTotal > nLargest ? nTotal : nLargest + 1);
    if (pPoints == nullptr)
        return;
    ToPixels(src, 0, nTotal, pPoints);

    const int nStyle = FillStyle.GetStyle();
    if (nStyle != tagXFillStyle::STYLE_HOLLOW && nStyle != tagXFillStyle::STYLE_TRANSPARENT_PATTERN) {
        // A solid or hatched set is filled and outlined in one call.
        ::PolyPolygon(hDC, pPoints, pCounts, nRings);
        std::free(pPoints);
        return;
    }
    if (nStyle == tagXFillStyle::STYLE_TRANSPARENT_PATTERN) {
        HRGN hRgn = ::CreatePolyPolygonRgn(pPoints, pCounts, nRings, ::GetPolyFillMode(hDC));
        XfnStippleFillGDI(this, hRgn, pExtent, FillStyle.Pattern, clrFore);
        ::DeleteObject(hRgn);
    }
    // Hollow and stippled rings are outlined one by one, each closed.
    int nFirst = 0;
    for (int r = 0; r < nRings; ++r) {
        const int n = pCounts[r];
        ToPixels(src, nFirst, n, pPoints);
        if (n > 0) {
            pPoints[n] = pPoints[0];
            ::Polyline(hDC, pPoints, n + 1);
        }
        nFirst += n;
    }
    std::free(pPoints);
}

void XBackBuffer::DrawPolyPolygon(double* x, double* y, int* pCounts, int nRings, double* const pExtent)
{
    PolyPolygonFrom(PointSource::Of(x, y), pCounts, nRings, pExtent);
}

void XBackBuffer::DrawPolyPolygon(double* x, double* y, double*, int* pCounts, int nRings, double* const pExtent)
{
    DrawPolyPolygon(x, y, pCounts, nRings, pExtent);
}

void XBackBuffer::DrawPolyPolygon(tagXVector2* pPoints, int* pCounts, int nRings, double* const pExtent)
{
    PolyPolygonFrom(PointSource::Of(pPoints), pCounts, nRings, pExtent);
}

void XBackBuffer::DrawPolyPolygon(tagXVector3* pPoints, int* pCounts, int nRings, double* const pExtent)
{
    PolyPolygonFrom(PointSource::Of(pPoints), pCounts, nRings, pExtent);
}

// ---------------------------------------------------------------------------
// Text

void XBackBuffer::DrawTextA(XString strText, double x, double y, double)
{
    const int nMode = ::GetBkMode(hDC);
    double w, h;
    if (!GetTextDimensionGDI(hDC, strText, &TextStyle, w, h)) {
        ::SetBkMode(hDC, nMode);
        return;
    }
    ::SetTextColor(hDC, clrLine);
    ::SetBkMode(hDC, TRANSPARENT);
    ConvPixelToWorldLength(w, h);

    double sx, sy;
    XfnTextShift(TextStyle.nAlign, w, h, sx, sy);
    double left = x - sx, top = y + sy;
    // With no shift the anchor is the centre of the turn itself.
    if (TextStyle.lf.lfOrientation != 0 && (sx != 0.0 || sy != 0.0))
        XfnRotateAnchor(left, top, x, y, TextStyle.lf.lfOrientation);

    const POINT pt = ToPixel(left, top);
    ::SetTextAlign(hDC, TA_LEFT | TA_TOP);
    ::ExtTextOutA(hDC, pt.x, pt.y, 0, nullptr, strText, static_cast<UINT>(strText.GetLength()), nullptr);
    ::SetBkMode(hDC, nMode);
}

int XBackBuffer::GetTextDimensionGDI(HDC hDCArg, XString strText, tagXTextStyle* pStyle, double& w, double& h)
{
    return GetTextDimensionGDI(hDCArg, strText, strText.GetLength(), pStyle, w, h);
}

int XBackBuffer::GetTextDimensionGDI(HDC hDCArg, const char* pszText, int nLength, tagXTextStyle* pStyle,
                                     double& w, double& h)
{
    // The box of the unrotated text: the escapement would turn the measure.
    LOGFONTA lf = pStyle->lf;
    lf.lfEscapement = 0;
    lf.lfOrientation = 0;
    HDC hMem = ::CreateCompatibleDC(hDCArg);
    if (hMem == nullptr) {
        w = h = 0.0;
        return 0;
    }
    HFONT hFont = ::CreateFontIndirectA(&lf);
    HGDIOBJ hOld = ::SelectObject(hMem, hFont);
    RECT rc = {0, 0, 0, 0};
    ::DrawTextA(hMem, pszText, nLength, &rc, DT_CALCRECT | DT_SINGLELINE);
    w = std::abs(static_cast<double>(rc.right) - rc.left);
    h = std::abs(static_cast<double>(rc.bottom) - rc.top);
    if (hOld != nullptr)
        ::SelectObject(hMem, hOld);
    ::DeleteObject(hFont);
    ::DeleteDC(hMem);
    return 1;
}
