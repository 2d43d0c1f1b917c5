// The antialiased replay of a drawing of 100 000 shapes (polygons filled half
// transparent and outlined, polylines, lines) on a 1024 by 768 surface,
// against cairo drawing the same shapes at the same pixels directly, with
// antialiasing, on a surface of the same kind. cairo is the peer here, so this
// program calls it directly.

#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/drawing/XVertBuffer.h"
#include "KVDbase/platform/XGdi.h"

#include <benchmark/benchmark.h>
#include <cairo.h>

#include <cmath>
#include <vector>

namespace {

const int kShapes = 100000;
const int kWidth = 1024, kHeight = 768;
const int kColourRun = 1000; // shapes between colour changes

struct Shape {
    int nKind; // 10 line, 11 polyline, 13 polygon
    std::vector<tagXVector2> points;
    double extent[4];
    COLORREF clr; // 0xAABBGGRR
};

std::vector<Shape> MakeShapes()
{
    std::vector<Shape> shapes(kShapes);
    unsigned seed = 2024;
    auto rnd = [&seed](double span) {
        seed = seed * 1103515245u + 12345u;
        return (seed >> 8) / 16777216.0 * span;
    };
    for (int i = 0; i < kShapes; ++i) {
        Shape& s = shapes[i];
        const int k = i % 5;
        s.nKind = k < 2 ? 13 : k < 4 ? 11 : 10;
        const int n = s.nKind == 10 ? 2 : 3 + static_cast<int>(rnd(4));
        const double cx = rnd(kWidth), cy = rnd(kHeight), r = 4 + rnd(20);
        s.extent[0] = s.extent[1] = 1e300;
        s.extent[2] = s.extent[3] = -1e300;
        for (int j = 0; j < n; ++j) {
            const double a = 2 * M_PI * j / n + rnd(0.5);
            tagXVector2 p = {cx + r * std::cos(a), cy + r * std::sin(a)};
            s.points.push_back(p);
            s.extent[0] = std::fmin(s.extent[0], p.x);
            s.extent[1] = std::fmin(s.extent[1], p.y);
            s.extent[2] = std::fmax(s.extent[2], p.x);
            s.extent[3] = std::fmax(s.extent[3], p.y);
        }
        const unsigned run = static_cast<unsigned>(i / kColourRun);
        s.clr = 0x80000000u | ((run * 0x3F1F7u) & 0xFFFFFF);
    }
    return shapes;
}

const std::vector<Shape>& Shapes()
{
    static const std::vector<Shape> shapes = MakeShapes();
    return shapes;
}

// A type 2 back buffer in which world (x, y) is pixel (x, kHeight - y).
struct Surface {
    HWND hWnd;
    XBackBuffer bb;
    Surface() : hWnd(XfnCreateImageWindow(kWidth, kHeight))
    {
        bb.Create(hWnd, XBackBuffer::TYPE_DIB);
        bb.SetWorldPerPixel(1.0, 1.0);
        bb.SetWorldToCenter(kWidth / 2.0, kHeight / 2.0);
    }
    ~Surface()
    {
        bb.Delete();
        DestroyWindow(hWnd);
    }
};

void BM_ReplayGDIP(benchmark::State& state)
{
    XVertBuffer vb(XVertBuffer::PATH_GDIP);
    vb.Start();
    tagXLineStyle line;
    tagXFillStyle fill;
    vb.AddLineStyle(&line, -1.0, 0xFF000000, 1.0);
    for (const Shape& s : Shapes()) {
        if (s.nKind == 13) {
            vb.AddFillStyle(&fill, s.clr, 0xFFFFFFFF, 1.0);
            vb.AddLineColor(s.clr | 0xFF000000, 1.0);
            vb.AddPolygon(s.points.data(), static_cast<int>(s.points.size()), s.extent);
        } else if (s.nKind == 11) {
            vb.AddLineColor(s.clr | 0xFF000000, 1.0);
            vb.AddPolyline(s.points.data(), static_cast<int>(s.points.size()), s.extent);
        } else {
            vb.AddLineColor(s.clr | 0xFF000000, 1.0);
            vb.AddLine(s.points[0], s.points[1]);
        }
    }
    vb.End();
    Surface surface;
    for (auto _ : state) {
        vb.Draw(&surface.bb);
        benchmark::DoNotOptimize(surface.bb.GetDC());
    }
    state.counters["shapes"] = kShapes;
}
BENCHMARK(BM_ReplayGDIP)->Unit(benchmark::kMillisecond)->MinTime(2.0);

void SetSource(cairo_t* cr, COLORREF c)
{
    cairo_set_source_rgba(cr, (c & 0xFF) / 255.0, ((c >> 8) & 0xFF) / 255.0, ((c >> 16) & 0xFF) / 255.0,
                          (c >> 24) / 255.0);
}

// The same shapes at the same pixels: rounded to whole pixels and shifted to
// pixel centres, filled half transparent and stroked one pixel wide.
void BM_CairoDirect(benchmark::State& state)
{
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_RGB24, kWidth, kHeight);
    cairo_t* cr = cairo_create(s);
    cairo_set_line_width(cr, 1.0);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    cairo_set_antialias(cr, CAIRO_ANTIALIAS_DEFAULT);
    cairo_set_fill_rule(cr, CAIRO_FILL_RULE_EVEN_ODD);
    auto px = [](const tagXVector2& p, double& x, double& y) {
        x = std::floor(p.x + 0.5) + 0.5;
        y = std::floor(kHeight - p.y + 0.5) + 0.5;
    };
    for (auto _ : state) {
        for (const Shape& sh : Shapes()) {
            double x, y;
            if (sh.nKind == 10) {
                SetSource(cr, sh.clr | 0xFF000000);
                cairo_move_to(cr, sh.points[0].x + 0.5, kHeight - sh.points[0].y + 0.5);
                cairo_line_to(cr, sh.points[1].x + 0.5, kHeight - sh.points[1].y + 0.5);
                cairo_stroke(cr);
                continue;
            }
            for (size_t i = 0; i < sh.points.size(); ++i) {
                px(sh.points[i], x, y);
                if (i == 0)
                    cairo_move_to(cr, x, y);
                else
                    cairo_line_to(cr, x, y);
            }
            if (sh.nKind == 13) {
                cairo_close_path(cr);
                SetSource(cr, sh.clr);
                cairo_fill_preserve(cr);
            }
            SetSource(cr, sh.clr | 0xFF000000);
            cairo_stroke(cr);
        }
        cairo_surface_flush(s);
        benchmark::DoNotOptimize(cairo_image_surface_get_data(s));
    }
    cairo_destroy(cr);
    cairo_surface_destroy(s);
    state.counters["shapes"] = kShapes;
}
BENCHMARK(BM_CairoDirect)->Unit(benchmark::kMillisecond)->MinTime(2.0);

} // namespace

BENCHMARK_MAIN();
