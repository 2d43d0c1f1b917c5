// Raster: the pixel types and their ranges, a 10 x 7 band of 16-bit pixels in
// 4 x 4 tiles held in memory and written through XTB, converted to line order
// and back, the same band in a file, and a colour table from the palettes.
#include "KVDbase/KVDbase.h"

#include <cstdio>
#include <vector>

namespace {

int g_nFailures = 0;

void Check(bool bOk, const char* pszWhat)
{
    std::printf("  [%s] %s\n", bOk ? " ok " : "FAIL", pszWhat);
    if (!bOk)
        ++g_nFailures;
}

const int nWidth = 10, nHeight = 7, nTile = 4;

// The value every example pixel holds: row and column in one number.
WORD PixelAt(int x, int y) { return static_cast<WORD>(100 * y + x); }

// Writes the band line by line through XTB; 1 when every pixel reads back.
int FillAndVerify(XTB& tb)
{
    std::vector<WORD> line(nWidth);
    for (int y = 0; y < nHeight; ++y) {
        for (int x = 0; x < nWidth; ++x)
            line[static_cast<size_t>(x)] = PixelAt(x, y);
        if (!tb.WriteLine(line.data(), y))
            return 0;
    }
    WORD nPixel = 0;
    for (int y = 0; y < nHeight; ++y)
        for (int x = 0; x < nWidth; ++x)
            if (!tb.ReadPixel(&nPixel, x, y) || nPixel != PixelAt(x, y))
                return 0;
    return 1;
}

} // namespace

int main()
{
    std::printf("Raster\n");
    const char* apszNames[] = {"", "u8", "s8", "u16", "s16", "u32", "s32", "f32", "f64"};
    for (int nType = 1; nType <= 8; nType += 2) {
        double dMin, dMax;
        XfnGetDataLimits(nType, dMin, dMax);
        std::printf("  type %d (%s): %d byte(s), %g to %g\n", nType, apszNames[nType], XfnGetDataSize(nType), dMin, dMax);
    }
    Check(XfnGetDataSize(3) == 2 && XfnGetDataSize(16) == 16 && XfnIsDataTypeComplex(12), "sizes and kinds of types");

    // In memory: the block holds the tiles one after another.
    std::vector<WORD> block(nWidth * nHeight);
    XTB tb;
    tb.Set(block.data(), 0, nWidth, nHeight, XfnGetDataSize(3), nTile, nTile, 0);
    std::printf("  %d x %d pixels in %d x %d tiles of %d x %d\n", nWidth, nHeight, tb.GetNumXTiles(), tb.GetNumYTiles(),
                nTile, nTile);
    Check(FillAndVerify(tb), "every pixel written by line reads back by pixel");
    int nTileW = 0, nTileH = 0;
    WORD* pTile = static_cast<WORD*>(tb.ReadTile(2, 1, nTileW, nTileH));
    Check(pTile != nullptr && nTileW == 2 && nTileH == 3 && pTile[0] == PixelAt(8, 4),
          "the edge tile (2, 1) is 2 x 3 and starts at pixel (8, 4)");
    Check(block[1] == PixelAt(1, 0) && block[4] == PixelAt(0, 1), "in memory, tile 0 is stored row by row");

    Check(tb.Untile(1 << 16, nullptr) && block[4] == PixelAt(4, 0) && block[10] == PixelAt(0, 1),
          "Untile puts the block in line order");
    Check(tb.Tile(1 << 16, nullptr) && block[4] == PixelAt(0, 1), "Tile puts it back in tile order");

    // The same band at offset 64 of a file: here a memory file.
    XMemFile file;
    XTB tbFile;
    tbFile.Set(&file, 64, nWidth, nHeight, 2, nTile, nTile);
    Check(FillAndVerify(tbFile) && file.GetLength() == 64 + 2 * nWidth * nHeight, "the band in a file, after a header");
    WORD abSubset[3 * 2];
    tbFile.ReadSubset(abSubset, 3, 5, 5, 6);
    Check(abSubset[0] == PixelAt(3, 5) && abSubset[5] == PixelAt(5, 6), "a subset across tiles, inclusive corners");

    // A colour table for showing one band.
    unsigned char abRed[256], abGreen[256], abBlue[256];
    XString strName;
    XfnGetPalette(2, abRed, abGreen, abBlue);
    XfnGetPaletteName(2, &strName);
    std::printf("  %d palettes; palette 2 \"%s\": entry 0 = #%02X%02X%02X, entry 255 = #%02X%02X%02X\n",
                XfnGetNumberOfPalette(), static_cast<const char*>(strName), abRed[0], abGreen[0], abBlue[0], abRed[255],
                abGreen[255], abBlue[255]);
    XfnGetPaletteName(99, &strName);
    Check(XfnGetNumberOfPalette() == 68 && strName == "Default", "68 palettes, unknown numbers named Default");

    std::printf("%s\n", g_nFailures == 0 ? "All checks passed" : "Some checks FAILED");
    return g_nFailures == 0 ? 0 : 1;
}
