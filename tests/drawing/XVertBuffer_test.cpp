// XVertBuffer's recording: record kinds and their bytes per render path, sizes, raw blocks, the clip.
#include "KVDbase/drawing/XVertBuffer.h"

#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/drawing/XDIB.h"
#include "drawing/XDrawingTestBytes.h"
#include "drawing/XVertRecord.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

namespace {

Bytes Record(const XVertBuffer& vb, int i, size_t nSize, size_t nOffset = 0)
{
    return RecordBytes(static_cast<const char*>(vb.GetRecord(i)) + nOffset, nSize);
}

TEST(XVertBuffer, StartEndAndCallsOutsideThem)
{
    XVertBuffer vb;
    vb.AddLine(0, 0, 1, 1);
    vb.AddLineColor(0x123456, 1.0);
    vb.AddPolyFillMode(2);
    vb.End(); // works in any state, twice too
    vb.End();
    EXPECT_EQ(Kinds(vb), (std::vector<int>{65535, 65535}));
    vb.Start(); // clears what was there
    vb.AddLine(0, 0, 1, 1);
    vb.End();
    vb.AddLine(0, 0, 1, 1);
    EXPECT_EQ(Kinds(vb), (std::vector<int>{1, 10, 65535})); // their bytes are the stream test's
}

TEST(XVertBuffer, ColourRecordsAndTheirSuppression)
{
    XVertBuffer vb;
    vb.Start();
    vb.AddLineColor(0x00112233, 1.0);
    vb.AddLineColor(0x00112233, 1.0);
    vb.AddLineColor(0x00112233, 0.5);
    vb.AddForeColor(0x00112233, 0.5); // each colour has its own last value
    vb.AddBackColor(0x00112233, 0.5);
    EXPECT_EQ(Kinds(vb), (std::vector<int>{1, 2, 2, 3, 4}));
    EXPECT_EQ(Record(vb, 2, 8), Le().I32(2).U32(0x00112233).bytes); // as given off the GDI path

    XVertBuffer gdi(1); // the GDI path keeps the opacity in the high byte; "no colour" has opacity 0
    gdi.Start();
    gdi.AddLineColor(0xAA112233, 0.5);
    gdi.AddForeColor(0xFF000000, 1.0);
    EXPECT_EQ(Record(gdi, 1, 8), Le().I32(2).U32(0x7F112233).bytes);
    EXPECT_EQ(Record(gdi, 2, 8), Le().I32(3).U32(0).bytes);
}

TEST(XVertBuffer, StyleRecords)
{
    XVertBuffer vb;
    vb.Start();
    tagXLineStyle s;
    s.nPenBits = 0x0102;
    s.nSolidPenBits = 0x0304;
    vb.AddLineStyle(&s, 2.5, 0x00ABCDEF, 0.0); // the first always goes
    EXPECT_EQ(Kinds(vb), (std::vector<int>{1, 5, 6, 2}));
    EXPECT_EQ(Record(vb, 1, 20), Le().I32(5).U16(0xFFFF).U16(0).I32(1).U32(0x0102).U32(0x0304).bytes);
    EXPECT_EQ(Record(vb, 2, 12), Le().I32(6).F64(2.5).bytes);
    tagXLineStyle t = s;
    t.nFactor = 5; // a factor change alone is no change
    vb.AddLineStyle(&t, 2.5, 0x00ABCDEF, 0.0);
    vb.AddLineStyle(&s, 3.0, 0x00ABCDEF, 0.0);
    t.SetStyle(2);
    vb.AddLineStyle(&t, 3.0, 0x00ABCDEF, 0.0);
    EXPECT_EQ(Kinds(vb), (std::vector<int>{1, 5, 6, 2, 6, 5}));

    vb.Start(); // a fill style, then a polygon of 3 points
    tagXFillStyle f;
    f.SetStyle(3);
    vb.AddFillStyle(&f, 0x000000FF, 0x00FFFFFF, 0.25);
    vb.AddFillStyle(&f, 0x000000FF, 0x00FFFFFF, 0.25);
    const double x[3] = {0, 1, 0}, y[3] = {0, 0, 1};
    vb.AddPolygon(x, y, 3, nullptr);
    EXPECT_EQ(Kinds(vb), (std::vector<int>{1, 7, 3, 4, 13}));
    EXPECT_EQ(Record(vb, 1, 136), Le().I32(7).Raw(f.Pattern, 128).I32(3).bytes);
    EXPECT_EQ(std::make_pair(vb.GetForeAlpha(), vb.GetBackAlpha()), std::make_pair(0.25, 1.0));

    vb.Start();
    tagXTextStyle ts;
    ts.lf.lfHeight = -16;
    ts.lf.lfWeight = 700;
    ts.lf.lfItalic = 1;
    ts.lf.lfPitchAndFamily = 0x22;
    vb.AddTextStyle(&ts, 12.0, 0x00010203, 0x00FFFFFF, 0.5);
    vb.AddTextStyle(&ts, 12.0, 0x00010203, 0x00FFFFFF, 0.5);
    vb.AddTextStyle(&ts, 14.0, 0x00010203, 0x00FFFFFF, 0.5);
    EXPECT_EQ(Kinds(vb), (std::vector<int>{1, 8, 9, 2, 4, 9}));
    // nAlign, height, width, escapement, orientation, weight, italic, underline, strike out, character set, the
    // precisions, quality, pitch, face.
    EXPECT_EQ(Record(vb, 1, 68), Le().I32(8).I32(9).I32(-16).I32(0).I32(0).I32(0).I32(700).U8(1).U8(0).U8(0).U8(1).U8(2)
                                     .U8(1).U8(0).U8(0x22).Raw(ts.lf.lfFaceName, 32).bytes);
    EXPECT_EQ(Record(vb, 2, 12), Le().I32(9).F64(12.0).bytes);
    EXPECT_EQ(vb.GetLineAlpha(), 0.5); // text draws in the line colour
}

TEST(XVertBuffer, ShapeLayouts)
{
    XVertBuffer vb;
    vb.Start();
    vb.AddLine(tagXVector3{1, 2, 3}, tagXVector3{4, 5, 6});
    const double x[2] = {1, 4}, y[2] = {2, 5}, z[2] = {3, 6};
    const double ext[4] = {0.1, 0.2, 0.30000000000000004, 1e300}; // kept as given, not the points' box
    vb.AddPolyline(x, y, z, 2, ext);
    const tagXVector2 v2[2] = {{1, 2}, {4, 5}};
    vb.AddPolypoint(v2, 2, nullptr); // no extent: zeros
    vb.AddText("abc", 1.5, 2.5, 3.5);
    vb.AddEllipse(1, 2, 3, 4);
    vb.AddPolyFillMode(2);
    vb.AddTextBox(1, 2, 3, 4, 5, reinterpret_cast<HANDLE>(uintptr_t{0x12345678}));
    const unsigned char data[5] = {0xA1, 0xA2, 0xA3, 0xA4, 0xA5};
    vb.AddEMF(1, 2, 3, 10, 20, 1, 5, data, "lbl");
    const Bytes want[] = {
        Le().I32(10).F64(1).F64(2).F64(3).F64(4).F64(5).F64(6).bytes,
        Le().I32(11).I32(2).F64(0.1).F64(0.2).F64(0.30000000000000004).F64(1e300).F64(1).F64(2).F64(3).F64(4).F64(5)
            .F64(6).bytes,
        Le().I32(12).I32(2).Zeros(32).F64(1).F64(2).F64(0).F64(4).F64(5).F64(0).bytes,
        Le().I32(14).F64(1.5).F64(2.5).F64(3.5).I32(3).Raw("abc", 4).bytes,
        Le().I32(20).F64(1).F64(2).F64(0).F64(3).F64(4).bytes,
        Le().I32(16).I32(2).bytes,
        Le().I32(18).F64(1).F64(2).F64(3).F64(4).F64(5).U32(0x12345678).bytes,
        // The name's length stands right after the metafile, at 44 + n.
        Le().I32(19).F64(1).F64(2).F64(3).I32(10).I32(20).I32(1).I32(5).Raw(data, 5).I32(3).Raw("lbl", 4).bytes,
    };
    for (int i = 0; i < 8; ++i)
        EXPECT_EQ(Record(vb, i + 1, want[i].size()), want[i]) << i + 1;
}

TEST(XVertBuffer, MaxPointsAndInvalidCounts)
{
    XVertBuffer vb;
    vb.Start();
    std::vector<tagXVector2> pts(10);
    vb.AddPolyline(pts.data(), 10, nullptr);
    const int rings[2] = {3, 4};
    vb.AddPolyPolygon(pts.data(), rings, 2, nullptr);
    EXPECT_EQ(vb.GetMaxPoints(), 10);
    vb.Start();
    vb.AddPolyPolygon(pts.data(), rings, 2, nullptr);
    EXPECT_EQ(vb.GetMaxPoints(), 7);
    // Negative counts make no record and leave the maximum alone.
    vb.AddPolygon(pts.data(), -1, nullptr);
    const int bad[2] = {3, -1};
    vb.AddPolyPolygon(pts.data(), bad, 2, nullptr);
    EXPECT_EQ(vb.GetRecordCount(), 2);
    EXPECT_EQ(vb.GetMaxPoints(), 7);
}

TEST(XVertBuffer, ClassSizesOfCountsAndImages)
{
    XVertBuffer vb;
    BITMAPINFO bmi = {};
    bmi.bmiHeader.biWidth = 5;
    bmi.bmiHeader.biHeight = 3;
    BITMAPINFO topDown = bmi; // a top-down header has no record form
    topDown.bmiHeader.biHeight = -3;
    const struct {
        int nPath, nKind, n;
        const BITMAPINFO* pInfo;
        int nRings, nBytes;
    } rows[] = {
        {2, 21, 0, nullptr, 0, 0},     {2, 11, 5, nullptr, 0, 160},  {2, 14, 7, nullptr, 0, 40},
        {2, 17, 7, nullptr, 2, 216},   {2, 19, 5, nullptr, 3, 57},   {2, 15, 0, nullptr, 0, 0},
        {2, 11, -1, nullptr, 0, 0},    {2, 11, 0x7FFFFFFF, nullptr, 0, 0}, // too large for one block
        {2, 15, 0, &bmi, 0, 60 + 60},  {1, 15, 0, &bmi, 0, 60 + 16 * 3 + 8 * 3}, {3, 15, 0, &bmi, 0, 60 + 60},
        {2, 15, 0, &topDown, 0, 0},
    };
    for (const auto& r : rows)
        EXPECT_EQ(XVertBuffer(r.nPath).GetClassSizeBytes(r.nKind, r.n, r.pInfo, r.nRings),
                  r.nBytes)
            << r.nPath << " " << r.nKind << " " << r.n;

    vb.Start();
    EXPECT_EQ(XVertBuffer::GetClassDataPtr(vb.GetRecord(0), 21), nullptr); // a kind with no data
}

TEST(XVertBuffer, RawBuffers)
{
    XVertBuffer vb; // raw blocks go in whether recording or not
    void* pRaw = std::calloc(1, 12);
    vb.AddRawBuffer(pRaw);
    EXPECT_EQ(vb.GetRecord(0), pRaw);
    int32_t notPoly[10] = {0}; // a poly block of another kind: nothing happens, the block stays ours
    const double ext[4] = {1, 2, 3, 4};
    vb.AddRawPolyBuffer(notPoly, 17, 1, ext);
    EXPECT_EQ(vb.GetRecordCount(), 1);
    EXPECT_EQ(notPoly[0], 0);
}

// A 3 by 2 source image, bottom row first, with room for a palette.
struct TestImage {
    std::vector<unsigned char> header = std::vector<unsigned char>(40 + 4 * 256, 0);
    std::vector<char> bits;
    TestImage(int nBits, DWORD nClrUsed)
    {
        BITMAPINFOHEADER h = {40, 3, 2, 0, static_cast<WORD>(nBits), 0, 0, 0, 0, nClrUsed, 0};
        std::memcpy(header.data(), &h, 40);
        bits.assign(static_cast<size_t>(XfnCalcDIBWidthBytes(3, nBits) * 2), 0);
    }
    const BITMAPINFO* Info() const { return reinterpret_cast<const BITMAPINFO*>(header.data()); }
    void Set(int row, int col, int nBytes, const char* p) { std::memcpy(&bits[12 * row + nBytes * col], p, nBytes); }
};

TEST(XVertBuffer, ImagesPerRenderPath)
{
    TestImage img(24, 0);
    img.Set(0, 0, 3, "\x01\x02\x03");
    img.Set(0, 1, 3, "\x1E\x14\x0A"); // the key colour: red 10, green 20, blue 30
    img.Set(1, 2, 3, "\x04\x05\x06");
    const DWORD key = 0x01u | (10u << 8) | (20u << 16) | (30u << 24);

    XVertBuffer gdi(1); // 24-bit rows, then the mask plane of 255 minus opacity
    gdi.Start();
    gdi.AddDIB(img.bits.data(), img.Info(), 1, 2, 3, 4, 5, 1.0, key);
    EXPECT_EQ(Record(gdi, 1, 92), Le().I32(15).I32(3).I32(2).F64(1).F64(2).F64(3).F64(4).F64(5).I32(0).U32(0)
                                      .Raw("\x01\x02\x03\0\0\0\0\0\0\0\0\0", 12).Raw("\0\0\0\0\0\0\x04\x05\x06\0\0\0", 12)
                                      .Raw("\0\xFF\0\0\0\0\0\0", 8).bytes);

    XVertBuffer gl(2); // BGRA, rows as in the source; class 1 for a partial opacity
    gl.Start();
    gl.AddDIB(img.bits.data(), img.Info(), 0, 0, 0, 0, 0, 0.5, 0);
    EXPECT_EQ(Record(gl, 1, 84), Le().I32(15).I32(3).I32(2).Zeros(40).I32(1).U32(0)
                                     .Raw("\x01\x02\x03\x7F\x1E\x14\x0A\x7F\0\0\0\x7F\0\0\0\x7F\0\0\0\x7F\x04\x05\x06\x7F", 24)
                                     .bytes);

    XVertBuffer gdip(3); // rows reversed, and always the opaque class
    gdip.Start();
    gdip.AddDIB(img.bits.data(), img.Info(), 0, 0, 0, 0, 0, 0.5, key);
    EXPECT_EQ(Record(gdip, 1, 84), Le().I32(15).I32(3).I32(2).Zeros(40).I32(-1).U32(0)
                                       .Raw("\0\0\0\x7F\0\0\0\x7F\x04\x05\x06\x7F\x01\x02\x03\x7F\0\0\0\0\0\0\0\x7F", 24)
                                       .bytes);

    gl.AddDIB(img.bits.data(), img.Info(), 0, 0, 0, 0, 0, 1.0, 0);
    gl.AddDIB(img.bits.data(), img.Info(), 0, 0, 0, 0, 0, 0.0, 0);
    EXPECT_EQ(Record(gl, 2, 4, 52), Le().I32(-1).bytes);
    EXPECT_EQ(Record(gl, 3, 4, 52), Le().I32(0).bytes);
    XVertBuffer other(4); // no image form on another path
    other.Start();
    other.AddDIB(img.bits.data(), img.Info(), 0, 0, 0, 0, 0, 1.0, 0);
    EXPECT_EQ(other.GetRecordCount(), 1);
}

TEST(XVertBuffer, ImageSourceDepths)
{
    XVertBuffer vb(2);
    vb.Start();
    TestImage pal(8, 2); // a palette of two entries: blue, green, red
    std::memcpy(&pal.header[44], "\x0B\x16\x21", 3);
    pal.bits[1] = 1;
    TestImage grey(8, 0x10000); // no entries counted: grey levels
    grey.bits[2] = 77;
    TestImage hi(16, 0); // 5-5-5, each shifted left 3 with no replication
    const unsigned v = (31u << 10) | (1u << 5) | 2u;
    hi.bits[0] = static_cast<char>(v & 0xFF);
    hi.bits[1] = static_cast<char>(v >> 8);
    TestImage full(32, 0); // the fourth byte is not read
    full.Set(0, 0, 4, "\x09\x08\x07\x00");
    for (const TestImage* p : {&pal, &grey, &hi, &full})
        vb.AddDIB(p->bits.data(), p->Info(), 0, 0, 0, 0, 0, 1.0, 0);
    EXPECT_EQ(Record(vb, 1, 8, 60), Le().U32(0xFF000000).U32(0xFF21160B).bytes);
    EXPECT_EQ(Record(vb, 2, 4, 68), Le().U32(0xFF4D4D4D).bytes);
    EXPECT_EQ(Record(vb, 3, 4, 60), Le().U32(0xFFF80810).bytes);
    EXPECT_EQ(Record(vb, 4, 4, 60), Le().U32(0xFF070809).bytes);
}

// A replay that exposes the clip box to the test.
class XClipReplay : public XVertReplay {
public:
    void Draw(XVertBuffer*, XBackBuffer*) override {}
    using XVertReplay::CalcClipRegion;
    using XVertReplay::GetClipBox;
    using XVertReplay::IsInClipRegion;
};

TEST(XVertBuffer, ClipBoxOfTheView)
{
    XVertBuffer vb;
    XClipReplay::CalcClipRegion(&vb, nullptr); // no clip at all
    EXPECT_EQ(XClipReplay::IsInClipRegion(&vb, 1e300, -1e300, 1e300, 1e300), 1);

    XBackBuffer bb;
    bb.SetViewSize(100, 50);
    bb.CalcWarpCoeff();
    XClipReplay::CalcClipRegion(&vb, &bb);
    double box[4];
    XClipReplay::GetClipBox(&vb, box[0], box[1], box[2], box[3]);
    EXPECT_EQ(std::vector<double>(box, box + 4), (std::vector<double>{-50, 49, -24, 25})); // pixels 0-99, 0-49
    const struct {
        double x1, x2;
        int nIn;
    } cases[] = {{49, 49, 1}, {49.5, 49.5, 0}, {40, 60, 1}, {49, 60, 1}, {49.5, 60, 0}, {-80, -50, 1}, {-80, 80, 1}};
    for (const auto& c : cases)
        EXPECT_EQ(XClipReplay::IsInClipRegion(&vb, c.x1, 0, c.x2, 0), c.nIn) << c.x1 << ".." << c.x2;
    EXPECT_EQ(XClipReplay::IsInClipRegion(&vb, 0, 26, 0, 30), 0); // both axes must pass
}

} // namespace
