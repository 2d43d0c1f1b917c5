#include "KVDbase/collections/XMap.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace {

// Exposes the bucket table and the block chain.
class XProbePtrMap : public XMapPtrToPtr {
public:
    explicit XProbePtrMap(int nBlockSize) : XMapPtrToPtr(nBlockSize) {}
    bool HasTable() const { return pHashTable != nullptr; }
    int CountBlocks() const
    {
        int n = 0;
        for (XMemBlock* p = pBlocks; p != nullptr; p = p->pNext)
            ++n;
        return n;
    }
};

void* AsPtr(intptr_t n)
{
    return reinterpret_cast<void*>(n);
}

std::vector<int> WalkKeys(const XMapIntToPtr& map)
{
    std::vector<int> keys;
    for (POSITION pos = map.GetStartPosition(); pos != nullptr;) {
        int key;
        void* value;
        map.GetNextAssoc(pos, key, value);
        keys.push_back(key);
    }
    return keys;
}

} // namespace

TEST(XMap, HashesAndTheWalkByBucketThenNewestFirst)
{
    XMapIntToPtr map;
    EXPECT_EQ(map.HashKey(0x1234), 0x123u);
    EXPECT_EQ(map.HashKey(-1), 0x0FFFFFFFu);  // logical shift of the 32-bit pattern
    EXPECT_EQ(XMapPtrToPtr().HashKey(AsPtr(0x12345678A0)), 0x2345678Au);  // full width, then low 32 bits
    EXPECT_EQ(XMapStringToPtr().HashKey("ab"), 'a' * 33u + 'b');
    EXPECT_EQ(XMapStringToPtr().HashKey("\xFF"), 0xFFFFFFFFu);  // bytes count as signed
    EXPECT_EQ((XMap<DWORD, DWORD, int*, int*>().HashKey(0xFFFFFFF0u)), 0x0FFFFFFFu);
    EXPECT_EQ(map.GetHashTableSize(), 17u);
    // 0 and 272 share bucket 0; 16 and 288 share bucket 1.
    for (int key : {16, 0, 288, 272, 32})
        map[key] = AsPtr(key + 1);
    EXPECT_EQ(WalkKeys(map), (std::vector<int>{272, 0, 288, 16, 32}));
    void* value = AsPtr(99);
    EXPECT_TRUE(map.Lookup(288, value) && value == AsPtr(289));
    EXPECT_FALSE(map.Lookup(17, value));
    EXPECT_EQ(map.GetCount(), 5);  // Lookup never inserts
    EXPECT_TRUE(map.RemoveKey(288));
    EXPECT_FALSE(map.RemoveKey(288));
    EXPECT_EQ(WalkKeys(map), (std::vector<int>{272, 0, 16, 32}));
}

TEST(XMap, EmptiedMapGivesBackItsMemoryAndInitHashTableKeepsEveryEntry)
{
    XProbePtrMap map(4);
    void* value = nullptr;
    EXPECT_FALSE(map.Lookup(nullptr, value));
    EXPECT_FALSE(map.RemoveKey(nullptr));
    map.InitHashTable(31, 0);
    EXPECT_FALSE(map.HasTable());
    for (intptr_t i = 0; i < 9; ++i)
        map.SetAt(AsPtr(i * 16), AsPtr(i));
    EXPECT_EQ(map.CountBlocks(), 3);
    for (intptr_t i = 0; i < 8; ++i)
        EXPECT_TRUE(map.RemoveKey(AsPtr(i * 16)));
    EXPECT_EQ(map.GetValueAt(AsPtr(8 * 16)), AsPtr(8));
    EXPECT_EQ(map.GetValueAt(AsPtr(7 * 16)), nullptr);
    EXPECT_TRUE(map.RemoveKey(AsPtr(8 * 16)));
    EXPECT_TRUE(!map.HasTable() && map.CountBlocks() == 0);
    map[AsPtr(5)] = AsPtr(6);
    EXPECT_EQ(map.GetHashTableSize(), 31u);
    EXPECT_EQ(map.CountBlocks(), 1);
    // InitHashTable on a filled map keeps every entry.
    XMapIntToPtr filled;
    for (int i = 0; i < 300; ++i)
        filled[i * 3] = AsPtr(i);
    filled.InitHashTable(101);
    EXPECT_EQ(WalkKeys(filled).size(), 300u);
    EXPECT_TRUE(filled.Lookup(297, value) && value == AsPtr(99));
    filled.InitHashTable(0); // counts as 1
    EXPECT_TRUE(filled.RemoveKey(297));
    EXPECT_EQ(filled.GetCount(), 299);
}

TEST(XMap, StringKeysAreExactText)
{
    XMapStringToString map;
    map["A"] = "upper";
    map.SetAt("a", "lower");
    map.SetAt("a", "lower again");
    EXPECT_EQ(map.GetCount(), 2);
    XString value, strKey("A");
    EXPECT_TRUE(map.Lookup("a", value) && value == "lower again");
    EXPECT_TRUE(map.Lookup("A", value) && value == "upper");
    const char* pszStored = nullptr;
    ASSERT_TRUE(map.LookupKey(strKey, pszStored));
    EXPECT_STREQ(pszStored, "A");
    EXPECT_NE(pszStored, static_cast<const char*>(strKey));

    auto name = [](int i) {
        XString strName;
        strName.Format(i % 3 == 0 ? "n%d" : i % 3 == 1 ? "a longer name %d" : "a name too long to copy %d", i);
        return strName;
    };
    XMapStringToPtr many;
    for (int i = 0; i < 1000; ++i)
        many[name(i)] = AsPtr(i);
    for (int i = 0; i < 1000; i += 2)
        EXPECT_TRUE(many.RemoveKey(name(i)));
    for (int i = 1; i < 1000; i += 2) {
        void* p = nullptr;
        EXPECT_TRUE(many.Lookup(name(i), p) && p == AsPtr(i)) << i;
    }
    // Long keys compare eight bytes at a time; a difference anywhere tells.
    for (const char* psz : {"a longer name 1x", "b longer name 1", "a longer_name 1", "a longer name 1000",
                            "a name too long to copy 5x", "a name too long to copy 50"}) {
        void* p = nullptr;
        EXPECT_FALSE(many.Lookup(psz, p)) << psz;
    }
}
