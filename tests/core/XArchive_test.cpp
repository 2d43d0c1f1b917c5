#include "KVDbase/core/XArchive.h"

#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/core/XTime.h"
#include "KVDbase/files/XFile.h"
#include "KVDbase/files/XMemFile.h"
#include "collections/XCollStreamTestUtil.h"
#include "core/XMapSP.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>
#include <tuple>
#include <vector>

// A node of a linked graph: a value and a pointer to another node. Loaded,
// it notes the schema its class was stored with.
class XTestNode : public XObject {
    XDECLARE_DYNCREATE(XTestNode)
public:
    int nValue = 0;
    XTestNode* pNext = nullptr;
    unsigned int nSchemaSeen = 0;

    void Serialize(XArchive& ar) override
    {
        XObject::Serialize(ar);
        if (ar.IsStoring()) {
            ar << nValue << static_cast<const XObject*>(pNext);
        } else {
            nSchemaSeen = ar.GetRTCSchemaStored("XTestNode");
            ar >> nValue;
            pNext = static_cast<XTestNode*>(ar.ReadObject(XTestNode::GetRuntimeClassStatic()));
        }
    }
};
XIMPLEMENT_DYNCREATE(XTestNode, XObject)

namespace {

using namespace collstream;

Bytes Text(const std::string& s)
{
    return Bytes(s.begin(), s.end());
}

// A class record of schema 1, in the default (reversed) order.
Bytes ClassRecord(const std::string& strName)
{
    return Concat({U32(1), Ordered(static_cast<unsigned int>(strName.size()), 2, false), Text(strName)});
}

int CauseOf(const std::function<void()>& fn)
{
    try {
        fn();
    } catch (const XArchiveException& e) {
        return e.nCause;
    }
    return -1;
}

} // namespace

TEST(XArchivePrimitives, DefaultOrderIsReversed)
{
    Bytes b = Store([](XArchive& ar) {
        ar << static_cast<BYTE>(0x01) << static_cast<WORD>(0x0203) << static_cast<DWORD>(0x04050607);
        ar << static_cast<int64_t>(0x08090A0B0C0D0E0FLL) << 1.0f << 1.0 << tagPOINT{1, -1};
    });
    Bytes expected = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x0E, 0x0F,
                      0x3F, 0x80, 0x00, 0x00, 0x3F, 0xF0, 0, 0, 0, 0, 0, 0,
                      0, 0, 0, 1, 0xFF, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(b, expected);
}

TEST(XArchivePrimitives, NoSwapModeRoundTrips)
{
    for (unsigned int nSwap : nSwapModes) {
        Bytes b = Store([](XArchive& ar) { ar << static_cast<short>(-2) << static_cast<long double>(2.5) << 'c'
                                              << tagRECT{1, 2, 3, 4} << tagSIZE{7, 8} << tagPOINT{5, 6}; },
                        XArchive::store | nSwap);
        EXPECT_EQ(b[0], nSwap != 0 ? 0xFE : 0xFF); // low byte first without the swap
        Load(b, [](XArchive& ar) {
                short s;
                long double d;
                char c;
                tagRECT rc;
                tagSIZE sz;
                tagPOINT pt;
                ar >> s >> d >> c >> rc >> sz >> pt;
                EXPECT_EQ(std::make_tuple(s, d, c, rc.bottom, sz.cy, pt.y), std::make_tuple(-2, 2.5L, 'c', 4, 8, 6));
            }, XArchive::load | nSwap);
    }
}

TEST(XArchiveStrings, LengthForms)
{
    struct Case {
        int nLength;
        size_t nHeader;
    } cases[] = {{0, 1}, {254, 1}, {255, 3}, {65533, 3}, {65534, 7}, {70000, 7}};
    for (const Case& c : cases) {
        XString str('s', c.nLength);
        Bytes b = Store([&](XArchive& ar) { ar << str; });
        ASSERT_EQ(b.size(), c.nHeader + c.nLength) << c.nLength;
        // 255 and a 16-bit length, or 255, 0xFFFF and a 32-bit length.
        const BYTE nSecond = c.nHeader == 3 ? static_cast<BYTE>(c.nLength >> 8) : 0xFF;
        if (c.nHeader > 1) {
            EXPECT_EQ(Bytes(b.begin(), b.begin() + 2), (Bytes{0xFF, nSecond}));
        }
        Load(b, [&](XArchive& ar) {
            XString back("previous");
            ar >> back;
            EXPECT_TRUE(back == str);
        });
    }
}

TEST(XArchiveStrings, WideFormAndDamagedLengths)
{
    // 255, 0xFFFE, a length of 2, then two characters in the machine's order.
    Load({0xFF, 0xFF, 0xFE, 0x02, 0xE9, 0x00, 0x41, 0x00}, [](XArchive& ar) {
        XString s;
        ar >> s;
        EXPECT_STREQ(s, "\xc3\xa9" "A");
    });
    // Too short a body, and a length announcing far more than the stream holds.
    for (const Bytes& b : {Bytes{0x05, 'a', 'b'}, Bytes{0xFF, 0xFF, 0xFF, 0x7F, 0xFF, 0xFF, 0x00, 'x'}})
        Load(b, [](XArchive& ar) {
            XString s("kept");
            EXPECT_EQ(CauseOf([&] { ar >> s; }), XArchiveException::endOfFile);
        });
}

TEST(XArchiveStrings, TextLines)
{
    std::string strLong(128, 'L');
    Load(Text("first\r\n" + strLong + "\nlast\nab\r\ncd\n"), [&](XArchive& ar) {
        XString s;
        for (const std::string& strLine : {std::string("first"), strLong, std::string("last")}) {
            EXPECT_EQ(ar.ReadString(s), 1);
            EXPECT_EQ(std::string(s), strLine);
        }
        char buf[16];
        // A negative count keeps the line end, as one line feed.
        EXPECT_STREQ(ar.ReadString(buf, static_cast<unsigned int>(-10)), "ab\n");
        EXPECT_STREQ(ar.ReadString(buf, 10), "cd");
        EXPECT_EQ(ar.ReadString(buf, 10), nullptr);
        EXPECT_EQ(ar.ReadString(s), 0);
    });
    EXPECT_EQ(Store([](XArchive& ar) { ar.WriteString("raw"); }), Text("raw"));
}

TEST(XArchiveObjects, FirstObjectStreamIsExact)
{
    XTestNode node;
    node.nValue = 0x11223344;
    Bytes b = Store([&](XArchive& ar) { ar << static_cast<const XObject*>(&node); });
    Bytes expected = Concat({{4}, NewHierarchy("XTestNode"), KnownHierarchy(), {0x11, 0x22, 0x33, 0x44}, {0}});
    EXPECT_EQ(b, expected);
}

TEST(XArchiveObjects, SharedAndCyclicReferences)
{
    XTestNode a, b;
    a.nValue = 1;
    b.nValue = 2;
    a.pNext = &b;
    b.pNext = &a; // a cycle
    Bytes bytes = Store([&](XArchive& ar) {
        ar << static_cast<const XObject*>(&a) << static_cast<const XObject*>(&a) << static_cast<const XObject*>(nullptr);
    });
    // The second write of a: tag 3 and index 3 (XTestNode 1, XObject 2, a 3).
    EXPECT_EQ(Bytes(bytes.end() - 6, bytes.end()), (Bytes{3, 0, 0, 0, 3, 0}));
    Load(bytes, [](XArchive& ar) {
        XObject* p1 = nullptr;
        const XObject* p2 = nullptr;
        XTestNode sentinel;
        XObject* p3 = &sentinel; // must come back null
        ar >> p1 >> p2 >> p3;
        ASSERT_NE(p1, nullptr);
        EXPECT_EQ(p1, p2);
        EXPECT_EQ(p3, nullptr);
        XTestNode* pa = static_cast<XTestNode*>(p1);
        ASSERT_NE(pa->pNext, nullptr);
        EXPECT_EQ(std::make_tuple(pa->nValue, pa->pNext->nValue, pa->pNext->pNext), std::make_tuple(1, 2, pa));
        delete pa->pNext;
        delete pa;
    });
    // An object mapped by hand is known by its index on both sides.
    Bytes mapped = Store([&](XArchive& ar) {
        ar.MapObject(&a);
        ar << static_cast<const XObject*>(&a);
    });
    EXPECT_EQ(mapped, (Bytes{3, 0, 0, 0, 1}));
    Load(mapped, [&](XArchive& ar) {
        ar.MapObject(&a);
        EXPECT_EQ(ar.ReadObject(nullptr), &a);
    });
}

TEST(XArchiveObjects, BadTagsIndexesAndKinds)
{
    // Tag 2 with index 0 is null and reads no body.
    Load({2, 0, 0, 0, 0, 0xAB}, [](XArchive& ar) {
        EXPECT_EQ(ar.ReadObject(nullptr), nullptr);
        BYTE next;
        ar >> next;
        EXPECT_EQ(next, 0xAB);
    });
    // After a first object, tag 3 naming a class record and tag 2 naming an object are of the wrong kind.
    const Bytes first = Concat({{4}, U32(0xFA2D481Cu), U32(1), ClassRecord("XObject"), KnownHierarchy()});
    const struct {
        Bytes stream;
        bool bReadFirst;
        const XRuntimeClass* pWanted;
        int nCause;
    } cases[] = {
        {{9}, false, nullptr, XArchiveException::badClass},
        {{3, 0, 0, 0, 5}, false, nullptr, XArchiveException::badIndex},
        {{2, 0x80, 0, 0, 0}, false, nullptr, XArchiveException::badIndex},
        {Concat({first, {3, 0, 0, 0, 1}}), true, nullptr, XArchiveException::badClass},
        {Concat({first, {2, 0, 0, 0, 2}}), true, nullptr, XArchiveException::badClass},
        // A class that is not the requested one: cause 5 for a new object.
        {first, false, XTestNode::GetRuntimeClassStatic(), XArchiveException::badIndex},
        // Tag 4 without a block and nothing requested.
        {{4, 0, 0, 0, 0}, false, nullptr, XArchiveException::badClass},
    };
    for (const auto& c : cases)
        Load(c.stream, [&](XArchive& ar) {
            XObject* p = c.bReadFirst ? ar.ReadObject(nullptr) : nullptr;
            EXPECT_EQ(CauseOf([&] { ar.ReadObject(c.pWanted); }), c.nCause) << c.stream.size();
            delete p;
        });
}

TEST(XArchiveObjects, ClassRecordsAndSchemas)
{
    static const std::string strName63(63, 'N'), strName64(64, 'N');
    {
        // A registered name of 63 bytes loads.
        XRuntimeClass long63(strName63.c_str(), 0, 1, &XTestNode::CreateObject, XObject::GetRuntimeClassStatic());
        Load(Concat({{1}, ClassRecord(strName63), KnownHierarchy(), {0, 0, 0, 0, 0}}), [](XArchive& ar) {
            XObject* p = ar.ReadObject(nullptr);
            EXPECT_NE(p, nullptr);
            delete p;
        });
        XObject::RTCMap.RemoveKey(strName63.c_str());
    }
    // Too long a name, an unknown one, schema 2 for a class at 1.
    const std::pair<Bytes, int> refused[] = {
        {Concat({{1}, ClassRecord(strName64)}), XArchiveException::badClass},
        {Concat({{1}, ClassRecord("NoSuchClassAnywhere")}), XArchiveException::badClass},
        {Concat({{1, 0, 0, 0, 2, 0, 9}, Text("XTestNode")}), XArchiveException::badSchema},
    };
    for (const auto& r : refused)
        Load(r.first, [&](XArchive& ar) { EXPECT_EQ(CauseOf([&] { ar.ReadObject(nullptr); }), r.second); });
    // Tag 1 loads a single record; the body's block is then count 0, and the class learns its stored schema.
    Load(Concat({{1}, ClassRecord("XTestNode"), KnownHierarchy(), {0, 0, 0, 5, 0}}), [](XArchive& ar) {
        EXPECT_EQ(ar.GetRTCSchemaStored("XTestNode"), 0u);
        XObject* p = ar.ReadObject(nullptr);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(static_cast<XTestNode*>(p)->nSchemaSeen, 1u);
        EXPECT_EQ(static_cast<XTestNode*>(p)->nValue, 5);
        EXPECT_EQ(ar.GetRTCSchemaStored("XTestNode"), 1u);
        delete p;
    });
}

TEST(XArchiveObjects, BodyWithoutBlockStepsBack)
{
    // A direct Serialize whose body starts with the fields themselves; then
    // one whose first field equals the magic, which is taken for a block.
    const std::pair<Bytes, int> cases[] = {{{0, 0, 0, 0x2A, 0}, 42}, {Concat({KnownHierarchy(), {0, 0, 0, 7, 0}}), 7}};
    for (const auto& c : cases)
        Load(c.first, [&](XArchive& ar) {
            XTestNode node;
            node.Serialize(ar);
            EXPECT_EQ(node.nValue, c.second);
            EXPECT_EQ(node.pNext, nullptr);
        });
}

// A small user buffer is ignored, large blocks pass through, and a flush on
// load hands back the read-ahead; in memory and through a real file.
TEST(XArchiveBuffers, UserBuffersLargeBlocksAndFlush)
{
    std::vector<unsigned char> userBuffer(100, 0xEE), block(10000), back(10000);
    for (size_t i = 0; i < block.size(); ++i)
        block[i] = static_cast<unsigned char>(i * 7);
    const std::string strPath = "/tmp/kvd_archive_" + std::to_string(static_cast<long>(getpid()));
    XMemFile memory(16);
    XFile disk(strPath.c_str(), XFile::flagCreate | XFile::flagReadWrite);
    for (XFile* pFile : {static_cast<XFile*>(&memory), &disk}) {
        {
            XArchive ar(pFile, XArchive::store, 100, userBuffer.data());
            ar << 5;
            ar.Write(block.data(), static_cast<unsigned int>(block.size()));
            ar << 7;
            ar.Close();
        }
        EXPECT_EQ(userBuffer, std::vector<unsigned char>(100, 0xEE));
        EXPECT_EQ(pFile->GetLength(), 10008);
        pFile->SeekToBegin();
        int n;
        {
            XArchive ar(pFile, XArchive::load, 128);
            ar >> n;
            EXPECT_EQ(ar.Read(back.data(), 10000), 10000u);
            EXPECT_EQ(back, block);
            EXPECT_EQ(ar.Read(back.data(), 10), 4u); // a short count at the end
        }
        pFile->Seek(10000, XFile::begin);
        XArchive again(pFile, XArchive::load);
        again >> n;
        again.Flush();
        EXPECT_EQ(pFile->GetPosition(), 10004);
    }
    std::remove(strPath.c_str());
}

TEST(XArchiveTime, LowHalfOnly)
{
    Bytes b = Store([](XArchive& ar) { ar << XTime(0x1122334455667788LL) << XTimeSpan(-1); });
    EXPECT_EQ(b, (Bytes{0x55, 0x66, 0x77, 0x88, 0xFF, 0xFF, 0xFF, 0xFF}));
    Load(b, [](XArchive& ar) {
        XTime t(0x7FFFFFFF00000000LL);
        XTimeSpan ts;
        ar >> t >> ts;
        EXPECT_EQ(t.GetTime(), 0x7FFFFFFF55667788LL);
        EXPECT_EQ(ts.nTimeSpan, 0xFFFFFFFFLL); // a negative span comes back positive
    });
}
