// XSysGdiScan: the scan conversion of the raster device. A pixel belongs to
// a polygon when its centre (x + 0.5, y + 0.5) lies inside, an edge through
// a centre counting on its left and top sides only; so a rectangle from
// (l, t) to (r, b) covers columns l to r - 1 and rows t to b - 1. Stateless.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdint>
#include <vector>

#include "KVDbase/platform/XGdi.h"

struct XGdiEdge {
    double x0, y0, dxdy;
    int yTop, yEnd; // rows yTop to yEnd - 1
    int nDir;
};

// The edges of the polygons (each closed), sorted by first row.
inline void XfnGdiBuildEdges(const POINT* pts, const int* counts, int nPolys, std::vector<XGdiEdge>& edges)
{
    edges.clear();
    int nBase = 0;
    for (int p = 0; p < nPolys; ++p) {
        const int n = counts[p];
        for (int i = 0; i < n; ++i) {
            const POINT a = pts[nBase + i];
            const POINT b = pts[nBase + (i + 1) % n];
            if (a.y == b.y)
                continue;
            XGdiEdge e;
            const bool bDown = a.y < b.y;
            const POINT& top = bDown ? a : b;
            const POINT& bot = bDown ? b : a;
            e.x0 = top.x;
            e.y0 = top.y;
            e.dxdy = static_cast<double>(bot.x - top.x) / static_cast<double>(bot.y - top.y);
            e.yTop = top.y;
            e.yEnd = bot.y;
            e.nDir = bDown ? 1 : -1;
            edges.push_back(e);
        }
        nBase += n;
    }
    std::sort(edges.begin(), edges.end(), [](const XGdiEdge& l, const XGdiEdge& r) { return l.yTop < r.yTop; });
}

// The smallest integer not below v, for |v| well inside the range of int64
// (scan coordinates are ints): no call into the maths library per span.
inline int64_t XfnGdiCeil(double v)
{
    const int64_t t = static_cast<int64_t>(v);
    return static_cast<double>(t) < v ? t + 1 : t;
}

// The same over edges already built, for callers that keep them.
template <class Fn>
void XfnGdiScanEdges(const std::vector<XGdiEdge>& edges, int nFillMode, int nMaxX, int nMaxY, Fn&& fn)
{
    if (edges.empty())
        return;
    int yEnd = INT_MIN;
    for (const XGdiEdge& e : edges)
        yEnd = std::max(yEnd, e.yEnd);
    yEnd = std::min(yEnd, nMaxY);
    int y = std::max(edges.front().yTop, 0);
    size_t nNext = 0;
    std::vector<const XGdiEdge*> active;
    // The first row at which an active edge ends: the list is pruned only
    // then, not on every row.
    int yPrune = INT_MAX;
    struct Cross {
        double x;
        int nDir;
    };
    std::vector<Cross> cross;
    for (; y < yEnd; ++y) {
        while (nNext < edges.size() && edges[nNext].yTop <= y) {
            active.push_back(&edges[nNext]);
            yPrune = std::min(yPrune, edges[nNext++].yEnd);
        }
        if (y >= yPrune) {
            active.erase(std::remove_if(active.begin(), active.end(), [y](const XGdiEdge* e) { return e->yEnd <= y; }),
                         active.end());
            yPrune = INT_MAX;
            for (const XGdiEdge* e : active)
                yPrune = std::min(yPrune, e->yEnd);
        }
        if (active.empty()) {
            if (nNext == edges.size())
                break;
            y = edges[nNext].yTop - 1;
            continue;
        }
        const double yc = y + 0.5;
        auto span = [&](double xa, double xb) {
            const int x0 = static_cast<int>(std::clamp<int64_t>(XfnGdiCeil(xa - 0.5), 0, nMaxX));
            const int x1 = static_cast<int>(std::clamp<int64_t>(XfnGdiCeil(xb - 0.5), 0, nMaxX));
            if (x0 < x1)
                fn(y, x0, x1);
        };
        if (active.size() == 2) {
            // Two crossings bound one span in either fill mode: the usual
            // row of a convex shape needs no sorting.
            const double xa = active[0]->x0 + (yc - active[0]->y0) * active[0]->dxdy;
            const double xb = active[1]->x0 + (yc - active[1]->y0) * active[1]->dxdy;
            span(std::min(xa, xb), std::max(xa, xb));
            continue;
        }
        cross.clear();
        for (const XGdiEdge* e : active)
            cross.push_back({e->x0 + (yc - e->y0) * e->dxdy, e->nDir});
        for (size_t i = 1; i < cross.size(); ++i) {
            Cross c = cross[i];
            size_t j = i;
            for (; j > 0 && cross[j - 1].x > c.x; --j)
                cross[j] = cross[j - 1];
            cross[j] = c;
        }
        int nWind = 0;
        for (size_t i = 0; i + 1 < cross.size(); ++i) {
            nWind += cross[i].nDir;
            const bool bInside = nFillMode == WINDING ? nWind != 0 : (i % 2) == 0;
            if (bInside)
                span(cross[i].x, cross[i + 1].x);
        }
    }
}

// Spans of pixels whose centres lie inside the polygons, in the fill mode,
// handed row by row to fn(y, x0, x1) with x1 exclusive; rows and columns are
// limited to [0, nMaxX) by [0, nMaxY).
template <class Fn>
void XfnGdiScanPolygons(const POINT* pts, const int* counts, int nPolys, int nFillMode, int nMaxX, int nMaxY, Fn&& fn)
{
    std::vector<XGdiEdge> edges;
    XfnGdiBuildEdges(pts, counts, nPolys, edges);
    XfnGdiScanEdges(edges, nFillMode, nMaxX, nMaxY, fn);
}
