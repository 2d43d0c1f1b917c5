#include "KVDbase/collections/XArray.h"
#include "KVDbase/collections/XList.h"
#include "KVDbase/collections/XMap.h"

#include "XCollStreamTestUtil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace collstream;

namespace {

template <class LIST>
auto Elements(const LIST& list)
{
    std::vector<typename std::decay<decltype(list.GetHead())>::type> values;
    for (POSITION pos = list.GetHeadPosition(); pos != nullptr;)
        values.push_back(list.GetNext(pos));
    return values;
}

// Fills a list with values built from 0 to 4 by fn.
template <class LIST, class Fn>
void Fill(LIST& list, Fn fn)
{
    for (int i = 0; i < 5; ++i)
        list.AddTail(fn(i));
}

} // namespace

TEST(XListStream, ElementsFollowTheArchiveOrder)
{
    XShortList list;
    list.AddTail(0x0102);
    list.AddTail(-2);
    for (unsigned int nSwap : nSwapModes) {
        const bool bNoSwap = nSwap != 0;
        Bytes elements = bNoSwap ? Bytes{0x02, 0x01, 0xFE, 0xFF} : Bytes{0x01, 0x02, 0xFF, 0xFE};
        Bytes b = Store([&](XArchive& ar) { list.Serialize(ar); }, XArchive::store | nSwap);
        EXPECT_EQ(b, Concat({NewHierarchy("XShortList", bNoSwap), U32(2, bNoSwap), elements}));
        b = Store([&](XArchive& ar) { ar << &list; }, XArchive::store | nSwap);
        EXPECT_EQ(b, Concat({{4}, NewHierarchy("XShortList", bNoSwap), KnownHierarchy(bNoSwap), U32(2, bNoSwap),
                             elements}));
    }
}

TEST(XListStream, EveryListRoundTripsInBothOrders)
{
    XCharList chars;
    XUCharList uchars;
    XShortList shorts;
    XUShortList ushorts;
    XIntList ints;
    XUIntList uints;
    XInt64List int64s;
    XFloatList floats;
    XDoubleList doubles;
    XStringList strings;
    Fill(chars, [](int i) { return static_cast<char>(-i); });
    Fill(uchars, [](int i) { return static_cast<unsigned char>(250 + i); });
    Fill(shorts, [](int i) { return static_cast<short>(-1000 * i); });
    Fill(ushorts, [](int i) { return static_cast<unsigned short>(60000 + i); });
    Fill(ints, [](int i) { return -100000 * i; });
    Fill(uints, [](int i) { return 0xF0000000u + i; });
    Fill(int64s, [](int i) { return static_cast<int64_t>(-0x123456789ALL * i); });
    Fill(floats, [](int i) { return 1.5f / (i + 1); });
    Fill(doubles, [](int i) { return -2.25 / (i + 1); });
    Fill(strings, [](int i) { return XString('s', i * 100); });

    for (unsigned int nSwap : nSwapModes) {
        Bytes b = Store(
            [&](XArchive& ar) {
                ar << &chars << &uchars << &shorts << &ushorts << &ints << &uints << &int64s << &floats << &doubles
                   << &strings;
            },
            XArchive::store | nSwap);
        Load(
            b,
            [&](XArchive& ar) {
                XCharList* pChars = nullptr;
                XUCharList* pUChars = nullptr;
                XShortList* pShorts = nullptr;
                XUShortList* pUShorts = nullptr;
                XIntList* pInts = nullptr;
                XUIntList* pUInts = nullptr;
                XInt64List* pInt64s = nullptr;
                XFloatList* pFloats = nullptr;
                XDoubleList* pDoubles = nullptr;
                const XStringList* pStrings = nullptr;
                ar >> pChars >> pUChars >> pShorts >> pUShorts >> pInts >> pUInts >> pInt64s >> pFloats >>
                    pDoubles >> pStrings;
                ASSERT_NE(pStrings, nullptr);
                EXPECT_EQ(Elements(*pChars), Elements(chars));
                EXPECT_EQ(Elements(*pUChars), Elements(uchars));
                EXPECT_EQ(Elements(*pShorts), Elements(shorts));
                EXPECT_EQ(Elements(*pUShorts), Elements(ushorts));
                EXPECT_EQ(Elements(*pInts), Elements(ints));
                EXPECT_EQ(Elements(*pUInts), Elements(uints));
                EXPECT_EQ(Elements(*pInt64s), Elements(int64s));
                EXPECT_EQ(Elements(*pFloats), Elements(floats));
                EXPECT_EQ(Elements(*pDoubles), Elements(doubles));
                EXPECT_TRUE(Elements(*pStrings) == Elements(strings));
                delete pChars;
                delete pUChars;
                delete pShorts;
                delete pUShorts;
                delete pInts;
                delete pUInts;
                delete pInt64s;
                delete pFloats;
                delete pDoubles;
                delete pStrings;
            },
            XArchive::load | nSwap);
    }
}

TEST(XListStream, ObListWritesARepeatedObjectOnce)
{
    XDWordArray shared;
    shared.Add(7);
    XObList list;
    list.AddTail(&shared);
    list.AddTail(nullptr);
    list.AddTail(&shared);
    Bytes b = Store([&](XArchive& ar) { ar << &list; });
    // XObList 1, XObject 2, the list 3, XDWordArray 4, the shared array 5.
    Bytes backRef = Concat({{3}, U32(5)});
    EXPECT_EQ(Bytes(b.end() - 5, b.end()), backRef);
    Load(b, [&](XArchive& ar) {
        XObList* pBack = nullptr;
        ar >> pBack;
        ASSERT_NE(pBack, nullptr);
        ASSERT_EQ(pBack->GetCount(), 3);
        XObject* pFirst = pBack->GetHead();
        EXPECT_EQ(pBack->GetTail(), pFirst);
        EXPECT_EQ(pBack->GetAt(pBack->FindIndex(1)), nullptr);
        ASSERT_NE(pFirst, nullptr);
        EXPECT_EQ(static_cast<XDWordArray*>(pFirst)->GetAt(0), 7u);
        delete pFirst;
        delete pBack;
    });
}

TEST(XListStream, LoadingAppends)
{
    XDoubleList stored;
    stored.AddTail(3.0);
    stored.AddTail(4.0);
    stored.AddTail(5.0);
    Bytes b = Store([&](XArchive& ar) { stored.Serialize(ar); });
    XDoubleList list;
    list.AddTail(1.0);
    list.AddTail(2.0);
    Load(b, [&](XArchive& ar) { list.Serialize(ar); });
    EXPECT_EQ(Elements(list), (std::vector<double>{1.0, 2.0, 3.0, 4.0, 5.0}));

    // A false count ends at the end of the stream, with what was read kept.
    XIntList ints;
    Load(Concat({NewHierarchy("XIntList"), U32(0xFFFFFFFFu), U32(11), U32(12)}), [&](XArchive& ar) {
        try {
            ints.Serialize(ar);
            ADD_FAILURE() << "no exception";
        } catch (const XArchiveException& e) {
            EXPECT_EQ(e.nCause, XArchiveException::endOfFile);
        }
    });
    EXPECT_EQ(Elements(ints), (std::vector<int>{11, 12}));
}

TEST(XMapStream, EmptyMapIsTheBlockAndACount)
{
    XMapStringToString map;
    Bytes b = Store([&](XArchive& ar) { map.Serialize(ar); });
    EXPECT_EQ(b, Concat({NewHierarchy("XMapStringToString"), U32(0)}));
    b = Store([&](XArchive& ar) { map.Serialize(ar); }, XArchive::store | XArchive::bNoByteSwap);
    EXPECT_EQ(b, Concat({NewHierarchy("XMapStringToString", true), U32(0, true)}));
}

TEST(XMapStream, EveryMapRoundTripsInBothOrders)
{
    XMapStringToString texts;
    XMapStringToOb obs;
    XMapWordToOb words;
    XStringArray shared;
    shared.Add("value");
    for (int i = 0; i < 40; ++i) {
        XString strKey;
        strKey.Format("key%d", i);
        texts[strKey] = XString('v', i);
        obs[strKey] = i % 3 == 0 ? nullptr : &shared;
        words[static_cast<WORD>(i * 1000)] = i % 2 == 0 ? &shared : nullptr;
    }
    for (unsigned int nSwap : nSwapModes) {
        Bytes b = Store([&](XArchive& ar) { ar << &texts << &obs << &words; }, XArchive::store | nSwap);
        Load(
            b,
            [&](XArchive& ar) {
                XMapStringToString* pTexts = nullptr;
                XMapStringToOb* pObs = nullptr;
                XMapWordToOb* pWords = nullptr;
                ar >> pTexts >> pObs >> pWords;
                ASSERT_NE(pWords, nullptr);
                ASSERT_EQ(pTexts->GetCount(), 40);
                ASSERT_EQ(pObs->GetCount(), 40);
                ASSERT_EQ(pWords->GetCount(), 40);
                XObject* pShared = nullptr;
                ASSERT_TRUE(pObs->Lookup("key1", pShared));
                ASSERT_NE(pShared, nullptr);
                EXPECT_EQ(static_cast<XStringArray*>(pShared)->GetAt(0), "value");
                for (int i = 0; i < 40; ++i) {
                    XString strKey;
                    strKey.Format("key%d", i);
                    XString strValue;
                    ASSERT_TRUE(pTexts->Lookup(strKey, strValue));
                    EXPECT_EQ(strValue, XString('v', i));
                    XObject* pOb = reinterpret_cast<XObject*>(1);
                    ASSERT_TRUE(pObs->Lookup(strKey, pOb));
                    EXPECT_EQ(pOb, i % 3 == 0 ? nullptr : pShared);
                    ASSERT_TRUE(pWords->Lookup(static_cast<WORD>(i * 1000), pOb));
                    EXPECT_EQ(pOb, i % 2 == 0 ? pShared : nullptr);
                }
                delete pShared;
                delete pTexts;
                delete pObs;
                delete pWords;
            },
            XArchive::load | nSwap);
    }
}

TEST(XMapStream, LoadingReversesChainsAndReplacesValues)
{
    // 272 and 0 share bucket 0; the newer, 272, is stored first.
    XMapWordToOb map;
    map[0] = nullptr;
    map[272] = nullptr;
    Bytes first = Store([&](XArchive& ar) { map.Serialize(ar); });
    EXPECT_EQ(first, Concat({NewHierarchy("XMapWordToOb"), U32(2), {0x01, 0x10, 0}, {0x00, 0x00, 0}}));
    XMapWordToOb loaded;
    Load(first, [&](XArchive& ar) { loaded.Serialize(ar); });
    Bytes second = Store([&](XArchive& ar) { loaded.Serialize(ar); });
    EXPECT_EQ(second, Concat({NewHierarchy("XMapWordToOb"), U32(2), {0x00, 0x00, 0}, {0x01, 0x10, 0}}));

    XMapStringToString stored;
    stored["same"] = "new";
    stored["added"] = "value";
    Bytes b = Store([&](XArchive& ar) { stored.Serialize(ar); });
    XMapStringToString target;
    target["same"] = "old";
    target["kept"] = "kept";
    Load(b, [&](XArchive& ar) { target.Serialize(ar); });
    EXPECT_EQ(target.GetCount(), 3);
    XString strValue;
    ASSERT_TRUE(target.Lookup("same", strValue));
    EXPECT_EQ(strValue, "new");
    ASSERT_TRUE(target.Lookup("kept", strValue));
    EXPECT_EQ(strValue, "kept");
}
