// XVertReplayGDI.cpp: the replay of a path 1 (GDI) XVertBuffer on the device
// context of an XBackBuffer.
//
// The walk keeps a drawing state of its own, unrelated to what the buffer
// remembers of its recording: colours, opacities, widths and the three
// styles, with a pen, brush and font made from them. A GDI object is made
// anew only when a record changes what it depends on, and the pixel scratch
// is sized once from nMaxPoints, so records themselves allocate nothing.
// Every shape is tested against the view's box in world units before any
// point is converted; on a lat/long view it is drawn again a full turn to the
// left and to the right, so that a world map wraps. The DC's background mode,
// background colour and fill mode, and its pen, brush and font, are as they
// were once the walk ends. Metafile records (kinds 18 and 19) have nothing to
// play on in this platform and are passed over.
#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/drawing/XDIB.h"
#include "KVDbase/drawing/XDrawStyleGDI.h"
#include "KVDbase/drawing/XVertBuffer.h"
#include "KVDbase/platform/XGdi.h"
#include "drawing/XGdiDraw.h"
#include "drawing/XPixelRound.h"
#include "drawing/XVertClip.h"
#include "drawing/XVertRecord.h"

#include <climits>
#include <cstdlib>
#include <vector>

using namespace XVertRecord;

namespace {

const double kTurn = 360.0;

class XVertReplayGDI : public XVertReplay {
public:
    XVertReplayGDI() { Install(XVertBuffer::PATH_GDI, this); }
    ~XVertReplayGDI() override { Install(XVertBuffer::PATH_GDI, nullptr); }

    void Draw(XVertBuffer* pBuffer, XBackBuffer* pBack) override;

private:
    class Walk;
    // The pixel scratch of the buffer holding at least nPoints points, or
    // false when it cannot be had.
    static bool EnsurePoints(XVertBuffer* pBuffer, int64_t nPoints);
};

XVertReplayGDI g_replayGDI;

// ---------------------------------------------------------------------------
// The walk

class XVertReplayGDI::Walk {
public:
    Walk(XVertBuffer* pBufferArg, XBackBuffer* pBackArg);
    ~Walk();
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

    void Step(const BYTE* p);

private:
    XVertBuffer* pBuffer;
    XBackBuffer* pBack;
    HDC hDC;

    // What the DC held before the walk.
    int nSavedBkMode;
    COLORREF clrSavedBk;
    int nSavedFillMode;
    HGDIOBJ hOldPen;
    HGDIOBJ hOldBrush;
    HGDIOBJ hOldFont;

    // The walk's state.
    COLORREF clrLine = 0xFF000000;
    COLORREF clrFore = 0xFF000000;
    COLORREF clrBack = 0xFFFFFFFF;
    double dLineAlpha = 1.0;
    double dForeAlpha = 1.0;
    double dBackAlpha = 1.0;
    double dLineWidthSeen = 0.0;
    double dTextSizeSeen = 0.0;
    double dPixelLineWidth = 0.0;
    double dPixelTextSize = 12.0;
    int nFillMode = 0;
    tagXLineStyle lineStyle;
    tagXFillStyle fillStyle;
    tagXTextStyle textStyle;
    HPEN hPen = nullptr;
    HBRUSH hBrush = nullptr;
    HFONT hFont = nullptr;
    // The ring sizes of the current poly-polygon, grown when a larger set
    // comes.
    std::vector<int> ringCounts;
    XVertClipBox clip{};  // the view, as the buffer's clip test sees it

    void RenewPen();
    void RenewBrush();
    void RenewFont();
    void SetBackgroundMode(bool bTransparent) { SetBkMode(hDC, bTransparent ? TRANSPARENT : OPAQUE); }

    void Colour(int nKind, COLORREF clr);
    // Draws a shape record at the offset, then a turn either side on a
    // lat/long view.
    void Wrapped(const BYTE* p, int nKind);
    void Shape(const BYTE* p, int nKind, double dOffset);

    bool InClip(double x1, double y1, double x2, double y2) const { return clip.Contains(x1, y1, x2, y2); }
    POINT Pixel(double x, double y) const
    {
        pBack->ConvWorldToPixelCoord(x, y);
        POINT pt = {XPixelRound::Round(x), XPixelRound::Round(y)};
        return pt;
    }
    POINT* Points() const { return static_cast<POINT*>(XVertReplay::Points(pBuffer)); }
    // Converts n record points from pSrc into the scratch at pDst.
    void Convert(const BYTE* pSrc, int n, double dOffset, POINT* pDst) const;
    // The extent of a point record at p, x shifted by the offset.
    void Extent(const BYTE* p, double dOffset, double* pExtent) const;

    void Line(const BYTE* p, double dOffset);
    void Polyline(const BYTE* p, double dOffset);
    void Polypoint(const BYTE* p, double dOffset);
    void Polygon(const BYTE* p, double dOffset);
    void PolyPolygon(const BYTE* p, double dOffset);
    void Text(const BYTE* p, double dOffset);
    void Image(const BYTE* p, double dOffset);
    void EllipseShape(const BYTE* p, double dOffset);
};

XVertReplayGDI::Walk::Walk(XVertBuffer* pBufferArg, XBackBuffer* pBackArg)
    : pBuffer(pBufferArg), pBack(pBackArg), hDC(pBackArg->GetDC())
{
    nSavedBkMode = GetBkMode(hDC);
    clrSavedBk = GetBkColor(hDC);
    nSavedFillMode = GetPolyFillMode(hDC);

    // The DC's own objects, taken before any selection, so that they come
    // back even when one of the walk's could not be made.
    hOldPen = GetCurrentObject(hDC, OBJ_PEN);
    hOldBrush = GetCurrentObject(hDC, OBJ_BRUSH);
    hOldFont = GetCurrentObject(hDC, OBJ_FONT);
    XfnCreatePen(hPen, &lineStyle, XPixelRound::Trunc(dPixelLineWidth), clrLine);
    XfnCreateBrush(hBrush, &fillStyle, clrFore, clrBack);
    XfnCreateFont(hFont, &textStyle, XPixelRound::Trunc(dPixelTextSize));
    SelectObject(hDC, hPen);
    SelectObject(hDC, hBrush);
    SelectObject(hDC, hFont);

    SetBackgroundMode(fillStyle.GetStyle() == tagXFillStyle::STYLE_HOLLOW || dBackAlpha == 0.0);
    SetBkColor(hDC, clrBack);
    CalcClipRegion(pBuffer, pBack);
    GetClipBox(pBuffer, clip.dMinX, clip.dMaxX, clip.dMinY, clip.dMaxY);
}

XVertReplayGDI::Walk::~Walk()
{
    SelectObject(hDC, hOldPen);
    SelectObject(hDC, hOldBrush);
    SelectObject(hDC, hOldFont);
    DeleteObject(hPen);
    DeleteObject(hBrush);
    DeleteObject(hFont);
    SetBkMode(hDC, nSavedBkMode);
    SetBkColor(hDC, clrSavedBk);
    SetPolyFillMode(hDC, nSavedFillMode);
}

void XVertReplayGDI::Walk::RenewPen()
{
    SelectObject(hDC, hOldPen);
    DeleteObject(hPen);
    hPen = nullptr;
    XfnCreatePen(hPen, &lineStyle, XPixelRound::Trunc(dPixelLineWidth), clrLine);
    SelectObject(hDC, hPen);
}

void XVertReplayGDI::Walk::RenewBrush()
{
    SelectObject(hDC, hOldBrush);
    DeleteObject(hBrush);
    hBrush = nullptr;
    XfnCreateBrush(hBrush, &fillStyle, clrFore, clrBack);
    SelectObject(hDC, hBrush);
}

void XVertReplayGDI::Walk::RenewFont()
{
    SelectObject(hDC, hOldFont);
    DeleteObject(hFont);
    hFont = nullptr;
    XfnCreateFont(hFont, &textStyle, XPixelRound::Trunc(dPixelTextSize));
    SelectObject(hDC, hFont);
}

void XVertReplayGDI::Walk::Colour(int nKind, COLORREF clr)
{
    // On path 1 the high byte is the opacity; the colour is the rest.
    const double dAlpha = (clr >> 24) / 255.0;
    const COLORREF rgb = clr & 0x00FFFFFF;
    switch (nKind) {
    case XVertBuffer::KIND_LINECOLOR:
        dLineAlpha = dAlpha;
        if (rgb != clrLine) {
            clrLine = rgb;
            RenewPen();
        }
        break;
    case XVertBuffer::KIND_FORECOLOR:
        dForeAlpha = dAlpha;
        if (rgb != clrFore) {
            clrFore = rgb;
            RenewBrush();
        }
        break;
    default:
        dBackAlpha = dAlpha;
        if (rgb != clrBack) {
            clrBack = rgb;
            RenewBrush();
            SetBkColor(hDC, clrBack);
            SetBackgroundMode(dAlpha == 0.0);
        }
        break;
    }
}

void XVertReplayGDI::Walk::Step(const BYTE* p)
{
    const int nKind = Kind(p);
    switch (nKind) {
    case XVertBuffer::KIND_LINECOLOR:
    case XVertBuffer::KIND_FORECOLOR:
    case XVertBuffer::KIND_BACKCOLOR:
        Colour(nKind, GetU32(At(p, OFS_VALUE)));
        break;
    case XVertBuffer::KIND_LINESTYLE: {
        tagXLineStyle style;
        ReadLineStyle(p, style);
        if (style != lineStyle) {
            lineStyle = style;
            RenewPen();
        }
        break;
    }
    case XVertBuffer::KIND_LINEWIDTH: {
        const double dWidth = GetF64(At(p, OFS_VALUE));
        if (dWidth != dLineWidthSeen) {
            dLineWidthSeen = dWidth;
            // A negative width is in pixels; a positive one in world units.
            double w = -dWidth, h = 0.0;
            if (dWidth >= 0.0) {
                w = h = dWidth;
                pBack->ConvWorldToPixelLength(w, h);
            }
            dPixelLineWidth = w;
            RenewPen();
        }
        break;
    }
    case XVertBuffer::KIND_FILLSTYLE: {
        tagXFillStyle style;
        ReadFillStyle(p, style);
        if (style != fillStyle) {
            fillStyle = style;
            RenewBrush();
            // The opacity of the back colour as the walk holds it now: a back
            // colour record that changed the colour has left its high byte 0.
            const int nStyle = fillStyle.GetStyle();
            SetBackgroundMode(nStyle == tagXFillStyle::STYLE_HOLLOW ||
                              nStyle == tagXFillStyle::STYLE_TRANSPARENT_PATTERN || (clrBack >> 24) / 255.0 == 0.0);
        }
        break;
    }
    case XVertBuffer::KIND_TEXTSTYLE: {
        tagXTextStyle style;
        ReadTextStyle(p, style);
        if (style != textStyle) {
            textStyle = style;
            RenewFont();
        }
        break;
    }
    case XVertBuffer::KIND_TEXTSIZE: {
        const double dSize = GetF64(At(p, OFS_VALUE));
        if (dSize != dTextSizeSeen) {
            dTextSizeSeen = dSize;
            double w = dSize, h = dSize;
            if (pBuffer->GetFontSizeFlag() == 0)
                pBack->ConvWorldToPixelLength(w, h);
            dPixelTextSize = w;
            RenewFont();
        }
        break;
    }
    case XVertBuffer::KIND_POLYFILLMODE:
        nFillMode = GetI32(At(p, OFS_VALUE));
        if (nFillMode != 0)
            SetPolyFillMode(hDC, nFillMode);
        break;
    case XVertBuffer::KIND_LINE:
    case XVertBuffer::KIND_POLYLINE:
    case XVertBuffer::KIND_POLYPOINT:
    case XVertBuffer::KIND_POLYGON:
    case XVertBuffer::KIND_TEXT:
    case XVertBuffer::KIND_DIB:
    case XVertBuffer::KIND_POLYPOLYGON:
    case XVertBuffer::KIND_ELLIPSE:
        Wrapped(p, nKind);
        break;
    default:
        // Start and end records, metafile records and kinds no table lists.
        break;
    }
}

void XVertReplayGDI::Walk::Wrapped(const BYTE* p, int nKind)
{
    Shape(p, nKind, 0.0);
    if (pBack->IsLatLongRounding()) {
        Shape(p, nKind, -kTurn);
        Shape(p, nKind, kTurn);
    }
}

void XVertReplayGDI::Walk::Shape(const BYTE* p, int nKind, double dOffset)
{
    switch (nKind) {
    case XVertBuffer::KIND_LINE:
        Line(p, dOffset);
        break;
    case XVertBuffer::KIND_POLYLINE:
        Polyline(p, dOffset);
        break;
    case XVertBuffer::KIND_POLYPOINT:
        Polypoint(p, dOffset);
        break;
    case XVertBuffer::KIND_POLYGON:
        Polygon(p, dOffset);
        break;
    case XVertBuffer::KIND_TEXT:
        Text(p, dOffset);
        break;
    case XVertBuffer::KIND_DIB:
        Image(p, dOffset);
        break;
    case XVertBuffer::KIND_POLYPOLYGON:
        PolyPolygon(p, dOffset);
        break;
    default:
        EllipseShape(p, dOffset);
        break;
    }
}

// ---------------------------------------------------------------------------
// Shapes

void XVertReplayGDI::Walk::Convert(const BYTE* pSrc, int n, double dOffset, POINT* pDst) const
{
    for (int i = 0; i < n; ++i, pSrc += POINT_BYTES)
        pDst[i] = Pixel(GetF64(pSrc) + dOffset, GetF64(pSrc + 8));
}

void XVertReplayGDI::Walk::Extent(const BYTE* p, double dOffset, double* pExtent) const
{
    for (int i = 0; i < 4; ++i)
        pExtent[i] = GetF64(At(p, OFS_EXTENT + 8 * i));
    pExtent[0] += dOffset;
    pExtent[2] += dOffset;
}

void XVertReplayGDI::Walk::Line(const BYTE* p, double dOffset)
{
    const double x1 = GetF64(At(p, 4)) + dOffset, y1 = GetF64(At(p, 12));
    const double x2 = GetF64(At(p, 28)) + dOffset, y2 = GetF64(At(p, 36));
    if (!InClip(x1 < x2 ? x1 : x2, y1 < y2 ? y1 : y2, x1 < x2 ? x2 : x1, y1 < y2 ? y2 : y1))
        return;
    const POINT a = Pixel(x1, y1), b = Pixel(x2, y2);
    MoveToEx(hDC, a.x, a.y, nullptr);
    LineTo(hDC, b.x, b.y);
}

void XVertReplayGDI::Walk::Polyline(const BYTE* p, double dOffset)
{
    double e[4];
    Extent(p, dOffset, e);
    const int n = GetI32(At(p, OFS_COUNT));
    if (!InClip(e[0], e[1], e[2], e[3]) || !EnsurePoints(pBuffer, static_cast<int64_t>(n) + 1))
        return;
    Convert(At(p, OFS_POINTS), n, dOffset, Points());
    ::Polyline(hDC, Points(), n);
}

void XVertReplayGDI::Walk::Polypoint(const BYTE* p, double dOffset)
{
    const int n = GetI32(At(p, OFS_COUNT));
    const BYTE* pSrc = At(p, OFS_POINTS);
    for (int i = 0; i < n; ++i, pSrc += POINT_BYTES) {
        const double x = GetF64(pSrc) + dOffset, y = GetF64(pSrc + 8);
        if (!InClip(x, y, x, y))
            continue;
        const POINT pt = Pixel(x, y);
        MoveToEx(hDC, pt.x, pt.y, nullptr);
        LineTo(hDC, pt.x + 1, pt.y + 1);
    }
}

void XVertReplayGDI::Walk::Polygon(const BYTE* p, double dOffset)
{
    double e[4];
    Extent(p, dOffset, e);
    const int n = GetI32(At(p, OFS_COUNT));
    if (!InClip(e[0], e[1], e[2], e[3]) || n < 1 || !EnsurePoints(pBuffer, static_cast<int64_t>(n) + 1))
        return;
    POINT* pPoints = Points();
    Convert(At(p, OFS_POINTS), n, dOffset, pPoints);
    pPoints[n] = pPoints[0];

    const int nStyle = fillStyle.GetStyle();
    if (nStyle == tagXFillStyle::STYLE_TRANSPARENT_PATTERN) {
        HRGN hRgn = CreatePolygonRgn(pPoints, n + 1, ALTERNATE);
        XfnStippleFillGDI(pBack, hRgn, e, fillStyle.Pattern, clrFore);
        DeleteObject(hRgn);
    } else if (nStyle != tagXFillStyle::STYLE_HOLLOW) {
        XfnFillRingGDI(hDC, pPoints, n + 1);
    }
    if (dLineAlpha != 0.0)
        ::Polyline(hDC, pPoints, n + 1);
}

void XVertReplayGDI::Walk::PolyPolygon(const BYTE* p, double dOffset)
{
    double e[4];
    Extent(p, dOffset, e);
    const int nRings = GetI32(At(p, OFS_COUNT));
    if (!InClip(e[0], e[1], e[2], e[3]) || nRings < 1)
        return;
    if (ringCounts.size() < static_cast<size_t>(nRings))
        ringCounts.resize(static_cast<size_t>(nRings));
    int64_t nTotal = 0;
    for (int r = 0; r < nRings; ++r) {
        ringCounts[r] = GetI32(At(p, OFS_POINTS + 4 * r));
        if (ringCounts[r] < 0)
            return;
        nTotal += ringCounts[r];
    }
    if (nTotal > INT_MAX - 1 || !EnsurePoints(pBuffer, nTotal + 1))
        return;
    const BYTE* pFirst = At(p, OFS_POINTS + 4 * nRings);
    POINT* pPoints = Points();
    Convert(pFirst, static_cast<int>(nTotal), dOffset, pPoints);

    const int nStyle = fillStyle.GetStyle();
    if (nStyle != tagXFillStyle::STYLE_HOLLOW && nStyle != tagXFillStyle::STYLE_TRANSPARENT_PATTERN) {
        // Filled and outlined in one call, whatever the line's opacity.
        ::PolyPolygon(hDC, pPoints, ringCounts.data(), nRings);
        return;
    }
    if (nStyle == tagXFillStyle::STYLE_TRANSPARENT_PATTERN) {
        HRGN hRgn = CreatePolyPolygonRgn(pPoints, ringCounts.data(), nRings, ALTERNATE);
        XfnStippleFillGDI(pBack, hRgn, e, fillStyle.Pattern, clrFore);
        DeleteObject(hRgn);
    }
    if (dLineAlpha == 0.0)
        return;
    // Ring by ring, each closed. These outlines take no offset: the rings of
    // a wrapped copy land where the unshifted ones do, as they always have.
    const BYTE* pRing = pFirst;
    for (int r = 0; r < nRings; ++r) {
        const int n = ringCounts[r];
        if (n > 0) {
            Convert(pRing, n, 0.0, pPoints);
            pPoints[n] = pPoints[0];
            ::Polyline(hDC, pPoints, n + 1);
        }
        pRing += static_cast<size_t>(n) * POINT_BYTES;
    }
}

void XVertReplayGDI::Walk::Text(const BYTE* p, double dOffset)
{
    const double x = GetF64(At(p, 4)), y = GetF64(At(p, 12));
    const int n = GetI32(At(p, OFS_TEXT_COUNT));
    const char* pszText = reinterpret_cast<const char*>(At(p, OFS_TEXT_CHARS));
    double w, h;
    if (n < 0 || !XBackBuffer::GetTextDimensionGDI(hDC, pszText, n, &textStyle, w, h))
        return;
    SetTextColor(hDC, clrLine);
    SetBkMode(hDC, TRANSPARENT);
    pBack->ConvPixelToWorldLength(w, h);

    double sx, sy;
    XfnTextShift(textStyle.nAlign, w, h, sx, sy);
    double left = x + dOffset - sx, top = y + sy;
    if (!InClip(left, top - h, left + w, top))
        return;
    if (textStyle.lf.lfOrientation != 0 && (sx != 0.0 || sy != 0.0))
        XfnRotateAnchor(left, top, x + dOffset, y, textStyle.lf.lfOrientation);
    const POINT pt = Pixel(left, top);
    SetTextAlign(hDC, TA_LEFT | TA_TOP);
    ExtTextOutA(hDC, pt.x, pt.y, 0, nullptr, pszText, static_cast<UINT>(n), nullptr);
}

void XVertReplayGDI::Walk::Image(const BYTE* p, double dOffset)
{
    const int w = GetI32(At(p, OFS_DIB_WIDTH)), h = GetI32(At(p, OFS_DIB_HEIGHT));
    const double left = GetF64(At(p, OFS_DIB_DOUBLES)) + dOffset;
    const double top = GetF64(At(p, OFS_DIB_DOUBLES + 8));
    const double right = GetF64(At(p, OFS_DIB_DOUBLES + 16)) + dOffset;
    const double bottom = GetF64(At(p, OFS_DIB_DOUBLES + 24));
    if (!InClip(left < right ? left : right, top < bottom ? top : bottom, left < right ? right : left,
                top < bottom ? bottom : top))
        return;
    BITMAPINFO bmi = {};
    bmi.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    bmi.bmiHeader.biWidth = w;
    bmi.bmiHeader.biHeight = h;
    bmi.bmiHeader.biPlanes = 1;
    bmi.bmiHeader.biBitCount = 24;
    bmi.bmiHeader.biCompression = BI_RGB;
    BYTE* pPixels = const_cast<BYTE*>(At(p, OFS_DIB_PIXELS));
    BYTE* pMask = pPixels + static_cast<size_t>(XfnCalcDIBWidthBytes(w, 24)) * h;
    pBack->DrawDIB(pPixels, &bmi, left, top, right, bottom, GetI32(At(p, OFS_DIB_CLASS)), pMask);
}

void XVertReplayGDI::Walk::EllipseShape(const BYTE* p, double dOffset)
{
    const double x = GetF64(At(p, 4)) + dOffset, y = GetF64(At(p, 12));
    const double rx = GetF64(At(p, 28)), ry = GetF64(At(p, 36));
    if (!InClip(x - rx, y - ry, x + rx, y + ry))
        return;
    // The corners are truncated, not rounded.
    double l = x - rx, t = y + ry, r = x + rx, b = y - ry;
    pBack->ConvWorldToPixelCoord(l, t);
    pBack->ConvWorldToPixelCoord(r, b);
    Ellipse(hDC, XPixelRound::Trunc(l), XPixelRound::Trunc(t), XPixelRound::Trunc(r), XPixelRound::Trunc(b));
}

// ---------------------------------------------------------------------------
// The replay

bool XVertReplayGDI::EnsurePoints(XVertBuffer* pBuffer, int64_t nPoints)
{
    const int64_t nBytes = nPoints * static_cast<int64_t>(sizeof(POINT));
    void*& pPoints = XVertReplay::Points(pBuffer);
    int& nHeld = PointsBytes(pBuffer);
    if (pPoints != nullptr && nBytes <= nHeld)
        return true;
    if (nBytes > INT_MAX)
        return false;
    std::free(pPoints);
    pPoints = std::malloc(static_cast<size_t>(nBytes > 0 ? nBytes : 1));
    nHeld = pPoints != nullptr ? static_cast<int>(nBytes) : 0;
    return pPoints != nullptr;
}

void XVertReplayGDI::Draw(XVertBuffer* pBuffer, XBackBuffer* pBack)
{
    if (pBack == nullptr || pBack->GetDC() == nullptr)
        return;
    // One pixel pair per point and one more, made before the DC is touched:
    // without it nothing is drawn and the DC stays as it is. A record larger
    // than nMaxPoints (a block added raw) grows it when it comes.
    if (!EnsurePoints(pBuffer, static_cast<int64_t>(pBuffer->GetMaxPoints()) + 1))
        return;
    Walk walk(pBuffer, pBack);
    const int kAhead = 32;
    const int nRecords = pBuffer->GetRecordCount();
    for (int i = 0; i < nRecords; ++i) {
        // Each record is a block of its own: ask for the head of one well
        // ahead (kind, count and extent, which may straddle two cache lines),
        // so that a view that culls most shapes does not wait on memory for
        // each of them.
        if (i + kAhead < nRecords) {
            const BYTE* pAhead = static_cast<const BYTE*>(pBuffer->GetRecord(i + kAhead));
            __builtin_prefetch(pAhead);
            __builtin_prefetch(pAhead + OFS_POINTS - 1);
        }
        walk.Step(static_cast<const BYTE*>(pBuffer->GetRecord(i)));
    }
}

} // namespace
