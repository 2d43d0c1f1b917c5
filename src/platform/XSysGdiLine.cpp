// Pens on the raster device: the one-pixel stepper with its dashes, and wide
// pens through cairo.
#include "platform/XSysGdiLine.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

// Where a dashed pen stands in its pattern, counted in steps. It reads the
// pen's own table, which outlives the stroke.
class DashWalk {
public:
    explicit DashWalk(const XGdiPen* pen) : dashes(pen->dashes)
    {
        // An odd table runs twice per period, its runs swapping between dash
        // and gap on the second pass.
        for (DWORD d : dashes)
            nPeriod += d;
        if (dashes.size() % 2 == 1)
            nPeriod *= 2;
    }
    // True when step nPos draws (an odd run is a gap).
    bool On(int64_t nPos) const
    {
        if (nPeriod == 0)
            return true;
        int64_t r = nPos % nPeriod;
        const size_t n = dashes.size();
        for (size_t i = 0; i < 2 * n; ++i) {
            if (r < static_cast<int64_t>(dashes[i % n]))
                return i % 2 == 0;
            r -= dashes[i % n];
        }
        return true;
    }
    bool Styled() const { return nPeriod != 0; }

private:
    const std::vector<DWORD>& dashes;
    int64_t nPeriod = 0;
};

struct ThinPen {
    XGdiDC* dc;
    XGdiSurface* s;
    uint32_t clrPen;
    uint32_t clrGap;
    bool bGaps;
    DashWalk walk;
    int64_t nPos = 0;

    ThinPen(XGdiDC* dcArg, const XGdiPen* pen)
        : dc(dcArg), s(dcArg->pSurface), clrPen(XfnGdiPixel(pen->clr)), clrGap(XfnGdiPixel(dcArg->clrBk)),
          bGaps(pen->IsCosmetic() && dcArg->nBkMode == OPAQUE), walk(pen)
    {
    }

    void Plot(int x, int y, uint32_t c)
    {
        uint32_t* p = s->Row(y) + x;
        *p = dc->nRop2 == R2_COPYPEN ? c : XfnGdiRop2(dc->nRop2, c, *p);
    }

    // The segment from a to b, b left out.
    void Segment(POINT a, POINT b)
    {
        const int64_t dx = static_cast<int64_t>(b.x) - a.x;
        const int64_t dy = static_cast<int64_t>(b.y) - a.y;
        const bool bXMajor = std::llabs(dx) >= std::llabs(dy);
        const int64_t n = bXMajor ? std::llabs(dx) : std::llabs(dy);
        if (n == 0)
            return;
        const int64_t nMajor0 = bXMajor ? a.x : a.y;
        const int64_t nMinor0 = bXMajor ? a.y : a.x;
        const int64_t nMajorStep = (bXMajor ? dx : dy) > 0 ? 1 : -1;
        const int64_t dMinor = bXMajor ? dy : dx;
        const int64_t nMinorAbs = std::llabs(dMinor);
        const int64_t nMinorSign = dMinor < 0 ? -1 : 1;
        const int64_t nMajorLimit = bXMajor ? s->Width() : s->Height();
        const int64_t nMinorLimit = bXMajor ? s->Height() : s->Width();
        // Only the steps whose major coordinate lies on the surface are walked.
        int64_t i0 = 0, i1 = n;
        if (nMajorStep > 0) {
            i0 = std::max<int64_t>(i0, -nMajor0);
            i1 = std::min<int64_t>(i1, nMajorLimit - nMajor0);
        } else {
            i0 = std::max<int64_t>(i0, nMajor0 - (nMajorLimit - 1));
            i1 = std::min<int64_t>(i1, nMajor0 + 1);
        }
        if (i0 >= i1) {
            nPos += n;
            return;
        }
        // The minor offset rounds half up: (2 i |d| + n) / 2n. The first step
        // divides (in 128 bits when the factors are large: both may take 33);
        // each later one adds 2 |d| to the remainder, which passes 2n at most
        // once as |d| <= n, so no pixel pays for a division.
        int64_t nQuot, nRem;
        if (i0 < (int64_t(1) << 28) && nMinorAbs < (int64_t(1) << 33)) {
            const int64_t nNum = 2 * i0 * nMinorAbs + n;
            nQuot = nNum / (2 * n);
            nRem = nNum % (2 * n);
        } else {
            const __int128 nNum = static_cast<__int128>(2 * i0) * nMinorAbs + n;
            nQuot = static_cast<int64_t>(nNum / (2 * n));
            nRem = static_cast<int64_t>(nNum % (2 * n));
        }
        auto step = [&](auto&& plot) {
            for (int64_t i = i0; i < i1; ++i, nRem += 2 * nMinorAbs) {
                if (nRem >= 2 * n) {
                    nRem -= 2 * n;
                    ++nQuot;
                }
                const int64_t nMinor = nMinor0 + nMinorSign * nQuot;
                if (static_cast<uint64_t>(nMinor) >= static_cast<uint64_t>(nMinorLimit))
                    continue;
                const int64_t nMajor = nMajor0 + nMajorStep * i;
                plot(i, static_cast<int>(bXMajor ? nMajor : nMinor), static_cast<int>(bXMajor ? nMinor : nMajor));
            }
        };
        if (!walk.Styled() && dc->nRop2 == R2_COPYPEN) {
            // A solid pen copying its colour: the common case, kept tight.
            const uint32_t c = clrPen;
            step([this, c](int64_t, int x, int y) { s->Row(y)[x] = c; });
        } else {
            step([this](int64_t i, int x, int y) {
                if (walk.On(nPos + i))
                    Plot(x, y, clrPen);
                else if (bGaps)
                    Plot(x, y, clrGap);
            });
        }
        nPos += n;
    }
};

cairo_line_cap_t Cap(DWORD nStyle)
{
    switch (nStyle & PS_ENDCAP_MASK) {
    case PS_ENDCAP_SQUARE:
        return CAIRO_LINE_CAP_SQUARE;
    case PS_ENDCAP_FLAT:
        return CAIRO_LINE_CAP_BUTT;
    default:
        return CAIRO_LINE_CAP_ROUND;
    }
}

cairo_line_join_t Join(DWORD nStyle)
{
    switch (nStyle & PS_JOIN_MASK) {
    case PS_JOIN_BEVEL:
        return CAIRO_LINE_JOIN_BEVEL;
    case PS_JOIN_MITER:
        return CAIRO_LINE_JOIN_MITER;
    default:
        return CAIRO_LINE_JOIN_ROUND;
    }
}

// Strokes the path that addPath draws (in pixel-centre coordinates) with the
// wide pen: straight onto the surface for R2_COPYPEN, otherwise through a
// coverage mask so that the raster operation meets every pixel once.
template <class AddPath>
void StrokeWide(XGdiDC* dc, const XGdiPen* pen, AddPath&& addPath)
{
    auto setUp = [&](cairo_t* cr) {
        cairo_set_antialias(cr, dc->bAntialias ? CAIRO_ANTIALIAS_DEFAULT : CAIRO_ANTIALIAS_NONE);
        cairo_set_line_width(cr, pen->nWidth);
        cairo_set_line_cap(cr, Cap(pen->nStyle));
        cairo_set_line_join(cr, Join(pen->nStyle));
        if (!pen->dashes.empty()) {
            std::vector<double> d(pen->dashes.begin(), pen->dashes.end());
            cairo_set_dash(cr, d.data(), static_cast<int>(d.size()), 0.0);
        } else {
            cairo_set_dash(cr, nullptr, 0, 0.0);
        }
        cairo_new_path(cr);
        addPath(cr);
    };
    const uint32_t c = XfnGdiPixel(pen->clr);
    if (dc->nRop2 == R2_COPYPEN) {
        cairo_t* cr = dc->Cairo();
        if (cr == nullptr)
            return;
        setUp(cr);
        cairo_set_source_rgb(cr, ((c >> 16) & 0xFF) / 255.0, ((c >> 8) & 0xFF) / 255.0, (c & 0xFF) / 255.0);
        cairo_stroke(cr);
        return;
    }
    XGdiSurface* s = dc->pSurface;
    cairo_surface_t* pMask = cairo_image_surface_create(CAIRO_FORMAT_A8, s->Width(), s->Height());
    cairo_t* cr = cairo_create(pMask);
    setUp(cr);
    double x0, y0, x1, y1;
    cairo_stroke_extents(cr, &x0, &y0, &x1, &y1);
    cairo_stroke(cr);
    cairo_destroy(cr);
    cairo_surface_flush(pMask);
    if (cairo_surface_status(pMask) == CAIRO_STATUS_SUCCESS) {
        const uint8_t* m = cairo_image_surface_get_data(pMask);
        const int nMaskStride = cairo_image_surface_get_stride(pMask);
        const int ya = std::max(0, static_cast<int>(std::floor(y0)));
        const int yb = std::min(s->Height(), static_cast<int>(std::ceil(y1)));
        const int xa = std::max(0, static_cast<int>(std::floor(x0)));
        const int xb = std::min(s->Width(), static_cast<int>(std::ceil(x1)));
        for (int y = ya; y < yb; ++y) {
            uint32_t* row = s->Row(y);
            const uint8_t* mr = m + static_cast<ptrdiff_t>(y) * nMaskStride;
            for (int x = xa; x < xb; ++x) {
                if (mr[x] >= 128)
                    row[x] = XfnGdiRop2(dc->nRop2, c, row[x]);
            }
        }
    }
    cairo_surface_destroy(pMask);
}

} // namespace

void XfnGdiStrokePolyline(XGdiDC* dc, const POINT* pts, int n, bool bClose)
{
    const XGdiPen* pen = XfnGdiPen(dc->hPen);
    if (pen == nullptr || pen->IsNull() || n < 1)
        return;
    if (!pen->IsThin() || dc->bAntialias) {
        StrokeWide(dc, pen, [&](cairo_t* cr) {
            cairo_move_to(cr, pts[0].x + 0.5, pts[0].y + 0.5);
            for (int i = 1; i < n; ++i)
                cairo_line_to(cr, pts[i].x + 0.5, pts[i].y + 0.5);
            if (bClose)
                cairo_close_path(cr);
            if (pen->IsThin())
                cairo_set_line_width(cr, 1.0);
        });
        return;
    }
    ThinPen tp(dc, pen);
    for (int i = 1; i < n; ++i)
        tp.Segment(pts[i - 1], pts[i]);
    if (bClose && n > 1)
        tp.Segment(pts[n - 1], pts[0]);
}

void XfnGdiStrokeEllipse(XGdiDC* dc, int left, int top, int right, int bottom)
{
    const XGdiPen* pen = XfnGdiPen(dc->hPen);
    if (pen == nullptr || pen->IsNull())
        return;
    const double cx = (left + right) / 2.0, cy = (top + bottom) / 2.0;
    const double rx = (right - left) / 2.0, ry = (bottom - top) / 2.0;
    if (!pen->IsThin() || dc->bAntialias) {
        StrokeWide(dc, pen, [&](cairo_t* cr) {
            cairo_save(cr);
            cairo_translate(cr, cx, cy);
            cairo_scale(cr, std::max(rx - 0.5, 0.25), std::max(ry - 0.5, 0.25));
            cairo_arc(cr, 0, 0, 1, 0, 2 * M_PI);
            cairo_restore(cr);
            if (pen->IsThin())
                cairo_set_line_width(cr, 1.0);
        });
        return;
    }
    // The outline of a thin pen is the ellipse's own edge pixels: those of its
    // pixel set with a neighbour above, below, left or right outside it.
    XGdiSurface* s = dc->pSurface;
    const uint32_t c = XfnGdiPixel(pen->clr);
    auto span = [&](int y, int& x0, int& x1) {
        if (y < top || y >= bottom) {
            x0 = x1 = 0;
            return;
        }
        const double t = (y + 0.5 - cy) / ry;
        const double hw = rx * std::sqrt(std::max(0.0, 1.0 - t * t));
        x0 = static_cast<int>(std::ceil(cx - hw - 0.5));
        x1 = static_cast<int>(std::floor(cx + hw - 0.5)) + 1;
        if (x1 < x0)
            x1 = x0;
    };
    const int ya = std::max(top, 0), yb = std::min(bottom, s->Height());
    for (int y = ya; y < yb; ++y) {
        int a0, a1, p0, p1, n0, n1;
        span(y, a0, a1);
        span(y - 1, p0, p1);
        span(y + 1, n0, n1);
        int i0 = std::max({a0 + 1, p0, n0});
        int i1 = std::min({a1 - 1, p1, n1});
        if (p0 == p1 || n0 == n1)
            i0 = i1 = a1;
        uint32_t* row = s->Row(y);
        for (int x = std::max(a0, 0); x < std::min(a1, s->Width()); ++x) {
            if (x >= i0 && x < i1)
                continue;
            row[x] = dc->nRop2 == R2_COPYPEN ? c : XfnGdiRop2(dc->nRop2, c, row[x]);
        }
    }
}
