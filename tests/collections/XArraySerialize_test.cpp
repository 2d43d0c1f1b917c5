#include "KVDbase/collections/XArray.h"

#include "XCollStreamTestUtil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

using namespace collstream;

TEST(XArrayStream, DWordArrayKeepsItsElementsInMachineOrder)
{
    const Bytes raw = {0x78, 0x56, 0x34, 0x12, 0xEF, 0xCD, 0xAB, 0x89};
    for (unsigned int nSwap : nSwapModes) {
        const bool bNoSwap = nSwap != 0;
        XDWordArray a;
        a.Add(0x12345678u);
        a.Add(0x89ABCDEFu);
        Bytes b = Store([&](XArchive& ar) { ar << &a; }, XArchive::store | nSwap);
        EXPECT_EQ(b, Concat({{4}, NewHierarchy("XDWordArray", bNoSwap), KnownHierarchy(bNoSwap), U32(2, bNoSwap), raw}))
            << nSwap;

        // Stored directly, the body carries the class records itself.
        b = Store([&](XArchive& ar) { a.Serialize(ar); }, XArchive::store | nSwap);
        EXPECT_EQ(b, Concat({NewHierarchy("XDWordArray", bNoSwap), U32(2, bNoSwap), raw}));
        XDWordArray back;
        Load(b, [&](XArchive& ar) { back.Serialize(ar); }, XArchive::load | nSwap);
        ASSERT_EQ(back.GetSize(), 2);
        EXPECT_EQ(back[1], 0x89ABCDEFu);
    }
}

TEST(XArrayStream, EveryArrayRoundTripsInBothOrders)
{
    XByteArray bytes;
    XWordArray words;
    XUIntArray uints;
    XStringArray strings;
    for (int i = 0; i < 300; ++i) {
        bytes.Add(static_cast<BYTE>(i * 7));
        words.Add(static_cast<WORD>(i * 257));
        uints.Add(0x01000001u * static_cast<UINT>(i));
    }
    strings.Add("first");
    strings.Add("");
    strings.Add(XString('x', 300));

    for (unsigned int nSwap : nSwapModes) {
        Bytes b = Store([&](XArchive& ar) { ar << &bytes << &words << &uints << &strings; }, XArchive::store | nSwap);
        Load(
            b,
            [&](XArchive& ar) {
                XByteArray* pBytes = nullptr;
                XWordArray* pWords = nullptr;
                const XUIntArray* pUInts = nullptr;
                XStringArray* pStrings = nullptr;
                ar >> pBytes >> pWords >> pUInts >> pStrings;
                ASSERT_NE(pBytes, nullptr);
                ASSERT_NE(pWords, nullptr);
                ASSERT_NE(pUInts, nullptr);
                ASSERT_NE(pStrings, nullptr);
                ASSERT_EQ(pBytes->GetSize(), 300);
                ASSERT_EQ(pWords->GetSize(), 300);
                ASSERT_EQ(pUInts->GetSize(), 300);
                EXPECT_EQ(std::memcmp(pBytes->GetData(), bytes.GetData(), 300), 0);
                EXPECT_EQ(std::memcmp(pWords->GetData(), words.GetData(), 600), 0);
                EXPECT_EQ(std::memcmp(pUInts->GetData(), uints.GetData(), 1200), 0);
                ASSERT_EQ(pStrings->GetSize(), 3);
                EXPECT_EQ((*pStrings)[0], "first");
                EXPECT_TRUE((*pStrings)[1].IsEmpty());
                EXPECT_EQ((*pStrings)[2], strings[2]);
                delete pBytes;
                delete pWords;
                delete pUInts;
                delete pStrings;
            },
            XArchive::load | nSwap);
    }
}

TEST(XArrayStream, ObArrayKeepsSharedObjectsShared)
{
    XStringArray shared;
    shared.Add("shared");
    XWordArray other;
    XObArray a;
    a.Add(&shared);
    a.Add(nullptr);
    a.Add(&shared);
    a.Add(&other);
    for (unsigned int nSwap : nSwapModes) {
        Bytes b = Store([&](XArchive& ar) { ar << &a; }, XArchive::store | nSwap);
        // The second reference to the shared object is a back-reference:
        // classes XObArray 1, XObject 2, the array 3, XStringArray 4, the
        // shared object 5.
        Bytes backRef = Concat({{3}, U32(5, nSwap != 0)});
        EXPECT_NE(std::search(b.begin(), b.end(), backRef.begin(), backRef.end()), b.end());
        Load(
            b,
            [&](XArchive& ar) {
                XObArray* pBack = nullptr;
                ar >> pBack;
                ASSERT_NE(pBack, nullptr);
                ASSERT_EQ(pBack->GetSize(), 4);
                EXPECT_EQ(pBack->GetAt(0), pBack->GetAt(2));
                EXPECT_EQ(pBack->GetAt(1), nullptr);
                ASSERT_NE(pBack->GetAt(0), nullptr);
                EXPECT_EQ(pBack->GetAt(0)->GetRuntimeClass(), XStringArray::GetRuntimeClassStatic());
                EXPECT_EQ(static_cast<XStringArray*>(pBack->GetAt(0))->GetAt(0), "shared");
                EXPECT_EQ(pBack->GetAt(3)->GetRuntimeClass(), XWordArray::GetRuntimeClassStatic());
                // The application owns what was read.
                delete pBack->GetAt(0);
                delete pBack->GetAt(3);
                delete pBack;
            },
            XArchive::load | nSwap);
    }
}

TEST(XArrayStream, LoadingReplacesTheContent)
{
    XWordArray small;
    small.Add(5);
    Bytes b = Store([&](XArchive& ar) { small.Serialize(ar); });
    XWordArray a;
    a.SetSize(10);
    a[0] = 1;
    Load(b, [&](XArchive& ar) { a.Serialize(ar); });
    ASSERT_EQ(a.GetSize(), 1);
    EXPECT_EQ(a[0], 5);

    XStringArray strings;
    strings.Add("old");
    strings.Add("older");
    Bytes empty = Store([](XArchive& ar) {
        XStringArray none;
        none.Serialize(ar);
    });
    Load(empty, [&](XArchive& ar) { strings.Serialize(ar); });
    EXPECT_EQ(strings.GetSize(), 0);
}

TEST(XArrayStream, DamagedCounts)
{
    // A count beyond the signed range cannot be allocated.
    Bytes huge = Concat({NewHierarchy("XDWordArray"), U32(0xFFFFFFFFu), U32(1)});
    XDWordArray dwords;
    Load(huge, [&](XArchive& ar) { EXPECT_THROW(dwords.Serialize(ar), XMemoryException); });
    EXPECT_EQ(dwords.GetSize(), 0);
    XStringArray strings;
    Load(Concat({NewHierarchy("XStringArray"), U32(0x80000000u)}),
         [&](XArchive& ar) { EXPECT_THROW(strings.Serialize(ar), XMemoryException); });
    XObArray obs;
    Load(Concat({NewHierarchy("XObArray"), U32(0xF0000000u)}),
         [&](XArchive& ar) { EXPECT_THROW(obs.Serialize(ar), XMemoryException); });

    // A raw block cut short leaves the rest zero.
    XWordArray words;
    Load(Concat({NewHierarchy("XWordArray"), U32(4), {0x34, 0x12, 0x78, 0x56}}),
         [&](XArchive& ar) { words.Serialize(ar); });
    ASSERT_EQ(words.GetSize(), 4);
    EXPECT_EQ(words[0], 0x1234);
    EXPECT_EQ(words[1], 0x5678);
    EXPECT_EQ(words[3], 0);

    // A huge count is allocated as asked; the block is still taken as zero.
    XByteArray bytes;
    Load(Concat({NewHierarchy("XByteArray"), U32(0x7FFFFFFFu), {9, 8, 7}}),
         [&](XArchive& ar) { bytes.Serialize(ar); });
    ASSERT_EQ(bytes.GetSize(), 0x7FFFFFFF);
    EXPECT_EQ(bytes[2], 7);
    EXPECT_EQ(bytes[0x7FFFFFFE], 0);

    // Strings that run out end in the archive's end-of-stream exception.
    Load(Concat({NewHierarchy("XStringArray"), U32(3), {1, 'a'}}), [&](XArchive& ar) {
        try {
            strings.Serialize(ar);
            ADD_FAILURE() << "no exception";
        } catch (const XArchiveException& e) {
            EXPECT_EQ(e.nCause, XArchiveException::endOfFile);
        }
    });
    ASSERT_EQ(strings.GetSize(), 3);
    EXPECT_EQ(strings[0], "a");
}

TEST(XArrayStream, OperatorsAskForTheirOwnClass)
{
    XWordArray words;
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
    Load(b, [&](XArchive& ar) {
        XObject* p = nullptr;
        ar >> p;
        ASSERT_NE(p, nullptr);
        EXPECT_TRUE(p->IsKindOf(XWordArray::GetRuntimeClassStatic()));
        delete p;
    });
    // A null pointer is one byte and reads back null.
    const XByteArray* pNull = nullptr;
    b = Store([&](XArchive& ar) { ar << pNull; });
    EXPECT_EQ(b, Bytes{0});
    Load(b, [&](XArchive& ar) {
        XByteArray* p = reinterpret_cast<XByteArray*>(&words);
        ar >> p;
        EXPECT_EQ(p, nullptr);
    });
}
