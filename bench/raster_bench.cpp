// Raster: XTB::ReadSubset of 1000 random 512x512 windows from a 16384x16384
// one-byte raster in 256x256 tiles on a local file, against GDAL reading the
// same windows from an uncompressed tiled GeoTIFF of the same content, each
// with a cold cache (file pages evicted, fresh reader) and a warm one; and
// Tile and Untile of a 1 GiB block on file against copying that file.
#include "KVDbase/files/XFile.h"
#include "KVDbase/raster/XTB.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#ifdef KVD_WITH_GDAL
#include <cpl_string.h>
#include <gdal.h>
#endif

namespace {

const int nRaster = 16384;
const int nTile = 256;
const int nWindow = 512;
const int nWindows = 1000;
const char* const pszTiledPath = "/tmp/kvd_raster_bench.tiles";
const char* const pszTiffPath = "/tmp/kvd_raster_bench.tif";

unsigned char PixelAt(int x, int y)
{
    uint32_t n = uint32_t(x) * 2654435761u ^ uint32_t(y) * 40503u;
    return static_cast<unsigned char>(n >> 13);
}

// One tile's pixels, row by row.
void FillTile(std::vector<unsigned char>& tile, int tx, int ty)
{
    for (int r = 0; r < nTile; ++r)
        for (int c = 0; c < nTile; ++c)
            tile[size_t(r) * nTile + c] = PixelAt(tx * nTile + c, ty * nTile + r);
}

// Drops the file's pages from the page cache, so that the next read of it
// comes from the disk.
void EvictFromPageCache(const char* pszPath)
{
    int fd = open(pszPath, O_RDONLY);
    if (fd >= 0) {
        fdatasync(fd);
        posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
        close(fd);
    }
}

struct XWindow {
    int x0, y0;
};

const std::vector<XWindow>& Windows()
{
    static std::vector<XWindow> windows = [] {
        std::mt19937 rng(2024);
        std::vector<XWindow> w(nWindows);
        for (XWindow& win : w) {
            win.x0 = int(rng() % (nRaster - nWindow + 1));
            win.y0 = int(rng() % (nRaster - nWindow + 1));
        }
        return w;
    }();
    return windows;
}

// The tiled block, written once in tile order.
void MakeTiledFile()
{
    static bool bDone = false;
    if (bDone)
        return;
    XFile file;
    if (!file.Open(pszTiledPath, XFile::flagCreate | XFile::flagReadWrite))
        std::abort();
    std::vector<unsigned char> tile(size_t(nTile) * nTile);
    for (int ty = 0; ty < nRaster / nTile; ++ty)
        for (int tx = 0; tx < nRaster / nTile; ++tx) {
            FillTile(tile, tx, ty);
            file.Write(tile.data(), unsigned(tile.size()));
        }
    file.Close();
    bDone = true;
}

// Reads every window; the reader is fresh, and the file's pages evicted,
// before each pass when bCold is set.
void BM_XTBReadWindows(benchmark::State& state)
{
    const bool bCold = state.range(0) != 0;
    MakeTiledFile();
    std::vector<unsigned char> buffer(size_t(nWindow) * nWindow);
    XFile file;
    file.Open(pszTiledPath, XFile::flagRead);
    XTB* pTB = new XTB;
    pTB->Set(&file, 0, nRaster, nRaster, 1, nTile, nTile);
    for (auto _ : state) {
        if (bCold) {
            state.PauseTiming();
            delete pTB;
            file.Close();
            EvictFromPageCache(pszTiledPath);
            file.Open(pszTiledPath, XFile::flagRead);
            pTB = new XTB;
            pTB->Set(&file, 0, nRaster, nRaster, 1, nTile, nTile);
            state.ResumeTiming();
        }
        for (const XWindow& w : Windows())
            pTB->ReadSubset(buffer.data(), w.x0, w.x0 + nWindow - 1, w.y0, w.y0 + nWindow - 1);
        benchmark::DoNotOptimize(buffer.data());
    }
    // The last window, checked against the pixel function.
    const XWindow& w = Windows().back();
    for (int r = 0; r < nWindow; r += 97)
        if (buffer[size_t(r) * nWindow + 5] != PixelAt(w.x0 + 5, w.y0 + r))
            state.SkipWithError("XTB read wrong pixels");
    delete pTB;
    state.SetItemsProcessed(state.iterations() * nWindows);
    state.SetBytesProcessed(state.iterations() * nWindows * int64_t(nWindow) * nWindow);
}
BENCHMARK(BM_XTBReadWindows)->ArgName("cold")->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->Iterations(5);

#ifdef KVD_WITH_GDAL

void MakeTiff()
{
    static bool bDone = false;
    if (bDone)
        return;
    GDALAllRegister();
    GDALDriverH hDriver = GDALGetDriverByName("GTiff");
    char** papszOptions = nullptr;
    papszOptions = CSLSetNameValue(papszOptions, "TILED", "YES");
    papszOptions = CSLSetNameValue(papszOptions, "BLOCKXSIZE", "256");
    papszOptions = CSLSetNameValue(papszOptions, "BLOCKYSIZE", "256");
    papszOptions = CSLSetNameValue(papszOptions, "COMPRESS", "NONE");
    GDALDatasetH hDataset = GDALCreate(hDriver, pszTiffPath, nRaster, nRaster, 1, GDT_Byte, papszOptions);
    CSLDestroy(papszOptions);
    if (hDataset == nullptr)
        std::abort();
    GDALRasterBandH hBand = GDALGetRasterBand(hDataset, 1);
    std::vector<unsigned char> tile(size_t(nTile) * nTile);
    for (int ty = 0; ty < nRaster / nTile; ++ty)
        for (int tx = 0; tx < nRaster / nTile; ++tx) {
            FillTile(tile, tx, ty);
            if (GDALWriteBlock(hBand, tx, ty, tile.data()) != CE_None)
                std::abort();
        }
    GDALClose(hDataset);
    bDone = true;
}

// With small_cache GDAL's block cache is cut to four tiles, the size of
// XTB's own cache, for a like-for-like warm comparison.
void BM_GDALReadWindows(benchmark::State& state)
{
    const bool bCold = state.range(0) != 0;
    MakeTiff();
    const GIntBig nCacheBefore = GDALGetCacheMax64();
    if (state.range(1) != 0)
        GDALSetCacheMax64(4 * nTile * nTile);
    std::vector<unsigned char> buffer(size_t(nWindow) * nWindow);
    GDALDatasetH hDataset = GDALOpen(pszTiffPath, GA_ReadOnly);
    bool bOk = true;
    for (auto _ : state) {
        if (bCold) {
            state.PauseTiming();
            GDALClose(hDataset); // also drops its blocks from GDAL's cache
            EvictFromPageCache(pszTiffPath);
            hDataset = GDALOpen(pszTiffPath, GA_ReadOnly);
            state.ResumeTiming();
        }
        GDALRasterBandH hBand = GDALGetRasterBand(hDataset, 1);
        for (const XWindow& w : Windows())
            bOk &= GDALRasterIO(hBand, GF_Read, w.x0, w.y0, nWindow, nWindow, buffer.data(), nWindow, nWindow,
                                GDT_Byte, 0, 0) == CE_None;
        benchmark::DoNotOptimize(buffer.data());
    }
    const XWindow& w = Windows().back();
    for (int r = 0; r < nWindow; r += 97)
        bOk &= buffer[size_t(r) * nWindow + 5] == PixelAt(w.x0 + 5, w.y0 + r);
    if (!bOk)
        state.SkipWithError("GDAL read failed or gave wrong pixels");
    GDALClose(hDataset);
    GDALSetCacheMax64(nCacheBefore);
    state.SetItemsProcessed(state.iterations() * nWindows);
    state.SetBytesProcessed(state.iterations() * nWindows * int64_t(nWindow) * nWindow);
}
BENCHMARK(BM_GDALReadWindows)
    ->ArgNames({"cold", "small_cache"})
    ->Args({1, 0})
    ->Args({0, 0})
    ->Args({0, 1})
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);

#endif

// The 1 GiB block: 32768 x 32768 bytes in line order, tiles of 256 x 256,
// converted with a 64 MiB working buffer.
const int nBig = 32768;
const int nBudget = 64 << 20;
const char* const pszBigPath = "/tmp/kvd_raster_bench.big";
const char* const pszCopyPath = "/tmp/kvd_raster_bench.copy";

void MakeBigFile()
{
    static bool bDone = false;
    if (bDone)
        return;
    XFile file;
    if (!file.Open(pszBigPath, XFile::flagCreate | XFile::flagReadWrite))
        std::abort();
    std::vector<unsigned char> rows(size_t(nBig) * 256);
    for (int y0 = 0; y0 < nBig; y0 += 256) {
        for (int r = 0; r < 256; ++r)
            for (int x = 0; x < nBig; ++x)
                rows[size_t(r) * nBig + x] = PixelAt(x, y0 + r);
        file.Write(rows.data(), unsigned(rows.size()));
    }
    file.Close();
    bDone = true;
}

void BM_TileUntile1GiB(benchmark::State& state)
{
    const bool bUntile = state.range(0) != 0;
    MakeBigFile();
    XFile file;
    file.Open(pszBigPath, XFile::flagReadWrite);
    XTB tb;
    tb.Set(&file, 0, nBig, nBig, 1, nTile, nTile);
    int nResult = 1;
    for (auto _ : state)
        nResult &= bUntile ? tb.Untile(nBudget, nullptr) : tb.Tile(nBudget, nullptr);
    if (!nResult)
        state.SkipWithError("conversion failed");
    state.SetBytesProcessed(state.iterations() * int64_t(nBig) * nBig);
}
BENCHMARK(BM_TileUntile1GiB)->ArgName("untile")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(2);

// The same bytes read and written once, through the same file class and a
// buffer of the same size.
void BM_Copy1GiB(benchmark::State& state)
{
    MakeBigFile();
    std::vector<unsigned char> buffer(static_cast<size_t>(nBudget));
    for (auto _ : state) {
        XFile in, out;
        in.Open(pszBigPath, XFile::flagRead);
        out.Open(pszCopyPath, XFile::flagCreate | XFile::flagWrite);
        unsigned int n;
        while ((n = in.Read(buffer.data(), unsigned(buffer.size()))) > 0)
            out.Write(buffer.data(), n);
    }
    state.SetBytesProcessed(state.iterations() * int64_t(nBig) * nBig);
}
BENCHMARK(BM_Copy1GiB)->Unit(benchmark::kMillisecond)->Iterations(2);

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    for (const char* psz : {pszTiledPath, pszTiffPath, pszBigPath, pszCopyPath})
        std::remove(psz);
    return 0;
}
