// The antialiased replay (render path 3): walks the records of a vertex
// buffer and draws them through a Gdiplus graphics on the back buffer's DC.
// Colours carry their alpha in the high byte, shapes are antialiased, lines
// keep their unrounded pixel ends, and text turns with the view. Unlike the
// raster replay nothing repeats a turn to either side, and the metafile
// records (18, 19) are skipped: there is no metafile player on this platform.
#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/drawing/XDrawStyleGDIP.h"
#include "KVDbase/drawing/XVertBuffer.h"
#include "KVDbase/platform/XGdi.h"

#include "drawing/XPixelRound.h"
#include "drawing/XVertRecord.h"
#include "platform/XMbText.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

using namespace Gdiplus;
using namespace XVertRecord;

namespace {

// A colour record of this path: 0xAABBGGRR, red in the low byte.
Color ColorOf(DWORD v)
{
    return Color(static_cast<BYTE>(v >> 24), static_cast<BYTE>(v), static_cast<BYTE>(v >> 8),
                 static_cast<BYTE>(v >> 16));
}

class XVertReplayGDIP : public XVertReplay {
public:
    void Draw(XVertBuffer* pBuffer, XBackBuffer* pBack) override;

    // The buffer's scratch with room for nPairs pixels, grown when a record
    // needs more than nMaxPoints promised (a raw record, a hostile stream);
    // on this path its size counter counts pairs. Null when it cannot grow.
    static Point* Scratch(XVertBuffer* pBuf, int64_t nPairs);

private:
    class Walk;
};

Point* XVertReplayGDIP::Scratch(XVertBuffer* pBuf, int64_t nPairs)
{
    void*& p = PointsGDIP(pBuf);
    int& nHeld = PointsBytes(pBuf);
    if (p != nullptr && nHeld >= nPairs)
        return static_cast<Point*>(p);
    std::free(p);
    p = nullptr;
    nHeld = 0;
    if (nPairs > (INT32_MAX / static_cast<int64_t>(sizeof(Point))))
        return nullptr;
    p = std::calloc(static_cast<size_t>(nPairs > 0 ? nPairs : 1), sizeof(Point));
    if (p != nullptr)
        nHeld = static_cast<int>(nPairs);
    return static_cast<Point*>(p);
}

// One replay: the walk's own state, which owes nothing to the buffer's
// last-recorded fields.
class XVertReplayGDIP::Walk {
public:
    Walk(XVertBuffer* pBuf, XBackBuffer* pBack, Graphics& g) : m_pBuf(pBuf), m_pBack(pBack), m_g(g) {}
    ~Walk()
    {
        delete m_pPen;
        delete m_pBrush;
        delete m_pFont;
    }

    // The clip box is the buffer's, already computed; the graphics is clipped
    // to its pixels.
    void Begin(const Rect& clip)
    {
        m_clip = clip;
        XfnCreatePenGDIP(m_pPen, &m_line, m_dPixelLineWidth, m_clrLine);
        XfnCreateBrushGDIP(m_pBrush, &m_fill, m_clrFore, m_clrBack);
        XfnCreateFontGDIP(m_pFont, &m_text, m_dPixelTextSize);
        m_g.SetClip(m_clip, CombineModeReplace);
    }

    void Record(const BYTE* r);

private:
    bool Visible(double x1, double y1, double x2, double y2) const
    {
        return XVertReplayGDIP::IsInClipRegion(m_pBuf, x1, y1, x2, y2) != 0;
    }
    Point ToPixel(double x, double y)
    {
        m_pBack->ConvWorldToPixelCoord(x, y);
        return Point(XPixelRound::Round(x), XPixelRound::Round(y));
    }
    PointF ToPixelF(double x, double y)
    {
        m_pBack->ConvWorldToPixelCoord(x, y);
        return PointF(static_cast<REAL>(x), static_cast<REAL>(y));
    }
    // The extent of a point record, minimum x, minimum y, maximum x, maximum y.
    bool ExtentVisible(const BYTE* r)
    {
        return Visible(GetF64(At(r, OFS_EXTENT)), GetF64(At(r, OFS_EXTENT + 8)), GetF64(At(r, OFS_EXTENT + 16)),
                       GetF64(At(r, OFS_EXTENT + 24)));
    }
    // Converts n points into the scratch from index 0.
    void Convert(const BYTE* pPoints, int n, Point* pOut)
    {
        for (int i = 0; i < n; ++i)
            pOut[i] = ToPixel(GetF64(pPoints + i * POINT_BYTES), GetF64(pPoints + i * POINT_BYTES + 8));
    }
    Point* Scratch(int64_t nPairs) { return XVertReplayGDIP::Scratch(m_pBuf, nPairs); }
    bool Hollow() const { return m_fill.GetStyle() == tagXFillStyle::STYLE_HOLLOW; }
    bool LineShows() const { return m_clrLine.GetA() != 0; }
    void RenewPen() { XfnCreatePenGDIP(m_pPen, &m_line, static_cast<int>(m_dPixelLineWidth), m_clrLine); }
    void RenewBrush() { XfnCreateBrushGDIP(m_pBrush, &m_fill, m_clrFore, m_clrBack); }
    void RenewFont() { XfnCreateFontGDIP(m_pFont, &m_text, m_dPixelTextSize); }

    void Polygon(const BYTE* r);
    void PolyPolygon(const BYTE* r);
    void Ellipse(const BYTE* r);
    void Text(const BYTE* r);
    void Image(const BYTE* r);

    XVertBuffer* m_pBuf;
    XBackBuffer* m_pBack;
    Graphics& m_g;
    Rect m_clip;

    Color m_clrLine = Color(255, 0, 0, 0);
    Color m_clrFore = Color(255, 0, 0, 0);
    Color m_clrBack = Color(255, 255, 255, 255);
    double m_dPixelLineWidth = 0.0;
    double m_dLastLineWidth = 0.0;
    double m_dPixelTextSize = 12.0;
    double m_dLastTextSize = 0.0;
    tagXLineStyle m_line;
    tagXFillStyle m_fill;
    tagXTextStyle m_text;
    Pen* m_pPen = nullptr;
    Brush* m_pBrush = nullptr;
    Font* m_pFont = nullptr;
};

void XVertReplayGDIP::Walk::Record(const BYTE* r)
{
    switch (Kind(r)) {
    case XVertBuffer::KIND_LINECOLOR:
        m_clrLine = ColorOf(GetU32(At(r, OFS_VALUE)));
        if (m_pPen != nullptr)
            m_pPen->SetColor(m_clrLine);
        break;
    case XVertBuffer::KIND_FORECOLOR:
        m_clrFore = ColorOf(GetU32(At(r, OFS_VALUE)));
        if (m_pBrush != nullptr && m_pBrush->GetType() == BrushTypeSolidColor)
            static_cast<SolidBrush*>(m_pBrush)->SetColor(m_clrFore);
        else
            RenewBrush();
        break;
    case XVertBuffer::KIND_BACKCOLOR: {
        m_clrBack = ColorOf(GetU32(At(r, OFS_VALUE)));
        const BrushType type = m_pBrush != nullptr ? m_pBrush->GetType() : BrushTypeHatchFill;
        if (type == BrushTypeHatchFill || type == BrushTypeTextureFill)
            RenewBrush();
        break;
    }
    case XVertBuffer::KIND_LINESTYLE: {
        tagXLineStyle style;
        style.SetStyle(GetU16(At(r, 4)), GetI32(At(r, 8)));
        style.SetPenBits(GetU32(At(r, 12)));
        style.SetSolidPenBits(GetU32(At(r, 16)));
        if (style != m_line)
            m_line = style;
        RenewPen();
        break;
    }
    case XVertBuffer::KIND_LINEWIDTH: {
        const double d = GetF64(At(r, OFS_VALUE));
        if (d != m_dLastLineWidth) {
            m_dLastLineWidth = d;
            // A negative width is in pixels; a positive one is a world length.
            double x = d < 0.0 ? -d : d, y = 0.0;
            if (d > 0.0)
                m_pBack->ConvWorldToPixelLength(x, y);
            m_dPixelLineWidth = x;
        }
        if (m_pPen != nullptr)
            m_pPen->SetWidth(static_cast<REAL>(m_dPixelLineWidth));
        break;
    }
    case XVertBuffer::KIND_FILLSTYLE: {
        tagXFillStyle style;
        std::memcpy(style.Pattern, At(r, 4), tagXFillStyle::PATTERN_BYTES);
        style.nStyle = GetI32(At(r, 4 + tagXFillStyle::PATTERN_BYTES));
        if (style != m_fill)
            m_fill = style;
        RenewBrush();
        break;
    }
    case XVertBuffer::KIND_TEXTSTYLE: {
        tagXTextStyle style;
        style.nAlign = GetI32(At(r, 4));
        std::memcpy(&style.lf, At(r, 8), sizeof(LOGFONTA));
        if (style != m_text)
            m_text = style;
        RenewFont();
        break;
    }
    case XVertBuffer::KIND_TEXTSIZE: {
        const double d = GetF64(At(r, OFS_VALUE));
        if (d != m_dLastTextSize) {
            m_dLastTextSize = d;
            double x = d, y = 0.0;
            if (m_pBuf->GetFontSizeFlag() == 0)
                m_pBack->ConvWorldToPixelLength(x, y);
            m_dPixelTextSize = x;
        }
        RenewFont();
        break;
    }
    case XVertBuffer::KIND_LINE: {
        const double x1 = GetF64(At(r, 4)), y1 = GetF64(At(r, 12)), x2 = GetF64(At(r, 28)), y2 = GetF64(At(r, 36));
        if (!Visible(std::fmin(x1, x2), std::fmin(y1, y2), std::fmax(x1, x2), std::fmax(y1, y2)))
            break;
        const PointF a = ToPixelF(x1, y1), b = ToPixelF(x2, y2);
        m_g.DrawLine(m_pPen, a, b);
        break;
    }
    case XVertBuffer::KIND_POLYLINE: {
        const int n = GetI32(At(r, OFS_COUNT));
        Point* pts = n >= 1 && ExtentVisible(r) ? Scratch(n + 1) : nullptr;
        if (pts == nullptr)
            break;
        Convert(At(r, OFS_POINTS), n, pts);
        m_g.DrawLines(m_pPen, pts, n);
        break;
    }
    case XVertBuffer::KIND_POLYPOINT: {
        const int n = GetI32(At(r, OFS_COUNT));
        const BYTE* p = At(r, OFS_POINTS);
        for (int i = 0; i < n; ++i, p += POINT_BYTES) {
            const double x = GetF64(p), y = GetF64(p + 8);
            if (!Visible(x, y, x, y))
                continue;
            const Point px = ToPixel(x, y);
            m_g.DrawLine(m_pPen, px, Point(px.X + 1, px.Y + 1));
        }
        break;
    }
    case XVertBuffer::KIND_POLYGON:
        Polygon(r);
        break;
    case XVertBuffer::KIND_TEXT:
        Text(r);
        break;
    case XVertBuffer::KIND_DIB:
        Image(r);
        break;
    case XVertBuffer::KIND_POLYFILLMODE: {
        const int nMode = GetI32(At(r, OFS_VALUE));
        if (nMode != 0)
            SetPolyFillMode(m_pBack->GetDC(), nMode);
        break;
    }
    case XVertBuffer::KIND_POLYPOLYGON:
        PolyPolygon(r);
        break;
    case XVertBuffer::KIND_ELLIPSE:
        Ellipse(r);
        break;
    default:
        // Start, end, the metafile records and kinds no table lists.
        break;
    }
}

void XVertReplayGDIP::Walk::Polygon(const BYTE* r)
{
    const int n = GetI32(At(r, OFS_COUNT));
    Point* pts = n >= 1 && ExtentVisible(r) ? Scratch(static_cast<int64_t>(n) + 1) : nullptr;
    if (pts == nullptr)
        return;
    Convert(At(r, OFS_POINTS), n, pts);
    pts[n] = pts[0];
    if (!Hollow()) {
        GraphicsPath path(FillModeAlternate);
        path.AddPolygon(pts, n + 1);
        Region region(&path);
        m_g.FillPath(m_pBrush, &path);
        m_g.SetClip(m_clip, CombineModeReplace);
    }
    if (LineShows())
        m_g.DrawPolygon(m_pPen, pts, n + 1);
}

void XVertReplayGDIP::Walk::PolyPolygon(const BYTE* r)
{
    const int nRings = GetI32(At(r, OFS_COUNT));
    if (nRings < 1 || !ExtentVisible(r))
        return;
    const BYTE* pSizes = At(r, OFS_POINTS);
    const BYTE* pFirst = pSizes + 4 * nRings;
    int64_t nRoom = nRings;
    for (int k = 0; k < nRings; ++k)
        nRoom = std::max<int64_t>(nRoom, GetI32(pSizes + 4 * k));
    Point* pts = Scratch(nRoom + 1);
    if (pts == nullptr)
        return;
    if (!Hollow()) {
        // Each point of ring k lands in scratch pair k, not at its own index,
        // so the ring's polygon reads what the scratch held before: the fill
        // has always been drawn this way, and the outline below is not.
        GraphicsPath path(FillModeAlternate);
        const BYTE* p = pFirst;
        for (int k = 0; k < nRings; ++k) {
            const int nSize = GetI32(pSizes + 4 * k);
            for (int i = 0; i < nSize; ++i, p += POINT_BYTES)
                pts[k] = ToPixel(GetF64(p), GetF64(p + 8));
            if (nSize > 0)
                path.AddPolygon(pts, nSize);
        }
        m_g.FillPath(m_pBrush, &path);
    }
    if (LineShows()) {
        const BYTE* p = pFirst;
        for (int k = 0; k < nRings; ++k) {
            const int nSize = GetI32(pSizes + 4 * k);
            if (nSize < 1)
                continue;
            Convert(p, nSize, pts);
            p += static_cast<size_t>(nSize) * POINT_BYTES;
            m_g.DrawPolygon(m_pPen, pts, nSize);
        }
    }
}

void XVertReplayGDIP::Walk::Ellipse(const BYTE* r)
{
    const double x = GetF64(At(r, 4)), y = GetF64(At(r, 12)), rx = GetF64(At(r, 28)), ry = GetF64(At(r, 36));
    if (!Visible(x - rx, y - ry, x + rx, y + ry))
        return;
    double x1 = x - rx, y1 = y + ry, x2 = x + rx, y2 = y - ry, prx = rx, pry = ry;
    m_pBack->ConvWorldToPixelCoord(x1, y1);
    m_pBack->ConvWorldToPixelCoord(x2, y2);
    m_pBack->ConvWorldToPixelLength(prx, pry);
    const INT left = XPixelRound::Trunc(std::fmin(x1, x2)), top = XPixelRound::Trunc(std::fmin(y1, y2));
    const INT w = 2 * XPixelRound::Trunc(prx), h = 2 * XPixelRound::Trunc(pry);
    if (!Hollow())
        m_g.FillEllipse(m_pBrush, left, top, w, h);
    if (LineShows())
        m_g.DrawEllipse(m_pPen, left, top, w, h);
}

void XVertReplayGDIP::Walk::Text(const BYTE* r)
{
    const double x = GetF64(At(r, 4)), y = GetF64(At(r, 12));
    const int n = GetI32(At(r, OFS_TEXT_COUNT));
    if (n < 1)
        return;
    const int nAlign = m_text.nAlign;
    StringFormat format(0, 0);
    if (nAlign & tagXTextStyle::ALIGN_LEFT)
        format.SetAlignment(StringAlignmentNear);
    if (nAlign & tagXTextStyle::ALIGN_HCENTER)
        format.SetAlignment(StringAlignmentCenter);
    if (nAlign & tagXTextStyle::ALIGN_RIGHT)
        format.SetAlignment(StringAlignmentFar);
    if (nAlign & tagXTextStyle::ALIGN_TOP)
        format.SetLineAlignment(StringAlignmentNear);
    if (nAlign & tagXTextStyle::ALIGN_VCENTER)
        format.SetLineAlignment(StringAlignmentCenter);
    if (nAlign & tagXTextStyle::ALIGN_BOTTOM)
        format.SetLineAlignment(StringAlignmentFar);

    const char* pszText = reinterpret_cast<const char*>(At(r, OFS_TEXT_CHARS));
    const int nWide = XMbText::NarrowToWide(pszText, n, nullptr, 0);
    std::wstring wstr(static_cast<size_t>(nWide), L'\0');
    XMbText::NarrowToWide(pszText, n, &wstr[0], nWide);

    const PointF at = ToPixelF(x, y);
    RectF box;
    m_g.MeasureString(wstr.c_str(), nWide, m_pFont, at, &format, &box);
    double left = box.X, upper = box.Y, right = static_cast<double>(box.X) + box.Width,
           lower = static_cast<double>(box.Y) + box.Height;
    m_pBack->ConvPixelToWorldCoord(left, upper);
    m_pBack->ConvPixelToWorldCoord(right, lower);
    double wx, wy;
    m_pBack->GetWorldPerPixel(wx, wy);
    const double w = box.Width * wx, h = box.Height * wy;
    if (nAlign & tagXTextStyle::ALIGN_LEFT) {
        right = left + w;
    } else if (nAlign & tagXTextStyle::ALIGN_HCENTER) {
        const double mid = (left + right) / 2;
        left = mid - w / 2;
        right = mid + w / 2;
    } else if (nAlign & tagXTextStyle::ALIGN_RIGHT) {
        left = right - w;
    }
    if (nAlign & tagXTextStyle::ALIGN_TOP) {
        lower = upper - h;
    } else if (nAlign & tagXTextStyle::ALIGN_VCENTER) {
        const double mid = (lower + upper) / 2;
        lower = mid - h / 2;
        upper = mid + h / 2;
    } else if (nAlign & tagXTextStyle::ALIGN_BOTTOM) {
        upper = lower + h;
    }
    if (!Visible(left, lower, right, upper))
        return;

    SolidBrush brush(m_clrLine);
    const REAL angle = static_cast<REAL>(m_pBack->GetRotationAngle() + m_text.lf.lfOrientation / 10.0);
    m_g.ResetTransform();
    m_g.TranslateTransform(at.X, at.Y);
    m_g.RotateTransform(-angle);
    m_g.TranslateTransform(-at.X, -at.Y);
    m_g.DrawString(wstr.c_str(), nWide, m_pFont, at, &format, &brush);
    m_g.ResetTransform();
}

void XVertReplayGDIP::Walk::Image(const BYTE* r)
{
    const int w = GetI32(At(r, OFS_DIB_WIDTH)), h = GetI32(At(r, OFS_DIB_HEIGHT));
    const double left = GetF64(At(r, OFS_DIB_DOUBLES)), top = GetF64(At(r, OFS_DIB_DOUBLES + 8)),
                 right = GetF64(At(r, OFS_DIB_DOUBLES + 16)), bottom = GetF64(At(r, OFS_DIB_DOUBLES + 24));
    if (w < 1 || h < 1 || !Visible(left, bottom, right, top))
        return;
    const Point a = ToPixel(left, top), b = ToPixel(right, bottom);
    const INT tw = std::abs(b.X - a.X) + 1, th = std::abs(b.Y - a.Y) + 1;
    Bitmap bitmap(w, h, PixelFormat32bppARGB);
    BitmapData data;
    Rect all(0, 0, w, h);
    if (bitmap.LockBits(&all, ImageLockModeWrite, PixelFormat32bppARGB, &data) != Ok)
        return;
    const BYTE* pSrc = At(r, OFS_DIB_PIXELS);
    for (int y = 0; y < h; ++y)
        std::memcpy(static_cast<BYTE*>(data.Scan0) + static_cast<ptrdiff_t>(y) * data.Stride,
                    pSrc + static_cast<size_t>(y) * w * 4, static_cast<size_t>(w) * 4);
    bitmap.UnlockBits(&data);
    m_g.SetPixelOffsetMode(PixelOffsetModeHalf);
    m_g.DrawImage(&bitmap, Rect(a.X, a.Y, tw, th), 0, 0, w, h, UnitPixel);
    m_g.SetPixelOffsetMode(PixelOffsetModeNone);
}

void XVertReplayGDIP::Draw(XVertBuffer* pBuf, XBackBuffer* pBack)
{
    HDC hdc = pBack != nullptr ? pBack->GetDC() : nullptr;
    if (hdc == nullptr)
        return;
    Graphics g(hdc);
    g.SetSmoothingMode(SmoothingModeAntiAlias);
    g.SetTextRenderingHint(TextRenderingHintAntiAlias);
    g.SetInterpolationMode(InterpolationModeHighQualityBilinear);

    CalcClipRegion(pBuf, pBack);
    double minX, maxX, minY, maxY;
    GetClipBox(pBuf, minX, maxX, minY, maxY);
    pBack->ConvWorldToPixelCoord(minX, minY);
    pBack->ConvWorldToPixelCoord(maxX, maxY);
    const Rect clip(XPixelRound::Trunc(std::fmin(minX, maxX)), XPixelRound::Trunc(std::fmin(minY, maxY)),
                    XPixelRound::Trunc(std::fabs(maxX - minX)), XPixelRound::Trunc(std::fabs(maxY - minY)));

    // The scratch is sized once for nMaxPoints + 1 pixel pairs; a failed
    // allocation ends the replay.
    if (Scratch(pBuf, static_cast<int64_t>(pBuf->GetMaxPoints()) + 1) == nullptr)
        return;

    Walk walk(pBuf, pBack, g);
    walk.Begin(clip);
    for (int i = 0; i < pBuf->GetRecordCount(); ++i)
        walk.Record(static_cast<const BYTE*>(pBuf->GetRecord(i)));
}

XVertReplayGDIP g_replayGDIP;

// The path's replay is installed when the library loads.
const bool g_bInstalled = (XVertReplay::Install(XVertBuffer::PATH_GDIP, &g_replayGDIP), true);

} // namespace
