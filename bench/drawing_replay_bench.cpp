// The raster replay of a recorded drawing against its peers.
//
// - A drawing of 100 000 shapes (filled and outlined polygons, and
//   polylines) replayed on a 1024 by 768 back buffer, against cairo drawing
//   the same shapes directly on a surface of the same size, aliased as the
//   raster device draws (the peer of the goal: ratio at most 1.3).
// - The same replay with a view that shows 1 % of the drawing, against the
//   full view: culling must make it cost little (goal: at most 0.05); and a
//   view beside the drawing, for the cost of the culling alone.
// - A style 8 (stippled) fill of a 1000 by 1000 pixel polygon, pixel by
//   pixel as the raster path does it, against a solid fill of the same
//   polygon (goal: at most 10).
//
// The peer uses cairo directly: it is what the raster device itself stands
// on, so the ratio shows what the record walk, the culling and the GDI layer
// add to the bare rasterisation.

#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/drawing/XVertBuffer.h"
#include "KVDbase/platform/XGdi.h"

#include <benchmark/benchmark.h>
#include <cairo.h>

#include <cmath>
#include <vector>

namespace {

const int kWidth = 1024, kHeight = 768;
const int kPolygons = 50000, kPolylines = 50000;
const int kPolygonPoints = 6, kPolylinePoints = 8;
// The world: 1000 by 750 units, one unit about one pixel in the full view.
const double kWorldW = 1000.0, kWorldH = 750.0;

struct Scene {
    std::vector<tagXVector2> polygonPoints;
    std::vector<double> polygonExtents;
    std::vector<tagXVector2> polylinePoints;
    std::vector<double> polylineExtents;

    Scene()
    {
        unsigned seed = 2024;
        auto Next = [&seed]() {
            seed = seed * 1103515245u + 12345u;
            return (seed >> 8) / 16777216.0;
        };
        auto Shapes = [&](int nCount, int nPoints, double dRadius, std::vector<tagXVector2>& pts,
                          std::vector<double>& ext) {
            for (int s = 0; s < nCount; ++s) {
                const double cx = Next() * kWorldW, cy = Next() * kWorldH;
                double e[4] = {1e300, 1e300, -1e300, -1e300};
                for (int i = 0; i < nPoints; ++i) {
                    const double a = 2 * M_PI * i / nPoints;
                    const double r = dRadius * (0.6 + 0.4 * Next());
                    const tagXVector2 p = {cx + r * std::cos(a), cy + r * std::sin(a)};
                    pts.push_back(p);
                    e[0] = std::fmin(e[0], p.x);
                    e[1] = std::fmin(e[1], p.y);
                    e[2] = std::fmax(e[2], p.x);
                    e[3] = std::fmax(e[3], p.y);
                }
                ext.insert(ext.end(), e, e + 4);
            }
        };
        Shapes(kPolygons, kPolygonPoints, 4.0, polygonPoints, polygonExtents);
        Shapes(kPolylines, kPolylinePoints, 6.0, polylinePoints, polylineExtents);
    }
};

const Scene& TheScene()
{
    static const Scene scene;
    return scene;
}

const COLORREF kFill = 0x40A040, kOutline = 0x202080, kLine = 0xC04000;

void Record(XVertBuffer& vb)
{
    const Scene& s = TheScene();
    vb.Start();
    tagXLineStyle line;
    tagXFillStyle fill;
    vb.AddLineStyle(&line, -1.0, kOutline, 1.0);
    vb.AddFillStyle(&fill, kFill, kFill, 1.0);
    for (int i = 0; i < kPolygons; ++i)
        vb.AddPolygon(&s.polygonPoints[static_cast<size_t>(i) * kPolygonPoints], kPolygonPoints,
                      &s.polygonExtents[static_cast<size_t>(i) * 4]);
    vb.AddLineColor(kLine, 1.0);
    for (int i = 0; i < kPolylines; ++i)
        vb.AddPolyline(&s.polylinePoints[static_cast<size_t>(i) * kPolylinePoints], kPolylinePoints,
                       &s.polylineExtents[static_cast<size_t>(i) * 4]);
    vb.End();
}

// A type 2 back buffer of w by h on a window of its own.
struct Surface {
    HWND hWnd;
    XBackBuffer bb;
    Surface(int w, int h) : hWnd(XfnCreateImageWindow(w, h)) { bb.Create(hWnd, XBackBuffer::TYPE_DIB); }
    ~Surface()
    {
        bb.Delete();
        DestroyWindow(hWnd);
    }
};

// The argument is the share of the drawing in view, in percent of its area;
// 0 is a view of the 1 % size beside the drawing, which shows none of it and
// so measures the culling alone.
void BM_ReplayRaster(benchmark::State& state)
{
    XVertBuffer vb(XVertBuffer::PATH_GDI);
    Record(vb);
    Surface s(kWidth, kHeight);
    const double k = state.range(0) == 0 ? 0.1 : std::sqrt(state.range(0) / 100.0);
    const double cx = state.range(0) == 0 ? 5 * kWorldW : kWorldW / 2, cy = kWorldH / 2;
    s.bb.ZoomFit(cx - k * kWorldW / 2, cy - k * kWorldH / 2, cx + k * kWorldW / 2, cy + k * kWorldH / 2);
    for (auto _ : state) {
        s.bb.Clear(0xFFFFFF, nullptr);
        vb.Draw(&s.bb);
    }
    state.SetItemsProcessed(state.iterations() * (kPolygons + kPolylines));
}

void BM_CairoDirect(benchmark::State& state)
{
    const Scene& scene = TheScene();
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_RGB24, kWidth, kHeight);
    cairo_t* cr = cairo_create(surface);
    cairo_set_antialias(cr, CAIRO_ANTIALIAS_NONE);
    cairo_set_line_width(cr, 1.0);
    // The same view as the full replay: world to pixel with y up.
    const double dScale = std::fmin(kWidth / kWorldW, kHeight / kWorldH);
    auto Path = [&](const tagXVector2* p, int n) {
        cairo_move_to(cr, p[0].x * dScale, kHeight - p[0].y * dScale);
        for (int i = 1; i < n; ++i)
            cairo_line_to(cr, p[i].x * dScale, kHeight - p[i].y * dScale);
    };
    auto Source = [&](COLORREF c) {
        cairo_set_source_rgb(cr, (c & 0xFF) / 255.0, ((c >> 8) & 0xFF) / 255.0, ((c >> 16) & 0xFF) / 255.0);
    };
    for (auto _ : state) {
        cairo_set_source_rgb(cr, 1, 1, 1);
        cairo_paint(cr);
        for (int i = 0; i < kPolygons; ++i) {
            Path(&scene.polygonPoints[static_cast<size_t>(i) * kPolygonPoints], kPolygonPoints);
            cairo_close_path(cr);
            Source(kFill);
            cairo_fill_preserve(cr);
            Source(kOutline);
            cairo_stroke(cr);
        }
        Source(kLine);
        for (int i = 0; i < kPolylines; ++i) {
            Path(&scene.polylinePoints[static_cast<size_t>(i) * kPolylinePoints], kPolylinePoints);
            cairo_stroke(cr);
        }
        cairo_surface_flush(surface);
    }
    state.SetItemsProcessed(state.iterations() * (kPolygons + kPolylines));
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
}

// A 1000 by 1000 pixel polygon (an octagon filling the surface) filled in
// the fill style of the argument: 0 solid, 8 the stipple.
void BM_FillPolygon(benchmark::State& state)
{
    Surface s(1000, 1000);
    s.bb.SetWorldPerPixel(1.0, 1.0);
    s.bb.SetWorldToCenter(500, 500);
    tagXFillStyle fill;
    fill.SetStyle(static_cast<int>(state.range(0)));
    for (int r = 0; r < 32; ++r) // a checkerboard of 4-pixel squares
        for (int b = 0; b < 4; ++b)
            fill.Pattern[4 * r + b] = (r / 4) % 2 ? 0x0F : 0xF0;
    tagXLineStyle line;
    s.bb.SetFillStyle(&fill, 0x40A040, 0xFFFFFF, 1.0);
    s.bb.SetLineStyle(&line, false, 0.0, 0x202020, 1.0);
    double x[8], y[8];
    for (int i = 0; i < 8; ++i) {
        const double a = 2 * M_PI * (i + 0.5) / 8;
        x[i] = 500 + 540 * std::cos(a);
        y[i] = 500 + 540 * std::sin(a);
    }
    double ext[4] = {0, 0, 1000, 1000};
    for (auto _ : state) {
        s.bb.DrawPolygon(x, y, 8, ext);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * 1000 * 1000);
}

BENCHMARK(BM_ReplayRaster)->Arg(100)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(BM_CairoDirect)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();
BENCHMARK(BM_FillPolygon)->Arg(0)->Arg(8)->Unit(benchmark::kMillisecond)->MeasureProcessCPUTime();

} // namespace

BENCHMARK_MAIN();
