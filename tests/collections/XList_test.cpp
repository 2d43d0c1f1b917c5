#include "KVDbase/collections/XList.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

class XProbeDoubles : public XDoubleList {
public:
    explicit XProbeDoubles(int nBlockSize) : XDoubleList(nBlockSize) {}
    int CountBlocks() const
    {
        int n = 0;
        for (XMemBlock* p = pBlocks; p != nullptr; p = p->pNext)
            ++n;
        return n;
    }
};

// The elements head to tail, checked against the walk from the tail.
std::vector<int> Elements(const XIntList& list)
{
    std::vector<int> forward, backward;
    for (POSITION pos = list.GetHeadPosition(); pos != nullptr;)
        forward.push_back(list.GetNext(pos));
    for (POSITION pos = list.GetTailPosition(); pos != nullptr;)
        backward.insert(backward.begin(), list.GetPrev(pos));
    EXPECT_EQ(forward, backward);
    EXPECT_EQ(static_cast<int>(forward.size()), list.GetCount());
    return forward;
}

} // namespace

TEST(XList, LinksStayConsistentInBothDirectionsAndFindWalksThem)
{
    XIntList list;
    POSITION pos2 = list.AddTail(2);
    list.AddHead(1);
    POSITION pos4 = list.AddTail(4);
    list.InsertBefore(pos4, 3);
    list.InsertAfter(pos4, 5);
    list.InsertBefore(nullptr, 0);
    list.InsertAfter(nullptr, 6);
    EXPECT_EQ(Elements(list), (std::vector<int>{0, 1, 2, 3, 4, 5, 6}));
    list.RemoveAt(pos2);
    list.SetAt(pos4, 40);
    EXPECT_EQ(list.RemoveHead(), 0);
    EXPECT_EQ(list.RemoveTail(), 6);
    EXPECT_EQ(Elements(list), (std::vector<int>{1, 3, 40, 5}));
    list.RemoveAt(list.GetHeadPosition());
    list.RemoveAt(list.GetTailPosition());
    list.InsertAfter(list.GetHeadPosition(), 25);
    list.InsertBefore(list.GetHeadPosition(), 2);
    EXPECT_EQ(Elements(list), (std::vector<int>{2, 3, 25, 40}));
    // Find starts after the position given; FindIndex counts from the head.
    XShortList shorts;
    for (short n : {7, 8, 7, 9})
        shorts.AddTail(n);
    POSITION first = shorts.Find(7);
    EXPECT_EQ(first, shorts.GetHeadPosition());
    POSITION second = shorts.Find(7, first);
    EXPECT_EQ(second, shorts.FindIndex(2));
    EXPECT_EQ(shorts.Find(7, second), nullptr);
    EXPECT_EQ(shorts.FindIndex(-1), nullptr);
}

TEST(XList, PooledNodesEmptyingFreesEverythingAndTheStackReusesCells)
{
    XProbeDoubles list(4);
    for (int i = 0; i < 9; ++i)
        list.AddTail(i * 0.5);
    EXPECT_EQ(list.CountBlocks(), 3);
    // Freed nodes are reused before a new block is taken.
    for (int i = 0; i < 3; ++i)
        list.RemoveHead();
    for (int i = 0; i < 6; ++i)
        list.AddHead(-1.0);
    EXPECT_EQ(list.CountBlocks(), 3);
    // Only the last node's removal gives the blocks back.
    while (list.GetCount() > 1)
        list.RemoveTail();
    EXPECT_EQ(list.CountBlocks(), 3);
    list.RemoveHead();
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(list.CountBlocks(), 0);
    // The stack takes cells a block at a time (at least one) and reuses them.
    int a = 1, b = 2, c = 3;
    XStack<int*> stack(2), single(0);
    EXPECT_EQ(stack.Pop(), nullptr);
    for (int* p : {&a, &b, &c}) {
        stack.Push(p);
        single.Push(p);
    }
    EXPECT_EQ(stack.GetCount(), 4);
    EXPECT_EQ(single.GetCount(), 3);
    for (int* p : {&c, &b, &a, static_cast<int*>(nullptr)}) {
        EXPECT_EQ(stack.Pop(), p);
        EXPECT_EQ(single.Pop(), p);
    }
    EXPECT_TRUE(stack.IsEmpty());
    stack.Push(&a);
    EXPECT_EQ(stack.GetCount(), 4); // a freed cell serves again
}

