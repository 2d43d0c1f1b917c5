#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/files/XMemFile.h"

#include "XFilesTestDir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

TEST(XMemFile, GrowsInWholeStepsWithinThe32BitRange)
{
    std::vector<char> big(2049, 'b');
    XMemFile file(1024);
    file.Write(big.data(), 2049);
    EXPECT_EQ(file.GetCapacity(), 3072u);
    file.SetLength(10); // shrinking keeps the block
    EXPECT_EQ(file.GetCapacity(), 3072u);
    // An end past 32 bits, or a block rounded up past them, cannot be held.
    file.Seek(0xFFFFFFF0LL, XFile::begin);
    EXPECT_THROW(file.Write(big.data(), 100), XMemoryException);
    file.Seek(0xFFFFFF00LL, XFile::begin);
    EXPECT_THROW(file.Write(big.data(), 16), XMemoryException);
    EXPECT_EQ(file.GetLength(), 10);
    // Closed, it cannot grow again; nor can a memory file share a handle or lock one.
    file.Flush();
    file.Abort();
    EXPECT_THROW(file.Write("x", 1), XMemoryException);
    EXPECT_THROW(file.Duplicate(), XNotSupportedException);
    EXPECT_THROW(file.LockRange(0, 1), XNotSupportedException);
}

TEST(XMemFile, BorrowedBlocks)
{
    unsigned char block[8] = {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h'};
    {
        XMemFile file(block, sizeof(block), 0);
        file.Seek(6, XFile::begin);
        file.Write("XY", 2);
        EXPECT_THROW(file.Write("Z", 1), XMemoryException);
        EXPECT_EQ(file.GetPosition(), 8);
    }
    // A fixed block is the caller's: written in place, not freed.
    EXPECT_EQ(std::string(reinterpret_cast<char*>(block), 8), "abcdefXY");
    // A growable borrowed block starts empty, and grows through realloc.
    XMemFile grow(static_cast<unsigned char*>(std::malloc(4)), 4, 16);
    EXPECT_EQ(grow.GetLength(), 0);
    grow.Write("0123456789", 10);
    EXPECT_EQ(grow.GetCapacity(), 20u);
    std::free(grow.Detach());
}

TEST(XMemFile, SeekRules)
{
    XMemFile file;
    file.Write("0123456789", 10);
    EXPECT_EQ(file.Seek(-1, XFile::end), 9);
    EXPECT_EQ(file.Seek(0, 7), -1);
    EXPECT_EQ(file.GetPosition(), 9);
    EXPECT_EQ(ThrownCode([&] { file.Seek(-1, XFile::begin); }), 0x80004003u);
    // Past the content: reads give nothing, a write fills the gap.
    EXPECT_EQ(file.Seek(20, XFile::begin), 20);
    char c;
    EXPECT_EQ(file.Read(&c, 1), 0u);
    file.Write("!", 1);
    EXPECT_EQ(file.GetLength(), 21);
    // Positions are 32-bit.
    EXPECT_EQ(file.Seek(0x100000003LL, XFile::begin), 3);
}

TEST(XMemFile, SetLengthAndDetach)
{
    XMemFile file(64);
    file.Write("0123456789", 10);
    file.SetLength(0);
    EXPECT_EQ(file.GetPosition(), 0);
    file.SetLength(3000);
    EXPECT_EQ(file.GetCapacity(), 3008u);
    // Through the base class the 64-bit SetLength reaches the missing handle.
    EXPECT_THROW(static_cast<XFile&>(file).SetLength(5), XFileException);
    file.SeekToBegin();
    file.Write("keep", 4);
    unsigned char* pBlock = file.Detach();
    EXPECT_EQ(std::memcmp(pBlock, "keep", 4), 0);
    std::free(pBlock);
}

TEST(XMemFile, BufferWindowsForInPlaceArchives)
{
    XMemFile file(16);
    void* pStart = nullptr;
    void* pEnd = nullptr;
    EXPECT_EQ(file.GetBufferPtr(XMemFile::bufferCheck, 0, nullptr, nullptr), 1u);
    // Without a block the read window is empty.
    EXPECT_EQ(file.GetBufferPtr(XMemFile::bufferRead, 4, &pStart, &pEnd), 0u);
    EXPECT_EQ(pStart, nullptr);
    // A writer takes a window, fills it and commits what it wrote.
    EXPECT_EQ(file.GetBufferPtr(XMemFile::bufferWrite, 20, &pStart, &pEnd), 20u);
    EXPECT_EQ(file.GetPosition(), 0);
    std::memcpy(pStart, "window", 6);
    EXPECT_EQ(file.GetBufferPtr(XMemFile::bufferCommit, 6, nullptr, nullptr), 0u);
    EXPECT_EQ(file.GetPosition(), 6);
    EXPECT_EQ(file.GetLength(), 6);
    // A reader consumes at once; -1 stops at the content, not the block.
    file.SeekToBegin();
    EXPECT_EQ(file.GetBufferPtr(XMemFile::bufferRead, 0xFFFFFFFFu, &pStart, &pEnd), 6u);
    EXPECT_EQ(std::string(static_cast<char*>(pStart), 6), "window");
    EXPECT_EQ(file.GetPosition(), 6);
    // Past the content the read window is empty and the position stays.
    file.Seek(10, XFile::begin);
    EXPECT_EQ(file.GetBufferPtr(XMemFile::bufferRead, 4, &pStart, &pEnd), 0u);
    EXPECT_EQ(file.GetPosition(), 10);
    // A plain file offers no buffer.
    EXPECT_EQ(XFile().GetBufferPtr(XMemFile::bufferCheck, 0, nullptr, nullptr), 0u);
}
