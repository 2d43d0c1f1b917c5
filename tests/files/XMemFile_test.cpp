#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/files/XMemFile.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

std::string Content(XMemFile& file)
{
    file.SeekToBegin();
    std::string s(static_cast<size_t>(file.GetLength()), '\0');
    file.Read(&s[0], static_cast<unsigned int>(s.size()));
    return s;
}

} // namespace

TEST(XMemFile, GrowsInWholeSteps)
{
    XMemFile file(1024);
    file.Write("x", 1);
    EXPECT_EQ(file.GetCapacity(), 1024u);
    EXPECT_EQ(file.GetLength(), 1);
    std::vector<char> big(2049, 'b');
    XMemFile other(1024);
    other.Write(big.data(), 2049);
    EXPECT_EQ(other.GetCapacity(), 3072u);
    other.Write(big.data(), 2049);
    EXPECT_EQ(other.GetCapacity(), 5120u);
    // Closed, it cannot grow again.
    other.Close();
    EXPECT_THROW(other.Write("x", 1), XMemoryException);
    // Nor can a memory file share a handle or lock one.
    EXPECT_THROW(other.Duplicate(), XNotSupportedException);
    EXPECT_THROW(other.LockRange(0, 1), XNotSupportedException);
}

TEST(XMemFile, BorrowedFixedBlockIsFullAndCannotGrow)
{
    unsigned char block[8] = {'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h'};
    {
        XMemFile file(block, sizeof(block), 0);
        EXPECT_EQ(file.GetLength(), 8);
        file.Seek(6, XFile::begin);
        file.Write("XY", 2);
        EXPECT_THROW(file.Write("Z", 1), XMemoryException);
        EXPECT_EQ(file.GetPosition(), 8);
    }
    // The block is the caller's: written in place, not freed.
    EXPECT_EQ(std::string(reinterpret_cast<char*>(block), 8), "abcdefXY");

    // A growable borrowed block starts empty, and grows through realloc.
    unsigned char* pHeap = static_cast<unsigned char*>(std::malloc(4));
    XMemFile grow(pHeap, 4, 16);
    EXPECT_EQ(grow.GetLength(), 0);
    grow.Write("0123456789", 10);
    EXPECT_EQ(grow.GetCapacity(), 20u);
    std::free(grow.Detach());
}

TEST(XMemFile, SeekRules)
{
    XMemFile file;
    file.Write("0123456789", 10);
    EXPECT_EQ(file.Seek(-3, XFile::end), 7);
    EXPECT_EQ(file.Seek(2, XFile::current), 9);
    EXPECT_EQ(file.Seek(0, 7), -1);
    EXPECT_EQ(file.GetPosition(), 9);
    try {
        file.Seek(-1, XFile::begin);
        ADD_FAILURE() << "negative seek accepted";
    } catch (const XFileException& e) {
        EXPECT_EQ(e.GetErrCode(), 0x80004003u);
    }
    // Past the content: reads give nothing, a write fills the gap.
    EXPECT_EQ(file.Seek(20, XFile::begin), 20);
    char c;
    EXPECT_EQ(file.Read(&c, 1), 0u);
    file.Write("!", 1);
    EXPECT_EQ(file.GetLength(), 21);
    // Positions are 32-bit.
    EXPECT_EQ(file.Seek(0x100000003LL, XFile::begin), 3);
}

TEST(XMemFile, SetLengthPullsThePositionBack)
{
    XMemFile file;
    file.Write("0123456789", 10);
    file.SetLength(0);
    EXPECT_EQ(file.GetPosition(), 0);
    EXPECT_EQ(file.GetLength(), 0);
    file.SetLength(3000);
    EXPECT_EQ(file.GetCapacity(), 3072u);
    EXPECT_EQ(file.GetLength(), 3000);
    // Through the base class the 64-bit SetLength reaches the missing handle.
    XFile& base = file;
    EXPECT_THROW(base.SetLength(5), XFileException);
}

TEST(XMemFile, DetachHandsOverTheBlock)
{
    unsigned char* pBlock;
    {
        XMemFile file(64);
        file.Write("keep", 4);
        pBlock = file.Detach();
        EXPECT_EQ(file.GetLength(), 0);
        EXPECT_EQ(file.GetCapacity(), 0u);
        EXPECT_EQ(file.GetGrowStep(), 64u);
        char c;
        EXPECT_EQ(file.Read(&c, 1), 0u);
    }
    EXPECT_EQ(std::memcmp(pBlock, "keep", 4), 0);
    std::free(pBlock);
}

TEST(XMemFile, BufferWindowsForInPlaceArchives)
{
    XMemFile file(16);
    void* pStart = nullptr;
    void* pEnd = nullptr;
    EXPECT_EQ(file.GetBufferPtr(XMemFile::bufferCheck, 0, nullptr, nullptr), 1u);
    // A writer takes a window, fills it and commits what it wrote.
    EXPECT_EQ(file.GetBufferPtr(XMemFile::bufferWrite, 20, &pStart, &pEnd), 20u);
    EXPECT_EQ(file.GetCapacity(), 32u);
    EXPECT_EQ(file.GetPosition(), 0);
    std::memcpy(pStart, "window", 6);
    EXPECT_EQ(file.GetBufferPtr(XMemFile::bufferCommit, 6, nullptr, nullptr), 0u);
    EXPECT_EQ(file.GetPosition(), 6);
    EXPECT_EQ(file.GetLength(), 6);
    EXPECT_EQ(Content(file), "window");
    // A reader consumes at once; -1 stops at the content, not the block.
    file.SeekToBegin();
    EXPECT_EQ(file.GetBufferPtr(XMemFile::bufferRead, 0xFFFFFFFFu, &pStart, &pEnd), 6u);
    EXPECT_EQ(std::string(static_cast<char*>(pStart), 6), "window");
    EXPECT_EQ(file.GetPosition(), 6);
    file.Seek(2, XFile::begin);
    EXPECT_EQ(file.GetBufferPtr(XMemFile::bufferRead, 3, &pStart, &pEnd), 3u);
    EXPECT_EQ(std::string(static_cast<char*>(pStart), 3), "ndo");
    // Past the content the read window is empty and the position stays.
    file.Seek(10, XFile::begin);
    EXPECT_EQ(file.GetBufferPtr(XMemFile::bufferRead, 4, &pStart, &pEnd), 0u);
    EXPECT_EQ(file.GetPosition(), 10);

    // A plain file offers no buffer.
    XFile plain;
    EXPECT_EQ(plain.GetBufferPtr(XMemFile::bufferCheck, 0, nullptr, nullptr), 0u);
}
