#include "KVDbase/collections/XArray.h"
#include "KVDbase/collections/XList.h"
#include "KVDbase/collections/XMap.h"

#include "core/XMapSP.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

namespace {

// Exposes the capacity and the growth step.
class XProbeDWords : public XDWordArray {
public:
    int GetMaxSize() const { return nMaxSize; }
    int GetGrowBy() const { return nGrowBy; }
};

// An element with its own constructor and destructor: counts the live ones.
struct XTestCounted {
    static int nLive;
    int nValue;
    XTestCounted(int n = -7) : nValue(n) { ++nLive; }
    XTestCounted(const XTestCounted& src) : nValue(src.nValue) { ++nLive; }
    XTestCounted& operator=(const XTestCounted&) = default;
    ~XTestCounted() { --nLive; }
};
int XTestCounted::nLive = 0;

std::string Contents(const XByteArray& a)
{
    std::string s;
    for (int i = 0; i < a.GetSize(); ++i)
        s += static_cast<char>('0' + a[i]);
    return s;
}

} // namespace

TEST(XArray, GrowthStepIsAnEighthBetweenFourAnd1024AndExposedElementsAreZero)
{
    const int cases[][2] = {{3, 7}, {100, 112}, {10000, 11024}};
    for (const auto& c : cases) {
        XProbeDWords a;
        a.SetSize(c[0]);
        a.Add(1);
        EXPECT_EQ(a.GetMaxSize(), c[1]) << c[0];
    }
    // A step of -1 keeps the one set; a jump beyond the step takes exactly the size asked for.
    XProbeDWords a;
    a.SetSize(5, 2);
    a.SetSize(0, -1);
    EXPECT_EQ(a.GetGrowBy(), 2);
    a.SetSize(20000);
    EXPECT_EQ(a.GetMaxSize(), 20000);
    // Elements exposed again by growth are zero.
    a.SetSize(10);
    for (int i = 0; i < 10; ++i)
        a[i] = 0xA5A5A5A5u;
    a.SetSize(2);
    a.SetSize(10);
    EXPECT_EQ(a[1], 0xA5A5A5A5u);
    EXPECT_EQ(a[2], 0u);
    EXPECT_EQ(a[9], 0u);
}

TEST(XArray, InsertRemoveAppendCopy)
{
    XByteArray a;
    for (BYTE b = 1; b <= 5; ++b)
        EXPECT_EQ(a.Add(b), b - 1);
    a.InsertAt(1, 9, 2);
    a.InsertAt(9, 7);  // past the end: the gap is zero
    EXPECT_EQ(Contents(a), "1992345007");
    a.RemoveAt(0, 3);
    a.RemoveAt(5, 100);  // a range past the end stops at the end
    EXPECT_EQ(Contents(a), "23450");

    XByteArray empty;
    EXPECT_EQ(a.Append(empty), 5);
    EXPECT_EQ(a.Append(a), 5);  // onto itself
    EXPECT_EQ(Contents(a), "2345023450");
    XByteArray b;
    b.Add(8);
    b.Add(6);
    a.InsertAt(1, &b);
    EXPECT_EQ(Contents(a), "286345023450");
    b.InsertAt(1, &b);  // into itself
    EXPECT_EQ(Contents(b), "8866");
    b.Copy(a);
    // Zero-length edits and a copy onto itself change nothing.
    a.Copy(a);
    a.InsertAt(0, 5, 0);
    a.InsertAt(0, &empty);
    a.RemoveAt(3, 0);
    EXPECT_EQ(Contents(a), Contents(b));
    // FreeExtra on an emptied array gives back its whole block.
    a.RemoveAt(0, a.GetSize());
    a.FreeExtra();
    EXPECT_EQ(a.GetData(), nullptr);
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
    EXPECT_EQ(a[1], 2u);
}

TEST(XArray, StringElementsSurviveMovesAndAliasing)
{
    XStringArray a;
    a.Add("zero");
    // Each element added is one of the array's own, while the array grows.
    for (int i = 0; i < 40; ++i)
        a.Add(a[i]);
    a.SetAt(3, "three");
    a.InsertAt(0, a[3], 3);
    EXPECT_EQ(a[2], "three");
    EXPECT_EQ(a[3], "zero");
    EXPECT_EQ(a[6], "three");
    XStringArray b;
    b.Copy(a);
    b[0] = "changed";
    EXPECT_EQ(a[0], "three");
}

TEST(XArray, TemplateBuildsAndEndsEveryElement)
{
    XTestCounted::nLive = 0;
    {
        XArray<XTestCounted, XTestCounted> a;
        a.SetSize(3);
        for (int i = 0; i < 20; ++i)
            a.Add(XTestCounted(i));
        EXPECT_EQ(XTestCounted::nLive, 23);
        a.InsertAt(1, XTestCounted(100), 2);
        EXPECT_EQ((std::vector<int>{a[1].nValue, a[3].nValue, a[24].nValue}), (std::vector<int>{100, -7, 19}));
        a.RemoveAt(0, 4);
        EXPECT_EQ(XTestCounted::nLive, 21);
        a.SetSize(5);
        a.FreeExtra();
        EXPECT_EQ(XTestCounted::nLive, 5);
    }
    EXPECT_EQ(XTestCounted::nLive, 0);
}

TEST(XCollections, EveryClassIsRegisteredUnderXObject)
{
    const struct {
        const char* pszName;
        bool bCreatable;
    } classes[] = {
        {"XByteArray", true},     {"XWordArray", true},      {"XDWordArray", true},    {"XUIntArray", true},
        {"XPtrArray", false},     {"XObArray", true},        {"XStringArray", true},   {"XCharList", true},
        {"XUCharList", true},     {"XShortList", true},      {"XUShortList", true},    {"XIntList", true},
        {"XUIntList", true},      {"XInt64List", true},      {"XFloatList", true},     {"XDoubleList", true},
        {"XPtrList", false},      {"XObList", true},         {"XStringList", true},    {"XMapIntToPtr", false},
        {"XMapPtrToInt", false},  {"XMapPtrToPtr", false},   {"XMapPtrToWord", false}, {"XMapWordToPtr", false},
        {"XMapWordToOb", true},   {"XMapStringToPtr", false}, {"XMapStringToOb", true}, {"XMapStringToString", true},
    };
    for (const auto& c : classes) {
        void* p = nullptr;
        ASSERT_TRUE(XObject::RTCMap.Lookup(c.pszName, p)) << c.pszName;
        const XRuntimeClass* pClass = static_cast<const XRuntimeClass*>(p);
        EXPECT_EQ(pClass->pBaseClass, XObject::GetRuntimeClassStatic()) << c.pszName;
        XObject* pOb = pClass->CreateObject();
        EXPECT_EQ(pOb != nullptr, c.bCreatable) << c.pszName;
        if (pOb != nullptr) {
            EXPECT_EQ(pOb->GetRuntimeClass(), pClass) << c.pszName;
            delete pOb;
        }
    }
    // The templates are not registered: they answer as XObject.
    XArray<int, int> array;
    EXPECT_EQ(array.GetRuntimeClass(), XObject::GetRuntimeClassStatic());
    XStack<int*> stack;
    EXPECT_EQ(stack.GetRuntimeClass(), XPtrList::GetRuntimeClassStatic());
}
