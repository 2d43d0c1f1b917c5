#include "KVDbase/raster/XTB.h"

#include "KVDbase/files/XFile.h"
#include "KVDbase/files/XMemFile.h"
#include "raster/XTBTestBlocks.h"

#include <gtest/gtest.h>

#include <random>

namespace {

TEST(XTB, TileLayoutOfTheFiveByThreeExample)
{
    unsigned char block[32] = {};
    XTB tb;
    ASSERT_EQ(tb.Set(block, 0, 5, 3, 1, 2, 2, 0), 1);
    EXPECT_EQ(tb.GetNumXTiles(), 3);
    EXPECT_EQ(tb.GetNumYTiles(), 2);
    EXPECT_EQ(tb.GetNumTiles(), 6);
    struct { int tx, ty, w, h; int64_t nOffset; int nSize; } aTile[] = {
        {0, 0, 2, 2, 0, 4}, {1, 0, 2, 2, 4, 4}, {2, 0, 1, 2, 8, 2},
        {0, 1, 2, 1, 10, 2}, {1, 1, 2, 1, 12, 2}, {2, 1, 1, 1, 14, 1},
    };
    for (const auto& t : aTile) {
        int64_t nOffset = -1;
        int nSize = 0, w = 0, h = 0;
        ASSERT_EQ(tb.GetTileInfo(t.tx, t.ty, nOffset, nSize, w, h), 1);
        EXPECT_EQ(w, t.w);
        EXPECT_EQ(h, t.h);
        EXPECT_EQ(nOffset, t.nOffset) << t.tx << "," << t.ty;
        EXPECT_EQ(nSize, t.nSize);
    }
    int w = 7, h = 7;
    EXPECT_EQ(tb.GetTileInfo(3, 0, w, h), 0);
    EXPECT_EQ(tb.GetTileInfo(-1, 0, w, h), 0);
    EXPECT_EQ(tb.GetTileInfo(0, 2, w, h), 0);
    EXPECT_EQ(tb.ReadTile(3, 0, w, h), nullptr);
    EXPECT_EQ(w, 7);
    // An even division gives edge tiles of the full size.
    tb.Set(block, 0, 8, 4, 1, 4, 2, 0);
    tb.GetTileInfo(1, 1, w, h);
    EXPECT_EQ(w, 4);
    EXPECT_EQ(h, 2);
}

TEST(XTB, UnsetObjectRefusesEverythingAndRejectedRectanglesTouchNothing)
{
    XTB tb;
    EXPECT_EQ(tb.GetType(), 0);
    int w = 0, h = 0;
    unsigned char b[4] = {};
    EXPECT_EQ(tb.ReadTile(0, 0, w, h), nullptr);
    EXPECT_EQ(tb.WriteTile(0, 0, b, 1, 1), 0);
    EXPECT_EQ(tb.ReadPixel(b, 0, 0), 0);
    EXPECT_EQ(tb.Tile(1 << 20, nullptr), 0);
    EXPECT_EQ(tb.Untile(1 << 20, nullptr), 0);
    EXPECT_EQ(tb.Set(static_cast<void*>(nullptr), 0, 4, 4, 1, 2, 2, 0), 0);
    EXPECT_EQ(tb.Set(static_cast<XFile*>(nullptr), 0, 4, 4, 1, 2, 2), 0);
    // Sizes that describe no block are refused like a null block, by both forms.
    XMemFile memFile;
    const int aaImpossible[][6] = {{0, 4, 4, 1, 0, 2},  {0, 4, 4, 1, 2, 0},       {0, 4, 4, 0, 2, 2},
                                   {0, 4, 4, 1, -2, 2}, {0, -1, 4, 1, 2, 2},      {0, 4, -1, 1, 2, 2},
                                   {-1, 4, 4, 1, 2, 2}, {0, 4, 4, 8, 65536, 4096}};
    for (const int* a : aaImpossible) {
        EXPECT_EQ(tb.Set(b, a[0], a[1], a[2], a[3], a[4], a[5], 0), 0) << a[3] << " " << a[4] << " " << a[5];
        EXPECT_EQ(tb.Set(&memFile, a[0], a[1], a[2], a[3], a[4], a[5]), 0);
    }
    EXPECT_EQ(tb.GetType(), 0);
    EXPECT_EQ(tb.Set(b, 8, 2, 2, 1, 2, 2, 1), 1);
    EXPECT_EQ(tb.GetType(), 2);
    EXPECT_EQ(tb.GetBlockOffset(), 8);
    tb.SetSizeParams(0, 1, 4);
    EXPECT_EQ(tb.GetXSize(), 1);
    EXPECT_EQ(tb.GetYSize(), 4);
    EXPECT_EQ(tb.GetXTileSize(), 2);
    // Rectangles outside the raster or upside down, and tiles of the wrong size, touch nothing.
    const XRasterShape s = {10, 6, 1, 4, 4};
    XBytes block = TileOrder(MakeLines(s), s);
    tb.Set(block.data(), 0, s.nXSize, s.nYSize, 1, 4, 4, 0);
    XBytes buffer(64, 0x5A);
    EXPECT_EQ(tb.ReadSubset(buffer.data(), 3, 2, 0, 1), 0);
    EXPECT_EQ(tb.ReadSubset(buffer.data(), 0, 10, 0, 1), 0);
    EXPECT_EQ(tb.ReadSubset(buffer.data(), -1, 2, 0, 1), 0);
    EXPECT_EQ(tb.ReadSubset(buffer.data(), 0, 2, 3, 2), 0);
    EXPECT_EQ(tb.ReadPixel(buffer.data(), 10, 0), 0);
    EXPECT_EQ(tb.WriteSubset(buffer.data(), 0, 2, 5, 6), 0);
    EXPECT_EQ(tb.WritePixel(buffer.data(), 0, -1), 0);
    EXPECT_EQ(buffer, XBytes(64, 0x5A));
    EXPECT_EQ(block, TileOrder(MakeLines(s), s));
    EXPECT_EQ(tb.WriteTile(2, 0, buffer.data(), 4, 4), 0); // the edge tile is 2 wide
    EXPECT_EQ(tb.WriteTile(3, 0, buffer.data(), 2, 4), 0);
    EXPECT_EQ(block, TileOrder(MakeLines(s), s));
}

// Random rectangles read from a tiled block must equal the same rectangles of the line-order raster.
void CheckRandomReads(XTB& tb, const XBytes& lines, const XRasterShape& s, std::mt19937& rng)
{
    for (int i = 0; i < 300; ++i) {
        int x0 = int(rng() % s.nXSize), x1 = int(rng() % s.nXSize);
        int y0 = int(rng() % s.nYSize), y1 = int(rng() % s.nYSize);
        if (x0 > x1) std::swap(x0, x1);
        if (y0 > y1) std::swap(y0, y1);
        XBytes got(size_t(x1 - x0 + 1) * (y1 - y0 + 1) * s.nDataSize, 0xEE);
        ASSERT_EQ(tb.ReadSubset(got.data(), x0, x1, y0, y1), 1);
        ASSERT_EQ(got, Crop(lines, s, x0, x1, y0, y1)) << x0 << ".." << x1 << " x " << y0 << ".." << y1;
    }
}

TEST(XTB, ReadSubsetMatchesTheLineOrderRasterInMemoryAndOnFile)
{
    const XRasterShape s = {53, 41, 3, 16, 8};
    const XBytes lines = MakeLines(s);
    XBytes block(7, 0x11); // something in front of the block
    const XBytes tiles = TileOrder(lines, s);
    block.insert(block.end(), tiles.begin(), tiles.end());
    std::mt19937 rng(5);

    XTB inMemory;
    inMemory.Set(block.data(), 7, s.nXSize, s.nYSize, s.nDataSize, s.nXTile, s.nYTile, 0);
    CheckRandomReads(inMemory, lines, s, rng);

    const XString strPath = TestFileName("kvd_xtb_read_");
    XFile file;
    ASSERT_TRUE(file.Open(strPath, XFile::flagCreate | XFile::flagReadWrite));
    file.Write(block.data(), unsigned(block.size()));
    XTB onFile;
    onFile.Set(&file, 7, s.nXSize, s.nYSize, s.nDataSize, s.nXTile, s.nYTile);
    CheckRandomReads(onFile, lines, s, rng);

    // Whole tiles, a single column, a single pixel and whole lines.
    XBytes got(16 * 8 * 3);
    ASSERT_EQ(onFile.ReadSubset(got.data(), 16, 31, 8, 15), 1);
    EXPECT_EQ(got, Crop(lines, s, 16, 31, 8, 15));
    got.assign(41 * 3, 0);
    ASSERT_EQ(onFile.ReadSubset(got.data(), 52, 52, 0, 40), 1);
    EXPECT_EQ(got, Crop(lines, s, 52, 52, 0, 40));
    got.assign(3, 0);
    ASSERT_EQ(onFile.ReadPixel(got.data(), 52, 40), 1);
    EXPECT_EQ(got, Crop(lines, s, 52, 52, 40, 40));
    got.assign(53 * 3, 0);
    ASSERT_EQ(onFile.ReadLine(got.data(), 40), 1);
    EXPECT_EQ(got, Crop(lines, s, 0, 52, 40, 40));
    ASSERT_EQ(onFile.ReadLine(got.data(), 3, 9, 2), 1);
    EXPECT_EQ(XBytes(got.begin(), got.begin() + 21), Crop(lines, s, 3, 9, 2, 2));
    file.Close();
    XFile::Remove(strPath);
}

// The four bytes of tile tx of a row of 2 by 2 tiles, as ReadTile gives them.
XBytes TileBytes(XTB& tb, int tx)
{
    int w, h;
    const unsigned char* p = static_cast<const unsigned char*>(tb.ReadTile(tx, 0, w, h));
    return p != nullptr ? XBytes(p, p + 4) : XBytes();
}

// The four-tile cache evicts in load order, not use order; a whole-tile write goes straight to the block and
// leaves a cached copy stale; Set marks every record empty.
TEST(XTB, CacheEvictsInLoadOrderAndWholeTileWritesBypassIt)
{
    const XRasterShape s = {12, 2, 1, 2, 2}; // six tiles in one row, 4 bytes each
    XBytes block = TileOrder(MakeLines(s), s);
    XTB tb;
    tb.Set(block.data(), 0, s.nXSize, s.nYSize, 1, 2, 2, 0);
    for (int t : {0, 1, 2, 3, 0, 4}) // the second read of 0 is a hit and does not move it; 4 evicts 0
        ASSERT_EQ(TileBytes(tb, t).size(), 4u);
    EXPECT_EQ(tb.cache.GetCount(), 4);
    const XBytes tile2(block.begin() + 8, block.begin() + 12);
    block[0] ^= 0xFF; // change tile 0 and tile 2 under the cache
    block[8] ^= 0xFF;
    EXPECT_EQ(TileBytes(tb, 2), tile2);                                // cached
    EXPECT_EQ(TileBytes(tb, 0), XBytes(block.begin(), block.begin() + 4)); // reloaded
    unsigned char fresh[4] = {1, 2, 3, 4};
    ASSERT_EQ(tb.WriteSubset(fresh, 4, 5, 0, 1), 1);
    EXPECT_EQ(XBytes(block.begin() + 8, block.begin() + 12), XBytes(fresh, fresh + 4));
    EXPECT_EQ(TileBytes(tb, 2), tile2);
    tb.Set(block.data(), 0, s.nXSize, s.nYSize, 1, 2, 2, 0);
    EXPECT_EQ(tb.cache.GetCount(), 4);
    EXPECT_EQ(TileBytes(tb, 2), XBytes(fresh, fresh + 4));
}

TEST(XTB, WritesLandWhereTheLayoutPutsThem)
{
    // Single pixels in edge tiles use the real edge width as their stride.
    const XRasterShape s5 = {5, 3, 1, 2, 2};
    XBytes small(15, 0);
    XTB tb;
    tb.Set(small.data(), 0, 5, 3, 1, 2, 2, 0);
    unsigned char v = 0xA1;
    ASSERT_EQ(tb.WritePixel(&v, 4, 2), 1);
    EXPECT_EQ(small[14], 0xA1);
    v = 0xB2;
    ASSERT_EQ(tb.WritePixel(&v, 4, 1), 1);
    EXPECT_EQ(small[9], 0xB2);
    XBytes lines(15, 0);
    lines[14] = 0xA1;
    lines[9] = 0xB2;
    EXPECT_EQ(small, TileOrder(lines, s5));

    // Random rectangles written into a block on file, then the whole block
    // compared with the tile order of the same edits on the lines.
    const XRasterShape s = {29, 19, 2, 8, 4};
    XBytes ref = MakeLines(s, 3);
    const XString strPath = TestFileName("kvd_xtb_write_");
    XFile file;
    ASSERT_TRUE(file.Open(strPath, XFile::flagCreate | XFile::flagReadWrite));
    const XBytes tiles = TileOrder(ref, s);
    file.Write(tiles.data(), unsigned(tiles.size()));
    XTB onFile;
    onFile.Set(&file, 0, s.nXSize, s.nYSize, s.nDataSize, s.nXTile, s.nYTile);
    std::mt19937 rng(11);
    for (int i = 0; i < 200; ++i) {
        int x0 = int(rng() % s.nXSize), x1 = int(rng() % s.nXSize);
        int y0 = int(rng() % s.nYSize), y1 = int(rng() % s.nYSize);
        if (x0 > x1) std::swap(x0, x1);
        if (y0 > y1) std::swap(y0, y1);
        if (i % 2 == 1)
            y1 = y0; // every other edit is one line
        if (i % 50 == 49) { // and now and then a whole line
            x0 = 0;
            x1 = s.nXSize - 1;
        }
        XBytes patch(size_t(x1 - x0 + 1) * (y1 - y0 + 1) * s.nDataSize);
        for (unsigned char& b : patch)
            b = static_cast<unsigned char>(rng());
        if (i % 50 == 49)
            ASSERT_EQ(onFile.WriteLine(patch.data(), y0), 1);
        else
            ASSERT_EQ(i % 2 == 0 ? onFile.WriteSubset(patch.data(), x0, x1, y0, y1)
                                 : onFile.WriteLine(patch.data(), x0, x1, y0), 1);
        size_t k = 0;
        for (int y = y0; y <= y1; ++y)
            for (int x = x0; x <= x1; ++x)
                for (int c = 0; c < s.nDataSize; ++c)
                    ref[(size_t(y) * s.nXSize + x) * s.nDataSize + c] = patch[k++];
    }
    XBytes whole(tiles.size());
    file.SeekToBegin();
    ASSERT_EQ(file.Read(whole.data(), unsigned(whole.size())), whole.size());
    EXPECT_EQ(whole, TileOrder(ref, s));
    file.Close();
    XFile::Remove(strPath);
}

} // namespace
