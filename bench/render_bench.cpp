// What kvd_render does with a saved drawing of one million points (1 000
// polylines of 1 000 points, path 3): load it, replay it antialiased on an
// 800 by 600 surface and write the PNG, against loading it alone. The share
// of the time that is rendering is the ratio's complement.

#include "KVDbase/core/XArchive.h"
#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/drawing/XVertBuffer.h"
#include "KVDbase/files/XFile.h"
#include "KVDbase/platform/XGdi.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

const int kLines = 1000;
const int kPointsPerLine = 1000;

std::string TempPath(const char* pszName)
{
    const char* pszDir = std::getenv("TMPDIR");
    return std::string(pszDir != nullptr ? pszDir : "/tmp") + "/" + pszName;
}

// Saves the drawing once and gives its path.
const std::string& SavedDrawing()
{
    static const std::string path = [] {
        const std::string p = TempPath("kvd_render_bench.xvb");
        XVertBuffer vb(XVertBuffer::PATH_GDIP);
        vb.Start();
        tagXLineStyle solid;
        vb.AddLineStyle(&solid, -1.0, 0xFF204080, 1.0);
        std::vector<tagXVector2> pts(kPointsPerLine);
        unsigned seed = 99;
        for (int l = 0; l < kLines; ++l) {
            double e[4] = {1e300, 1e300, -1e300, -1e300};
            double x = (l % 40) * 25.0, y = (l / 40) * 40.0;
            for (tagXVector2& p : pts) {
                seed = seed * 1103515245u + 12345u;
                x += ((seed >> 8) % 200) / 100.0 - 0.99;
                y += ((seed >> 16) % 200) / 100.0 - 0.99;
                p = {x, y};
                e[0] = std::min(e[0], x), e[1] = std::min(e[1], y);
                e[2] = std::max(e[2], x), e[3] = std::max(e[3], y);
            }
            vb.AddPolyline(pts.data(), kPointsPerLine, e);
        }
        vb.End();
        XFile file(p.c_str(), XFile::flagCreate | XFile::flagWrite);
        XArchive ar(&file, XArchive::store, 1 << 20);
        vb.Serialize(ar);
        ar.Close();
        return p;
    }();
    return path;
}

void Load(XVertBuffer& vb)
{
    XFile file(SavedDrawing().c_str(), XFile::flagRead);
    XArchive ar(&file, XArchive::load);
    vb.Serialize(ar);
    ar.Close();
}

void BM_LoadDrawing(benchmark::State& state)
{
    for (auto _ : state) {
        XVertBuffer vb;
        Load(vb);
        benchmark::DoNotOptimize(vb.GetRecordCount());
    }
}
BENCHMARK(BM_LoadDrawing)->Unit(benchmark::kMillisecond)->MinTime(2.0);

void BM_LoadRenderWritePNG(benchmark::State& state)
{
    const std::string png = TempPath("kvd_render_bench.png");
    for (auto _ : state) {
        XVertBuffer vb;
        Load(vb);
        HWND hWnd = XfnCreateImageWindow(800, 600);
        XBackBuffer bb;
        bb.Create(hWnd, XBackBuffer::TYPE_DIB);
        bb.Clear(RGB(255, 255, 255), nullptr);
        bb.ZoomFit(-50.0, -50.0, 1050.0, 1050.0);
        vb.Draw(&bb);
        XfnWritePNG(bb.GetDC(), png.c_str());
        bb.Delete();
        DestroyWindow(hWnd);
    }
    std::remove(png.c_str());
}
BENCHMARK(BM_LoadRenderWritePNG)->Unit(benchmark::kMillisecond)->MinTime(2.0);

} // namespace

BENCHMARK_MAIN();
