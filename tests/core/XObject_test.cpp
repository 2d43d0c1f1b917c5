#include "KVDbase/core/XException.h"
#include "KVDbase/core/XObject.h"

#include "core/XMapSP.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

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
    const XRuntimeClass* const classes[] = {&empty, XTestFaulty::GetRuntimeClassStatic(),
                                            XException::GetRuntimeClassStatic()};
    for (const XRuntimeClass* p : classes)
        EXPECT_EQ(p->CreateObject(), nullptr);
}

// Derivation compares record addresses: a copy of a record is another class.
TEST(XRuntimeClass, DerivationIsByRecordAddress)
{
    const XRuntimeClass* pSquare = XTestSquare::GetRuntimeClassStatic();
    XRuntimeClass copy;
    copy = *XTestShape::GetRuntimeClassStatic();
    EXPECT_FALSE(pSquare->IsDerivedFrom(&copy));
    XTestUnregistered unregistered;
    EXPECT_EQ(unregistered.GetRuntimeClass(), pSquare);
    EXPECT_TRUE(unregistered.IsKindOf(XTestShape::GetRuntimeClassStatic()));
}

// The walk follows the buckets, newest first within one: the order of the class registry.
TEST(XMapSP, HashesAndWalksInBucketOrder)
{
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
    EXPECT_TRUE(map.LookupKey("r", pszKey));
    EXPECT_STREQ(pszKey, "r");
    for (const char* pszRemoved : {"a", "b", "r"})
        EXPECT_TRUE(map.RemoveKey(pszRemoved));
    EXPECT_EQ(map.GetStartPosition(), nullptr);
}
