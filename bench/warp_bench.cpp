// Polynomial warps against GDAL's GCP transformer, side by side on the same
// 1000 control points: the time to fit, the time to move 10 million points,
// and how far apart the two fitted maps lie over a grid (counters max_diff,
// rel_diff, and each side's residual rms). Two scenes: small coordinates, and
// projected ones near (500000, 4000000). The library's orders 2, 4 and 5 are
// the polynomial degrees 1, 2 and 3 that GDAL calls orders 1, 2 and 3.
#include "KVDbase/geometry/XWarp2D.h"
#include "KVDbase/geometry/XWarpCoeff.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#ifdef KVD_WITH_GDAL
#include <gdal_alg.h>
#endif

namespace {

const int XCONTROL_POINTS = 1000;
const int XWARP_POINTS = 10000000;
const int XGRID_SIDE = 201;

enum { SCENE_SMALL = 0, SCENE_PROJECTED = 1 };

// Control points of one scene, and the box they cover.
struct tagScene {
    std::vector<double> sx, sy, tx, ty;
    double dMinX, dMinY, dMaxX, dMaxY;
};

// A smooth distortion that no polynomial of the three degrees fits exactly,
// plus noise, so that every fit is a genuine least-squares problem. The
// projected scene is the same kind of map in metres over a 40 km square.
tagScene& GetScene(int nScene)
{
    static tagScene scenes[2];
    tagScene& scene = scenes[nScene];
    if (!scene.sx.empty())
        return scene;
    std::mt19937 rng(20 + nScene);
    const bool bProjected = nScene == SCENE_PROJECTED;
    const double dOriginX = bProjected ? 480000 : 0, dOriginY = bProjected ? 3980000 : 0;
    const double dSide = bProjected ? 40000 : 1000;
    std::uniform_real_distribution<double> place(0, dSide);
    std::normal_distribution<double> noise(0, bProjected ? 0.5 : 0.05);
    for (int i = 0; i < XCONTROL_POINTS; i++) {
        const double u = place(rng), v = place(rng);
        // Unit square coordinates drive the distortion in both scenes.
        const double a = u / dSide, b = v / dSide;
        const double dx = dSide * (0.01 * a * b + 0.004 * std::sin(5.3 * a) - 0.003 * b * b * b);
        const double dy = dSide * (-0.008 * a * a + 0.005 * std::cos(4.1 * b) + 0.002 * a * b * b);
        scene.sx.push_back(dOriginX + u);
        scene.sy.push_back(dOriginY + v);
        scene.tx.push_back(dOriginX + 37 + 0.9996 * u - 0.012 * v + dx + noise(rng));
        scene.ty.push_back(dOriginY - 21 + 0.011 * u + 1.0003 * v + dy + noise(rng));
    }
    scene.dMinX = *std::min_element(scene.sx.begin(), scene.sx.end());
    scene.dMaxX = *std::max_element(scene.sx.begin(), scene.sx.end());
    scene.dMinY = *std::min_element(scene.sy.begin(), scene.sy.end());
    scene.dMaxY = *std::max_element(scene.sy.begin(), scene.sy.end());
    return scene;
}

// nCount points spread over the scene's box, the same for every run.
void MakeWarpPoints(const tagScene& scene, int nCount, std::vector<double>& x, std::vector<double>& y)
{
    std::mt19937 rng(99);
    std::uniform_real_distribution<double> px(scene.dMinX, scene.dMaxX), py(scene.dMinY, scene.dMaxY);
    x.resize(nCount);
    y.resize(nCount);
    for (int i = 0; i < nCount; i++) {
        x[i] = px(rng);
        y[i] = py(rng);
    }
}

// The lattice of XGRID_SIDE by XGRID_SIDE points over the scene's box.
void MakeGrid(const tagScene& scene, std::vector<double>& x, std::vector<double>& y)
{
    x.clear();
    y.clear();
    for (int j = 0; j < XGRID_SIDE; j++) {
        for (int i = 0; i < XGRID_SIDE; i++) {
            x.push_back(scene.dMinX + (scene.dMaxX - scene.dMinX) * i / (XGRID_SIDE - 1));
            y.push_back(scene.dMinY + (scene.dMaxY - scene.dMinY) * j / (XGRID_SIDE - 1));
        }
    }
}

int FitKVD(XWarpCoeff& warp, int nOrder, tagScene& s)
{
    return warp.Create(nOrder, XCONTROL_POINTS, s.sx.data(), s.sy.data(), s.tx.data(), s.ty.data(), nullptr);
}

// Warps a fresh copy of the points on every iteration; the copy is not timed.
template <class Warp>
void RunWarp(benchmark::State& state, const tagScene& scene, Warp warp)
{
    std::vector<double> x0, y0;
    MakeWarpPoints(scene, XWARP_POINTS, x0, y0);
    std::vector<double> x(x0), y(y0);
    for (auto _ : state) {
        state.PauseTiming();
        std::memcpy(x.data(), x0.data(), x0.size() * sizeof(double));
        std::memcpy(y.data(), y0.data(), y0.size() * sizeof(double));
        state.ResumeTiming();
        if (!warp(x.data(), y.data(), XWARP_POINTS)) {
            state.SkipWithError("warp failed");
            return;
        }
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(XWARP_POINTS));
}

void BM_FitKVD(benchmark::State& state)
{
    tagScene& scene = GetScene(static_cast<int>(state.range(1)));
    XWarpCoeff warp;
    for (auto _ : state) {
        if (!FitKVD(warp, static_cast<int>(state.range(0)), scene)) {
            state.SkipWithError("fit failed");
            return;
        }
    }
    state.counters["rms"] = warp.GetError().z;
}

void BM_WarpKVD(benchmark::State& state)
{
    tagScene& scene = GetScene(static_cast<int>(state.range(1)));
    XWarpCoeff warp;
    if (!FitKVD(warp, static_cast<int>(state.range(0)), scene)) {
        state.SkipWithError("fit failed");
        return;
    }
    RunWarp(state, scene, [&](double* x, double* y, int n) { return warp.WarpPoint(x, y, n); });
}

// The piecewise form with a 4 by 4 grid: the cost of the cell lookup.
void BM_WarpKVDGrid(benchmark::State& state)
{
    tagScene& s = GetScene(static_cast<int>(state.range(1)));
    XWarp2D warp;
    if (!warp.Create(static_cast<int>(state.range(0)), XCONTROL_POINTS, s.sx.data(), s.sy.data(), s.tx.data(),
                     s.ty.data(), nullptr, 4, 4)) {
        state.SkipWithError("fit failed");
        return;
    }
    state.counters["rms"] = warp.GetError().z;
    RunWarp(state, s, [&](double* x, double* y, int n) { return warp.WarpPoint(x, y, n); });
}

const std::vector<std::vector<int64_t>> xCases = {{2, 4, 5}, {SCENE_SMALL, SCENE_PROJECTED}};
BENCHMARK(BM_FitKVD)->ArgsProduct(xCases)->ArgNames({"order", "projected"})->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_WarpKVD)->ArgsProduct(xCases)->ArgNames({"order", "projected"})->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WarpKVDGrid)
    ->ArgsProduct({{2}, {SCENE_SMALL}})
    ->ArgNames({"order", "projected"})
    ->Unit(benchmark::kMillisecond);

#ifdef KVD_WITH_GDAL

// GDAL's polynomial degree for the library's order.
int GdalOrder(int nOrder)
{
    return nOrder == 2 ? 1 : nOrder == 4 ? 2 : 3;
}

// GDAL's transformer on the scene's control points, forward from source
// (pixel, line) to target (x, y); null if GDAL refuses them.
void* FitGDAL(int nOrder, const tagScene& scene)
{
    std::vector<GDAL_GCP> gcps(XCONTROL_POINTS);
    for (int i = 0; i < XCONTROL_POINTS; i++) {
        gcps[i] = GDAL_GCP();
        gcps[i].dfGCPPixel = scene.sx[i];
        gcps[i].dfGCPLine = scene.sy[i];
        gcps[i].dfGCPX = scene.tx[i];
        gcps[i].dfGCPY = scene.ty[i];
    }
    return GDALCreateGCPTransformer(XCONTROL_POINTS, gcps.data(), GdalOrder(nOrder), 0);
}

// Moves nCount points forward through the transformer; 0 if any failed.
int WarpGDAL(void* pTransformer, double* x, double* y, double* z, int* pSuccess, int nCount)
{
    if (!GDALGCPTransform(pTransformer, 0, nCount, x, y, z, pSuccess))
        return 0;
    for (int i = 0; i < nCount; i++) {
        if (!pSuccess[i])
            return 0;
    }
    return 1;
}

// Residual rms of the transformer over the control points, as the
// library's error counts it: both coordinates together.
double GdalRms(void* pTransformer, const tagScene& scene)
{
    std::vector<double> x(scene.sx), y(scene.sy), z(x.size());
    std::vector<int> ok(x.size());
    WarpGDAL(pTransformer, x.data(), y.data(), z.data(), ok.data(), XCONTROL_POINTS);
    double dSum = 0;
    for (int i = 0; i < XCONTROL_POINTS; i++)
        dSum += (scene.tx[i] - x[i]) * (scene.tx[i] - x[i]) + (scene.ty[i] - y[i]) * (scene.ty[i] - y[i]);
    return std::sqrt(dSum / XCONTROL_POINTS);
}

void BM_FitGDAL(benchmark::State& state)
{
    const int nOrder = static_cast<int>(state.range(0));
    tagScene& scene = GetScene(static_cast<int>(state.range(1)));
    void* pTransformer = nullptr;
    for (auto _ : state) {
        if (pTransformer != nullptr)
            GDALDestroyGCPTransformer(pTransformer);
        pTransformer = FitGDAL(nOrder, scene);
        if (pTransformer == nullptr) {
            state.SkipWithError("GDAL refused the points");
            return;
        }
    }
    state.counters["rms"] = GdalRms(pTransformer, scene);

    // Both fitted maps over the grid: the largest difference of a
    // coordinate, alone and relative to the largest target coordinate.
    XWarpCoeff warp;
    if (!FitKVD(warp, nOrder, scene)) {
        GDALDestroyGCPTransformer(pTransformer);
        state.SkipWithError("fit failed");
        return;
    }
    std::vector<double> gx, gy;
    MakeGrid(scene, gx, gy);
    std::vector<double> kx(gx), ky(gy), z(gx.size());
    std::vector<int> ok(gx.size());
    const int nGrid = static_cast<int>(gx.size());
    const int nKvd = warp.WarpPoint(kx.data(), ky.data(), nGrid);
    const int nGdal = WarpGDAL(pTransformer, gx.data(), gy.data(), z.data(), ok.data(), nGrid);
    GDALDestroyGCPTransformer(pTransformer);
    if (!nKvd || !nGdal) {
        state.SkipWithError("grid warp failed");
        return;
    }
    double dMaxDiff = 0, dMaxCoord = 0;
    for (int i = 0; i < nGrid; i++) {
        dMaxDiff = std::max(dMaxDiff, std::max(std::fabs(kx[i] - gx[i]), std::fabs(ky[i] - gy[i])));
        dMaxCoord = std::max(dMaxCoord, std::max(std::fabs(gx[i]), std::fabs(gy[i])));
    }
    state.counters["max_diff"] = dMaxDiff;
    state.counters["rel_diff"] = dMaxDiff / dMaxCoord;
}

void BM_WarpGDAL(benchmark::State& state)
{
    tagScene& scene = GetScene(static_cast<int>(state.range(1)));
    void* pTransformer = FitGDAL(static_cast<int>(state.range(0)), scene);
    if (pTransformer == nullptr) {
        state.SkipWithError("GDAL refused the points");
        return;
    }
    // Only the transform is timed; its per-point flags are checked after.
    std::vector<double> z(XWARP_POINTS);
    std::vector<int> ok(XWARP_POINTS);
    RunWarp(state, scene, [&](double* x, double* y, int n) {
        return GDALGCPTransform(pTransformer, 0, n, x, y, z.data(), ok.data());
    });
    GDALDestroyGCPTransformer(pTransformer);
    if (std::find(ok.begin(), ok.end(), 0) != ok.end())
        state.SkipWithError("GDAL failed on a point");
}

BENCHMARK(BM_FitGDAL)->ArgsProduct(xCases)->ArgNames({"order", "projected"})->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_WarpGDAL)->ArgsProduct(xCases)->ArgNames({"order", "projected"})->Unit(benchmark::kMillisecond);

#endif

} // namespace

BENCHMARK_MAIN();
