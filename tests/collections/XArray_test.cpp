#include "KVDbase/collections/XArray.h"

#include "core/XMapSP.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>

namespace {

// Exposes the capacity and the growth step, which the interface keeps inside.
template <class BASE>
class XProbe : public BASE {
public:
    int GetMaxSize() const { return this->nMaxSize; }
    int GetGrowBy() const { return this->nGrowBy; }
};

// An element with a real constructor, copy and destructor: counts the
// objects alive so that building and ending elements can be checked.
struct XTestCounted {
    static int nLive;
    int nValue;
    XTestCounted() : nValue(-7) { ++nLive; }
    XTestCounted(int n) : nValue(n) { ++nLive; }
    XTestCounted(const XTestCounted& src) : nValue(src.nValue) { ++nLive; }
    XTestCounted& operator=(const XTestCounted&) = default;
    ~XTestCounted() { --nLive; }
};
int XTestCounted::nLive = 0;

class XTestItem : public XObject {
public:
    static int nDeleted;
    XTestItem() = default;
    ~XTestItem() override { ++nDeleted; }
};
int XTestItem::nDeleted = 0;

} // namespace

TEST(XArray, AutomaticGrowthIsAnEighthBetweenFourAnd1024)
{
    XProbe<XDWordArray> a;
    a.SetSize(3);
    a.Add(1);
    EXPECT_EQ(a.GetMaxSize(), 3 + 4);

    XProbe<XDWordArray> b;
    b.SetSize(100);
    b.Add(1);
    EXPECT_EQ(b.GetMaxSize(), 100 + 12);
    EXPECT_EQ(b.GetSize(), 101);

    XProbe<XDWordArray> c;
    c.SetSize(10000);
    c.Add(1);
    EXPECT_EQ(c.GetMaxSize(), 10000 + 1024);

    // A jump beyond the step takes exactly the size asked for.
    c.SetSize(20000);
    EXPECT_EQ(c.GetMaxSize(), 20000);
    c.FreeExtra();
    c.SetSize(19000);
    c.FreeExtra();
    EXPECT_EQ(c.GetMaxSize(), 19000);
}

TEST(XArray, GrowByIsKeptUntilChanged)
{
    XProbe<XWordArray> a;
    a.SetSize(5, 2);
    a.SetSize(0, -1);
    EXPECT_EQ(a.GetGrowBy(), 2);
    EXPECT_EQ(a.GetData(), nullptr);
    a.SetSize(5);
    a.Add(9);
    EXPECT_EQ(a.GetMaxSize(), 7);
    a.SetSize(6, 0);
    EXPECT_EQ(a.GetGrowBy(), 0);
}

TEST(XArray, ExposedElementsAreZero)
{
    XDWordArray a;
    a.SetSize(10);
    for (int i = 0; i < 10; ++i)
        a[i] = 0xA5A5A5A5u;
    a.SetSize(2);
    a.SetSize(10);
    EXPECT_EQ(a[1], 0xA5A5A5A5u);
    for (int i = 2; i < 10; ++i)
        EXPECT_EQ(a[i], 0u) << i;
    a.SetAtGrow(15, 4);
    EXPECT_EQ(a.GetSize(), 16);
    EXPECT_EQ(a[12], 0u);
    EXPECT_EQ(a[15], 4u);

    // A large jump keeps the old elements and zeroes the rest.
    a.SetSize(3 << 20);
    EXPECT_EQ(a[1], 0xA5A5A5A5u);
    EXPECT_EQ(a[15], 4u);
    EXPECT_EQ(a[(3 << 20) - 1], 0u);
    EXPECT_EQ(a[1 << 20], 0u);
}

TEST(XArray, InsertRemoveAppendCopy)
{
    XByteArray a;
    for (BYTE b = 1; b <= 5; ++b)
        EXPECT_EQ(a.Add(b), b - 1);
    a.InsertAt(1, 9, 2);           // 1 9 9 2 3 4 5
    a.InsertAt(9, 7);              // ... 5 0 0 7
    ASSERT_EQ(a.GetSize(), 10);
    const BYTE expect1[] = {1, 9, 9, 2, 3, 4, 5, 0, 0, 7};
    EXPECT_EQ(std::memcmp(a.GetData(), expect1, 10), 0);
    a.RemoveAt(0, 3);              // 2 3 4 5 0 0 7
    a.RemoveAt(5, 100);            // past the end: up to the end
    const BYTE expect2[] = {2, 3, 4, 5, 0};
    ASSERT_EQ(a.GetSize(), 5);
    EXPECT_EQ(std::memcmp(a.GetData(), expect2, 5), 0);

    XByteArray empty;
    EXPECT_EQ(a.Append(empty), 5);
    EXPECT_EQ(a.GetSize(), 5);
    EXPECT_EQ(a.Append(a), 5);     // onto itself
    ASSERT_EQ(a.GetSize(), 10);
    EXPECT_EQ(std::memcmp(a.GetData() + 5, expect2, 5), 0);

    XByteArray b;
    b.Add(8);
    b.Add(6);
    a.InsertAt(1, &b);             // 2 8 6 3 ...
    EXPECT_EQ(a[1], 8);
    EXPECT_EQ(a[2], 6);
    EXPECT_EQ(a[3], 3);
    b.InsertAt(1, &b);             // into itself: 8 8 6 6
    const BYTE expect3[] = {8, 8, 6, 6};
    ASSERT_EQ(b.GetSize(), 4);
    EXPECT_EQ(std::memcmp(b.GetData(), expect3, 4), 0);

    b.Copy(a);
    ASSERT_EQ(b.GetSize(), a.GetSize());
    EXPECT_EQ(std::memcmp(b.GetData(), a.GetData(), a.GetSize()), 0);
    b.Copy(empty);
    EXPECT_EQ(b.GetSize(), 0);
    EXPECT_EQ(b.GetUpperBound(), -1);
}

TEST(XArray, ImpossibleSizesThrowAndLeaveTheArray)
{
    XUIntArray a;
    a.Add(1);
    a.Add(2);
    EXPECT_THROW(a.SetSize(-1), XMemoryException);
    EXPECT_THROW(a.InsertAt(0, 5, INT_MAX), XMemoryException);
    EXPECT_THROW(a.SetAtGrow(INT_MAX, 5), XMemoryException);
    ASSERT_EQ(a.GetSize(), 2);
    EXPECT_EQ(a[0], 1u);
    EXPECT_EQ(a[1], 2u);
}

TEST(XArray, StringElementsKeepTheirBuffersThroughMoves)
{
    XStringArray a;
    a.Add("zero");
    // Each added element is an element of the array itself, while the array
    // grows under it.
    for (int i = 0; i < 40; ++i)
        a.Add(a[i]);
    EXPECT_EQ(a.GetSize(), 41);
    EXPECT_EQ(a[40], "zero");
    a.SetAt(3, "three");
    a.InsertAt(0, a[3], 3);
    EXPECT_EQ(a[0], "three");
    EXPECT_EQ(a[2], "three");
    EXPECT_EQ(a[3], "zero");
    EXPECT_EQ(a[6], "three");
    a.RemoveAt(1, 5);
    EXPECT_EQ(a[0], "three");
    EXPECT_EQ(a[1], "three");
    a.SetSize(100);
    EXPECT_TRUE(a[99].IsEmpty());
    a.FreeExtra();

    XStringArray b;
    b.Copy(a);
    b[0] = "changed";
    EXPECT_EQ(a[0], "three");
    b.Append(a);
    EXPECT_EQ(b.GetSize(), 2 * a.GetSize());
    EXPECT_EQ(b[a.GetSize()], "three");
    b.RemoveAll();
    EXPECT_EQ(b.GetSize(), 0);
}

TEST(XArray, TemplateBuildsAndEndsEveryElement)
{
    XTestCounted::nLive = 0;
    {
        XArray<XTestCounted, XTestCounted> a;
        a.SetSize(3);
        EXPECT_EQ(XTestCounted::nLive, 3);
        EXPECT_EQ(a[2].nValue, -7);
        for (int i = 0; i < 20; ++i)
            a.Add(XTestCounted(i));
        EXPECT_EQ(XTestCounted::nLive, 23);
        a.InsertAt(1, XTestCounted(100), 2);
        EXPECT_EQ(a[1].nValue, 100);
        EXPECT_EQ(a[3].nValue, -7);
        EXPECT_EQ(a[24].nValue, 19);
        a.RemoveAt(0, 4);
        EXPECT_EQ(a[0].nValue, -7);
        EXPECT_EQ(a[1].nValue, 0);
        EXPECT_EQ(XTestCounted::nLive, 21);
        a.SetSize(5);
        a.FreeExtra();
        EXPECT_EQ(XTestCounted::nLive, 5);
        EXPECT_EQ(a[4].nValue, 3);
    }
    EXPECT_EQ(XTestCounted::nLive, 0);
}

TEST(XArray, ObArrayNeverDeletesItsObjects)
{
    XTestItem::nDeleted = 0;
    XTestItem item1, item2;
    {
        XObArray a;
        a.Add(&item1);
        a.Add(&item2);
        a.RemoveAt(0);
        a.RemoveAll();
        a.Add(&item1);
    }
    EXPECT_EQ(XTestItem::nDeleted, 0);
}

TEST(XArray, ClassRecords)
{
    const char* const creatable[] = {"XByteArray", "XWordArray", "XDWordArray", "XUIntArray", "XObArray",
                                     "XStringArray"};
    for (const char* pszName : creatable) {
        void* p = nullptr;
        ASSERT_TRUE(XObject::RTCMap.Lookup(pszName, p)) << pszName;
        const XRuntimeClass* pClass = static_cast<const XRuntimeClass*>(p);
        EXPECT_EQ(pClass->pBaseClass, XObject::GetRuntimeClassStatic());
        XObject* pOb = pClass->CreateObject();
        ASSERT_NE(pOb, nullptr) << pszName;
        EXPECT_EQ(pOb->GetRuntimeClass(), pClass);
        delete pOb;
    }
    void* p = nullptr;
    ASSERT_TRUE(XObject::RTCMap.Lookup("XPtrArray", p));
    EXPECT_EQ(static_cast<const XRuntimeClass*>(p)->CreateObject(), nullptr);
    XPtrArray a;
    EXPECT_EQ(a.GetRuntimeClass(), XPtrArray::GetRuntimeClassStatic());
    EXPECT_TRUE(a.IsKindOf(XObject::GetRuntimeClassStatic()));
    // The template is not registered: it answers as XObject.
    XArray<int, int> t;
    EXPECT_EQ(t.GetRuntimeClass(), XObject::GetRuntimeClassStatic());
}

TEST(XArray, PtrArrayAsALoadTable)
{
    // The way the archive numbers objects while loading.
    XPtrArray a;
    a.SetSize(1, 64);
    a.SetAt(0, nullptr);
    int n = 1;
    for (; n < 200; ++n)
        a.InsertAt(n, reinterpret_cast<void*>(static_cast<intptr_t>(n * 16)), 1);
    EXPECT_EQ(a.GetUpperBound(), 199);
    EXPECT_EQ(a.GetAt(0), nullptr);
    EXPECT_EQ(a.GetAt(150), reinterpret_cast<void*>(150 * 16));
}
