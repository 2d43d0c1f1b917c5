#include "KVDbase/collections/XArray.h"
#include "KVDbase/collections/XList.h"
#include "KVDbase/collections/XMap.h"

#include "XCollStreamTestUtil.h"

#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

using namespace collstream;

namespace {

// The elements of an array, or of a list from head to tail.
template <class ARRAY>
auto Walk(const ARRAY& a) -> std::vector<typename std::decay<decltype(a.GetData()[0])>::type>
{
    return {a.GetData(), a.GetData() + a.GetSize()};
}

template <class LIST>
auto Walk(const LIST& list) -> std::vector<typename std::decay<decltype(list.GetHead())>::type>
{
    std::vector<typename std::decay<decltype(list.GetHead())>::type> values;
    for (POSITION pos = list.GetHeadPosition(); pos != nullptr;)
        values.push_back(list.GetNext(pos));
    return values;
}

template <class ARRAY, class T>
auto Add(ARRAY& a, const T& value) -> decltype(a.Add(value), void())
{
    a.Add(value);
}

template <class LIST, class T>
auto Add(LIST& list, const T& value) -> decltype(list.AddTail(value), void())
{
    list.AddTail(value);
}

// Fills a collection with fn(0)..fn(n - 1) and walks it through RoundTrip in both orders.
template <class X, class Fn>
void ExpectRoundTrip(Fn fn, int n = 5)
{
    X x;
    for (int i = 0; i < n; ++i)
        Add(x, fn(i));
    for (unsigned int nSwap : nSwapModes) {
        auto pBack = RoundTrip(x, nSwap);
        ASSERT_NE(pBack, nullptr);
        EXPECT_TRUE(Walk(*pBack) == Walk(x)) << x.GetRuntimeClass()->lpszClassName << " " << nSwap;
    }
}

} // namespace

TEST(XCollStream, ArraysAndListsRoundTripInBothOrders)
{
    ExpectRoundTrip<XByteArray>([](int i) { return static_cast<BYTE>(i * 7); }, 300);
    ExpectRoundTrip<XDWordArray>([](int i) { return 0x01000001u * i; }, 300);
    ExpectRoundTrip<XStringArray>([](int i) { return XString('s', i); }, 300);
    ExpectRoundTrip<XShortList>([](int i) { return static_cast<short>(-1000 * i); });
    ExpectRoundTrip<XInt64List>([](int i) { return static_cast<int64_t>(-0x123456789ALL * i); });
    ExpectRoundTrip<XFloatList>([](int i) { return 1.5f / (i + 1); });
    ExpectRoundTrip<XDoubleList>([](int i) { return -2.25 / (i + 1); });
    ExpectRoundTrip<XStringList>([](int i) { return XString('t', i * 100); });
}

// An object referred to many times is stored once and read back once, shared.
TEST(XCollStream, ObjectCollectionsShareWhatTheyReferToInBothOrders)
{
    XStringArray shared;
    shared.Add("value");
    XMapStringToOb obs;
    obs["none"] = nullptr;
    obs["shared"] = &shared;
    XObArray array;
    array.Add(&shared);
    array.Add(nullptr);
    XObList list;
    list.AddTail(&shared);
    for (unsigned int nSwap : nSwapModes) {
        Bytes b = Store([&](XArchive& ar) { ar << &obs << &array << &list; }, XArchive::store | nSwap);
        // Later references to the shared object are tag 3 and its index, 5 (after three classes and one object).
        EXPECT_EQ(Bytes(b.end() - 5, b.end()), Concat({{3}, U32(5, nSwap != 0)}));
        XMapStringToOb* pObs = nullptr;
        XObArray* pArray = nullptr;
        XObList* pList = nullptr;
        Load(b, [&](XArchive& ar) { ar >> pObs >> pArray >> pList; }, XArchive::load | nSwap);
        std::unique_ptr<XObject> owned[] = {std::unique_ptr<XObject>(pObs), std::unique_ptr<XObject>(pArray),
                                            std::unique_ptr<XObject>(pList)};
        ASSERT_NE(pList, nullptr);
        std::unique_ptr<XObject> sharedBack(pList->GetHead());
        ASSERT_NE(sharedBack, nullptr);
        EXPECT_EQ(static_cast<XStringArray*>(sharedBack.get())->GetAt(0), "value");
        XObject* pOb = &shared;
        EXPECT_TRUE(pObs->Lookup("none", pOb) && pOb == nullptr);
        EXPECT_TRUE(pObs->Lookup("shared", pOb) && pOb == sharedBack.get());
        EXPECT_EQ(Walk(*pArray), (std::vector<XObject*>{sharedBack.get(), nullptr}));
    }
}

TEST(XCollStream, ByteExactForms)
{
    const Bytes raw = {0x78, 0x56, 0x34, 0x12, 0xEF, 0xCD, 0xAB, 0x89};
    XDWordArray dwords;
    dwords.Add(0x12345678u);
    dwords.Add(0x89ABCDEFu);
    XShortList shorts;
    shorts.AddTail(0x0102);
    shorts.AddTail(-2);
    XMapStringToString empty;
    for (unsigned int nSwap : nSwapModes) {
        const bool bNoSwap = nSwap != 0;
        // The count follows the archive's order, the raw elements the machine's.
        Bytes b = Store([&](XArchive& ar) { ar << &dwords; }, XArchive::store | nSwap);
        EXPECT_EQ(b, Concat({{4}, NewHierarchy("XDWordArray", bNoSwap), KnownHierarchy(bNoSwap), U32(2, bNoSwap), raw}));
        // List elements go through the archive's order.
        b = Store([&](XArchive& ar) { shorts.Serialize(ar); }, XArchive::store | nSwap);
        Bytes elements = bNoSwap ? Bytes{0x02, 0x01, 0xFE, 0xFF} : Bytes{0x01, 0x02, 0xFF, 0xFE};
        EXPECT_EQ(b, Concat({NewHierarchy("XShortList", bNoSwap), U32(2, bNoSwap), elements}));
        b = Store([&](XArchive& ar) { empty.Serialize(ar); }, XArchive::store | nSwap);
        EXPECT_EQ(b, Concat({NewHierarchy("XMapStringToString", bNoSwap), U32(0, bNoSwap)}));
    }

    // 272 and 0 share bucket 0; the newer, 272, is stored first, and loading reverses the chain.
    XMapWordToOb map;
    map[0] = nullptr;
    map[272] = nullptr;
    Bytes first = Store([&](XArchive& ar) { map.Serialize(ar); });
    EXPECT_EQ(first, Concat({NewHierarchy("XMapWordToOb"), U32(2), {0x01, 0x10, 0}, {0x00, 0x00, 0}}));
    XMapWordToOb loaded;
    Load(first, [&](XArchive& ar) { loaded.Serialize(ar); });
    Bytes second = Store([&](XArchive& ar) { loaded.Serialize(ar); });
    EXPECT_EQ(second, Concat({NewHierarchy("XMapWordToOb"), U32(2), {0x00, 0x00, 0}, {0x01, 0x10, 0}}));
}

TEST(XCollStream, LoadReplacesArraysAddsToListsAndMapsAndAsksForItsOwnClass)
{
    XWordArray small, words;
    small.Add(5);
    words.SetSize(10);
    Load(Store([&](XArchive& ar) { small.Serialize(ar); }), [&](XArchive& ar) { words.Serialize(ar); });
    EXPECT_EQ(Walk(words), (std::vector<WORD>{5}));

    XDoubleList stored, doubles;
    stored.AddTail(3.0);
    doubles.AddTail(1.0);
    doubles.AddTail(2.0);
    Load(Store([&](XArchive& ar) { stored.Serialize(ar); }), [&](XArchive& ar) { doubles.Serialize(ar); });
    EXPECT_EQ(Walk(doubles), (std::vector<double>{1.0, 2.0, 3.0}));

    XMapStringToString texts, target;
    texts["same"] = "new";
    target["same"] = "old";
    target["kept"] = "kept";
    Load(Store([&](XArchive& ar) { texts.Serialize(ar); }), [&](XArchive& ar) { target.Serialize(ar); });
    XString strValue;
    EXPECT_EQ(target.GetCount(), 2);
    EXPECT_TRUE(target.Lookup("same", strValue) && strValue == "new");
    // The pointer operators ask for their own class, and a null pointer is one zero byte.
    Bytes b = Store([&](XArchive& ar) { ar << &words; });
    Load(b, [&](XArchive& ar) {
        XDWordArray* p = nullptr;
        try {
            ar >> p;
            ADD_FAILURE() << "no exception";
        } catch (const XArchiveException& e) {
            EXPECT_EQ(e.nCause, XArchiveException::badIndex);
        }
    });
    const XByteArray* pNull = nullptr;
    b = Store([&](XArchive& ar) { ar << pNull; });
    EXPECT_EQ(b, Bytes{0});
    Load(b, [&](XArchive& ar) {
        const XByteArray* p = reinterpret_cast<XByteArray*>(&words);
        ar >> p;
        EXPECT_EQ(p, nullptr);
    });
}

TEST(XCollStream, DamagedStreams)
{
    // A count beyond the signed range cannot be allocated.
    XDWordArray dwords;
    Load(Concat({NewHierarchy("XDWordArray"), U32(0xFFFFFFFFu), U32(1)}),
         [&](XArchive& ar) { EXPECT_THROW(dwords.Serialize(ar), XMemoryException); });
    XStringArray strings;
    Load(Concat({NewHierarchy("XStringArray"), U32(0x80000000u)}),
         [&](XArchive& ar) { EXPECT_THROW(strings.Serialize(ar), XMemoryException); });

    // Any other count is allocated as asked; what the stream lacks stays zero.
    XByteArray bytes;
    Load(Concat({NewHierarchy("XByteArray"), U32(0x7FFFFFFFu), {9, 8, 7}}),
         [&](XArchive& ar) { bytes.Serialize(ar); });
    ASSERT_EQ(bytes.GetSize(), 0x7FFFFFFF);
    EXPECT_EQ(bytes[2], 7);
    EXPECT_EQ(bytes[3], 0);
    EXPECT_EQ(bytes[0x7FFFFFFE], 0);

    // Elements read one by one end at the end of the stream.
    XIntList ints;
    Load(Concat({NewHierarchy("XIntList"), U32(0xFFFFFFFFu), U32(11), U32(12)}), [&](XArchive& ar) {
        try {
            ints.Serialize(ar);
            ADD_FAILURE() << "no exception";
        } catch (const XArchiveException& e) {
            EXPECT_EQ(e.nCause, XArchiveException::endOfFile);
        }
    });
    EXPECT_EQ(Walk(ints), (std::vector<int>{11, 12}));
}

