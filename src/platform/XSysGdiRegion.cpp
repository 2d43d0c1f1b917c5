// Regions of the raster device: the pixels a polygon fill of the same points
// would cover, kept as row spans and, for a box of reasonable size, as a bit
// mask, so that PtInRegion is one bit test.
#include <algorithm>
#include <new>

#include "platform/XSysGdiObject.h"

namespace {

// The largest box kept as a bit mask (8 MB), and the most rows or columns a
// region spans.
constexpr int64_t nMaxMaskBits = int64_t(1) << 26;
constexpr int64_t nMaxRows = int64_t(1) << 24;

// Sets bits [a, b) of a mask row a word at a time.
void SetBits(uint64_t* m, int a, int b)
{
    while (a < b) {
        const int n = std::min(b - a, 64 - (a & 63));
        const uint64_t bits = n == 64 ? ~uint64_t(0) : ((uint64_t(1) << n) - 1) << (a & 63);
        m[a >> 6] |= bits;
        a += n;
    }
}

HRGN MakeRegion(const POINT* pts, const int* counts, int nPolys, int iMode)
{
    if (pts == nullptr || counts == nullptr || nPolys < 1 || (iMode != ALTERNATE && iMode != WINDING))
        return nullptr;
    int64_t nTotal = 0;
    for (int i = 0; i < nPolys; ++i) {
        if (counts[i] < 0)
            return nullptr;
        nTotal += counts[i];
    }
    if (nTotal < 3)
        return nullptr;
    try {
        std::unique_ptr<XGdiRegion> rgn(new XGdiRegion);
        std::vector<XGdiEdge> edges;
        LONG minX = pts[0].x, maxX = pts[0].x, minY = pts[0].y, maxY = pts[0].y;
        for (int64_t i = 1; i < nTotal; ++i) {
            minX = std::min(minX, pts[i].x);
            maxX = std::max(maxX, pts[i].x);
            minY = std::min(minY, pts[i].y);
            maxY = std::max(maxY, pts[i].y);
        }
        if (static_cast<int64_t>(maxY) - minY > nMaxRows || static_cast<int64_t>(maxX) - minX > nMaxRows)
            return nullptr;
        // The scan works from row 0 and column 0: shift the points so the box
        // starts there, and shift back.
        std::vector<POINT> shifted(pts, pts + nTotal);
        for (POINT& p : shifted) {
            p.x -= minX;
            p.y -= minY;
        }
        XfnGdiBuildEdges(shifted.data(), counts, nPolys, edges);
        const int nRows = maxY - minY;
        std::vector<std::vector<int>> rows(static_cast<size_t>(nRows));
        int x0 = INT32_MAX, x1 = INT32_MIN, y0 = INT32_MAX, y1 = INT32_MIN;
        XfnGdiScanEdges(edges, iMode, INT32_MAX, nRows, [&](int y, int a, int b) {
            rows[static_cast<size_t>(y)].push_back(a);
            rows[static_cast<size_t>(y)].push_back(b);
            x0 = std::min(x0, a);
            x1 = std::max(x1, b);
            y0 = std::min(y0, y);
            y1 = std::max(y1, y + 1);
        });
        if (x0 < x1) {
            rgn->box = {x0 + minX, y0 + minY, x1 + minX, y1 + minY};
            rgn->rowStart.reserve(static_cast<size_t>(y1 - y0) + 1);
            for (int y = y0; y < y1; ++y) {
                rgn->rowStart.push_back(static_cast<int>(rgn->spans.size()));
                for (int v : rows[static_cast<size_t>(y)])
                    rgn->spans.push_back(v + minX);
            }
            rgn->rowStart.push_back(static_cast<int>(rgn->spans.size()));
            const int64_t nWidth = x1 - x0;
            if (nWidth * (y1 - y0) <= nMaxMaskBits) {
                rgn->nMaskWords = static_cast<int>((nWidth + 63) / 64);
                rgn->mask.assign(static_cast<size_t>(rgn->nMaskWords) * (y1 - y0), 0);
                for (int y = y0; y < y1; ++y) {
                    uint64_t* m = &rgn->mask[static_cast<size_t>(y - y0) * rgn->nMaskWords];
                    const std::vector<int>& r = rows[static_cast<size_t>(y)];
                    for (size_t i = 0; i + 1 < r.size(); i += 2)
                        SetBits(m, r[i] - x0, r[i + 1] - x0);
                }
                rgn->pMask = rgn->mask.data();
            }
        }
        return static_cast<HRGN>(XfnGdiAdd(std::move(rgn)));
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

} // namespace

HRGN CreatePolygonRgn(const POINT* pptl, int cPoint, int iMode)
{
    return MakeRegion(pptl, &cPoint, 1, iMode);
}

HRGN CreatePolyPolygonRgn(const POINT* pptl, const int* pc, int cPoly, int iMode)
{
    return MakeRegion(pptl, pc, cPoly, iMode);
}

HRGN CreateRectRgn(int x1, int y1, int x2, int y2)
{
    if (x1 > x2)
        std::swap(x1, x2);
    if (y1 > y2)
        std::swap(y1, y2);
    const POINT pts[4] = {{x1, y1}, {x2, y1}, {x2, y2}, {x1, y2}};
    const int n = 4;
    if (x1 == x2 || y1 == y2) {
        // An empty rectangle is an empty region, not a failure.
        try {
            return static_cast<HRGN>(XfnGdiAdd(std::unique_ptr<XGdiObject>(new XGdiRegion)));
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
    }
    return MakeRegion(pts, &n, 1, ALTERNATE);
}

BOOL PtInRegion(HRGN hrgn, int x, int y)
{
    const XGdiRegion* r = XfnGdiRegion(hrgn);
    if (r == nullptr)
        return FALSE;
    // Offsets from the box corner in unsigned arithmetic: one compare each
    // keeps the point inside the box, on either side, for any int.
    const uint32_t dx = static_cast<uint32_t>(x) - static_cast<uint32_t>(r->box.left);
    const uint32_t dy = static_cast<uint32_t>(y) - static_cast<uint32_t>(r->box.top);
    if (dx >= static_cast<uint32_t>(r->box.right) - static_cast<uint32_t>(r->box.left) ||
        dy >= static_cast<uint32_t>(r->box.bottom) - static_cast<uint32_t>(r->box.top))
        return FALSE;
    if (r->nMaskWords > 0)
        return static_cast<BOOL>((r->pMask[size_t(dy) * r->nMaskWords + (dx >> 6)] >> (dx & 63)) & 1);
    const int* s = r->spans.data();
    const int* a = s + r->rowStart[static_cast<size_t>(dy)];
    const int* b = s + r->rowStart[static_cast<size_t>(dy) + 1];
    for (; a < b; a += 2) {
        if (x >= a[0] && x < a[1])
            return TRUE;
    }
    return FALSE;
}

int GetRgnBox(HRGN hrgn, RECT* lprc)
{
    const XGdiRegion* r = XfnGdiRegion(hrgn);
    if (r == nullptr || lprc == nullptr)
        return ERROR;
    *lprc = r->box;
    if (r->rowStart.empty())
        return NULLREGION;
    for (size_t y = 0; y + 1 < r->rowStart.size(); ++y) {
        if (r->rowStart[y + 1] - r->rowStart[y] != 2 || r->spans[static_cast<size_t>(r->rowStart[y])] != r->box.left ||
            r->spans[static_cast<size_t>(r->rowStart[y]) + 1] != r->box.right)
            return COMPLEXREGION;
    }
    return SIMPLEREGION;
}

BOOL FillRgn(HDC hdc, HRGN hrgn, HBRUSH hbr)
{
    XGdiDC* dc = XfnGdiDrawDC(hdc);
    const XGdiRegion* r = XfnGdiRegion(hrgn);
    const XGdiBrush* br = XfnGdiBrush(hbr);
    if (dc == nullptr || r == nullptr || br == nullptr)
        return FALSE;
    XGdiSurface* s = dc->pSurface;
    for (size_t i = 0; i + 1 < r->rowStart.size(); ++i) {
        const int y = r->box.top + static_cast<int>(i);
        if (y < 0 || y >= s->Height())
            continue;
        for (int k = r->rowStart[i]; k < r->rowStart[i + 1]; k += 2) {
            const int x0 = std::max(r->spans[static_cast<size_t>(k)], 0);
            const int x1 = std::min(r->spans[static_cast<size_t>(k) + 1], s->Width());
            XfnGdiPaintSpan(dc, br, y, x0, x1, true);
        }
    }
    return TRUE;
}

BOOL XfnStippleRgn(HDC hdc, HRGN hrgn, const RECT* pBounds, const BYTE* pMask, COLORREF color)
{
    XGdiDC* dc = XfnGdiDrawDC(hdc);
    const XGdiRegion* r = XfnGdiRegion(hrgn);
    if (dc == nullptr || r == nullptr || pBounds == nullptr || pMask == nullptr)
        return FALSE;
    XGdiSurface* s = dc->pSurface;
    const int left = std::max({pBounds->left, r->box.left, LONG(0)});
    const int right = std::min({pBounds->right, r->box.right, LONG(s->Width())});
    const int top = std::max({pBounds->top, r->box.top, LONG(0)});
    const int bottom = std::min({pBounds->bottom, r->box.bottom, LONG(s->Height())});
    const uint32_t c = XfnGdiPixel(color);
    for (int y = top; y < bottom; ++y) {
        // The row's four bytes as one word, byte 0 in the high bits: bit
        // 31 - (x mod 32) is pixel x's.
        const BYTE* m = pMask + (static_cast<unsigned>(y) % 32) * 4;
        const uint32_t nRow = (uint32_t(m[0]) << 24) | (uint32_t(m[1]) << 16) | (uint32_t(m[2]) << 8) | m[3];
        if (nRow == 0)
            continue;
        uint32_t* row = s->Row(y);
        const size_t i = static_cast<size_t>(y - r->box.top);
        for (int k = r->rowStart[i]; k < r->rowStart[i + 1]; k += 2) {
            const int x0 = std::max(r->spans[static_cast<size_t>(k)], left);
            const int x1 = std::min(r->spans[static_cast<size_t>(k) + 1], right);
            for (int x = x0; x < x1; ++x) {
                if ((nRow << (static_cast<unsigned>(x) % 32)) & 0x80000000u)
                    row[x] = c;
            }
        }
    }
    return TRUE;
}
