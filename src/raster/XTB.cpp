// XTB: tile arithmetic, the four-tile cache and pixel access. The in-place
// conversions between line and tile order are in XTBConvert.cpp.
#include "KVDbase/raster/XTB.h"

#include "KVDbase/files/XFile.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

const int nCacheLimit = 4;

} // namespace

XTB::XTB()
    : blockOffset(0), xSize(0), ySize(0), dataSize(0), xTileSize(0), yTileSize(0), type(0), file(nullptr),
      data(nullptr), cache(10)
{
}

XTB::~XTB()
{
    POSITION pos = cache.GetHeadPosition();
    while (pos != nullptr) {
        XTBCacheTile* pTile = static_cast<XTBCacheTile*>(cache.GetNext(pos));
        std::free(pTile->buffer);
        delete pTile;
    }
    cache.RemoveAll();
}

namespace {

// Sizes that describe a block at all: tiles and pixels of at least one byte,
// no negative raster or offset, and a full tile whose byte count fits the
// cache's int capacity. Anything else would divide by zero or overflow later.
bool SizesPossible(int64_t nBlockOffset, int nXSize, int nYSize, int nDataSize, int nXTileSize, int nYTileSize)
{
    if (nBlockOffset < 0 || nXSize < 0 || nYSize < 0 || nDataSize <= 0 || nXTileSize <= 0 || nYTileSize <= 0)
        return false;
    return int64_t(nXTileSize) * nYTileSize * nDataSize <= INT_MAX;
}

} // namespace

int XTB::Set(XFile* pFile, int64_t nBlockOffset, int nXSize, int nYSize, int nDataSize, int nXTileSize,
             int nYTileSize)
{
    if (pFile == nullptr || !SizesPossible(nBlockOffset, nXSize, nYSize, nDataSize, nXTileSize, nYTileSize))
        return 0;
    ResetCache();
    blockOffset = nBlockOffset;
    xSize = nXSize;
    ySize = nYSize;
    dataSize = nDataSize;
    xTileSize = nXTileSize;
    yTileSize = nYTileSize;
    type = 3;
    data = nullptr;
    file = pFile;
    return 1;
}

int XTB::Set(void* pData, int64_t nBlockOffset, int nXSize, int nYSize, int nDataSize, int nXTileSize,
             int nYTileSize, int viaTemporaryFile)
{
    if (pData == nullptr || !SizesPossible(nBlockOffset, nXSize, nYSize, nDataSize, nXTileSize, nYTileSize))
        return 0;
    ResetCache();
    blockOffset = nBlockOffset;
    xSize = nXSize;
    ySize = nYSize;
    dataSize = nDataSize;
    xTileSize = nXTileSize;
    yTileSize = nYTileSize;
    type = viaTemporaryFile != 0 ? 2 : 1;
    data = pData;
    file = nullptr;
    return 1;
}

void XTB::SetSizeParams(int64_t nBlockOffset, int nXSize, int nYSize)
{
    ResetCache();
    blockOffset = nBlockOffset;
    xSize = nXSize;
    ySize = nYSize;
}

void XTB::ResetCache()
{
    POSITION pos = cache.GetHeadPosition();
    while (pos != nullptr) {
        XTBCacheTile* pTile = static_cast<XTBCacheTile*>(cache.GetNext(pos));
        pTile->tileX = -1;
        pTile->tileY = -1;
    }
}

unsigned char* XTB::MemoryAt(int64_t offset) const
{
    return static_cast<unsigned char*>(data) + static_cast<uint32_t>(offset);
}

int XTB::GetTileInfo(int tx, int ty, int& width, int& height)
{
    const int nX = GetNumXTiles();
    const int nY = GetNumYTiles();
    if (tx < 0 || tx >= nX || ty < 0 || ty >= nY)
        return 0;
    const int nLastW = xSize % xTileSize != 0 ? xSize % xTileSize : xTileSize;
    const int nLastH = ySize % yTileSize != 0 ? ySize % yTileSize : yTileSize;
    width = tx == nX - 1 ? nLastW : xTileSize;
    height = ty == nY - 1 ? nLastH : yTileSize;
    return 1;
}

int XTB::GetTileInfo(int tx, int ty, int64_t& offset, int& size, int& width, int& height)
{
    if (!GetTileInfo(tx, ty, width, height))
        return 0;
    const int64_t nX = GetNumXTiles();
    const int64_t nLastW = xSize % xTileSize != 0 ? xSize % xTileSize : xTileSize;
    // A full tile row spans the whole raster width, yTileSize rows high;
    // tiles before this one in its row share its height.
    offset = ((int64_t(xTileSize) * (nX - 1) + nLastW) * yTileSize * ty + int64_t(xTileSize) * height * tx) *
             dataSize;
    size = width * height * dataSize;
    return 1;
}

void* XTB::ReadTile(int tx, int ty, int& width, int& height)
{
    if (type == 0)
        return nullptr;
    int64_t nOffset;
    int nSize;
    if (!GetTileInfo(tx, ty, nOffset, nSize, width, height))
        return nullptr;

    POSITION pos = cache.GetHeadPosition();
    while (pos != nullptr) {
        XTBCacheTile* pTile = static_cast<XTBCacheTile*>(cache.GetNext(pos));
        if (pTile->tileX == tx && pTile->tileY == ty)
            return pTile->buffer;
    }

    // A miss: reuse the oldest record once four are held, else add one.
    XTBCacheTile* pTile;
    if (cache.GetCount() >= nCacheLimit) {
        pTile = static_cast<XTBCacheTile*>(cache.RemoveTail());
    } else {
        pTile = new (std::nothrow) XTBCacheTile;
        if (pTile == nullptr)
            return nullptr;
        pTile->buffer = nullptr;
        pTile->capacity = 0;
    }
    pTile->tileX = -1;
    pTile->tileY = -1;
    // Every record can hold a full tile, so that any record fits any tile.
    const int nFull = xTileSize * yTileSize * dataSize;
    if (pTile->capacity < nFull) {
        std::free(pTile->buffer);
        pTile->buffer = std::malloc(static_cast<size_t>(nFull));
        pTile->capacity = pTile->buffer != nullptr ? nFull : 0;
        if (pTile->buffer == nullptr) {
            delete pTile;
            return nullptr;
        }
    }
    cache.AddHead(pTile);

    if (type == 3) {
        file->Seek(blockOffset + nOffset, XFile::begin);
        file->Read(pTile->buffer, static_cast<unsigned int>(nSize)); // a short read is not examined
    } else {
        std::memcpy(pTile->buffer, MemoryAt(blockOffset + nOffset), static_cast<size_t>(nSize));
    }
    pTile->tileX = tx;
    pTile->tileY = ty;
    return pTile->buffer;
}

int XTB::WriteTile(int tx, int ty, void* pixels, int width, int height)
{
    if (type == 0)
        return 0;
    int64_t nOffset;
    int nSize, nWidth, nHeight;
    if (!GetTileInfo(tx, ty, nOffset, nSize, nWidth, nHeight) || width != nWidth || height != nHeight)
        return 0;
    if (type == 3) {
        file->Seek(blockOffset + nOffset, XFile::begin);
        file->Write(pixels, static_cast<unsigned int>(nSize));
    } else {
        std::memcpy(MemoryAt(blockOffset + nOffset), pixels, static_cast<size_t>(nSize));
    }
    return 1;
}

int XTB::ReadPixel(void* pixel, int x, int y)
{
    if (type == 0 || x < 0 || x >= xSize || y < 0 || y >= ySize)
        return 0;
    int nWidth, nHeight;
    const unsigned char* pTile =
        static_cast<const unsigned char*>(ReadTile(x / xTileSize, y / yTileSize, nWidth, nHeight));
    if (pTile == nullptr)
        return 0;
    std::memcpy(pixel, pTile + (size_t(y % yTileSize) * nWidth + x % xTileSize) * dataSize,
                static_cast<size_t>(dataSize));
    return 1;
}

int XTB::WritePixel(void* pixel, int x, int y)
{
    if (type == 0 || x < 0 || x >= xSize || y < 0 || y >= ySize)
        return 0;
    const int tx = x / xTileSize;
    const int ty = y / yTileSize;
    int nWidth, nHeight;
    unsigned char* pTile = static_cast<unsigned char*>(ReadTile(tx, ty, nWidth, nHeight));
    if (pTile == nullptr)
        return 0;
    std::memcpy(pTile + (size_t(y % yTileSize) * nWidth + x % xTileSize) * dataSize, pixel,
                static_cast<size_t>(dataSize));
    return WriteTile(tx, ty, pTile, nWidth, nHeight) != 0 ? 1 : 0;
}

namespace {

// Copies the part of one tile that lies inside a subset, row by row, in the
// direction bToTile says.
struct XSubsetCopy {
    unsigned char* pBuffer;
    int x0, x1, y0, y1;
    int nDataSize;
    int64_t nBufferStride;

    void Run(unsigned char* pTile, int nTileX0, int nTileY0, int nWidth, int nHeight, bool bToTile) const
    {
        const int nLeft = x0 > nTileX0 ? x0 : nTileX0;
        const int nRight = x1 < nTileX0 + nWidth - 1 ? x1 : nTileX0 + nWidth - 1;
        const int nTop = y0 > nTileY0 ? y0 : nTileY0;
        const int nBottom = y1 < nTileY0 + nHeight - 1 ? y1 : nTileY0 + nHeight - 1;
        const size_t nRowBytes = size_t(nRight - nLeft + 1) * nDataSize;
        const size_t nTileStride = size_t(nWidth) * nDataSize;
        unsigned char* pTileRow = pTile + size_t(nTop - nTileY0) * nTileStride + size_t(nLeft - nTileX0) * nDataSize;
        unsigned char* pBufferRow =
            pBuffer + (nTop - y0) * nBufferStride + int64_t(nLeft - x0) * nDataSize;
        for (int y = nTop; y <= nBottom; ++y) {
            if (bToTile)
                std::memcpy(pTileRow, pBufferRow, nRowBytes);
            else
                std::memcpy(pBufferRow, pTileRow, nRowBytes);
            pTileRow += nTileStride;
            pBufferRow += nBufferStride;
        }
    }
};

} // namespace

int XTB::ReadSubset(void* buffer, int x0, int x1, int y0, int y1)
{
    if (x0 < 0 || x1 >= xSize || y0 < 0 || y1 >= ySize || x0 > x1 || y0 > y1)
        return 0;
    if (x0 == x1 && y0 == y1)
        return ReadPixel(buffer, x0, y0);
    const int tx0 = x0 / xTileSize, tx1 = x1 / xTileSize;
    const int ty0 = y0 / yTileSize, ty1 = y1 / yTileSize;
    int nWidth, nHeight;

    if (tx0 == tx1 && ty0 == ty1 && GetTileInfo(tx0, ty0, nWidth, nHeight) && x1 - x0 + 1 == nWidth &&
        y1 - y0 + 1 == nHeight) {
        void* pTile = ReadTile(tx0, ty0, nWidth, nHeight);
        if (pTile != nullptr) {
            std::memcpy(buffer, pTile, size_t(nWidth) * nHeight * dataSize);
            return 1;
        }
    }

    const XSubsetCopy copy{static_cast<unsigned char*>(buffer), x0, x1, y0, y1, dataSize,
                           int64_t(x1 - x0 + 1) * dataSize};
    for (int ty = ty0; ty <= ty1; ++ty) {
        for (int tx = tx0; tx <= tx1; ++tx) {
            unsigned char* pTile = static_cast<unsigned char*>(ReadTile(tx, ty, nWidth, nHeight));
            if (pTile != nullptr) // a tile that fails leaves its part of the buffer alone
                copy.Run(pTile, tx * xTileSize, ty * yTileSize, nWidth, nHeight, false);
        }
    }
    return 1;
}

int XTB::WriteSubset(void* buffer, int x0, int x1, int y0, int y1)
{
    if (x0 < 0 || x1 >= xSize || y0 < 0 || y1 >= ySize || x0 > x1 || y0 > y1)
        return 0;
    if (x0 == x1 && y0 == y1)
        return WritePixel(buffer, x0, y0);
    const int tx0 = x0 / xTileSize, tx1 = x1 / xTileSize;
    const int ty0 = y0 / yTileSize, ty1 = y1 / yTileSize;
    int nWidth, nHeight;

    // A whole tile goes straight from the caller's buffer to the block; a
    // cached copy of it is not refreshed.
    if (tx0 == tx1 && ty0 == ty1 && GetTileInfo(tx0, ty0, nWidth, nHeight) && x1 - x0 + 1 == nWidth &&
        y1 - y0 + 1 == nHeight)
        return WriteTile(tx0, ty0, buffer, nWidth, nHeight);

    const XSubsetCopy copy{static_cast<unsigned char*>(buffer), x0, x1, y0, y1, dataSize,
                           int64_t(x1 - x0 + 1) * dataSize};
    for (int ty = ty0; ty <= ty1; ++ty) {
        for (int tx = tx0; tx <= tx1; ++tx) {
            unsigned char* pTile = static_cast<unsigned char*>(ReadTile(tx, ty, nWidth, nHeight));
            if (pTile == nullptr)
                continue;
            copy.Run(pTile, tx * xTileSize, ty * yTileSize, nWidth, nHeight, true);
            WriteTile(tx, ty, pTile, nWidth, nHeight);
        }
    }
    return 1;
}

int XTB::ReadLine(void* buffer, int x0, int x1, int y)
{
    return ReadSubset(buffer, x0, x1, y, y);
}

int XTB::WriteLine(void* buffer, int x0, int x1, int y)
{
    return WriteSubset(buffer, x0, x1, y, y);
}

int XTB::ReadLine(void* buffer, int y)
{
    return ReadSubset(buffer, 0, xSize - 1, y, y);
}

int XTB::WriteLine(void* buffer, int y)
{
    return WriteSubset(buffer, 0, xSize - 1, y, y);
}
