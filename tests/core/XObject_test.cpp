#include "KVDbase/core/XException.h"
#include "KVDbase/core/XObject.h"

#include "core/XMapSP.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

class XTestShape : public XObject {
    XDECLARE_DYNCREATE(XTestShape)
};
XIMPLEMENT_DYNCREATE(XTestShape, XObject)

class XTestSquare : public XTestShape {
    XDECLARE_DYNCREATE(XTestSquare)
};
XIMPLEMENT_DYNCREATE(XTestSquare, XTestShape)

class XTestFaulty : public XObject {
    XDECLARE_DYNCREATE(XTestFaulty)
public:
    XTestFaulty() { throw std::runtime_error("constructor fails"); }
};
XIMPLEMENT_DYNCREATE(XTestFaulty, XObject)

// Derived but not registered: answers with its nearest registered base.
class XTestUnregistered : public XTestSquare {};

XRuntimeClass* Find(const char* pszName)
{
    void* p = nullptr;
    return XObject::RTCMap.Lookup(pszName, p) ? static_cast<XRuntimeClass*>(p) : nullptr;
}

} // namespace

TEST(XRuntimeClass, RegistrationCreationAndFailures)
{
    XRuntimeClass* pClass = Find("XTestSquare");
    ASSERT_EQ(pClass, XTestSquare::GetRuntimeClassStatic());
    EXPECT_EQ(pClass->nObjectSize, static_cast<int>(sizeof(XTestSquare)));
    XObject* pObject = pClass->CreateObject();
    ASSERT_NE(pObject, nullptr);
    EXPECT_EQ(pObject->GetRuntimeClass(), pClass);
    delete pObject;
    // Names are case-sensitive; a second registration of a name replaces the first.
    EXPECT_EQ(Find("xobject"), nullptr);
    XRuntimeClass first("XTestTwice", 1, 1, nullptr, XObject::GetRuntimeClassStatic());
    XRuntimeClass second("XTestTwice", 2, 1, nullptr, XObject::GetRuntimeClassStatic());
    EXPECT_EQ(Find("XTestTwice"), &second);
    XObject::RTCMap.RemoveKey("XTestTwice");
    // An empty record, a throwing constructor and an abstract class create nothing.
    XRuntimeClass empty;
    EXPECT_STREQ(empty.lpszClassName, "");
    const XRuntimeClass* const classes[] = {&empty, XTestFaulty::GetRuntimeClassStatic(),
                                            XException::GetRuntimeClassStatic()};
    for (const XRuntimeClass* p : classes)
        EXPECT_EQ(p->CreateObject(), nullptr);
}

TEST(XRuntimeClass, DerivationIsByRecordAddress)
{
    const XRuntimeClass* pSquare = XTestSquare::GetRuntimeClassStatic();
    EXPECT_TRUE(pSquare->IsDerivedFrom(XObject::GetRuntimeClassStatic()));
    EXPECT_FALSE(XTestShape::GetRuntimeClassStatic()->IsDerivedFrom(pSquare));
    EXPECT_FALSE(pSquare->IsDerivedFrom(nullptr));
    // A copy of a record has the same name but another address.
    XRuntimeClass copy;
    copy = *XTestShape::GetRuntimeClassStatic();
    EXPECT_STREQ(copy.lpszClassName, "XTestShape");
    EXPECT_FALSE(pSquare->IsDerivedFrom(&copy));
    XFileException e;
    EXPECT_TRUE(e.IsKindOf(XObject::GetRuntimeClassStatic()));
    EXPECT_FALSE(e.IsKindOf(XTestShape::GetRuntimeClassStatic()));
    XTestUnregistered unregistered;
    EXPECT_EQ(unregistered.GetRuntimeClass(), pSquare);
    EXPECT_TRUE(unregistered.IsKindOf(XTestShape::GetRuntimeClassStatic()));
}

TEST(XMapSP, HashesWalksInBucketOrderAndTakesNodesInBlocks)
{
    EXPECT_EQ(XMapSP::HashKey("ab"), 97u * 33 + 98);
    XMapSP map;
    void* p = nullptr;
    const char* pszKey = nullptr;
    EXPECT_FALSE(map.RemoveKey("a")); // no table yet
    EXPECT_FALSE(map.LookupKey("a", pszKey));
    // "a" (97 % 17 = 12), "b" (98 % 17 = 13), "r" (114 % 17 = 12): "r" is
    // inserted at the head of bucket 12, before "a".
    int a = 1, b = 2, r = 3;
    map["a"] = &a;
    map["b"] = &b;
    map["r"] = &r;
    std::string strOrder;
    for (POSITION pos = map.GetStartPosition(); pos != nullptr;) {
        XString key;
        map.GetNextAssoc(pos, key, p);
        strOrder += key;
    }
    EXPECT_EQ(strOrder, "rab");
    EXPECT_TRUE(map.Lookup("b", p));
    EXPECT_EQ(p, &b);
    EXPECT_TRUE(map.LookupKey("r", pszKey));
    EXPECT_STREQ(pszKey, "r");
    EXPECT_FALSE(map.LookupKey("zz", pszKey));
    EXPECT_FALSE(map.RemoveKey("zz"));
    for (const char* pszRemoved : {"a", "b", "r"})
        EXPECT_TRUE(map.RemoveKey(pszRemoved));
    EXPECT_EQ(map.GetStartPosition(), nullptr);
    // Within a block of ten the nodes are taken from the lowest address up.
    XMapSP blocks(10);
    std::vector<void**> slots;
    for (int i = 0; i < 25; ++i)
        slots.push_back(&blocks[std::to_string(i).c_str()]);
    EXPECT_EQ(blocks.GetCount(), 25);
    for (int i = 1; i < 10; ++i)
        EXPECT_GT(reinterpret_cast<char*>(slots[i]), reinterpret_cast<char*>(slots[i - 1]));
    EXPECT_EQ(std::set<void**>(slots.begin(), slots.end()).size(), 25u);
}
