#include "KVDbase/drawing/XVertBuffer.h"

#include "KVDbase/core/XException.h"
#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/files/XFile.h"
#include "drawing/XDrawingTestBytes.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

int KindOf(const XVertBuffer& vb, int i)
{
    int32_t k;
    std::memcpy(&k, vb.GetRecord(i), 4);
    return k;
}

uint32_t ValueOf(const XVertBuffer& vb, int i)
{
    uint32_t v;
    std::memcpy(&v, static_cast<const char*>(vb.GetRecord(i)) + 4, 4);
    return v;
}

// The hierarchy block that opens a body stored by a direct Serialize call on a
// fresh archive: both class records are new.
Bytes HierarchyBlock()
{
    return Be().U32(0xFA2D481Cu).I32(2).U32(1).U16(11).Raw("XVertBuffer", 11).U32(1).U16(7).Raw("XObject", 7).bytes;
}

// The stored state of a buffer, built from its getters.
Bytes StateBytes(const XVertBuffer& vb, int nRecording, int nMaxPoints)
{
    const tagXLineStyle& ls = vb.GetLineStyle();
    const tagXFillStyle& fs = vb.GetFillStyle();
    const tagXTextStyle& ts = vb.GetTextStyle();
    const LOGFONTA& lf = ts.lf;
    ByteWriter w = Be();
    w.I32(vb.GetType()).I32(nRecording);
    w.F64(vb.GetLineWidth()).F64(vb.GetLineAlpha()).F64(vb.GetForeAlpha()).F64(vb.GetBackAlpha()).F64(vb.GetTextSize());
    w.I32(nMaxPoints).I32(vb.GetFontSizeFlag());
    w.U32(vb.GetLineColor()).U32(vb.GetForeColor()).U32(vb.GetBackColor());
    w.U16(ls.nPattern).I32(ls.nFactor);
    w.Raw(fs.Pattern, 128).I32(fs.nStyle);
    w.I32(ts.nAlign).U8(lf.lfCharSet).U8(lf.lfClipPrecision).I32(lf.lfEscapement).I32(lf.lfHeight);
    w.U8(lf.lfItalic).I32(lf.lfOrientation).U8(lf.lfOutPrecision).U8(lf.lfOutPrecision);
    w.U8(lf.lfPitchAndFamily).U8(lf.lfQuality).U8(lf.lfStrikeOut).U8(lf.lfUnderline);
    w.I32(lf.lfWeight).I32(lf.lfWidth).Raw(lf.lfFaceName, 32);
    return w.bytes;
}

Bytes StoreBuffer(XVertBuffer& vb)
{
    return StoreBytes([&](XArchive& ar) { vb.Serialize(ar); });
}

void LoadBuffer(XVertBuffer& vb, const Bytes& bytes)
{
    LoadBytes(bytes, [&](XArchive& ar) { vb.Serialize(ar); });
}

// The bytes of a stream up to and without its record count.
Bytes StreamHead()
{
    XVertBuffer vb;
    Bytes bytes = StoreBuffer(vb);
    bytes.resize(bytes.size() - 4);
    return bytes;
}

// The cause of the archive exception that loading bytes throws, -1 for none.
int LoadCause(const Bytes& bytes, XVertBuffer& vb)
{
    try {
        LoadBuffer(vb, bytes);
    } catch (const XArchiveException& e) {
        return e.nCause;
    }
    return -1;
}

TEST(XVertBufferStream, StartAndEndOnly)
{
    XVertBuffer vb;
    vb.Start();
    vb.End();
    const Bytes want = Be()
                           .Raw(HierarchyBlock())
                           .Raw(StateBytes(vb, 0, 0))
                           .I32(2)
                           .I32(1)
                           .Raw(Le().I32(1).bytes)
                           .I32(65535)
                           .Raw(Le().I32(65535).bytes)
                           .bytes;
    EXPECT_EQ(StoreBuffer(vb), want);
}

TEST(XVertBufferStream, NeverStartedBufferStoresNoRecordsAndReadsBackItsDefaults)
{
    XVertBuffer vb;
    const Bytes bytes = StoreBuffer(vb);
    EXPECT_EQ(bytes, Be().Raw(HierarchyBlock()).Raw(StateBytes(vb, 0, 0)).I32(0).bytes);

    XVertBuffer target(1);
    target.Start();
    tagXLineStyle s;
    target.AddLineStyle(&s, 4.0, 0x00123456, 1.0);
    target.End();
    LoadBuffer(target, bytes);
    EXPECT_EQ(target.GetType(), 2);
    EXPECT_EQ(target.GetLineWidth(), -1.0);
    EXPECT_EQ(target.GetLineColor(), 0xFF000000u);
    EXPECT_FALSE(target.IsRecording());
    EXPECT_EQ(target.GetRecordCount(), 5); // nothing appended, nothing lost
}

TEST(XVertBufferStream, PolygonOfNPointsIsKindCountAndBlock)
{
    for (int n : {0, 1, 5}) {
        XVertBuffer vb;
        vb.Start();
        std::vector<tagXVector3> pts;
        for (int i = 0; i < n; ++i)
            pts.push_back(tagXVector3{i * 1.5, -i * 0.25, 1e-300 * i});
        const double ext[4] = {0.1, 0.7, 0.30000000000000004, 9.999999999999999e22};
        vb.AddPolygon(pts.data(), n, ext);
        const Bytes bytes = StoreBuffer(vb);
        ByteWriter block = Le();
        block.I32(13).I32(n).F64(ext[0]).F64(ext[1]).F64(ext[2]).F64(ext[3]);
        for (const auto& p : pts)
            block.F64(p.x).F64(p.y).F64(p.z);
        ASSERT_EQ(block.bytes.size(), static_cast<size_t>(40 + 24 * n));
        const Bytes want = Be()
                               .Raw(HierarchyBlock())
                               .Raw(StateBytes(vb, 1, n))
                               .I32(2)
                               .I32(1)
                               .Raw(Le().I32(1).bytes)
                               .I32(13)
                               .I32(n)
                               .Raw(block.bytes)
                               .bytes;
        EXPECT_EQ(bytes, want) << n;

        // The extent comes back to the bit.
        XVertBuffer back;
        LoadBuffer(back, bytes);
        ASSERT_EQ(back.GetRecordCount(), 2);
        EXPECT_EQ(RecordBytes(back.GetRecord(1), block.bytes.size()), block.bytes);
        EXPECT_EQ(back.GetMaxPoints(), n);
    }
}

TEST(XVertBufferStream, PolyPolygonOfThreeAndFourPoints)
{
    XVertBuffer vb;
    vb.Start();
    const double x[7] = {0, 1, 0, 5, 6, 6, 5}, y[7] = {0, 0, 1, 5, 5, 6, 6};
    const int counts[2] = {3, 4};
    const double ext[4] = {0, 0, 6, 6};
    vb.AddPolyPolygon(x, y, counts, 2, ext);
    ByteWriter block = Le();
    block.I32(17).I32(2).F64(0).F64(0).F64(6).F64(6).I32(3).I32(4);
    for (int i = 0; i < 7; ++i)
        block.F64(x[i]).F64(y[i]).F64(0);
    const Bytes want = Be()
                           .Raw(HierarchyBlock())
                           .Raw(StateBytes(vb, 1, 7))
                           .I32(2)
                           .I32(1)
                           .Raw(Le().I32(1).bytes)
                           .I32(17)
                           .I32(2)
                           .I32(7)
                           .Raw(block.bytes)
                           .bytes;
    EXPECT_EQ(StoreBuffer(vb), want);
}

// A buffer with a record of every kind, recorded on the given path.
void RecordEveryKind(XVertBuffer& vb)
{
    vb.Start();
    vb.SetFontSizeFlag(1);
    tagXLineStyle ls;
    ls.SetStyle(0xF00F, 2);
    vb.AddLineStyle(&ls, -3.0, 0x00102030, 0.0);
    tagXFillStyle fs;
    fs.SetStyle(4);
    vb.AddFillStyle(&fs, 0x00405060, 0x00708090, 0.75);
    tagXTextStyle ts;
    std::strcpy(ts.lf.lfFaceName, "Dotum");
    ts.lf.lfOrientation = 450;
    vb.AddTextStyle(&ts, 14.0, 0x00A0B0C0, 0x00D0E0F0, 0.5);
    vb.AddLine(1, 2, 3, 4, 5, 6);
    const double px[4] = {1, 2, 3, 4}, py[4] = {5, 6, 7, 8}, pz[4] = {9, 10, 11, 12};
    const double ext[4] = {1, 5, 4, 8};
    vb.AddPolyline(px, py, pz, 4, ext);
    vb.AddPolypoint(px, py, 3, ext);
    vb.AddPolygon(px, py, 4, ext);
    vb.AddText("hello", 1, 2, 3);
    std::vector<unsigned char> header(44, 0);
    BITMAPINFOHEADER h = {};
    h.biSize = 40;
    h.biWidth = 2;
    h.biHeight = 3;
    h.biPlanes = 1;
    h.biBitCount = 24;
    std::memcpy(header.data(), &h, 40);
    std::vector<char> bits(8 * 3);
    for (size_t i = 0; i < bits.size(); ++i)
        bits[i] = static_cast<char>(i * 13);
    vb.AddDIB(bits.data(), reinterpret_cast<BITMAPINFO*>(header.data()), -1, 2, 3, -4, 0.5, 0.5, 0);
    vb.AddPolyFillMode(2);
    const int counts[2] = {1, 3};
    vb.AddPolyPolygon(px, py, pz, counts, 2, ext);
    vb.AddTextBox(1, 2, 3, 4, 5, reinterpret_cast<HANDLE>(uintptr_t{77}));
    vb.AddEllipse(1, 2, 3, 4, 5);
    vb.End();
}

// The record sizes of a buffer, as the stream keeps them: kind 19 is cut to
// its fixed part.
size_t StoredSize(const XVertBuffer& vb, int i)
{
    const char* p = static_cast<const char*>(vb.GetRecord(i));
    int32_t k, n;
    std::memcpy(&k, p, 4);
    switch (k) {
    case 11:
    case 12:
    case 13:
        std::memcpy(&n, p + 4, 4);
        return static_cast<size_t>(vb.GetClassSizeBytes(k, n, nullptr, 0));
    case 14:
        std::memcpy(&n, p + 28, 4);
        return static_cast<size_t>(vb.GetClassSizeBytes(k, n, nullptr, 0));
    case 15: {
        BITMAPINFO bmi = {};
        std::memcpy(&bmi.bmiHeader.biWidth, p + 4, 4);
        std::memcpy(&bmi.bmiHeader.biHeight, p + 8, 4);
        return static_cast<size_t>(vb.GetClassSizeBytes(k, 0, &bmi, 0));
    }
    case 17: {
        int32_t r, a, b;
        std::memcpy(&r, p + 4, 4);
        std::memcpy(&a, p + 40, 4);
        std::memcpy(&b, p + 44, 4);
        return static_cast<size_t>(vb.GetClassSizeBytes(k, a + b, nullptr, r));
    }
    default:
        return static_cast<size_t>(vb.GetClassSizeBytes(k, 0, nullptr, 0));
    }
}

TEST(XVertBufferStream, EveryKindRoundTripsOnEveryPath)
{
    for (int nType : {1, 2, 3}) {
        XVertBuffer vb(nType);
        RecordEveryKind(vb);
        const unsigned char emf[6] = {1, 2, 3, 4, 5, 6};
        XVertBuffer withEmf(nType);
        withEmf.Start();
        withEmf.AddEMF(1, 2, 3, 4, 5, 6, 6, emf, "name");

        XMemFile file;
        {
            XArchive ar(&file, XArchive::store);
            ar << static_cast<const XVertBuffer*>(&vb) << static_cast<const XVertBuffer*>(&withEmf);
            ar.Close();
        }
        file.SeekToBegin();
        XVertBuffer* pBack = nullptr;
        const XVertBuffer* pEmf = nullptr;
        {
            XArchive ar(&file, XArchive::load);
            ar >> pBack >> pEmf;
        }
        ASSERT_NE(pBack, nullptr);
        ASSERT_NE(pEmf, nullptr);

        EXPECT_EQ(pBack->GetType(), nType);
        EXPECT_EQ(pBack->GetFontSizeFlag(), 1);
        EXPECT_EQ(pBack->GetMaxPoints(), vb.GetMaxPoints());
        EXPECT_EQ(pBack->GetLineWidth(), -3.0);
        EXPECT_EQ(pBack->GetTextSize(), 14.0);
        EXPECT_EQ(pBack->GetForeAlpha(), 0.75);
        EXPECT_EQ(pBack->GetLineColor(), 0x00A0B0C0u);
        EXPECT_TRUE(pBack->GetFillStyle() == vb.GetFillStyle());
        EXPECT_TRUE(pBack->GetTextStyle() == vb.GetTextStyle());
        EXPECT_EQ(pBack->GetLineStyle().nPattern, 0xF00F);
        EXPECT_EQ(pBack->GetLineStyle().nFactor, 2);

        std::vector<int> kinds;
        ASSERT_EQ(pBack->GetRecordCount(), vb.GetRecordCount());
        for (int i = 0; i < vb.GetRecordCount(); ++i) {
            kinds.push_back(KindOf(vb, i));
            const size_t n = StoredSize(vb, i);
            EXPECT_EQ(RecordBytes(pBack->GetRecord(i), n), RecordBytes(vb.GetRecord(i), n)) << "record " << i;
        }
        EXPECT_EQ(kinds, (std::vector<int>{1, 5, 6, 2, 7, 3, 4, 8, 9, 2, 4, 10, 11, 12, 13, 14, 15, 16, 17, 18, 20,
                                           65535}))
            << nType;

        // Kind 19 comes back as its 49-byte fixed part.
        ASSERT_EQ(pEmf->GetRecordCount(), 2);
        EXPECT_EQ(RecordBytes(pEmf->GetRecord(1), 49), RecordBytes(withEmf.GetRecord(1), 49));
        delete pBack;
        delete pEmf;
    }
}

TEST(XVertBufferStream, LoadingAppendsAndTheHeaderOverwrites)
{
    XVertBuffer saved(2);
    saved.Start();
    saved.AddLine(1, 1, 2, 2);
    saved.End();
    const Bytes bytes = StoreBuffer(saved);

    XVertBuffer vb(1);
    vb.Start();
    vb.AddLineColor(0x00FF0000, 1.0);
    vb.AddEllipse(0, 0, 1, 1);
    vb.End();
    LoadBuffer(vb, bytes);
    std::vector<int> kinds;
    for (int i = 0; i < vb.GetRecordCount(); ++i)
        kinds.push_back(KindOf(vb, i));
    EXPECT_EQ(kinds, (std::vector<int>{1, 2, 20, 65535, 1, 10, 65535}));
    EXPECT_EQ(vb.GetType(), 2);
    EXPECT_EQ(vb.GetLineColor(), 0xFF000000u);
}

// Writes bytes to a file of this process and returns its path.
std::string TempFile(const Bytes& bytes)
{
    const std::string strPath = "/tmp/kvd_draw_" + std::to_string(getpid()) + ".vb";
    XFile file;
    EXPECT_TRUE(file.Open(strPath.c_str(), XFile::flagCreate | XFile::flagWrite));
    file.Write(bytes.data(), static_cast<unsigned int>(bytes.size()));
    file.Close();
    return strPath;
}

TEST(XVertBufferStream, LoadRecoloursLinesKeepingOnlyFullOpacity)
{
    XVertBuffer saved(1); // the GDI path keeps opacity in the colour's high byte
    saved.Start();
    saved.AddLineColor(0x00102030, 1.0);          // opaque
    saved.AddForeColor(0x00102030, 1.0);          // not a line colour: untouched
    saved.AddLineColor(0x00102030, 128 / 255.0);  // opacity byte 128
    saved.AddBackColor(0x00405060, 0.5);
    saved.AddLineColor(0x00AABBCC, 1.0);          // the last record: untouched
    const Bytes bytes = StoreBuffer(saved);
    ASSERT_EQ(ValueOf(saved, 3), 0x80102030u);

    XVertBuffer vb;
    vb.Start();
    vb.AddLineColor(0x00010101, 1.0); // already held: untouched
    XMemFile file;
    file.Write(bytes.data(), static_cast<unsigned int>(bytes.size()));
    file.SeekToBegin();
    vb.Load(&file, 0x000000FF);
    ASSERT_EQ(vb.GetRecordCount(), 8);
    EXPECT_EQ(ValueOf(vb, 1), 0x00010101u);
    EXPECT_EQ(ValueOf(vb, 3), 0xFF0000FFu);
    EXPECT_EQ(ValueOf(vb, 4), 0xFF102030u);
    EXPECT_EQ(ValueOf(vb, 5), 0x000000FFu);
    EXPECT_EQ(ValueOf(vb, 6), 0x7F405060u);
    EXPECT_EQ(ValueOf(vb, 7), 0xFFAABBCCu);
    EXPECT_EQ(vb.GetLineColor(), 0x00AABBCCu); // the state is the stream's, not recoloured

    // By path, and with a high byte in the colour, which is ORed in.
    const std::string strPath = TempFile(bytes);
    XVertBuffer fromPath;
    fromPath.Load(strPath.c_str(), 0x01000001);
    std::remove(strPath.c_str());
    ASSERT_EQ(fromPath.GetRecordCount(), 6);
    EXPECT_EQ(ValueOf(fromPath, 1), 0xFF000001u);
    EXPECT_EQ(ValueOf(fromPath, 3), 0x01000001u);
}

TEST(XVertBufferStream, LoadOfAMissingFileFailsAtTheFirstRead)
{
    XVertBuffer vb;
    EXPECT_THROW(vb.Load("/nonexistent/dir/drawing.vb", 0), XFileException);
    EXPECT_EQ(vb.GetRecordCount(), 0);
}

TEST(XVertBufferStream, UnreadableRecordsEndTheLoadWithTheArchiveException)
{
    const Bytes head = StreamHead();
    const Bytes start = Be().I32(1).Raw(Le().I32(1).bytes).bytes;
    {
        // A kind the tables don't list: its size can't be known.
        XVertBuffer vb;
        EXPECT_EQ(LoadCause(Be().Raw(head).I32(2).Raw(start).I32(21).Raw(Le().I32(21).bytes).bytes, vb),
                  XArchiveException::badClass);
        ASSERT_EQ(vb.GetRecordCount(), 1); // what came before stays
        EXPECT_EQ(KindOf(vb, 0), 1);
    }
    {
        // The stream ends inside a block.
        XVertBuffer vb;
        EXPECT_EQ(LoadCause(Be().Raw(head).I32(1).I32(13).I32(2).Raw(Le().I32(13).I32(2).Zeros(40).bytes).bytes, vb),
                  XArchiveException::endOfFile);
        EXPECT_EQ(vb.GetRecordCount(), 0);
    }
    {
        // A block whose count disagrees with its prefix.
        XVertBuffer vb;
        EXPECT_EQ(LoadCause(Be().Raw(head).I32(1).I32(11).I32(0).Raw(Le().I32(11).I32(5).Zeros(32).bytes).bytes, vb),
                  XArchiveException::badClass);
    }
    {
        // A block whose kind disagrees with the kind before it.
        XVertBuffer vb;
        EXPECT_EQ(LoadCause(Be().Raw(head).I32(1).I32(2).Raw(Le().I32(3).I32(0).bytes).bytes, vb),
                  XArchiveException::badClass);
    }
    {
        // A negative count gives no size.
        XVertBuffer vb;
        EXPECT_EQ(LoadCause(Be().Raw(head).I32(1).I32(14).I32(-5).bytes, vb), XArchiveException::badClass);
    }
    {
        // Ring sizes that don't add up to the point total.
        XVertBuffer vb;
        const Bytes block = Le().I32(17).I32(2).Zeros(32).I32(3).I32(-1).Zeros(24 * 2).bytes;
        EXPECT_EQ(LoadCause(Be().Raw(head).I32(1).I32(17).I32(2).I32(2).Raw(block).bytes, vb),
                  XArchiveException::badClass);
    }
    {
        // An image too large for one block.
        XVertBuffer vb;
        EXPECT_EQ(LoadCause(Be().Raw(head).I32(1).I32(15).I32(0x10000000).I32(0x10000000).bytes, vb),
                  XArchiveException::badClass);
    }
}

TEST(XVertBufferStream, StoredTextureNamesAreNotTakenOver)
{
    XVertBuffer vb(2);
    vb.Start();
    std::vector<unsigned char> header(44, 0);
    BITMAPINFOHEADER h = {};
    h.biWidth = 1;
    h.biHeight = 1;
    h.biBitCount = 32;
    std::memcpy(header.data(), &h, 40);
    const char pixel[4] = {1, 2, 3, 4};
    vb.AddDIB(pixel, reinterpret_cast<BITMAPINFO*>(header.data()), 0, 0, 1, 1, 0, 1.0, 0);
    // A replay has made a texture for it.
    const uint32_t nTexture = 42;
    std::memcpy(static_cast<char*>(vb.GetRecord(1)) + 56, &nTexture, 4);
    const Bytes bytes = StoreBuffer(vb);
    XVertBuffer back;
    LoadBuffer(back, bytes);
    uint32_t nLoaded;
    std::memcpy(&nLoaded, static_cast<const char*>(back.GetRecord(1)) + 56, 4);
    EXPECT_EQ(nLoaded, 0u);
    EXPECT_EQ(RecordBytes(back.GetRecord(1), 56), RecordBytes(vb.GetRecord(1), 56));
}

} // namespace
