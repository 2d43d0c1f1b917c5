// XTB::Tile and XTB::Untile: in-place conversion of a block between line
// order and tile order. Memory blocks of mode 1 convert through one heap
// buffer of the whole raster. Modes 2 and 3 work in chunks of whole rows that
// fit the caller's memory budget: the first pass writes the converted block
// to a temporary file, the second copies it back over the block, so a cancel
// during the first pass leaves the block untouched.
#include "KVDbase/raster/XTB.h"

#include "KVDbase/files/XFile.h"
#include "KVDbase/files/XPath.h"
#include "KVDbase/workers/XThread.h"

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

struct XFreeDeleter {
    void operator()(void* p) const { std::free(p); }
};
typedef std::unique_ptr<unsigned char, XFreeDeleter> XHeapBuffer;

// A buffer of nBytes (at least one byte, so that an empty raster still has
// one); null when the memory is not there.
XHeapBuffer AllocBuffer(int64_t nBytes)
{
    if (nBytes < 0 || static_cast<uint64_t>(nBytes) > SIZE_MAX)
        return XHeapBuffer();
    return XHeapBuffer(static_cast<unsigned char*>(std::malloc(nBytes > 0 ? static_cast<size_t>(nBytes) : 1)));
}

// Reports the chunk that starts at row y; true when the caller asked to stop.
bool ReportOrStop(XThread* pThread, int y, int nYSize)
{
    if (pThread == nullptr)
        return false;
    if (pThread->bStop != 0)
        return true;
    pThread->CallbackPercent(y * 100.0 / (nYSize - 1));
    return false;
}

// The buffer of a conversion: as many whole rows of nRowBytesIn as fit in
// memorySize, at most all nYSize of them. Null when a row has no bytes or
// the memory is not there.
XHeapBuffer AllocChunkBuffer(int memorySize, int nRowBytesIn, int nYSize, int& nRowBytes, int& nRows)
{
    nRowBytes = nRowBytesIn;
    nRows = 0;
    if (nRowBytes <= 0)
        return XHeapBuffer();
    nRows = memorySize / nRowBytes;
    if (nRows > nYSize)
        nRows = nYSize;
    return AllocBuffer(int64_t(nRowBytes) * nRows);
}

// The rows of one chunk: from y to the smaller of y + nRows - 1 and the last
// row. With nRows 0 the chunk is empty and the loop does not advance.
int ChunkEnd(int y, int nRows, int nYSize)
{
    return y + nRows - 1 < nYSize - 1 ? y + nRows - 1 : nYSize - 1;
}

} // namespace

XString XTB::TemporaryName() const
{
    // A file block converts beside its own file; a memory block has no file,
    // so it takes a fresh name in the library's temporary place.
    if (type == 3)
        return file->GetFilePath() + ".$XTBTEMP$";
    return XfnGetTempFileName("$XTBTEMP$");
}

int XTB::Tile(int memorySize, XThread* thread)
{
    if (type == 1) {
        const int64_t nBytes = int64_t(dataSize) * xSize * ySize;
        XHeapBuffer pWhole = AllocBuffer(nBytes);
        if (!pWhole)
            return 0;
        std::memcpy(pWhole.get(), MemoryAt(blockOffset), static_cast<size_t>(nBytes));
        return WriteSubset(pWhole.get(), 0, xSize - 1, 0, ySize - 1);
    }
    if (type != 2 && type != 3)
        return 0;

    int nRowBytes, nRows;
    XHeapBuffer pBuffer = AllocChunkBuffer(memorySize, xSize * dataSize, ySize, nRowBytes, nRows);
    if (!pBuffer)
        return 0;

    const XString strTemp = TemporaryName();
    XFile temp;
    if (!temp.Open(strTemp, XFile::flagCreate | XFile::flagShareDenyWrite | XFile::flagReadWrite))
        return 0;
    XTB tiled;
    tiled.Set(&temp, 0, xSize, ySize, dataSize, xTileSize, yTileSize);

    // First pass: line-order chunks of the block become tiles of the
    // temporary file. A chunk whose rows end inside a tile row completes
    // those tiles from the temporary file when the next chunk comes.
    int nResult = 0;
    bool bStopped = false;
    if (type == 3)
        file->Seek(blockOffset, XFile::begin);
    int64_t nMemoryOffset = blockOffset;
    for (int y = 0; y < ySize; y += nRows) {
        const int y1 = ChunkEnd(y, nRows, ySize);
        const unsigned int nChunkBytes = static_cast<unsigned int>(y1 - y + 1) * static_cast<unsigned int>(nRowBytes);
        unsigned char* pChunk;
        if (type == 3) {
            file->Read(pBuffer.get(), nChunkBytes);
            pChunk = pBuffer.get();
        } else {
            pChunk = MemoryAt(nMemoryOffset);
            nMemoryOffset += nChunkBytes;
        }
        nResult = tiled.WriteSubset(pChunk, 0, xSize - 1, y, y1);
        if (ReportOrStop(thread, y, ySize)) {
            nResult = 0;
            bStopped = true;
            break;
        }
    }

    // Second pass: the tiled copy goes back over the block. No progress is
    // reported and no cancel taken here: the block is being overwritten.
    if (!bStopped) {
        temp.SeekToBegin();
        if (type == 3)
            file->Seek(blockOffset, XFile::begin);
        nMemoryOffset = blockOffset;
        for (int y = 0; y < ySize; y += nRows) {
            const int y1 = ChunkEnd(y, nRows, ySize);
            const unsigned int nChunkBytes =
                static_cast<unsigned int>(y1 - y + 1) * static_cast<unsigned int>(nRowBytes);
            temp.Read(pBuffer.get(), nChunkBytes);
            if (type == 3) {
                file->Write(pBuffer.get(), nChunkBytes);
            } else {
                std::memcpy(MemoryAt(nMemoryOffset), pBuffer.get(), nChunkBytes);
                nMemoryOffset += nChunkBytes;
            }
        }
    }

    temp.Close();
    XFile::Remove(strTemp);
    return nResult;
}

int XTB::Untile(int memorySize, XThread* thread)
{
    if (type == 1) {
        const int64_t nBytes = int64_t(dataSize) * xSize * ySize;
        XHeapBuffer pWhole = AllocBuffer(nBytes);
        if (!pWhole)
            return 0;
        const int nResult = ReadSubset(pWhole.get(), 0, xSize - 1, 0, ySize - 1);
        if (nResult)
            std::memcpy(MemoryAt(blockOffset), pWhole.get(), static_cast<size_t>(nBytes));
        return nResult;
    }
    if (type != 2 && type != 3)
        return 0;

    int nRowBytes, nRows;
    XHeapBuffer pBuffer = AllocChunkBuffer(memorySize, xSize * dataSize, ySize, nRowBytes, nRows);
    if (!pBuffer)
        return 0;

    const XString strTemp = TemporaryName();
    XFile temp;
    if (!temp.Open(strTemp, XFile::flagCreate | XFile::flagShareDenyWrite | XFile::flagReadWrite))
        return 0;

    // First pass: this object reads the tiles, chunk by chunk of rows, and
    // the temporary file receives them in line order.
    int nResult = 0;
    bool bStopped = false;
    temp.SeekToBegin();
    for (int y = 0; y < ySize; y += nRows) {
        const int y1 = ChunkEnd(y, nRows, ySize);
        const unsigned int nChunkBytes = static_cast<unsigned int>(y1 - y + 1) * static_cast<unsigned int>(nRowBytes);
        nResult = ReadSubset(pBuffer.get(), 0, xSize - 1, y, y1);
        temp.Write(pBuffer.get(), nChunkBytes);
        if (ReportOrStop(thread, y, ySize)) {
            nResult = 0;
            bStopped = true;
            break;
        }
    }

    // Second pass: the line-order copy goes back over the block. Only a file
    // block rewinds the temporary file first; a memory block reads on from
    // where the first pass ended, as this conversion always has.
    if (!bStopped) {
        int64_t nMemoryOffset = blockOffset;
        if (type == 3) {
            temp.SeekToBegin();
            file->Seek(blockOffset, XFile::begin);
        }
        for (int y = 0; y < ySize; y += nRows) {
            const int y1 = ChunkEnd(y, nRows, ySize);
            const unsigned int nChunkBytes =
                static_cast<unsigned int>(y1 - y + 1) * static_cast<unsigned int>(nRowBytes);
            temp.Read(pBuffer.get(), nChunkBytes);
            if (type == 3) {
                file->Write(pBuffer.get(), nChunkBytes);
            } else {
                std::memcpy(MemoryAt(nMemoryOffset), pBuffer.get(), nChunkBytes);
                nMemoryOffset += nChunkBytes;
            }
        }
    }

    temp.Close();
    XFile::Remove(strTemp);
    return nResult;
}
