// Line-order rasters of varied bytes and an independent builder of the tile-order block (tiles one after the
// other, edge tiles cut to the raster), against which XTB's layout is checked.
#pragma once

#include "KVDbase/files/XPath.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <unistd.h>
#include <vector>

typedef std::vector<unsigned char> XBytes;

struct XRasterShape {
    int nXSize, nYSize, nDataSize, nXTile, nYTile;
};

// A line-order raster of pseudo-random bytes.
inline XBytes MakeLines(const XRasterShape& s, unsigned nSeed = 1)
{
    XBytes lines(size_t(s.nXSize) * s.nYSize * s.nDataSize);
    uint32_t n = nSeed * 2654435761u;
    for (unsigned char& b : lines) {
        n = n * 1664525u + 1013904223u;
        b = static_cast<unsigned char>(n >> 24);
    }
    return lines;
}

inline XBytes TileOrder(const XBytes& lines, const XRasterShape& s)
{
    XBytes tiles;
    tiles.reserve(lines.size());
    for (int ty0 = 0; ty0 < s.nYSize; ty0 += s.nYTile)
        for (int tx0 = 0; tx0 < s.nXSize; tx0 += s.nXTile) {
            const int w = std::min(s.nXTile, s.nXSize - tx0);
            const int h = std::min(s.nYTile, s.nYSize - ty0);
            for (int r = 0; r < h; ++r) {
                const size_t nStart = (size_t(ty0 + r) * s.nXSize + tx0) * s.nDataSize;
                tiles.insert(tiles.end(), lines.begin() + nStart, lines.begin() + nStart + size_t(w) * s.nDataSize);
            }
        }
    return tiles;
}

// The rectangle x0..x1, y0..y1 of a line-order raster.
inline XBytes Crop(const XBytes& lines, const XRasterShape& s, int x0, int x1, int y0, int y1)
{
    XBytes out;
    for (int y = y0; y <= y1; ++y) {
        const size_t nStart = (size_t(y) * s.nXSize + x0) * s.nDataSize;
        out.insert(out.end(), lines.begin() + nStart, lines.begin() + nStart + size_t(x1 - x0 + 1) * s.nDataSize);
    }
    return out;
}

// A directory of this process's own (other test programs run at the same time), removed at exit, made the
// temporary directory: memory blocks convert there.
inline void UseTestTempDir()
{
    struct tagDir {
        const std::filesystem::path path =
            std::filesystem::temp_directory_path() / ("kvd_raster_" + std::to_string(getpid()));
        tagDir() { std::filesystem::create_directories(path); }
        ~tagDir()
        {
            std::error_code ec;
            std::filesystem::remove_all(path, ec);
        }
    };
    static const tagDir dir;
    XfnSetTempPath((dir.path.string() + "/").c_str());
}

// A fresh file name in the test directory.
inline XString TestFileName(const char* pszPrefix)
{
    UseTestTempDir();
    return XfnGetTempFileName(pszPrefix);
}
