#include "KVDbase/drawing/XVertBuffer.h"

#include "KVDbase/core/XMemory.h"
#include "KVDbase/drawing/XDIB.h"
#include "drawing/XDrawingTestBytes.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

int KindOf(const XVertBuffer& vb, int i)
{
    int32_t k;
    std::memcpy(&k, vb.GetRecord(i), 4);
    return k;
}

std::vector<int> Kinds(const XVertBuffer& vb)
{
    std::vector<int> v;
    for (int i = 0; i < vb.GetRecordCount(); ++i)
        v.push_back(KindOf(vb, i));
    return v;
}

Bytes Record(const XVertBuffer& vb, int i, size_t nSize) { return RecordBytes(vb.GetRecord(i), nSize); }

TEST(XVertBuffer, RegisteredAsCreatable)
{
    const XRuntimeClass* p = XVertBuffer::GetRuntimeClassStatic();
    EXPECT_STREQ(p->lpszClassName, "XVertBuffer");
    EXPECT_EQ(p->nSchema, 1u);
    XObject* pObject = p->CreateObject();
    ASSERT_NE(pObject, nullptr);
    EXPECT_TRUE(pObject->IsKindOf(XVertBuffer::GetRuntimeClassStatic()));
    EXPECT_EQ(static_cast<XVertBuffer*>(pObject)->GetType(), 2);
    delete pObject;
}

TEST(XVertBuffer, Defaults)
{
    XVertBuffer vb;
    EXPECT_EQ(vb.GetType(), 2);
    EXPECT_EQ(vb.GetRecordCount(), 0);
    EXPECT_FALSE(vb.IsRecording());
    EXPECT_EQ(vb.GetLineWidth(), -1.0);
    EXPECT_EQ(vb.GetTextSize(), -1.0);
    EXPECT_EQ(vb.GetLineColor(), 0xFF000000u);
    EXPECT_EQ(vb.GetForeColor(), 0xFF000000u);
    EXPECT_EQ(vb.GetBackColor(), 0xFF000000u);
    EXPECT_EQ(vb.GetLineAlpha(), -1.0);
    EXPECT_EQ(vb.GetMaxPoints(), 0);
    EXPECT_TRUE(vb.IsUpdateNeeded());
    EXPECT_EQ(vb.GetFontSizeFlag(), 0);
    vb.UpdateCompleted();
    EXPECT_FALSE(vb.IsUpdateNeeded());
    EXPECT_EQ(XVertBuffer(3).GetType(), 3);
}

TEST(XVertBuffer, StartEndAndIgnoredCallsOutsideThem)
{
    XVertBuffer vb;
    vb.AddLine(0, 0, 1, 1);
    vb.AddLineColor(0x123456, 1.0);
    vb.AddPolyFillMode(2);
    EXPECT_EQ(vb.GetRecordCount(), 0);
    vb.End(); // works in any state
    vb.End();
    EXPECT_EQ(Kinds(vb), (std::vector<int>{65535, 65535}));

    vb.Start(); // clears what was there
    EXPECT_TRUE(vb.IsRecording());
    vb.AddLine(0, 0, 1, 1);
    vb.End();
    EXPECT_EQ(Kinds(vb), (std::vector<int>{1, 10, 65535}));
    EXPECT_EQ(Record(vb, 0, 4), Le().I32(1).bytes);
    EXPECT_EQ(Record(vb, 2, 4), Le().I32(65535).bytes);
    vb.AddLine(0, 0, 1, 1);
    EXPECT_EQ(vb.GetRecordCount(), 3);
}

TEST(XVertBuffer, ColourChangeSuppression)
{
    XVertBuffer vb;
    vb.Start();
    vb.AddLineColor(0x00112233, 1.0);
    vb.AddLineColor(0x00112233, 1.0);
    vb.AddLineColor(0x00112233, 0.5);
    vb.AddForeColor(0x00112233, 0.5); // each colour has its own last value
    vb.AddBackColor(0x00112233, 0.5);
    EXPECT_EQ(Kinds(vb), (std::vector<int>{1, 2, 2, 3, 4}));
    // Off the GDI path the colour is stored as given.
    EXPECT_EQ(Record(vb, 2, 8), Le().I32(2).U32(0x00112233).bytes);
    EXPECT_EQ(vb.GetLineAlpha(), 0.5);

    // Start forgets the last values.
    vb.Start();
    vb.AddLineColor(0x00112233, 0.5);
    EXPECT_EQ(Kinds(vb), (std::vector<int>{1, 2}));
}

TEST(XVertBuffer, GdiPathStoresOpacityInTheHighByte)
{
    XVertBuffer vb(1);
    vb.Start();
    vb.AddLineColor(0xAA112233, 0.5);   // high byte replaced: 127
    vb.AddForeColor(0xFF000000, 1.0);   // "no colour": opacity 0
    vb.AddBackColor(0x00FFFFFF, 1.0);
    EXPECT_EQ(Record(vb, 1, 8), Le().I32(2).U32(0x7F112233).bytes);
    EXPECT_EQ(Record(vb, 2, 8), Le().I32(3).U32(0x00000000).bytes);
    EXPECT_EQ(Record(vb, 3, 8), Le().I32(4).U32(0xFFFFFFFF).bytes);
}

TEST(XVertBuffer, LineStyleRecords)
{
    XVertBuffer vb;
    vb.Start();
    tagXLineStyle s;
    s.nPenBits = 0x0102;
    s.nSolidPenBits = 0x0304;
    vb.AddLineStyle(&s, 2.5, 0x00ABCDEF, 0.0); // first one always goes
    EXPECT_EQ(Kinds(vb), (std::vector<int>{1, 5, 6, 2}));
    EXPECT_EQ(Record(vb, 1, 20), Le().I32(5).U16(0xFFFF).U16(0).I32(1).U32(0x0102).U32(0x0304).bytes);
    EXPECT_EQ(Record(vb, 2, 12), Le().I32(6).F64(2.5).bytes);
    EXPECT_EQ(Record(vb, 3, 8), Le().I32(2).U32(0x00ABCDEF).bytes);

    // Same style, same width, same colour: nothing.
    vb.AddLineStyle(&s, 2.5, 0x00ABCDEF, 0.0);
    EXPECT_EQ(vb.GetRecordCount(), 4);
    // A factor change alone is no change.
    tagXLineStyle t = s;
    t.nFactor = 5;
    vb.AddLineStyle(&t, 2.5, 0x00ABCDEF, 0.0);
    EXPECT_EQ(vb.GetRecordCount(), 4);
    // A new width alone records kind 6.
    vb.AddLineStyle(&s, 3.0, 0x00ABCDEF, 0.0);
    EXPECT_EQ(Kinds(vb).back(), 6);
    EXPECT_EQ(vb.GetLineWidth(), 3.0);
    // A new pattern records kind 5.
    t.SetStyle(2);
    vb.AddLineStyle(&t, 3.0, 0x00ABCDEF, 0.0);
    EXPECT_EQ(Kinds(vb).back(), 5);
}

TEST(XVertBuffer, FillStyleThenPolygonOnANewBuffer)
{
    XVertBuffer vb;
    vb.Start();
    tagXFillStyle f;
    f.SetStyle(3);
    vb.AddFillStyle(&f, 0x000000FF, 0x00FFFFFF, 0.25);
    const double x[3] = {0, 1, 0}, y[3] = {0, 0, 1};
    const double ext[4] = {0, 0, 1, 1};
    vb.AddPolygon(x, y, 3, ext);
    EXPECT_EQ(Kinds(vb), (std::vector<int>{1, 7, 3, 4, 13}));
    EXPECT_EQ(Record(vb, 1, 136), Le().Raw(Le().I32(7).bytes).Raw(f.Pattern, 128).I32(3).bytes);
    EXPECT_EQ(vb.GetForeAlpha(), 0.25);
    EXPECT_EQ(vb.GetBackAlpha(), 1.0);
    vb.AddFillStyle(&f, 0x000000FF, 0x00FFFFFF, 0.25);
    EXPECT_EQ(vb.GetRecordCount(), 5);
}

TEST(XVertBuffer, TextStyleRecordsAndLineColour)
{
    XVertBuffer vb;
    vb.Start();
    tagXTextStyle t;
    t.lf.lfHeight = -16;
    t.lf.lfWeight = 700;
    t.lf.lfItalic = 1;
    t.lf.lfPitchAndFamily = 0x22;
    vb.AddTextStyle(&t, 12.0, 0x00010203, 0x00FFFFFF, 0.5);
    EXPECT_EQ(Kinds(vb), (std::vector<int>{1, 8, 9, 2, 4}));
    Bytes want = Le()
                     .I32(8)
                     .I32(9)
                     .I32(-16)
                     .I32(0)
                     .I32(0)
                     .I32(0)
                     .I32(700)
                     .U8(1) // italic
                     .U8(0)
                     .U8(0)
                     .U8(1) // character set
                     .U8(2)
                     .U8(1)
                     .U8(0)
                     .U8(0x22)
                     .Raw(t.lf.lfFaceName, 32)
                     .bytes;
    EXPECT_EQ(Record(vb, 1, 68), want);
    EXPECT_EQ(Record(vb, 2, 12), Le().I32(9).F64(12.0).bytes);
    EXPECT_EQ(vb.GetLineAlpha(), 0.5);
    vb.AddTextStyle(&t, 12.0, 0x00010203, 0x00FFFFFF, 0.5);
    EXPECT_EQ(vb.GetRecordCount(), 5);
    vb.AddTextStyle(&t, 14.0, 0x00010203, 0x00FFFFFF, 0.5);
    EXPECT_EQ(Kinds(vb).back(), 9);
}

TEST(XVertBuffer, ShapeLayouts)
{
    XVertBuffer vb;
    vb.Start();
    vb.AddLine(1, 2, 3, 4);
    vb.AddLine(tagXVector3{1, 2, 3}, tagXVector3{4, 5, 6});
    const tagXVector3 pts[2] = {{1, 2, 3}, {4, 5, 6}};
    const double ext[4] = {-1, -2, 7, 8};
    vb.AddPolyline(pts, 2, ext);
    vb.AddText("abc", 1.5, 2.5, 3.5);
    vb.AddEllipse(1, 2, 3, 4);
    vb.AddPolyFillMode(2);
    vb.AddTextBox(1, 2, 3, 4, 5, reinterpret_cast<HANDLE>(uintptr_t{0x12345678}));
    EXPECT_EQ(Record(vb, 1, 52), Le().I32(10).F64(1).F64(2).F64(0).F64(3).F64(4).F64(0).bytes);
    EXPECT_EQ(Record(vb, 2, 52), Le().I32(10).F64(1).F64(2).F64(3).F64(4).F64(5).F64(6).bytes);
    EXPECT_EQ(Record(vb, 3, 88),
              Le().I32(11).I32(2).F64(-1).F64(-2).F64(7).F64(8).F64(1).F64(2).F64(3).F64(4).F64(5).F64(6).bytes);
    EXPECT_EQ(Record(vb, 4, 36), Le().I32(14).F64(1.5).F64(2.5).F64(3.5).I32(3).Raw("abc", 4).bytes);
    EXPECT_EQ(Record(vb, 5, 44), Le().I32(20).F64(1).F64(2).F64(0).F64(3).F64(4).bytes);
    EXPECT_EQ(Record(vb, 6, 8), Le().I32(16).I32(2).bytes);
    EXPECT_EQ(Record(vb, 7, 48), Le().I32(18).F64(1).F64(2).F64(3).F64(4).F64(5).U32(0x12345678).bytes);
}

TEST(XVertBuffer, PointShapesGiveZeroZAndKeepTheExtentAsGiven)
{
    XVertBuffer vb;
    vb.Start();
    const double x[3] = {1, 2, 3}, y[3] = {4, 5, 6}, z[3] = {7, 8, 9};
    const double ext[4] = {0.1, 0.2, 0.30000000000000004, 1e300}; // not the points' box
    vb.AddPolypoint(x, y, 3, ext);
    vb.AddPolygon(x, y, z, 3, ext);
    const tagXVector2 v2[3] = {{1, 4}, {2, 5}, {3, 6}};
    vb.AddPolyline(v2, 3, nullptr);
    EXPECT_EQ(Record(vb, 1, 112), Le()
                                      .I32(12)
                                      .I32(3)
                                      .F64(0.1)
                                      .F64(0.2)
                                      .F64(0.30000000000000004)
                                      .F64(1e300)
                                      .F64(1).F64(4).F64(0)
                                      .F64(2).F64(5).F64(0)
                                      .F64(3).F64(6).F64(0)
                                      .bytes);
    EXPECT_EQ(Record(vb, 2, 112), Le()
                                      .I32(13)
                                      .I32(3)
                                      .F64(0.1)
                                      .F64(0.2)
                                      .F64(0.30000000000000004)
                                      .F64(1e300)
                                      .F64(1).F64(4).F64(7)
                                      .F64(2).F64(5).F64(8)
                                      .F64(3).F64(6).F64(9)
                                      .bytes);
    // A null extent is four zeros.
    EXPECT_EQ(Record(vb, 3, 40), Le().I32(11).I32(3).Zeros(32).bytes);
    EXPECT_EQ(vb.GetMaxPoints(), 3);
}

TEST(XVertBuffer, PolyPolygonOfThreeAndFourPoints)
{
    XVertBuffer vb;
    vb.Start();
    const tagXVector2 pts[7] = {{0, 0}, {1, 0}, {0, 1}, {5, 5}, {6, 5}, {6, 6}, {5, 6}};
    const int counts[2] = {3, 4};
    const double ext[4] = {0, 0, 6, 6};
    vb.AddPolyPolygon(pts, counts, 2, ext);
    EXPECT_EQ(vb.GetClassSizeBytes(17, 7, nullptr, 2), 40 + 8 + 168);
    ByteWriter w = Le();
    w.I32(17).I32(2).F64(0).F64(0).F64(6).F64(6).I32(3).I32(4);
    for (const auto& p : pts)
        w.F64(p.x).F64(p.y).F64(0);
    EXPECT_EQ(Record(vb, 1, 216), w.bytes);
    EXPECT_EQ(vb.GetMaxPoints(), 7);
    // The point data follows the ring sizes.
    EXPECT_EQ(XVertBuffer::GetClassDataPtr(vb.GetRecord(1), 0), static_cast<char*>(vb.GetRecord(1)) + 48);
}

TEST(XVertBuffer, MaxPointsIsTheLargestOfAnyPointRecord)
{
    XVertBuffer vb;
    vb.Start();
    std::vector<tagXVector2> pts(10);
    vb.AddPolyline(pts.data(), 10, nullptr);
    vb.AddPolypoint(pts.data(), 4, nullptr);
    EXPECT_EQ(vb.GetMaxPoints(), 10);
    vb.Start();
    EXPECT_EQ(vb.GetMaxPoints(), 0);
    // Negative counts make no record and leave the maximum.
    vb.AddPolygon(pts.data(), -1, nullptr);
    const int bad[2] = {3, -1};
    vb.AddPolyPolygon(pts.data(), bad, 2, nullptr);
    EXPECT_EQ(vb.GetRecordCount(), 1);
    EXPECT_EQ(vb.GetMaxPoints(), 0);
}

TEST(XVertBuffer, EmfRecordPutsTheNameLengthRightAfterTheData)
{
    XVertBuffer vb;
    vb.Start();
    const unsigned char data[5] = {0xA1, 0xA2, 0xA3, 0xA4, 0xA5};
    vb.AddEMF(1, 2, 3, 10, 20, 1, 5, data, "lbl");
    const int nSize = vb.GetClassSizeBytes(19, 5, nullptr, 3);
    EXPECT_EQ(nSize, 49 + 5 + 3);
    EXPECT_EQ(Record(vb, 1, static_cast<size_t>(nSize)),
              Le().I32(19).F64(1).F64(2).F64(3).I32(10).I32(20).I32(1).I32(5).Raw(data, 5).I32(3).Raw("lbl", 4).bytes);
}

TEST(XVertBuffer, ClassSizes)
{
    XVertBuffer vb;
    const int sizes[][2] = {{1, 4},  {2, 8},  {3, 8},  {4, 8},  {5, 20},  {6, 12}, {7, 136},
                            {8, 68}, {9, 12}, {10, 52}, {16, 8}, {18, 48}, {19, 49}, {20, 44}, {65535, 4}};
    for (const auto& s : sizes)
        EXPECT_EQ(vb.GetClassSizeBytes(s[0], 0, nullptr, 0), s[1]) << s[0];
    EXPECT_EQ(vb.GetClassSizeBytes(11, 5, nullptr, 0), 160);
    EXPECT_EQ(vb.GetClassSizeBytes(13, 0, nullptr, 0), 40);
    EXPECT_EQ(vb.GetClassSizeBytes(14, 7, nullptr, 0), 40);
    EXPECT_EQ(vb.GetClassSizeBytes(15, 0, nullptr, 0), 0);
    EXPECT_EQ(vb.GetClassSizeBytes(21, 0, nullptr, 0), 0);
    EXPECT_EQ(vb.GetClassSizeBytes(0, 0, nullptr, 0), 0);
    EXPECT_EQ(vb.GetClassSizeBytes(11, -1, nullptr, 0), 0);
    EXPECT_EQ(vb.GetClassSizeBytes(11, 0x7FFFFFFF, nullptr, 0), 0); // too large for one block

    BITMAPINFO bmi = {};
    bmi.bmiHeader.biWidth = 5;
    bmi.bmiHeader.biHeight = 3;
    EXPECT_EQ(vb.GetClassSizeBytes(15, 0, &bmi, 0), 60 + 5 * 3 * 4);
    XVertBuffer gdi(1);
    EXPECT_EQ(gdi.GetClassSizeBytes(15, 0, &bmi, 0), 60 + 16 * 3 + 8 * 3);
    XVertBuffer gdip(3);
    EXPECT_EQ(gdip.GetClassSizeBytes(15, 0, &bmi, 0), 60 + 5 * 3 * 4);
    bmi.bmiHeader.biHeight = -3; // a top-down header has no record form
    EXPECT_EQ(vb.GetClassSizeBytes(15, 0, &bmi, 0), 0);
}

TEST(XVertBuffer, ClassDataPointers)
{
    XVertBuffer vb;
    vb.Start();
    vb.AddLineColor(1, 1.0);
    vb.AddText("ab", 0, 0, 0);
    const unsigned char data[2] = {1, 2};
    vb.AddEMF(0, 0, 0, 0, 0, 0, 2, data, "");
    vb.AddTextBox(0, 0, 0, 0, 0, nullptr);
    vb.End();
    char* p0 = static_cast<char*>(vb.GetRecord(0));
    EXPECT_EQ(XVertBuffer::GetClassDataPtr(p0, 0), p0);
    char* p1 = static_cast<char*>(vb.GetRecord(1));
    EXPECT_EQ(XVertBuffer::GetClassDataPtr(p1, 0), p1 + 4);
    char* p2 = static_cast<char*>(vb.GetRecord(2));
    EXPECT_EQ(XVertBuffer::GetClassDataPtr(p2, 0), p2 + 32);
    EXPECT_STREQ(static_cast<char*>(XVertBuffer::GetClassDataPtr(p2, 0)), "ab");
    char* p3 = static_cast<char*>(vb.GetRecord(3));
    EXPECT_EQ(XVertBuffer::GetClassDataPtr(p3, 0), p3 + 44);
    char* p4 = static_cast<char*>(vb.GetRecord(4));
    EXPECT_EQ(XVertBuffer::GetClassDataPtr(p4, 0), p4 + 48);
    char* p5 = static_cast<char*>(vb.GetRecord(5));
    EXPECT_EQ(XVertBuffer::GetClassDataPtr(p5, 0), p5);
    // The kind argument overrides the record's.
    EXPECT_EQ(XVertBuffer::GetClassDataPtr(p0, 15), p0 + 60);
    int32_t unknown[2] = {21, 0};
    EXPECT_EQ(XVertBuffer::GetClassDataPtr(unknown, 0), nullptr);
}

TEST(XVertBuffer, RawBuffers)
{
    XVertBuffer vb;
    // Raw blocks go in whether recording or not.
    void* pRaw = std::malloc(12);
    const Bytes content = Le().I32(99).I32(1).I32(2).bytes;
    std::memcpy(pRaw, content.data(), 12);
    vb.AddRawBuffer(pRaw);
    EXPECT_EQ(vb.GetRecord(0), pRaw);

    const int n = 2;
    void* pPoly = std::calloc(1, static_cast<size_t>(vb.GetClassSizeBytes(13, n, nullptr, 0)));
    double* pPoints = static_cast<double*>(XVertBuffer::GetClassDataPtr(pPoly, 13));
    pPoints[0] = 1;
    pPoints[4] = 2;
    const double ext[4] = {1, 2, 3, 4};
    vb.AddRawPolyBuffer(pPoly, 13, n, ext);
    EXPECT_EQ(vb.GetRecordCount(), 2);
    EXPECT_EQ(Record(vb, 1, 88), Le().I32(13).I32(2).F64(1).F64(2).F64(3).F64(4).F64(1).F64(0).F64(0).F64(0).F64(2).F64(0).bytes);
    EXPECT_EQ(vb.GetMaxPoints(), 2);

    // Another kind: nothing happens and the block stays ours.
    int32_t notPoly[10] = {0};
    vb.AddRawPolyBuffer(notPoly, 17, 1, ext);
    EXPECT_EQ(vb.GetRecordCount(), 2);
    EXPECT_EQ(notPoly[0], 0);
}

// A 3 by 2 source image of the given depth: bottom row first.
struct TestImage {
    std::vector<unsigned char> header; // BITMAPINFO with room for a palette
    std::vector<char> bits;
    const BITMAPINFO* Info() const { return reinterpret_cast<const BITMAPINFO*>(header.data()); }
};

TestImage MakeImage(int nBits, int nPalette)
{
    TestImage img;
    img.header.assign(40 + 4 * 256, 0);
    BITMAPINFOHEADER h = {};
    h.biSize = 40;
    h.biWidth = 3;
    h.biHeight = 2;
    h.biPlanes = 1;
    h.biBitCount = static_cast<WORD>(nBits);
    h.biClrUsed = static_cast<DWORD>(nPalette);
    std::memcpy(img.header.data(), &h, 40);
    img.bits.assign(static_cast<size_t>(XfnCalcDIBWidthBytes(3, nBits) * 2), 0);
    return img;
}

void SetBGR24(TestImage& img, int row, int col, unsigned char b, unsigned char g, unsigned char r)
{
    char* p = img.bits.data() + XfnCalcDIBWidthBytes(3, 24) * row + 3 * col;
    p[0] = static_cast<char>(b);
    p[1] = static_cast<char>(g);
    p[2] = static_cast<char>(r);
}

TEST(XVertBuffer, DibOnTheOpenGLPathKeepsRowOrderWithAlpha)
{
    TestImage img = MakeImage(24, 0);
    for (int row = 0; row < 2; ++row)
        for (int col = 0; col < 3; ++col)
            SetBGR24(img, row, col, static_cast<unsigned char>(10 * row + col), 100, 200);
    XVertBuffer vb(2);
    vb.Start();
    vb.AddDIB(img.bits.data(), img.Info(), 1, 2, 3, 4, 5, 1.0, 0);
    ASSERT_EQ(vb.GetRecordCount(), 2);
    ByteWriter w = Le();
    w.I32(15).I32(3).I32(2).F64(1).F64(2).F64(3).F64(4).F64(5).I32(-1).U32(0);
    for (int row = 0; row < 2; ++row)
        for (int col = 0; col < 3; ++col)
            w.U8(static_cast<unsigned>(10 * row + col)).U8(100).U8(200).U8(255);
    EXPECT_EQ(Record(vb, 1, 60 + 24), w.bytes);
}

TEST(XVertBuffer, DibOnTheGdiPlusPathReversesRowsAndIsAlwaysOpaqueClass)
{
    TestImage img = MakeImage(32, 0);
    for (int row = 0; row < 2; ++row)
        for (int col = 0; col < 3; ++col) {
            char* p = img.bits.data() + 12 * row + 4 * col;
            p[0] = static_cast<char>(row);
            p[1] = static_cast<char>(col);
            p[2] = 7;
            p[3] = 99; // the source's fourth byte is not read
        }
    XVertBuffer vb(3);
    vb.Start();
    vb.AddDIB(img.bits.data(), img.Info(), 0, 0, 0, 0, 0, 0.5, 0);
    ByteWriter w = Le();
    w.I32(15).I32(3).I32(2).Zeros(40).I32(-1).U32(0);
    for (int row = 1; row >= 0; --row)
        for (int col = 0; col < 3; ++col)
            w.U8(static_cast<unsigned>(row)).U8(static_cast<unsigned>(col)).U8(7).U8(127);
    EXPECT_EQ(Record(vb, 1, 84), w.bytes);
}

TEST(XVertBuffer, DibOnTheGdiPathHasColourAndMaskPlanes)
{
    TestImage img = MakeImage(24, 0);
    SetBGR24(img, 0, 0, 1, 2, 3);
    SetBGR24(img, 0, 1, 30, 20, 10); // the key colour: red 10, green 20, blue 30
    SetBGR24(img, 1, 2, 4, 5, 6);
    XVertBuffer vb(1);
    vb.Start();
    const DWORD key = 0x01u | (10u << 8) | (20u << 16) | (30u << 24);
    vb.AddDIB(img.bits.data(), img.Info(), 0, 0, 0, 0, 0, 1.0, key);
    ByteWriter w = Le();
    w.I32(15).I32(3).I32(2).Zeros(40).I32(0).U32(0); // one key pixel: class 0
    w.U8(1).U8(2).U8(3).U8(0).U8(0).U8(0).U8(0).U8(0).U8(0).Zeros(3);
    w.U8(0).U8(0).U8(0).U8(0).U8(0).U8(0).U8(4).U8(5).U8(6).Zeros(3);
    w.U8(0).U8(255).U8(0).Zeros(1); // mask: 255 minus opacity
    w.U8(0).U8(0).U8(0).Zeros(1);
    EXPECT_EQ(Record(vb, 1, static_cast<size_t>(60 + 24 + 8)), w.bytes);
}

TEST(XVertBuffer, DibOpacityClassesAndSourceDepths)
{
    // 8 bits with a palette of two entries.
    TestImage pal = MakeImage(8, 2);
    pal.header[40 + 4 + 0] = 11; // entry 1: blue, green, red
    pal.header[40 + 4 + 1] = 22;
    pal.header[40 + 4 + 2] = 33;
    pal.bits[1] = 1;
    XVertBuffer vb(2);
    vb.Start();
    vb.AddDIB(pal.bits.data(), pal.Info(), 0, 0, 0, 0, 0, 0.5, 0);
    const unsigned char* p = static_cast<const unsigned char*>(vb.GetRecord(1));
    int32_t nClass;
    std::memcpy(&nClass, p + 52, 4);
    EXPECT_EQ(nClass, 1); // partial opacity
    EXPECT_EQ(p[60 + 4 + 0], 11);
    EXPECT_EQ(p[60 + 4 + 1], 22);
    EXPECT_EQ(p[60 + 4 + 2], 33);
    EXPECT_EQ(p[60 + 4 + 3], 127);

    // 16 bits, 5-5-5 shifted left 3 without replication.
    TestImage hi = MakeImage(16, 0);
    const unsigned v = (31u << 10) | (1u << 5) | 2u;
    hi.bits[0] = static_cast<char>(v & 0xFF);
    hi.bits[1] = static_cast<char>(v >> 8);
    vb.AddDIB(hi.bits.data(), hi.Info(), 0, 0, 0, 0, 0, 1.0, 0);
    p = static_cast<const unsigned char*>(vb.GetRecord(2));
    EXPECT_EQ(p[60], 16);
    EXPECT_EQ(p[61], 8);
    EXPECT_EQ(p[62], 248);
    std::memcpy(&nClass, p + 52, 4);
    EXPECT_EQ(nClass, -1);

    // Opacity 0 everywhere: class 0.
    vb.AddDIB(hi.bits.data(), hi.Info(), 0, 0, 0, 0, 0, 0.0, 0);
    std::memcpy(&nClass, static_cast<const unsigned char*>(vb.GetRecord(3)) + 52, 4);
    EXPECT_EQ(nClass, 0);

    // 8 bits whose header counts no palette entry (low 16 bits 0) are grey.
    TestImage grey = MakeImage(8, 0x10000);
    grey.bits[2] = 77;
    vb.AddDIB(grey.bits.data(), grey.Info(), 0, 0, 0, 0, 0, 1.0, 0);
    p = static_cast<const unsigned char*>(vb.GetRecord(4));
    EXPECT_EQ(p[60 + 8 + 0], 77);
    EXPECT_EQ(p[60 + 8 + 1], 77);
    EXPECT_EQ(p[60 + 8 + 2], 77);

    // An image without a size makes no record.
    TestImage empty = MakeImage(24, 0);
    std::vector<unsigned char> header = empty.header;
    reinterpret_cast<BITMAPINFO*>(header.data())->bmiHeader.biWidth = 0;
    vb.AddDIB(empty.bits.data(), reinterpret_cast<BITMAPINFO*>(header.data()), 0, 0, 0, 0, 0, 1.0, 0);
    EXPECT_EQ(vb.GetRecordCount(), 5);
}

// A replay that notes what Free hands it.
class XCountingReplay : public XVertReplay {
public:
    int nDraws = 0;
    std::vector<int> released;
    void Draw(XVertBuffer*, XBackBuffer*) override { ++nDraws; }
    void ReleaseRecord(XVertBuffer*, void* pRecord) override
    {
        int32_t k;
        std::memcpy(&k, pRecord, 4);
        released.push_back(k);
    }
};

TEST(XVertBuffer, ReplaysPlugInPerPath)
{
    XCountingReplay replay;
    XVertReplay::Install(2, &replay);
    {
        XVertBuffer vb(2);
        vb.Start();
        vb.AddLine(0, 0, 1, 1);
        vb.End();
        vb.Draw(nullptr);
        XVertBuffer other(1);
        other.Draw(nullptr); // no replay for path 1: nothing
        EXPECT_EQ(replay.nDraws, 1);
    }
    XVertReplay::Install(2, nullptr);
    EXPECT_EQ(replay.released, (std::vector<int>{1, 10, 65535}));
    EXPECT_EQ(XVertReplay::Find(2), nullptr);
    XVertReplay::Install(7, &replay); // not a path: ignored
    EXPECT_EQ(XVertReplay::Find(7), nullptr);
}

TEST(XDIB, WidthBytesAndPaletteSizes)
{
    EXPECT_EQ(XfnCalcDIBWidthBytes(1, 1), 4);
    EXPECT_EQ(XfnCalcDIBWidthBytes(33, 1), 8);
    EXPECT_EQ(XfnCalcDIBWidthBytes(9, 4), 8);
    EXPECT_EQ(XfnCalcDIBWidthBytes(3, 24), 12);
    EXPECT_EQ(XfnCalcDIBWidthBytes(5, 8), 8);
    EXPECT_EQ(XfnCalcDIBWidthBytes(3, 32), 12);
    BITMAPINFOHEADER h = {};
    h.biBitCount = 24;
    EXPECT_EQ(XfnGetDIBPaletteSize(&h), 0);
    h.biBitCount = 8;
    EXPECT_EQ(XfnGetDIBPaletteSize(&h), 256);
    h.biBitCount = 4;
    EXPECT_EQ(XfnGetDIBPaletteSize(&h), 16);
    h.biBitCount = 1;
    EXPECT_EQ(XfnGetDIBPaletteSize(&h), 2);
    h.biClrUsed = 0x10005;
    EXPECT_EQ(XfnGetDIBPaletteSize(&h), 5);
}

} // namespace
