// Shapes on the raster device: lines, polylines, polygons, rectangles,
// ellipses, paths, FillRect, PatBlt and single pixels. Fills go through the
// scan conversion of XSysGdiScan.h and the brush painter below; outlines go
// through the pens of XSysGdiLine.h.
#include <algorithm>
#include <cmath>
#include <new>

#include "platform/XSysGdiLine.h"
#include "platform/XSysGdiObject.h"

void XfnGdiPaintSpan(XGdiDC* dc, const XGdiBrush* br, int y, int x0, int x1, bool bPatCopy)
{
    if (br == nullptr || br->nStyle == BS_NULL || x0 >= x1)
        return;
    const int nRop2 = bPatCopy ? R2_COPYPEN : dc->nRop2;
    uint32_t* row = dc->pSurface->Row(y);
    auto put = [&](int x, uint32_t c) { row[x] = nRop2 == R2_COPYPEN ? c : XfnGdiRop2(nRop2, c, row[x]); };
    switch (br->nStyle) {
    case BS_SOLID: {
        const uint32_t c = XfnGdiPixel(br->clr);
        if (nRop2 == R2_COPYPEN)
            std::fill(row + x0, row + x1, c);
        else
            for (int x = x0; x < x1; ++x)
                put(x, c);
        break;
    }
    case BS_HATCHED: {
        // The hatch is anchored at the surface origin.
        const uint8_t bits = br->hatchRows[y & 7];
        const uint32_t fg = XfnGdiPixel(br->clr);
        const uint32_t bg = XfnGdiPixel(dc->clrBk);
        const bool bOpaque = dc->nBkMode == OPAQUE;
        for (int x = x0; x < x1; ++x) {
            if ((bits >> (7 - (x & 7))) & 1)
                put(x, fg);
            else if (bOpaque)
                put(x, bg);
        }
        break;
    }
    default: {
        const uint32_t* pat = &br->pattern[static_cast<size_t>(y % br->nPatHeight) * br->nPatWidth];
        for (int x = x0; x < x1; ++x)
            put(x, pat[x % br->nPatWidth]);
        break;
    }
    }
}

namespace {

// The brush as a cairo source anchored at the surface origin: hatch gaps take
// the background colour when OPAQUE and stay clear otherwise.
cairo_pattern_t* BrushSource(const XGdiDC* dc, const XGdiBrush* br)
{
    if (br->nStyle == BS_SOLID) {
        const COLORREF c = br->clr;
        return cairo_pattern_create_rgb((c & 0xFF) / 255.0, ((c >> 8) & 0xFF) / 255.0, ((c >> 16) & 0xFF) / 255.0);
    }
    const bool bHatch = br->nStyle == BS_HATCHED;
    const int w = bHatch ? 8 : br->nPatWidth, h = bHatch ? 8 : br->nPatHeight;
    cairo_surface_t* tile = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
    if (cairo_surface_status(tile) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(tile);
        return nullptr;
    }
    uint8_t* data = cairo_image_surface_get_data(tile);
    const int nStride = cairo_image_surface_get_stride(tile);
    const uint32_t bg = dc->nBkMode == OPAQUE ? XfnGdiPixel(dc->clrBk) : 0;
    for (int y = 0; y < h; ++y) {
        uint32_t* row = reinterpret_cast<uint32_t*>(data + static_cast<ptrdiff_t>(y) * nStride);
        for (int x = 0; x < w; ++x) {
            const bool bSet = !bHatch || ((br->hatchRows[y] >> (7 - x)) & 1);
            row[x] = bSet ? XfnGdiBrushPixel(br, x, y, bg) : bg;
        }
    }
    cairo_surface_mark_dirty(tile);
    cairo_pattern_t* pat = cairo_pattern_create_for_surface(tile);
    cairo_surface_destroy(tile);
    cairo_pattern_set_extend(pat, CAIRO_EXTEND_REPEAT);
    cairo_pattern_set_filter(pat, CAIRO_FILTER_NEAREST);
    return pat;
}

// The antialiased variation of a fill: cairo covers the path with coverage.
// It serves R2_COPYPEN; other raster operations keep the exact aliased route.
template <class AddPath>
bool FillAntialiased(XGdiDC* dc, const XGdiBrush* br, AddPath&& addPath)
{
    if (!dc->bAntialias || dc->nRop2 != R2_COPYPEN)
        return false;
    cairo_t* cr = dc->Cairo();
    cairo_pattern_t* pat = cr != nullptr ? BrushSource(dc, br) : nullptr;
    if (pat == nullptr)
        return false;
    cairo_save(cr);
    cairo_set_antialias(cr, CAIRO_ANTIALIAS_DEFAULT);
    cairo_set_fill_rule(cr, dc->nFillMode == WINDING ? CAIRO_FILL_RULE_WINDING : CAIRO_FILL_RULE_EVEN_ODD);
    cairo_new_path(cr);
    addPath(cr);
    cairo_set_source(cr, pat);
    cairo_fill(cr);
    cairo_restore(cr);
    cairo_pattern_destroy(pat);
    return true;
}

// Fills the polygons with the DC's brush in its fill mode.
void FillPolygons(XGdiDC* dc, const POINT* pts, const int* counts, int nPolys)
{
    const XGdiBrush* br = XfnGdiBrush(dc->hBrush);
    if (br == nullptr || br->nStyle == BS_NULL)
        return;
    if (FillAntialiased(dc, br, [&](cairo_t* cr) {
            for (int p = 0, nBase = 0; p < nPolys; nBase += counts[p++]) {
                cairo_move_to(cr, pts[nBase].x, pts[nBase].y);
                for (int i = 1; i < counts[p]; ++i)
                    cairo_line_to(cr, pts[nBase + i].x, pts[nBase + i].y);
                cairo_close_path(cr);
            }
        }))
        return;
    XGdiSurface* s = dc->pSurface;
    XfnGdiScanPolygons(pts, counts, nPolys, dc->nFillMode, s->Width(), s->Height(),
                       [&](int y, int x0, int x1) { XfnGdiPaintSpan(dc, br, y, x0, x1, false); });
}

bool Recording(XGdiDC* dc) { return dc->bPathOpen; }

void PathFigure(XGdiDC* dc, const POINT* pts, int n, bool bClose)
{
    dc->path.emplace_back(pts, pts + n);
    if (bClose && n > 0)
        dc->path.back().push_back(pts[0]);
}

// The pixel set of the ellipse in the box, as row spans: the pixels whose
// centres lie inside the ellipse inscribed in [left, right) by [top, bottom).
void FillEllipse(XGdiDC* dc, int left, int top, int right, int bottom)
{
    const XGdiBrush* br = XfnGdiBrush(dc->hBrush);
    if (br == nullptr || br->nStyle == BS_NULL)
        return;
    XGdiSurface* s = dc->pSurface;
    const double cx = (left + right) / 2.0, cy = (top + bottom) / 2.0;
    const double rx = (right - left) / 2.0, ry = (bottom - top) / 2.0;
    if (FillAntialiased(dc, br, [&](cairo_t* cr) {
            cairo_save(cr);
            cairo_translate(cr, cx, cy);
            cairo_scale(cr, rx, ry);
            cairo_arc(cr, 0, 0, 1, 0, 2 * M_PI);
            cairo_restore(cr);
        }))
        return;
    const int ya = std::max(top, 0), yb = std::min(bottom, s->Height());
    for (int y = ya; y < yb; ++y) {
        const double t = (y + 0.5 - cy) / ry;
        const double hw = rx * std::sqrt(std::max(0.0, 1.0 - t * t));
        const int x0 = std::max(0, static_cast<int>(std::ceil(cx - hw - 0.5)));
        const int x1 = std::min(s->Width(), static_cast<int>(std::floor(cx + hw - 0.5)) + 1);
        XfnGdiPaintSpan(dc, br, y, x0, x1, false);
    }
}

// The points of an ellipse for a path: enough that no chord strays half a
// pixel from the curve.
void EllipseFigure(XGdiDC* dc, int left, int top, int right, int bottom)
{
    const double cx = (left + right) / 2.0, cy = (top + bottom) / 2.0;
    const double rx = (right - left) / 2.0, ry = (bottom - top) / 2.0;
    const int n = std::clamp(static_cast<int>(std::ceil(M_PI * std::sqrt(std::max(rx, ry)) * 2)) * 4, 8, 4096);
    std::vector<POINT> pts(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        const double a = 2 * M_PI * i / n;
        pts[static_cast<size_t>(i)] = {static_cast<LONG>(std::lround(cx + rx * std::cos(a))),
                                       static_cast<LONG>(std::lround(cy + ry * std::sin(a)))};
    }
    PathFigure(dc, pts.data(), n, true);
}

bool NormaliseBox(int& left, int& top, int& right, int& bottom)
{
    if (left > right)
        std::swap(left, right);
    if (top > bottom)
        std::swap(top, bottom);
    return right > left && bottom > top;
}

} // namespace

BOOL MoveToEx(HDC hdc, int x, int y, POINT* lppt)
{
    XGdiDC* dc = XfnGdiDC(hdc);
    if (dc == nullptr)
        return FALSE;
    if (lppt != nullptr)
        *lppt = dc->cur;
    dc->cur = {x, y};
    if (Recording(dc))
        dc->path.push_back({dc->cur});
    return TRUE;
}

BOOL LineTo(HDC hdc, int x, int y)
{
    XGdiDC* dc = XfnGdiDrawDC(hdc);
    if (dc == nullptr)
        return FALSE;
    const POINT pts[2] = {dc->cur, {x, y}};
    if (Recording(dc)) {
        if (dc->path.empty())
            dc->path.push_back({dc->cur});
        dc->path.back().push_back(pts[1]);
    } else {
        XfnGdiStrokePolyline(dc, pts, 2, false);
    }
    dc->cur = pts[1];
    return TRUE;
}

BOOL Polyline(HDC hdc, const POINT* apt, int cpt)
{
    XGdiDC* dc = XfnGdiDrawDC(hdc);
    if (dc == nullptr || apt == nullptr || cpt < 2)
        return FALSE;
    if (Recording(dc))
        PathFigure(dc, apt, cpt, false);
    else
        XfnGdiStrokePolyline(dc, apt, cpt, false);
    return TRUE;
}

BOOL Polygon(HDC hdc, const POINT* apt, int cpt)
{
    XGdiDC* dc = XfnGdiDrawDC(hdc);
    if (dc == nullptr || apt == nullptr || cpt < 2)
        return FALSE;
    if (Recording(dc)) {
        PathFigure(dc, apt, cpt, true);
        return TRUE;
    }
    FillPolygons(dc, apt, &cpt, 1);
    XfnGdiStrokePolyline(dc, apt, cpt, true);
    return TRUE;
}

BOOL PolyPolygon(HDC hdc, const POINT* apt, const int* asz, int csz)
{
    XGdiDC* dc = XfnGdiDrawDC(hdc);
    if (dc == nullptr || apt == nullptr || asz == nullptr || csz < 1)
        return FALSE;
    for (int i = 0; i < csz; ++i) {
        if (asz[i] < 2)
            return FALSE;
    }
    if (Recording(dc)) {
        for (int i = 0, nBase = 0; i < csz; nBase += asz[i++])
            PathFigure(dc, apt + nBase, asz[i], true);
        return TRUE;
    }
    FillPolygons(dc, apt, asz, csz);
    for (int i = 0, nBase = 0; i < csz; nBase += asz[i++])
        XfnGdiStrokePolyline(dc, apt + nBase, asz[i], true);
    return TRUE;
}

BOOL Rectangle(HDC hdc, int left, int top, int right, int bottom)
{
    XGdiDC* dc = XfnGdiDrawDC(hdc);
    if (dc == nullptr)
        return FALSE;
    if (!NormaliseBox(left, top, right, bottom))
        return TRUE;
    // The outline runs along the last column and row inside the box, so the
    // right and bottom edges stay out; without a pen the fill stops one pixel
    // short of them as well.
    const POINT ring[4] = {{left, top}, {right - 1, top}, {right - 1, bottom - 1}, {left, bottom - 1}};
    if (Recording(dc)) {
        PathFigure(dc, ring, 4, true);
        return TRUE;
    }
    const int n = 4;
    FillPolygons(dc, ring, &n, 1);
    XfnGdiStrokePolyline(dc, ring, 4, true);
    return TRUE;
}

BOOL Ellipse(HDC hdc, int left, int top, int right, int bottom)
{
    XGdiDC* dc = XfnGdiDrawDC(hdc);
    if (dc == nullptr)
        return FALSE;
    if (!NormaliseBox(left, top, right, bottom))
        return TRUE;
    if (Recording(dc)) {
        EllipseFigure(dc, left, top, right, bottom);
        return TRUE;
    }
    FillEllipse(dc, left, top, right, bottom);
    XfnGdiStrokeEllipse(dc, left, top, right, bottom);
    return TRUE;
}

int FillRect(HDC hdc, const RECT* lprc, HBRUSH hbr)
{
    XGdiDC* dc = XfnGdiDrawDC(hdc);
    const XGdiBrush* br = XfnGdiBrush(hbr);
    if (dc == nullptr || br == nullptr || lprc == nullptr)
        return 0;
    XGdiSurface* s = dc->pSurface;
    const int x0 = std::max<LONG>(lprc->left, 0), x1 = std::min<LONG>(lprc->right, s->Width());
    const int y0 = std::max<LONG>(lprc->top, 0), y1 = std::min<LONG>(lprc->bottom, s->Height());
    for (int y = y0; y < y1; ++y)
        XfnGdiPaintSpan(dc, br, y, x0, x1, true);
    return 1;
}

BOOL PatBlt(HDC hdc, int x, int y, int w, int h, DWORD rop)
{
    XGdiDC* dc = XfnGdiDrawDC(hdc);
    const unsigned t = (rop >> 16) & 0xFF;
    // A raster operation that reads a source cannot run without one.
    if (dc == nullptr || (((t >> 2) ^ t) & 0x33) != 0)
        return FALSE;
    if (w < 0) {
        x += w;
        w = -w;
    }
    if (h < 0) {
        y += h;
        h = -h;
    }
    XGdiSurface* s = dc->pSurface;
    const XGdiBrush* br = XfnGdiBrush(dc->hBrush);
    const int x0 = std::max(x, 0), x1 = static_cast<int>(std::min<int64_t>(static_cast<int64_t>(x) + w, s->Width()));
    const int y0 = std::max(y, 0), y1 = static_cast<int>(std::min<int64_t>(static_cast<int64_t>(y) + h, s->Height()));
    if (x0 >= x1 || y0 >= y1)
        return TRUE;
    const uint32_t bg = XfnGdiPixel(dc->clrBk);
    for (int yy = y0; yy < y1; ++yy) {
        uint32_t* row = s->Row(yy);
        for (int xx = x0; xx < x1; ++xx)
            row[xx] = XfnGdiRop3(t, XfnGdiBrushPixel(br, xx, yy, bg), 0, row[xx]);
    }
    return TRUE;
}

COLORREF SetPixel(HDC hdc, int x, int y, COLORREF color)
{
    XGdiDC* dc = XfnGdiDrawDC(hdc);
    if (dc == nullptr)
        return CLR_INVALID;
    // Fills call this once a pixel: a negative coordinate fails the unsigned
    // compare, so two compares bound the point.
    XGdiSurface* s = dc->pSurface;
    if (static_cast<unsigned>(x) >= static_cast<unsigned>(s->Width()) ||
        static_cast<unsigned>(y) >= static_cast<unsigned>(s->Height()))
        return CLR_INVALID;
    s->Row(y)[x] = XfnGdiPixel(color);
    return color & 0xFFFFFFu;
}

COLORREF GetPixel(HDC hdc, int x, int y)
{
    XGdiDC* dc = XfnGdiDrawDC(hdc);
    if (dc == nullptr || x < 0 || y < 0 || x >= dc->pSurface->Width() || y >= dc->pSurface->Height())
        return CLR_INVALID;
    return XfnGdiColor(dc->pSurface->Row(y)[x]);
}

// ---------------------------------------------------------------- paths

BOOL BeginPath(HDC hdc)
{
    XGdiDC* dc = XfnGdiDC(hdc);
    if (dc == nullptr)
        return FALSE;
    dc->path.clear();
    dc->bPathOpen = true;
    dc->bPathDone = false;
    return TRUE;
}

BOOL EndPath(HDC hdc)
{
    XGdiDC* dc = XfnGdiDC(hdc);
    if (dc == nullptr || !dc->bPathOpen)
        return FALSE;
    dc->bPathOpen = false;
    dc->bPathDone = true;
    return TRUE;
}

BOOL AbortPath(HDC hdc)
{
    XGdiDC* dc = XfnGdiDC(hdc);
    if (dc == nullptr)
        return FALSE;
    dc->path.clear();
    dc->bPathOpen = dc->bPathDone = false;
    return TRUE;
}

namespace {
enum { PATH_FILL = 1, PATH_STROKE = 2 };

BOOL UsePath(HDC hdc, int nWhat)
{
    XGdiDC* dc = XfnGdiDrawDC(hdc);
    if (dc == nullptr || !dc->bPathDone)
        return FALSE;
    std::vector<std::vector<POINT>> figures;
    figures.swap(dc->path);
    dc->bPathDone = false;
    if (nWhat & PATH_FILL) {
        std::vector<POINT> pts;
        std::vector<int> counts;
        for (const std::vector<POINT>& f : figures) {
            if (f.size() < 2)
                continue;
            pts.insert(pts.end(), f.begin(), f.end());
            counts.push_back(static_cast<int>(f.size()));
        }
        if (!counts.empty())
            FillPolygons(dc, pts.data(), counts.data(), static_cast<int>(counts.size()));
    }
    if (nWhat & PATH_STROKE) {
        for (const std::vector<POINT>& f : figures) {
            if (f.size() >= 2)
                XfnGdiStrokePolyline(dc, f.data(), static_cast<int>(f.size()), false);
        }
    }
    return TRUE;
}
} // namespace

BOOL FillPath(HDC hdc) { return UsePath(hdc, PATH_FILL); }
BOOL StrokePath(HDC hdc) { return UsePath(hdc, PATH_STROKE); }
BOOL StrokeAndFillPath(HDC hdc) { return UsePath(hdc, PATH_FILL | PATH_STROKE); }
