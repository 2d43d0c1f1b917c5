// XTB: two-dimensional pixel access to one raster block in tile order, held
// in an XFile or in a caller's memory, neither of which XTB owns. Keeps a
// first-in first-out cache of four tiles. One object for one thread at a
// time. Failures return 0 or null; exceptions of the XFile pass through.
#pragma once

#include "KVDbase/collections/XList.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

class XFile;
class XThread;

// One cached tile. Tile numbers of -1 mean that the record holds no tile.
struct XTBCacheTile {
    void* buffer;  // the tile's pixels, row by row
    int capacity;  // bytes in buffer: always room for a full tile
    int tileX;
    int tileY;
};

// Layout of the block: tiles left to right, tile rows top to bottom, each
// tile row by row. Edge tiles have their real size, with no padding, so the
// block holds exactly xSize * ySize * dataSize bytes in either order. Tile
// sizes must be positive; they are not checked. In memory, offsets within
// the block are 32-bit: a memory block spans at most 4 GiB.
class KVD_API XTB {
public:
    int64_t blockOffset; // byte offset of the block in the file or memory
    int xSize;           // raster width in pixels
    int ySize;           // raster height in pixels
    int dataSize;        // bytes per pixel
    int xTileSize;
    int yTileSize;
    int type;            // 0 unset, 1 memory, 2 memory converted via a file, 3 file
    XFile* file;         // mode 3 only; not owned
    void* data;          // modes 1 and 2 only; not owned
    XPtrList cache;      // XTBCacheTile*, most recently loaded at the head

    XTB();
    // Frees the cached tiles; leaves the file and the memory alone.
    ~XTB();
    XTB(const XTB&) = delete;
    XTB& operator=(const XTB&) = delete;

    // Attach a file (mode 3) or memory (mode 1, or 2 with viaTemporaryFile).
    // 0, with nothing changed, for a null file or memory, or for sizes that
    // describe no block: a tile or pixel size below 1, a negative raster size
    // or offset, a full tile of more than INT_MAX bytes. Each Set marks the
    // cache empty.
    int Set(XFile* file, int64_t blockOffset, int xSize, int ySize, int dataSize, int xTileSize,
            int yTileSize);
    int Set(void* data, int64_t blockOffset, int xSize, int ySize, int dataSize, int xTileSize, int yTileSize,
            int viaTemporaryFile);
    void SetSizeParams(int64_t blockOffset, int xSize, int ySize);

    int64_t GetBlockOffset() const { return blockOffset; }
    void* GetDataPtr() const { return data; }
    int GetDataSize() const { return dataSize; }
    int GetType() const { return type; }
    int GetXSize() const { return xSize; }
    int GetYSize() const { return ySize; }
    int GetXTileSize() const { return xTileSize; }
    int GetYTileSize() const { return yTileSize; }
    int GetNumXTiles() const { return xSize / xTileSize + (xSize % xTileSize != 0 ? 1 : 0); }
    int GetNumYTiles() const { return ySize / yTileSize + (ySize % yTileSize != 0 ? 1 : 0); }
    int GetNumTiles() const { return GetNumXTiles() * GetNumYTiles(); }

    // The real size of tile (tx, ty), and its offset from blockOffset and
    // its size in bytes; 0 for a tile outside the raster.
    int GetTileInfo(int tx, int ty, int& width, int& height);
    int GetTileInfo(int tx, int ty, int64_t& offset, int& size, int& width, int& height);

    // The tile's pixels in the cache, valid until the cache reuses the
    // record; null on failure. A cache hit does not reorder the cache.
    void* ReadTile(int tx, int ty, int& width, int& height);
    // Stores a whole tile of exactly its real size. The cache is not updated:
    // a cached copy of the tile stays as it was until it is evicted or reset.
    int WriteTile(int tx, int ty, void* pixels, int width, int height);

    // Inclusive pixel coordinates; buffers in line order, rows back to back.
    int ReadPixel(void* pixel, int x, int y);
    int WritePixel(void* pixel, int x, int y);
    int ReadSubset(void* buffer, int x0, int x1, int y0, int y1);
    int WriteSubset(void* buffer, int x0, int x1, int y0, int y1);
    int ReadLine(void* buffer, int x0, int x1, int y);
    int WriteLine(void* buffer, int x0, int x1, int y);
    int ReadLine(void* buffer, int y);
    int WriteLine(void* buffer, int y);

    // Convert the block in place between line order and tile order, with a
    // working buffer of memorySize bytes. Modes 2 and 3 go through a
    // temporary file: beside the raster's file in mode 3, from
    // XfnGetTempFileName in mode 2. The thread, when given, receives
    // progress and may cancel, which leaves the block as it was. The cache
    // is not emptied. Mode 0 returns 0. When an XFile exception escapes, the
    // temporary file is left in place: it may hold the only whole copy.
    int Tile(int memorySize, XThread* thread);
    int Untile(int memorySize, XThread* thread);

protected:
    void ResetCache();

private:
    // The address of a byte offset within memory (32-bit offsets).
    unsigned char* MemoryAt(int64_t offset) const;
    XString TemporaryName() const;
};
