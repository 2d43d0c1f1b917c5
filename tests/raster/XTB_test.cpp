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
    EXPECT_EQ(tb.GetTileInfo(0, 2, w, h), 0);
    EXPECT_EQ(tb.ReadTile(3, 0, w, h), nullptr);
    EXPECT_EQ(w, 7);
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
    // Rectangles outside the raster or upside down, and tiles of the wrong size, touch nothing.
    const XRasterShape s = {10, 6, 1, 4, 4};
    XBytes block = TileOrder(MakeLines(s), s);
    tb.Set(block.data(), 0, s.nXSize, s.nYSize, 1, 4, 4, 0);
    XBytes buffer(64, 0x5A);
    EXPECT_EQ(tb.ReadSubset(buffer.data(), 3, 2, 0, 1), 0);
    EXPECT_EQ(tb.ReadSubset(buffer.data(), 0, 10, 0, 1), 0);
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

// One walk of rectangles, parts of lines, whole lines and pixels: written through tb with the same edits made
// to the line-order ref, or read back and compared with ref.
void Walk(XTB& tb, XBytes& ref, const XRasterShape& s, bool bWrite)
{
    std::mt19937 rng(bWrite ? 11 : 5);
    for (int i = 0; i < 300; ++i) {
        int x0 = int(rng() % s.nXSize), x1 = int(rng() % s.nXSize);
        int y0 = int(rng() % s.nYSize), y1 = int(rng() % s.nYSize);
        if (x0 > x1) std::swap(x0, x1);
        if (y0 > y1) std::swap(y0, y1);
        const int nKind = i % 4;
        y1 = nKind == 0 ? y1 : y0;
        x0 = nKind == 2 ? 0 : x0;
        x1 = nKind == 2 ? s.nXSize - 1 : nKind == 3 ? x0 : x1;
        const size_t nRow = size_t(x1 - x0 + 1) * s.nDataSize;
        XBytes buf(nRow * (y1 - y0 + 1), 0xEE);
        for (unsigned char& b : buf)
            b = bWrite ? static_cast<unsigned char>(rng()) : b;
        unsigned char* p = buf.data();
        const int nDone = !bWrite ? (nKind == 0   ? tb.ReadSubset(p, x0, x1, y0, y1)
                                     : nKind == 1 ? tb.ReadLine(p, x0, x1, y0)
                                     : nKind == 2 ? tb.ReadLine(p, y0)
                                                  : tb.ReadPixel(p, x0, y0))
                                  : (nKind == 0   ? tb.WriteSubset(p, x0, x1, y0, y1)
                                     : nKind == 1 ? tb.WriteLine(p, x0, x1, y0)
                                     : nKind == 2 ? tb.WriteLine(p, y0)
                                                  : tb.WritePixel(p, x0, y0));
        ASSERT_EQ(nDone, 1) << i;
        for (int y = y0; bWrite && y <= y1; ++y)
            std::copy_n(buf.begin() + (y - y0) * nRow, nRow, ref.begin() + (size_t(y) * s.nXSize + x0) * s.nDataSize);
        ASSERT_EQ(buf, Crop(ref, s, x0, x1, y0, y1)) << x0 << ".." << x1 << " x " << y0 << ".." << y1;
    }
}

// The same walk in memory behind a header, and on file; the block is then checked whole.
TEST(XTB, WalksOfWritesAndReadsMatchTheLineOrderRasterInMemoryAndOnFile)
{
    const XRasterShape aShape[] = {{53, 41, 3, 16, 8}, {29, 19, 2, 8, 4}};
    const XString strPath = TestFileName("kvd_xtb_walk_");
    for (int nOnFile = 0; nOnFile < 2; ++nOnFile) {
        const XRasterShape& s = aShape[nOnFile];
        XBytes ref = MakeLines(s, 3);
        XBytes block(7, 0x11);
        const XBytes tiles = TileOrder(ref, s);
        block.insert(block.end(), tiles.begin(), tiles.end());
        XFile file;
        ASSERT_TRUE(file.Open(strPath, XFile::flagCreate | XFile::flagReadWrite));
        file.Write(block.data(), unsigned(block.size()));
        XTB tb;
        for (bool bWrite : {true, false}) {
            if (nOnFile == 1)
                tb.Set(&file, 7, s.nXSize, s.nYSize, s.nDataSize, s.nXTile, s.nYTile);
            else
                tb.Set(block.data(), 7, s.nXSize, s.nYSize, s.nDataSize, s.nXTile, s.nYTile, 0);
            Walk(tb, ref, s, bWrite);
        }
        if (nOnFile == 1) {
            file.SeekToBegin();
            ASSERT_EQ(file.Read(block.data(), unsigned(block.size())), block.size());
        }
        EXPECT_EQ(XBytes(block.begin() + 7, block.end()), TileOrder(ref, s));
        EXPECT_EQ(XBytes(block.begin(), block.begin() + 7), XBytes(7, 0x11));
        file.Close();
    }
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

} // namespace
