#include "KVDbase/core/XMemBlock.h"

#include "core/XFixedAlloc.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>

TEST(XMemBlock, ChainsNewestFirstAndFreesWhole)
{
    XMemBlock* pHead = nullptr;
    XMemBlock* p1 = XMemBlock::Create(pHead, 4, 16);
    XMemBlock* p2 = XMemBlock::Create(pHead, 4, 16);
    XMemBlock* p3 = XMemBlock::Create(pHead, 4, 16);
    EXPECT_EQ(pHead, p3);
    EXPECT_EQ(p3->pNext, p2);
    EXPECT_EQ(p2->pNext, p1);
    EXPECT_EQ(p1->pNext, nullptr);
    EXPECT_EQ(static_cast<char*>(p1->data()), reinterpret_cast<char*>(p1) + sizeof(void*));
    // The element area is usable in full.
    std::memset(p3->data(), 0xAB, 64);
    pHead->FreeDataChain();
    XMemBlock::FreeDataChain(nullptr);
}

TEST(XFixedAlloc, HandsOutBlockInAddressOrderAndReuses)
{
    XFixedAlloc pool(80, 64);
    char* pFirst = static_cast<char*>(pool.Alloc());
    char* pSecond = static_cast<char*>(pool.Alloc());
    EXPECT_EQ(pSecond - pFirst, 80);
    pool.Free(pSecond);
    EXPECT_EQ(pool.Alloc(), pSecond);
    std::set<void*> seen;
    for (int i = 0; i < 200; ++i)
        EXPECT_TRUE(seen.insert(pool.Alloc()).second);
    pool.FreeAll();
}
