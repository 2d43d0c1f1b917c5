#include "KVDbase/collections/XDimArray.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstring>
#include <thread>
#include <vector>

TEST(XDimArray, OffsetTablesAddressEveryElementOnceAndAllocKeepsCapacity)
{
    tagXArr3 a3(2, 3, 4, 8);
    ASSERT_EQ(a3.nAlloc, 192);
    for (int k = 0; k < 4; ++k)
        for (int j = 0; j < 3; ++j)
            for (int i = 0; i < 2; ++i)
                EXPECT_EQ(a3.pOffset3[k] + a3.pOffset2[j] + a3.pOffset1[i], ((k * 3 + j) * 2 + i) * 8);

    tagXArr2 a;
    ASSERT_EQ(a.Alloc(10, 10, 1), 1);
    BYTE* pFirst = a.pData;
    ASSERT_EQ(a.Alloc(5, 5, 1), 1);
    EXPECT_EQ(a.pData, pFirst);
    EXPECT_EQ(a.pOffset2[4], 20);
    ASSERT_EQ(a.AllocExact(5, 5, 1), 1);
    EXPECT_EQ(a.nAlloc, 25);
    // Shapes no block can take change nothing.
    EXPECT_EQ(a.Alloc(INT_MAX, 2, 1), 0);
    EXPECT_EQ(a.nDim1, 5);
    EXPECT_EQ(a.nAlloc, 25);
}

TEST(XDimArray, WrappedMemoryIsNeverFreed)
{
    BYTE buffer[60] = {};
    {
        tagXArr2 a(buffer, 10, 3, 2);
        EXPECT_EQ(a.pData, buffer);
        EXPECT_EQ(a.nAlloc, 0);
        EXPECT_EQ(a.Reform(5, 6), 1);
        EXPECT_EQ(a.pOffset2[5], 50);
        EXPECT_EQ(a.Reform(31, 1), 0);
        EXPECT_EQ(a.Reform(2, 2), 1);
        EXPECT_EQ(a.Reform(5, 6), 0); // measured against the current count
        tagXArr3 c(buffer, 3, 2, 5, 2);
        EXPECT_EQ(c.Reform(2, 3, 5), 1);
    }
    tagXArr1 b(buffer, 60, 1);
    ASSERT_EQ(b.Alloc(100, 1), 1); // a bigger shape takes a buffer of its own
    EXPECT_NE(b.pData, buffer);
}

// Reform keeps the block and fails beyond its capacity or on a negative extent; the same shape always
// succeeds, a block never allocated never does. The rows run in order on one block of each rank.
TEST(XDimArray, ReformOfEveryRank)
{
    tagXArr1 one(8, 2), noOne;
    tagXArr2 two(10, 10, 1), noTwo;
    tagXArr3 three(2, 2, 2, 4), noThree;
    const struct {
        int nRank;
        int d[3];
        int nResult;
    } cases[] = {
        {1, {8}, 1},       {1, {9}, 0},        {1, {-1}, 0},          {1, {3}, 1},           {2, {4, 25}, 1},
        {2, {4, 25}, 1},   {2, {-4, -25}, 0},  {2, {11, 10}, 0},      {2, {65536, 65536}, 0}, {3, {8, 1, 1}, 1},
        {3, {8, 1, 1}, 1}, {3, {2, 2, 3}, 0},  {3, {-2, 2, 2}, 0},    {3, {65536, 65536, 1}, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.nRank << ": " << c.d[0] << " " << c.d[1] << " " << c.d[2]);
        const int nResult = c.nRank == 1   ? one.Reform(c.d[0])
                            : c.nRank == 2 ? two.Reform(c.d[0], c.d[1])
                                           : three.Reform(c.d[0], c.d[1], c.d[2]);
        EXPECT_EQ(nResult, c.nResult);
    }
    EXPECT_EQ(two.pOffset2[24], 96);
    EXPECT_EQ(noOne.Reform(1) + noTwo.Reform(1, 1) + noThree.Reform(1, 1, 1), 0);
    EXPECT_EQ(one.AllocExact(5, 3), 1);
    EXPECT_EQ(one.nAlloc, 15);
    EXPECT_EQ(three.AllocExact(1, 2, 3, 4), 1);
    EXPECT_EQ(three.pOffset3[2], 16);
}

TEST(XThreadSafeArr, EachThreadHasItsOwnBlock)
{
    XThreadSafeArr2 safe;
    EXPECT_EQ(safe.GetBuffer(), nullptr);
    tagXArr2* pMine = safe.GetBuffer(8, 8, 4);
    ASSERT_NE(pMine, nullptr);
    EXPECT_EQ(safe.GetBuffer(4, 4, 4), pMine);
    EXPECT_EQ(pMine->nAlloc, 256);
    EXPECT_EQ(safe.GetBuffer(-1, 4, 4), nullptr);
    EXPECT_EQ(safe.GetBuffer(), nullptr);  // a failed shape drops the block

    pMine = safe.GetBuffer(2, 2, 1);
    tagXArr2* pOther = nullptr;
    tagXArr2* pOtherAfterFree = pMine;
    std::thread worker([&] {
        EXPECT_EQ(safe.GetBuffer(), nullptr);
        pOther = safe.GetBuffer(3, 3, 1);
        safe.FreeCurrentThreadsBuffer();
        pOtherAfterFree = safe.GetBuffer();
        safe.GetBuffer(1, 1, 1);  // left for FreeAll
    });
    worker.join();
    EXPECT_NE(pOther, nullptr);
    EXPECT_NE(pOther, pMine);
    EXPECT_EQ(pOtherAfterFree, nullptr);
    EXPECT_EQ(safe.GetBuffer(), pMine);
    safe.FreeAll();
    EXPECT_EQ(safe.GetBuffer(), nullptr);
}

TEST(XThreadSafeArr, ManyThreadsWriteTheirBlocksUndisturbed)
{
    XThreadSafeArr3 safe;
    std::atomic<int> nBad{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 6; ++t) {
        threads.emplace_back([&, t] {
            for (int n = 1; n <= 200; ++n) {
                int nDim = 1 + (n * (t + 1)) % 13;
                tagXArr3* p = safe.GetBuffer(nDim, nDim, 2, 1);
                if (p == nullptr) {
                    ++nBad;
                    continue;
                }
                std::memset(p->pData, t, static_cast<size_t>(nDim) * nDim * 2);
                for (int i = 0; i < nDim * nDim * 2; ++i)
                    nBad += p->pData[i] != t;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(nBad.load(), 0);
}
