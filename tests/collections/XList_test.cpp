#include "KVDbase/collections/XList.h"

#include "core/XMapSP.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// Exposes the block chain and the free list.
template <class BASE>
class XProbe : public BASE {
public:
    explicit XProbe(int nBlockSize = 10) : BASE(nBlockSize) {}
    XMemBlock* GetBlocks() const { return this->pBlocks; }
    int CountBlocks() const
    {
        int n = 0;
        for (XMemBlock* p = this->pBlocks; p != nullptr; p = p->pNext)
            ++n;
        return n;
    }
};

template <class LIST>
std::vector<int> Forward(const LIST& list)
{
    std::vector<int> values;
    for (POSITION pos = list.GetHeadPosition(); pos != nullptr;)
        values.push_back(static_cast<int>(list.GetNext(pos)));
    return values;
}

template <class LIST>
std::vector<int> Backward(const LIST& list)
{
    std::vector<int> values;
    for (POSITION pos = list.GetTailPosition(); pos != nullptr;)
        values.push_back(static_cast<int>(list.GetPrev(pos)));
    return values;
}

} // namespace

TEST(XList, LinksStayConsistentInBothDirections)
{
    XIntList list;
    POSITION pos2 = list.AddTail(2);
    list.AddHead(1);
    POSITION pos4 = list.AddTail(4);
    list.InsertBefore(pos4, 3);
    list.InsertAfter(pos4, 5);
    list.InsertBefore(nullptr, 0);
    list.InsertAfter(nullptr, 6);
    EXPECT_EQ(Forward(list), (std::vector<int>{0, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(Backward(list), (std::vector<int>{6, 5, 4, 3, 2, 1, 0}));
    EXPECT_EQ(list.GetCount(), 7);

    list.RemoveAt(pos2);
    list.SetAt(pos4, 40);
    EXPECT_EQ(list.RemoveHead(), 0);
    EXPECT_EQ(list.RemoveTail(), 6);
    EXPECT_EQ(Forward(list), (std::vector<int>{1, 3, 40, 5}));
    EXPECT_EQ(Backward(list), (std::vector<int>{5, 40, 3, 1}));
    EXPECT_EQ(list.GetHead(), 1);
    EXPECT_EQ(list.GetTail(), 5);
    list.RemoveAt(list.GetHeadPosition());
    list.RemoveAt(list.GetTailPosition());
    EXPECT_EQ(Forward(list), (std::vector<int>{3, 40}));
    EXPECT_EQ(Backward(list), (std::vector<int>{40, 3}));
}

TEST(XList, FindAndFindIndex)
{
    XShortList list;
    for (short n : {7, 8, 7, 9})
        list.AddTail(n);
    POSITION first = list.Find(7);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first, list.GetHeadPosition());
    POSITION second = list.Find(7, first);
    EXPECT_EQ(second, list.FindIndex(2));
    EXPECT_EQ(list.Find(7, second), nullptr);
    EXPECT_EQ(list.Find(9, list.GetTailPosition()), nullptr);
    EXPECT_EQ(list.Find(10), nullptr);
    EXPECT_EQ(list.FindIndex(list.GetCount()), nullptr);
    EXPECT_EQ(list.FindIndex(-1), nullptr);
    EXPECT_EQ(list.FindIndex(list.GetCount() - 1), list.GetTailPosition());

    XStringList strings;
    strings.AddTail("alpha");
    strings.AddTail(XString("beta"));
    XString strSearch("be");
    strSearch += "ta";
    EXPECT_EQ(strings.Find(strSearch), strings.GetTailPosition());
    EXPECT_EQ(strings.Find("Beta"), nullptr);

    XObList obs;
    XObList other;
    obs.AddTail(&other);
    obs.AddTail(&obs);
    EXPECT_EQ(obs.Find(&obs), obs.GetTailPosition());
}

TEST(XList, PooledNodesAndEmptyingFreesEverything)
{
    XProbe<XDoubleList> list(4);
    for (int i = 0; i < 9; ++i)
        list.AddTail(i * 0.5);
    EXPECT_EQ(list.CountBlocks(), 3);
    // Nodes of a block come out in address order.
    POSITION pos = list.GetHeadPosition();
    POSITION pos0 = pos;
    list.GetNext(pos);
    EXPECT_EQ(reinterpret_cast<char*>(pos) - reinterpret_cast<char*>(pos0),
              static_cast<std::ptrdiff_t>(sizeof(XDoubleList::XNode)));

    // Removed nodes are reused before any new block is taken.
    for (int i = 0; i < 3; ++i)
        list.RemoveHead();
    for (int i = 0; i < 6; ++i)
        list.AddHead(-1.0);
    EXPECT_EQ(list.CountBlocks(), 3);
    EXPECT_EQ(list.GetCount(), 12);

    while (list.GetCount() > 1)
        list.RemoveTail();
    EXPECT_EQ(list.CountBlocks(), 3);
    list.RemoveTail();
    EXPECT_EQ(list.GetBlocks(), nullptr);
    EXPECT_EQ(list.GetHeadPosition(), nullptr);
    EXPECT_EQ(list.GetTailPosition(), nullptr);
    list.AddTail(1.5);
    EXPECT_EQ(list.CountBlocks(), 1);
    EXPECT_EQ(list.GetHead(), 1.5);
}

TEST(XList, StringListBuildsAndEndsItsStrings)
{
    XStringList list(3);
    XString strShared("shared text");
    for (int i = 0; i < 10; ++i)
        list.AddTail(strShared);
    list.AddHead(list.GetTail());
    list.SetAt(list.FindIndex(5), "five");
    EXPECT_EQ(list.RemoveHead(), "shared text");
    EXPECT_EQ(list.GetAt(list.FindIndex(4)), "five");
    list.RemoveAt(list.FindIndex(4));
    EXPECT_EQ(list.Find("five"), nullptr);
    XString strTail = list.RemoveTail();
    EXPECT_EQ(strTail, strShared);
    list.RemoveAll();
    EXPECT_TRUE(list.IsEmpty());
    list.AddTail("again");
    EXPECT_EQ(list.GetHead(), "again");
}

TEST(XList, TemplateWithRecordElements)
{
    struct XTestRecord {
        int nId;
        double dValue;
        bool operator==(const XTestRecord& other) const { return nId == other.nId; }
    };
    XList<XTestRecord, const XTestRecord&> list;
    list.AddTail(XTestRecord{1, 1.5});
    list.AddTail(XTestRecord{2, 2.5});
    POSITION pos = list.Find(XTestRecord{2, 0.0});
    ASSERT_NE(pos, nullptr);
    EXPECT_EQ(list.GetAt(pos).dValue, 2.5);
    // A new node is zero before it is assigned.
    POSITION posNew = list.InsertAfter(pos, XTestRecord{3, 0.0});
    EXPECT_EQ(list.GetAt(posNew).dValue, 0.0);
    EXPECT_EQ(list.GetRuntimeClass(), XObject::GetRuntimeClassStatic());
}

TEST(XStack, LastInFirstOutOverReusedCells)
{
    int a = 1, b = 2, c = 3;
    XStack<int*> stack(2);
    EXPECT_TRUE(stack.IsEmpty());
    EXPECT_EQ(stack.Pop(), nullptr);
    EXPECT_EQ(stack.GetCount(), 0);

    stack.Push(&a);
    EXPECT_EQ(stack.GetCount(), 2);
    stack.Push(&b);
    EXPECT_EQ(stack.GetCount(), 2);
    stack.Push(&c);
    EXPECT_EQ(stack.GetCount(), 4);
    EXPECT_FALSE(stack.IsEmpty());
    EXPECT_EQ(stack.Pop(), &c);
    EXPECT_EQ(stack.Pop(), &b);
    stack.Push(&b);
    EXPECT_EQ(stack.Pop(), &b);
    EXPECT_EQ(stack.Pop(), &a);
    EXPECT_EQ(stack.Pop(), nullptr);
    EXPECT_TRUE(stack.IsEmpty());
    EXPECT_EQ(stack.GetCount(), 4);

    XStack<int*> single(0);  // at least one cell a time
    single.Push(&a);
    single.Push(&b);
    EXPECT_EQ(single.GetCount(), 2);
    EXPECT_EQ(single.Pop(), &b);
    EXPECT_EQ(single.Pop(), &a);
    EXPECT_EQ(single.GetRuntimeClass(), XPtrList::GetRuntimeClassStatic());
}

TEST(XList, ClassRecords)
{
    const char* const creatable[] = {"XCharList", "XUCharList", "XShortList", "XUShortList",
                                     "XIntList",  "XUIntList",  "XInt64List", "XFloatList",
                                     "XDoubleList", "XObList",  "XStringList"};
    for (const char* pszName : creatable) {
        void* p = nullptr;
        ASSERT_TRUE(XObject::RTCMap.Lookup(pszName, p)) << pszName;
        XObject* pOb = static_cast<const XRuntimeClass*>(p)->CreateObject();
        ASSERT_NE(pOb, nullptr) << pszName;
        EXPECT_EQ(pOb->GetRuntimeClass(), p);
        delete pOb;
    }
    void* p = nullptr;
    ASSERT_TRUE(XObject::RTCMap.Lookup("XPtrList", p));
    EXPECT_EQ(static_cast<const XRuntimeClass*>(p)->CreateObject(), nullptr);
}
