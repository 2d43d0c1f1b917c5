// Test helpers for XTB: line-order rasters with distinct bytes, and an
// independent builder of the tile-order block (tiles appended one after the
// other, edge tiles cut to the raster), against which the layout is checked.
#pragma once

#include <filesystem>
#include <string>
#include <unistd.h>

#include "KVDbase/files/XPath.h"

#include <algorithm>
#include <cstdint>
#include <vector>

typedef std::vector<unsigned char> XBytes;

struct XRasterShape {
    int nXSize, nYSize, nDataSize, nXTile, nYTile;
};

// Pixel (x, y) of a line-order raster: every byte differs from its
// neighbours and from the same byte of other pixels nearby.
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

// This test program's own directory for files, ending in a slash. Names
// made from the time alone can meet those of another test program running
// at the same moment, so each process keeps to a directory of its own,
// removed with whatever is left in it when the program ends.
inline const char* TestTempDir()
{
    struct tagDir {
        std::string strPath = (std::filesystem::temp_directory_path() /
                               ("kvd_raster_" + std::to_string(static_cast<long>(getpid()))))
                                  .string() +
                              "/";
        tagDir() { std::filesystem::create_directories(strPath); }
        ~tagDir()
        {
            std::error_code ec;
            std::filesystem::remove_all(strPath, ec);
        }
    };
    static const tagDir dir;
    return dir.strPath.c_str();
}

// A fresh file name in the test directory, which stays the temporary
// directory: the memory-block conversions put their temporary files there.
inline XString TestFileName(const char* pszPrefix)
{
    XfnSetTempPath(TestTempDir());
    return XfnGetTempFileName(pszPrefix);
}
