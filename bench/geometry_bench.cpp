// Throughput of the geometry hot paths: moving points through a fitted warp,
// fitting the largest model, inverting dense and four-by-four matrices.
#include "KVDbase/geometry/XDenseMatrix.h"
#include "KVDbase/geometry/XMatrix.h"
#include "KVDbase/geometry/XWarpCoeff.h"

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

namespace {

// Control points of a gentle cubic distortion over a 1000-unit square.
void MakeControlPoints(int nCount, std::vector<tagXVector2>& src, std::vector<tagXVector2>& dst)
{
    std::mt19937 rng(7);
    std::uniform_real_distribution<double> dist(0, 1000);
    src.resize(nCount);
    dst.resize(nCount);
    for (int i = 0; i < nCount; i++) {
        const double x = dist(rng), y = dist(rng);
        src[i] = tagXVector2(x, y);
        dst[i] = tagXVector2(x + 1e-6 * x * x * y + 3, y - 2e-4 * x * y + 5);
    }
}

void BM_WarpPointArray(benchmark::State& state)
{
    const int nOrder = static_cast<int>(state.range(0));
    std::vector<tagXVector2> src, dst;
    MakeControlPoints(50, src, dst);
    XWarpCoeff warp;
    if (!warp.Create(nOrder, 50, src.data(), dst.data(), nullptr)) {
        state.SkipWithError("fit failed");
        return;
    }
    std::vector<tagXVector2> points(4096);
    for (auto _ : state) {
        for (size_t i = 0; i < points.size(); i++)
            points[i] = src[i % src.size()];
        benchmark::DoNotOptimize(warp.WarpPoint(points.data(), static_cast<int>(points.size())));
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(points.size()));
}
BENCHMARK(BM_WarpPointArray)->Arg(2)->Arg(5);

void BM_CreateCubic(benchmark::State& state)
{
    const int nCount = static_cast<int>(state.range(0));
    std::vector<tagXVector2> src, dst;
    MakeControlPoints(nCount, src, dst);
    XWarpCoeff warp;
    for (auto _ : state)
        benchmark::DoNotOptimize(warp.Create(5, nCount, src.data(), dst.data(), nullptr));
}
BENCHMARK(BM_CreateCubic)->Arg(10)->Arg(100)->Arg(1000);

void BM_DenseInverse(benchmark::State& state)
{
    const int n = static_cast<int>(state.range(0));
    std::mt19937 rng(3);
    std::uniform_real_distribution<double> dist(-1, 1);
    std::vector<double> a(static_cast<size_t>(n) * n), work;
    for (double& d : a)
        d = dist(rng);
    double dDet = 0;
    for (auto _ : state) {
        work = a;
        benchmark::DoNotOptimize(XfnMatrixInverse(work.data(), n, dDet));
    }
}
BENCHMARK(BM_DenseInverse)->Arg(4)->Arg(64)->Arg(256);

void BM_Matrix4Inverse(benchmark::State& state)
{
    const tagXMatrix m(2, 1, 0, 0, 0, 3, 1, 0, 1, 0, 4, 0, 5, 6, 7, 1);
    for (auto _ : state) {
        tagXMatrix work = m;
        benchmark::DoNotOptimize(work.Inverse());
        benchmark::DoNotOptimize(work);
    }
}
BENCHMARK(BM_Matrix4Inverse);

} // namespace

BENCHMARK_MAIN();
