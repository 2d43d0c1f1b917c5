// The raster device: 100,000 small polygons filled and outlined through a
// device context against the same polygons drawn with cairo directly on a
// surface of the same size (goal: ratio 1.3 or less), and PtInRegion over
// every pixel of a 1000 by 1000 region against a plain loop over a mask of the
// same pixels (goal: 10 or less).

#include "KVDbase/platform/XGdi.h"

#include <benchmark/benchmark.h>
#include <cairo.h>

#include <vector>

namespace {

const int kSide = 1024;
const int kPolygons = 100000;
const int kCorners = 5;

// Polygons of five corners, each within a box of 12 pixels, spread over the
// surface.
const std::vector<POINT>& Polygons()
{
    static const std::vector<POINT> pts = [] {
        std::vector<POINT> v(static_cast<size_t>(kPolygons) * kCorners);
        unsigned seed = 2024;
        auto next = [&seed](int n) {
            seed = seed * 1103515245u + 12345u;
            return static_cast<int>((seed >> 8) % static_cast<unsigned>(n));
        };
        for (int i = 0; i < kPolygons; ++i) {
            const int x = next(kSide - 12), y = next(kSide - 12);
            for (int k = 0; k < kCorners; ++k)
                v[static_cast<size_t>(i) * kCorners + k] = {x + next(12), y + next(12)};
        }
        return v;
    }();
    return pts;
}

void BM_DCPolygons(benchmark::State& state)
{
    const std::vector<POINT>& pts = Polygons();
    HDC dc = CreateCompatibleDC(nullptr);
    HBITMAP bm = CreateCompatibleBitmap(dc, kSide, kSide);
    HGDIOBJ oldBitmap = SelectObject(dc, bm);
    HBRUSH br = CreateSolidBrush(RGB(30, 160, 90));
    HPEN pen = CreatePen(PS_SOLID, 0, RGB(0, 0, 0));
    HGDIOBJ oldBrush = SelectObject(dc, br);
    HGDIOBJ oldPen = SelectObject(dc, pen);
    for (auto _ : state) {
        for (int i = 0; i < kPolygons; ++i)
            Polygon(dc, &pts[static_cast<size_t>(i) * kCorners], kCorners);
        benchmark::DoNotOptimize(GetPixel(dc, 5, 5));
    }
    state.SetItemsProcessed(state.iterations() * kPolygons);
    SelectObject(dc, oldBrush);
    SelectObject(dc, oldPen);
    SelectObject(dc, oldBitmap);
    DeleteObject(br);
    DeleteObject(pen);
    DeleteObject(bm);
    DeleteDC(dc);
}
BENCHMARK(BM_DCPolygons)->Unit(benchmark::kMillisecond);

void BM_CairoPolygons(benchmark::State& state)
{
    const std::vector<POINT>& pts = Polygons();
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_RGB24, kSide, kSide);
    cairo_t* cr = cairo_create(s);
    cairo_set_antialias(cr, CAIRO_ANTIALIAS_NONE);
    cairo_set_line_width(cr, 1.0);
    for (auto _ : state) {
        for (int i = 0; i < kPolygons; ++i) {
            const POINT* p = &pts[static_cast<size_t>(i) * kCorners];
            cairo_move_to(cr, p[0].x, p[0].y);
            for (int k = 1; k < kCorners; ++k)
                cairo_line_to(cr, p[k].x, p[k].y);
            cairo_close_path(cr);
            cairo_set_source_rgb(cr, 30 / 255.0, 160 / 255.0, 90 / 255.0);
            cairo_fill(cr);
            // The outline along the pixel centres, as a one-pixel pen runs.
            cairo_move_to(cr, p[0].x + 0.5, p[0].y + 0.5);
            for (int k = 1; k < kCorners; ++k)
                cairo_line_to(cr, p[k].x + 0.5, p[k].y + 0.5);
            cairo_close_path(cr);
            cairo_set_source_rgb(cr, 0, 0, 0);
            cairo_stroke(cr);
        }
        cairo_surface_flush(s);
        benchmark::DoNotOptimize(cairo_image_surface_get_data(s)[0]);
    }
    state.SetItemsProcessed(state.iterations() * kPolygons);
    cairo_destroy(cr);
    cairo_surface_destroy(s);
}
BENCHMARK(BM_CairoPolygons)->Unit(benchmark::kMillisecond);

// A region of 1000 by 1000 pixels with a square hole.
struct RingRegion {
    HRGN rgn;
    std::vector<uint8_t> mask;
    RingRegion()
    {
        std::vector<POINT> pts;
        const int counts[2] = {4, 4};
        pts = {{0, 0}, {1000, 0}, {1000, 1000}, {0, 1000}, {300, 300}, {300, 700}, {700, 700}, {700, 300}};
        rgn = CreatePolyPolygonRgn(pts.data(), counts, 2, ALTERNATE);
        mask.resize(1000 * 1000);
        for (int y = 0; y < 1000; ++y)
            for (int x = 0; x < 1000; ++x)
                mask[static_cast<size_t>(y) * 1000 + x] = PtInRegion(rgn, x, y) ? 1 : 0;
    }
};

const RingRegion& Ring()
{
    static const RingRegion r;
    return r;
}

void BM_PtInRegion(benchmark::State& state)
{
    HRGN rgn = Ring().rgn;
    for (auto _ : state) {
        for (int y = 0; y < 1000; ++y)
            for (int x = 0; x < 1000; ++x)
                benchmark::DoNotOptimize(PtInRegion(rgn, x, y));
    }
    state.SetItemsProcessed(state.iterations() * 1000000);
}
BENCHMARK(BM_PtInRegion)->Unit(benchmark::kMillisecond);

void BM_PlainLoopOverMask(benchmark::State& state)
{
    const std::vector<uint8_t>& mask = Ring().mask;
    for (auto _ : state) {
        for (int y = 0; y < 1000; ++y)
            for (int x = 0; x < 1000; ++x)
                benchmark::DoNotOptimize(mask[static_cast<size_t>(y) * 1000 + x] != 0);
    }
    state.SetItemsProcessed(state.iterations() * 1000000);
}
BENCHMARK(BM_PlainLoopOverMask)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
