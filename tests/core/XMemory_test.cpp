#include "KVDbase/core/XMemory.h"

#include "platform/XSysFile.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace {

namespace fs = std::filesystem;

// A scratch directory that is both the current and the temporary directory,
// so that the two halves of a mapped block's life meet there.
class XMemoryTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        dir = fs::temp_directory_path() / ("kvd-memory-" + std::to_string(std::random_device()()));
        fs::create_directories(dir);
        old = fs::current_path();
        fs::current_path(dir);
        XfnSetTempPath((dir.string() + "/").c_str());
    }
    void TearDown() override
    {
        XfnSetTempPath("");
        fs::current_path(old);
        fs::remove_all(dir);
    }
    bool Empty() const { return fs::is_empty(dir); }
    fs::path dir, old;
};

void* HandleOf(void* p)
{
    void* pHandle = reinterpret_cast<void*>(1);
    EXPECT_TRUE(XMemory::mapMem.Lookup(p, pHandle));
    return pHandle;
}

} // namespace

TEST_F(XMemoryTest, BlocksOnTheHeapOrInANamedTemporaryFile)
{
    // Heap blocks, and small requests of mode 2, are entered without a handle.
    for (void* pHeap : {XMalloc(100, 0), XMemory::Alloc(4096, 2)}) {
        ASSERT_NE(pHeap, nullptr);
        EXPECT_EQ(HandleOf(pHeap), nullptr);
        EXPECT_EQ(XFree(pHeap), 1);
        void* pHandle = nullptr;
        EXPECT_FALSE(XMemory::mapMem.Lookup(pHeap, pHandle));
    }
    const int64_t nSize = 3 << 20;
    unsigned char* p = static_cast<unsigned char*>(XMalloc(nSize, 1));
    ASSERT_NE(p, nullptr);
    const fs::path file = dir / ("$XMEMORY_TEMP$." + std::to_string(reinterpret_cast<intptr_t>(HandleOf(p))));
    ASSERT_TRUE(fs::exists(file));
    EXPECT_EQ(fs::file_size(file), static_cast<uintmax_t>(nSize));
    // The block is the file: what is written shows in it.
    std::memcpy(p + nSize - 5, "tail!", 5);
    std::ifstream in(file, std::ios::binary);
    in.seekg(nSize - 5);
    char buf[6] = {};
    in.read(buf, 5);
    EXPECT_STREQ(buf, "tail!");
    EXPECT_EQ(XFree(p), 1);
    EXPECT_TRUE(Empty());
    // Mode 2 takes a file beyond physical memory.
    void* pHuge = XMemory::Alloc(static_cast<int64_t>(XfnGetTotalPhysicalMemory() * 2), 2);
    ASSERT_NE(pHuge, nullptr);
    EXPECT_NE(HandleOf(pHuge), nullptr);
    EXPECT_EQ(XMemory::Free(pHuge), 1);
    EXPECT_TRUE(Empty());
}

TEST_F(XMemoryTest, RefusalsAndForeignPointers)
{
    EXPECT_EQ(XMemory::Alloc(10, 3), nullptr);
    EXPECT_EQ(XMemory::Alloc(-10, 0), nullptr);
    EXPECT_EQ(XFree(nullptr), 0);
    // Memory from malloc outside XMalloc is freed all the same.
    EXPECT_EQ(XFree(std::malloc(16)), 0);
    // An empty file cannot be mapped: nothing is given and nothing remains.
    EXPECT_EQ(XMemory::Alloc(0, 1), nullptr);
    // Nor a file that cannot be mapped, or made in a directory that is gone.
    XfnSysInjectFault(XSysCall::Map, ENOMEM);
    EXPECT_EQ(XMemory::Alloc(4096, 1), nullptr);
    XfnSysClearFaults();
    XfnSetTempPath("/no/such/dir/");
    EXPECT_EQ(XMemory::Alloc(4096, 1), nullptr);
    EXPECT_TRUE(Empty());
}

// A directory that is gone has no space to offer; null, read-only and freed memory fail the probes.
TEST_F(XMemoryTest, SystemFiguresAndAddressProbes)
{
    static const char kText[] = "constant";
    EXPECT_EQ(XfnIsValidAddress(nullptr, 4, 0), 0);
    EXPECT_EQ(XfnIsValidAddress(kText, sizeof(kText), 1), 0);
    EXPECT_EQ(XfnIsValidString(kText) + XfnIsValidString(L"wide"), 2);
    EXPECT_EQ(XfnIsValidString(static_cast<const char*>(nullptr)), 0);
    char* p = static_cast<char*>(XMalloc(65536, 1));
    ASSERT_NE(p, nullptr);
    std::memset(p, 'a', 65536); // no terminator: the probe stops at the count
    EXPECT_EQ(XfnIsDiskSpaceEnough("/no/such/dir/f.bin", 0), 0);
    EXPECT_EQ(XfnIsValidString(p + 65536 - 10, 10), 1);
    XFree(p);
    EXPECT_EQ(XfnIsValidAddress(p, 1, 0), 0);
    EXPECT_EQ(XfnIsValidString(p, 5), 0);
}
