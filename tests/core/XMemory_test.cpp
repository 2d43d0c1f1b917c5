#include "KVDbase/core/XMemory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>

namespace {

namespace fs = std::filesystem;

// A scratch directory that is both the current and the temporary directory
// for the test, so that the two halves of a mapped block's life meet there.
class TempScope {
public:
    TempScope()
    {
        std::random_device rd;
        dir = fs::temp_directory_path() / ("kvd-memory-" + std::to_string(rd()));
        fs::create_directories(dir);
        old = fs::current_path();
        fs::current_path(dir);
        XfnSetTempPath((dir.string() + "/").c_str());
    }
    ~TempScope()
    {
        XfnSetTempPath("");
        fs::current_path(old);
        std::error_code ec;
        fs::remove_all(dir, ec);
    }
    int Count() const
    {
        int n = 0;
        for (const auto& entry : fs::directory_iterator(dir)) {
            (void)entry;
            ++n;
        }
        return n;
    }
    fs::path dir;
    fs::path old;
};

bool IsMapped(void* p)
{
    void* pHandle = nullptr;
    return XMemory::mapMem.Lookup(p, pHandle) && pHandle != nullptr;
}

} // namespace

TEST(XMemory, HeapBlocksAreEnteredWithoutHandle)
{
    TempScope scope;
    void* p = XMalloc(100, 0);
    ASSERT_NE(p, nullptr);
    void* pHandle = reinterpret_cast<void*>(1);
    EXPECT_TRUE(XMemory::mapMem.Lookup(p, pHandle));
    EXPECT_EQ(pHandle, nullptr);
    std::memset(p, 1, 100);
    EXPECT_EQ(XFree(p), 1);
    EXPECT_FALSE(XMemory::mapMem.Lookup(p, pHandle));
    // Small requests of mode 2 fit in memory.
    void* q = XMemory::Alloc(4096, 2);
    EXPECT_FALSE(IsMapped(q));
    EXPECT_EQ(XMemory::Free(q), 1);
    EXPECT_EQ(scope.Count(), 0);
}

TEST(XMemory, FileBlocksLiveInANamedTemporaryFile)
{
    TempScope scope;
    const int64_t nSize = 3 << 20;
    unsigned char* p = static_cast<unsigned char*>(XMalloc(nSize, 1));
    ASSERT_NE(p, nullptr);
    ASSERT_TRUE(IsMapped(p));
    void* pHandle = nullptr;
    XMemory::mapMem.Lookup(p, pHandle);
    const fs::path file = scope.dir / ("$XMEMORY_TEMP$." + std::to_string(reinterpret_cast<intptr_t>(pHandle)));
    ASSERT_TRUE(fs::exists(file));
    EXPECT_EQ(scope.Count(), 1);
    EXPECT_EQ(fs::file_size(file), static_cast<uintmax_t>(nSize));
    // The block is the file: what is written shows in it.
    std::memcpy(p + nSize - 5, "tail!", 5);
    std::ifstream in(file, std::ios::binary);
    in.seekg(nSize - 5);
    char buf[6] = {};
    in.read(buf, 5);
    EXPECT_STREQ(buf, "tail!");
    EXPECT_EQ(XFree(p), 1);
    EXPECT_FALSE(fs::exists(file));
    EXPECT_EQ(scope.Count(), 0);
}

TEST(XMemory, ModeTwoTakesAFileBeyondPhysicalMemory)
{
    TempScope scope;
    const int64_t nHuge = static_cast<int64_t>(XfnGetTotalPhysicalMemory() * 2);
    void* p = XMemory::Alloc(nHuge, 2);
    ASSERT_NE(p, nullptr);
    EXPECT_TRUE(IsMapped(p));
    EXPECT_EQ(XMemory::Free(p), 1);
    EXPECT_EQ(scope.Count(), 0);
}

TEST(XMemory, RefusalsAndForeignPointers)
{
    TempScope scope;
    EXPECT_EQ(XMemory::Alloc(10, 3), nullptr);
    EXPECT_EQ(XMemory::Alloc(10, -1), nullptr);
    EXPECT_EQ(XMemory::Alloc(-10, 0), nullptr);
    EXPECT_EQ(scope.Count(), 0);
    EXPECT_EQ(XFree(nullptr), 0);
    // Memory from malloc outside XMalloc is freed all the same.
    EXPECT_EQ(XFree(std::malloc(16)), 0);
    // An empty file cannot be mapped: nothing is given and nothing remains.
    EXPECT_EQ(XMemory::Alloc(0, 1), nullptr);
    EXPECT_EQ(scope.Count(), 0);
}

TEST(XMemory, SystemFigures)
{
    uint64_t nTotal = XfnGetTotalPhysicalMemory();
    uint64_t nAvailable = XfnGetAvailablePhysicalMemory();
    EXPECT_GT(nTotal, 0u);
    EXPECT_GT(nAvailable, 0u);
    EXPECT_LE(nAvailable, nTotal);
    double dPercent = XfnGetAvailablePhysicalMemoryInPercent();
    EXPECT_GT(dPercent, 0.0);
    EXPECT_LE(dPercent, 100.0);

    TempScope scope;
    XString strFile((scope.dir.string() + "/f.bin").c_str());
    EXPECT_EQ(XfnIsDiskSpaceEnough(strFile, 0), 1);
    EXPECT_EQ(XfnIsDiskSpaceEnough(strFile, ~0ull), 0);
    // The disk of a directory that does not exist cannot be asked.
    EXPECT_EQ(XfnIsDiskSpaceEnough("/no/such/dir/f.bin", 0), 0);
}

TEST(XMemory, AddressProbes)
{
    int nLocal = 7;
    static const char kText[] = "constant";
    EXPECT_EQ(XfnIsValidAddress(&nLocal, sizeof(nLocal), 1), 1);
    EXPECT_EQ(XfnIsValidAddress(nullptr, 4, 0), 0);
    EXPECT_EQ(XfnIsValidAddress(kText, sizeof(kText), 0), 1);
    EXPECT_EQ(XfnIsValidAddress(kText, sizeof(kText), 1), 0);
    EXPECT_EQ(XfnIsValidString(kText), 1);
    EXPECT_EQ(XfnIsValidString(static_cast<const char*>(nullptr)), 0);
    EXPECT_EQ(XfnIsValidString(L"wide"), 1);

    TempScope scope;
    char* p = static_cast<char*>(XMalloc(65536, 1));
    ASSERT_NE(p, nullptr);
    std::memset(p, 'a', 65536);
    EXPECT_EQ(XfnIsValidAddress(p, 65536, 1), 1);
    EXPECT_EQ(XfnIsValidString(p + 65536 - 10, 10), 1);
    XFree(p);
    EXPECT_EQ(XfnIsValidAddress(p, 1, 0), 0);
    EXPECT_EQ(XfnIsValidString(p, 5), 0);
}
