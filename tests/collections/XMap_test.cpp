#include "KVDbase/collections/XMap.h"

#include "core/XMapSP.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

// Exposes the bucket table and the block chain.
template <class BASE>
class XProbe : public BASE {
public:
    explicit XProbe(int nBlockSize = 10) : BASE(nBlockSize) {}
    bool HasTable() const { return this->pHashTable != nullptr; }
    int CountBlocks() const
    {
        int n = 0;
        for (XMemBlock* p = this->pBlocks; p != nullptr; p = p->pNext)
            ++n;
        return n;
    }
};

void* AsPtr(intptr_t n)
{
    return reinterpret_cast<void*>(n);
}

// The keys of a map in walk order.
std::vector<int> WalkKeys(const XMapIntToPtr& map)
{
    std::vector<int> keys;
    POSITION pos = map.GetStartPosition();
    while (pos != nullptr) {
        int key;
        void* value;
        map.GetNextAssoc(pos, key, value);
        keys.push_back(key);
    }
    return keys;
}

} // namespace

TEST(XMap, Hashes)
{
    XMapIntToPtr mapInt;
    EXPECT_EQ(mapInt.HashKey(0x1234), 0x123u);
    EXPECT_EQ(mapInt.HashKey(-1), 0x0FFFFFFFu);  // logical shift of the 32-bit pattern
    XMapPtrToPtr mapPtr;
    EXPECT_EQ(mapPtr.HashKey(AsPtr(0x12345678A0)), 0x2345678Au);  // full width, then low 32 bits
    XMapWordToPtr mapWord;
    EXPECT_EQ(mapWord.HashKey(0xFFFF), 0xFFFu);
    XMapStringToPtr mapString;
    EXPECT_EQ(mapString.HashKey("ab"), 'a' * 33u + 'b');
    EXPECT_EQ(mapString.HashKey("\xFF"), 0xFFFFFFFFu);  // bytes count as signed
    EXPECT_EQ(mapString.HashKey(""), 0u);
}

TEST(XMap, WalkIsByBucketThenNewestFirst)
{
    XMapIntToPtr map;
    EXPECT_EQ(map.GetStartPosition(), nullptr);
    EXPECT_EQ(map.GetHashTableSize(), 17u);
    // 16 and 16 + 17 * 16 share bucket 1; 0 and 272 share bucket 0.
    const int keys[] = {16, 0, 16 + 17 * 16, 272, 32};
    for (int key : keys)
        map[key] = AsPtr(key + 1);
    EXPECT_EQ(map.GetCount(), 5);
    EXPECT_EQ(WalkKeys(map), (std::vector<int>{272, 0, 16 + 17 * 16, 16, 32}));
    for (int key : keys) {
        void* value = nullptr;
        EXPECT_TRUE(map.Lookup(key, value));
        EXPECT_EQ(value, AsPtr(key + 1));
    }
    void* value = AsPtr(99);
    EXPECT_FALSE(map.Lookup(17, value));
    EXPECT_EQ(value, AsPtr(99));
    EXPECT_EQ(map.GetCount(), 5);  // Lookup never inserts

    EXPECT_TRUE(map.RemoveKey(16 + 17 * 16));
    EXPECT_FALSE(map.RemoveKey(16 + 17 * 16));
    EXPECT_EQ(WalkKeys(map), (std::vector<int>{272, 0, 16, 32}));
}

TEST(XMap, EmptiedMapGivesBackItsMemory)
{
    XProbe<XMapPtrToPtr> map(4);
    void* value = nullptr;
    EXPECT_FALSE(map.Lookup(nullptr, value));
    EXPECT_FALSE(map.RemoveKey(nullptr));
    EXPECT_FALSE(map.HasTable());
    map.InitHashTable(31, 0);
    EXPECT_FALSE(map.HasTable());
    for (intptr_t i = 0; i < 9; ++i)
        map.SetAt(AsPtr(i * 16), AsPtr(i));
    EXPECT_EQ(map.CountBlocks(), 3);
    for (intptr_t i = 0; i < 8; ++i)
        EXPECT_TRUE(map.RemoveKey(AsPtr(i * 16)));
    EXPECT_TRUE(map.HasTable());
    EXPECT_EQ(map.GetValueAt(AsPtr(8 * 16)), AsPtr(8));
    EXPECT_EQ(map.GetValueAt(AsPtr(7 * 16)), nullptr);
    EXPECT_TRUE(map.RemoveKey(AsPtr(8 * 16)));
    EXPECT_FALSE(map.HasTable());
    EXPECT_EQ(map.CountBlocks(), 0);
    EXPECT_EQ(map.GetHashTableSize(), 31u);
    map[AsPtr(5)] = AsPtr(6);
    EXPECT_TRUE(map.HasTable());
    EXPECT_EQ(map.GetHashTableSize(), 31u);
    EXPECT_EQ(map.CountBlocks(), 1);
}

TEST(XMap, ArchiveStyleStoreTable)
{
    // The way the archive numbers objects while storing.
    XMapPtrToPtr map(16);
    map.InitHashTable(137, 1);
    map.SetAt(nullptr, AsPtr(0));
    std::vector<int> objects(500);
    for (int i = 0; i < 500; ++i) {
        void*& slot = map[&objects[i]];
        EXPECT_EQ(slot, nullptr);
        slot = AsPtr(i + 1);
    }
    EXPECT_EQ(map.GetCount(), 501);
    for (int i = 0; i < 500; i += 7)
        EXPECT_EQ(map[&objects[i]], AsPtr(i + 1));
    EXPECT_EQ(map.GetCount(), 501);
}

TEST(XMap, InitHashTableOnAFilledMapKeepsEveryEntry)
{
    XMapIntToPtr map;
    for (int i = 0; i < 300; ++i)
        map[i * 3] = AsPtr(i);
    map.InitHashTable(101);
    EXPECT_EQ(map.GetHashTableSize(), 101u);
    EXPECT_EQ(static_cast<int>(WalkKeys(map).size()), 300);
    for (int i = 0; i < 300; ++i) {
        void* value = nullptr;
        ASSERT_TRUE(map.Lookup(i * 3, value));
        EXPECT_EQ(value, AsPtr(i));
    }
    map.InitHashTable(0);
    EXPECT_EQ(map.GetHashTableSize(), 1u);
    EXPECT_TRUE(map.RemoveKey(297));
    EXPECT_EQ(map.GetCount(), 299);
}

TEST(XMap, StringKeysAreExactText)
{
    XMapStringToString map;
    map["A"] = "upper";
    map.SetAt("a", "lower");
    map.SetAt("a", "lower again");
    EXPECT_EQ(map.GetCount(), 2);
    XString value;
    ASSERT_TRUE(map.Lookup("a", value));
    EXPECT_EQ(value, "lower again");
    ASSERT_TRUE(map.Lookup("A", value));
    EXPECT_EQ(value, "upper");
    EXPECT_FALSE(map.Lookup("b", value));

    XString strKey("A");
    const char* pszStored = nullptr;
    ASSERT_TRUE(map.LookupKey(strKey, pszStored));
    EXPECT_STREQ(pszStored, "A");
    EXPECT_NE(pszStored, static_cast<const char*>(strKey));
    EXPECT_FALSE(map.LookupKey("x", pszStored));

    XMapStringToOb mapOb;
    mapOb["key"] = nullptr;
    XObject* pOb = reinterpret_cast<XObject*>(1);
    EXPECT_TRUE(mapOb.Lookup("key", pOb));
    EXPECT_EQ(pOb, nullptr);
    EXPECT_TRUE(mapOb.RemoveKey("key"));
    EXPECT_TRUE(mapOb.IsEmpty());

    // Many string entries, removed in part, then the rest.
    XMapStringToPtr mapMany;
    for (int i = 0; i < 1000; ++i) {
        XString strName;
        strName.Format("name%d", i);
        mapMany[strName] = AsPtr(i);
    }
    for (int i = 0; i < 1000; i += 2) {
        XString strName;
        strName.Format("name%d", i);
        EXPECT_TRUE(mapMany.RemoveKey(strName));
    }
    POSITION pos = mapMany.GetStartPosition();
    int nSeen = 0;
    while (pos != nullptr) {
        XString strKey2;
        void* p;
        mapMany.GetNextAssoc(pos, strKey2, p);
        EXPECT_EQ(reinterpret_cast<intptr_t>(p) % 2, 1);
        ++nSeen;
    }
    EXPECT_EQ(nSeen, 500);
    mapMany.RemoveAll();
    EXPECT_EQ(mapMany.GetStartPosition(), nullptr);
}

TEST(XMap, ClassRecordsAndTemplate)
{
    const char* const names[] = {"XMapIntToPtr", "XMapPtrToInt", "XMapPtrToPtr", "XMapPtrToWord", "XMapWordToPtr",
                                 "XMapWordToOb", "XMapStringToPtr", "XMapStringToOb", "XMapStringToString"};
    int nCreatable = 0;
    for (const char* pszName : names) {
        void* p = nullptr;
        ASSERT_TRUE(XObject::RTCMap.Lookup(pszName, p)) << pszName;
        XObject* pOb = static_cast<const XRuntimeClass*>(p)->CreateObject();
        if (pOb != nullptr) {
            ++nCreatable;
            EXPECT_EQ(pOb->GetRuntimeClass(), p);
            delete pOb;
        }
    }
    EXPECT_EQ(nCreatable, 3);

    XMap<DWORD, DWORD, int*, int*> map;
    int n = 0;
    map[0xFFFFFFF0u] = &n;
    int* p = nullptr;
    EXPECT_TRUE(map.Lookup(0xFFFFFFF0u, p));
    EXPECT_EQ(p, &n);
    EXPECT_EQ(map.HashKey(0xFFFFFFF0u), 0x0FFFFFFFu);
    EXPECT_EQ(map.GetRuntimeClass(), XObject::GetRuntimeClassStatic());
}
