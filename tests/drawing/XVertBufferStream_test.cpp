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

uint32_t U32At(const XVertBuffer& vb, int i, int nOffset)
{
    uint32_t v;
    std::memcpy(&v, static_cast<const char*>(vb.GetRecord(i)) + nOffset, 4);
    return v;
}

// The stored state of a buffer, from its getters, after the hierarchy block
// that a direct Serialize on a fresh archive writes.
Bytes HeadBytes(const XVertBuffer& vb, int nRecording, int nMaxPoints)
{
    const tagXFillStyle& fs = vb.GetFillStyle();
    const LOGFONTA& lf = vb.GetTextStyle().lf;
    ByteWriter w = Be();
    w.U32(0xFA2D481Cu).I32(2).U32(1).U16(11).Raw("XVertBuffer", 11).U32(1).U16(7).Raw("XObject", 7);
    w.I32(vb.GetType()).I32(nRecording);
    w.F64(vb.GetLineWidth()).F64(vb.GetLineAlpha()).F64(vb.GetForeAlpha()).F64(vb.GetBackAlpha()).F64(vb.GetTextSize());
    w.I32(nMaxPoints).I32(vb.GetFontSizeFlag()).U32(vb.GetLineColor()).U32(vb.GetForeColor()).U32(vb.GetBackColor());
    w.U16(vb.GetLineStyle().nPattern).I32(vb.GetLineStyle().nFactor).Raw(fs.Pattern, 128).I32(fs.nStyle);
    w.I32(vb.GetTextStyle().nAlign).U8(lf.lfCharSet).U8(lf.lfClipPrecision).I32(lf.lfEscapement).I32(lf.lfHeight);
    w.U8(lf.lfItalic).I32(lf.lfOrientation).U8(lf.lfOutPrecision).U8(lf.lfOutPrecision).U8(lf.lfPitchAndFamily);
    w.U8(lf.lfQuality).U8(lf.lfStrikeOut).U8(lf.lfUnderline).I32(lf.lfWeight).I32(lf.lfWidth).Raw(lf.lfFaceName, 32);
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

const Bytes kStart = Be().I32(1).Raw(Le().I32(1).bytes).bytes;

TEST(XVertBufferStream, StartAndEndOnly)
{
    XVertBuffer vb;
    vb.Start();
    vb.End();
    EXPECT_EQ(StoreBuffer(vb), Be().Raw(HeadBytes(vb, 0, 0)).I32(2).Raw(kStart).I32(65535).Raw(Le().I32(65535).bytes).bytes);
}

TEST(XVertBufferStream, NeverStartedBufferStoresNoRecordsAndReadsBackItsDefaults)
{
    XVertBuffer vb;
    const Bytes bytes = StoreBuffer(vb);
    EXPECT_EQ(bytes, Be().Raw(HeadBytes(vb, 0, 0)).I32(0).bytes);

    XVertBuffer target(1);
    target.Start();
    tagXLineStyle s;
    target.AddLineStyle(&s, 4.0, 0x00123456, 1.0);
    LoadBuffer(target, bytes);
    EXPECT_EQ(target.GetType(), 2);
    EXPECT_EQ(target.GetLineWidth(), -1.0);
    EXPECT_EQ(target.GetLineColor(), 0xFF000000u);
    EXPECT_FALSE(target.IsRecording());
    EXPECT_EQ(target.GetRecordCount(), 4); // nothing appended, nothing lost
}

TEST(XVertBufferStream, PolygonOfNPoints)
{
    for (int n : {0, 1, 5}) {
        XVertBuffer vb;
        vb.Start();
        std::vector<tagXVector3> pts;
        for (int i = 0; i < n; ++i)
            pts.push_back(tagXVector3{i * 1.5, -i * 0.25, 1e-300 * i});
        const double ext[4] = {0.1, 0.7, 0.30000000000000004, 9.999999999999999e22};
        vb.AddPolygon(pts.data(), n, ext);
        ByteWriter block = Le();
        block.I32(13).I32(n).F64(ext[0]).F64(ext[1]).F64(ext[2]).F64(ext[3]);
        for (const auto& p : pts)
            block.F64(p.x).F64(p.y).F64(p.z);
        ASSERT_EQ(block.bytes.size(), static_cast<size_t>(40 + 24 * n));
        const Bytes bytes = StoreBuffer(vb);
        EXPECT_EQ(bytes, Be().Raw(HeadBytes(vb, 1, n)).I32(2).Raw(kStart).I32(13).I32(n).Raw(block.bytes).bytes);

        XVertBuffer back; // the extent comes back to the bit
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
    ASSERT_EQ(block.bytes.size(), 40u + 8 + 168);
    EXPECT_EQ(StoreBuffer(vb), Be().Raw(HeadBytes(vb, 1, 7)).I32(2).Raw(kStart).I32(17).I32(2).I32(7).Raw(block.bytes).bytes);
}

// A buffer with a record of every kind.
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
    h.biWidth = 2;
    h.biHeight = 3;
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
    const unsigned char emf[6] = {1, 2, 3, 4, 5, 6};
    vb.AddEMF(1, 2, 3, 4, 5, 6, 6, emf, "name");
    vb.AddEllipse(1, 2, 3, 4, 5);
    vb.End();
}

TEST(XVertBufferStream, EveryKindRoundTripsOnEveryPath)
{
    for (int nType : {1, 2, 3}) {
        XVertBuffer vb(nType);
        RecordEveryKind(vb);
        ASSERT_EQ(vb.GetRecordCount(), 23);
        XMemFile file;
        {
            XArchive ar(&file, XArchive::store);
            ar << static_cast<const XVertBuffer*>(&vb) << static_cast<const XVertBuffer*>(&vb);
            ar.Close();
        }
        file.SeekToBegin();
        XVertBuffer* pBack = nullptr;
        const XVertBuffer* pSame = nullptr;
        {
            XArchive ar(&file, XArchive::load);
            ar >> pBack >> pSame;
        }
        ASSERT_NE(pBack, nullptr);
        EXPECT_EQ(pSame, pBack); // one object, stored once
        EXPECT_EQ(pBack->GetType(), nType);
        // Stored again, the loaded buffer gives the same bytes: the state and
        // every record came back as stored, kind 19 as its 49-byte part.
        EXPECT_EQ(pBack->GetRecordCount(), 23);
        EXPECT_EQ(StoreBuffer(*pBack), StoreBuffer(vb));
        EXPECT_EQ(RecordBytes(pBack->GetRecord(20), 49), RecordBytes(vb.GetRecord(20), 49));
        delete pBack;
    }
}

TEST(XVertBufferStream, LoadingAppendsAndTheHeaderOverwrites)
{
    XVertBuffer saved(2);
    saved.Start();
    saved.AddLine(1, 1, 2, 2);
    saved.End();
    XVertBuffer vb(1);
    vb.Start();
    vb.AddEllipse(0, 0, 1, 1);
    vb.End();
    LoadBuffer(vb, StoreBuffer(saved));
    std::vector<int> kinds;
    for (int i = 0; i < vb.GetRecordCount(); ++i)
        kinds.push_back(static_cast<int>(U32At(vb, i, 0)));
    EXPECT_EQ(kinds, (std::vector<int>{1, 20, 65535, 1, 10, 65535}));
    EXPECT_EQ(vb.GetType(), 2);
}

TEST(XVertBufferStream, LoadRecoloursLinesKeepingOnlyFullOpacity)
{
    XVertBuffer saved(1); // the GDI path keeps opacity in the colour's high byte
    saved.Start();
    saved.AddLineColor(0x00102030, 1.0);         // opaque
    saved.AddForeColor(0x00102030, 1.0);         // not a line colour: untouched
    saved.AddLineColor(0x00102030, 128 / 255.0); // opacity byte 128
    saved.AddBackColor(0x00405060, 0.5);
    saved.AddLineColor(0x00AABBCC, 1.0); // the last record: untouched
    const Bytes bytes = StoreBuffer(saved);
    ASSERT_EQ(U32At(saved, 3, 4), 0x80102030u);

    XVertBuffer vb;
    vb.Start();
    vb.AddLineColor(0x00010101, 1.0); // already held: untouched
    XMemFile file;
    file.Write(bytes.data(), static_cast<unsigned int>(bytes.size()));
    file.SeekToBegin();
    vb.Load(&file, 0x000000FF);
    ASSERT_EQ(vb.GetRecordCount(), 8);
    // Records 0 and 2 are the two start records.
    const uint32_t want[8] = {0, 0x00010101u, 0, 0xFF0000FFu, 0xFF102030u, 0x000000FFu, 0x7F405060u, 0xFFAABBCCu};
    for (int i : {1, 3, 4, 5, 6, 7})
        EXPECT_EQ(U32At(vb, i, 4), want[i]) << i;
    EXPECT_EQ(vb.GetLineColor(), 0x00AABBCCu); // the state is the stream's, not recoloured

    // By path; a high byte in the colour is ORed in.
    const std::string strPath = "/tmp/kvd_draw_" + std::to_string(getpid()) + ".vb";
    XFile out;
    ASSERT_TRUE(out.Open(strPath.c_str(), XFile::flagCreate | XFile::flagWrite));
    out.Write(bytes.data(), static_cast<unsigned int>(bytes.size()));
    out.Close();
    XVertBuffer fromPath;
    fromPath.Load(strPath.c_str(), 0x01000001);
    std::remove(strPath.c_str());
    ASSERT_EQ(fromPath.GetRecordCount(), 6);
    EXPECT_EQ(U32At(fromPath, 1, 4), 0xFF000001u);
    EXPECT_EQ(U32At(fromPath, 3, 4), 0x01000001u);

    XVertBuffer missing; // the open is not checked: the first read fails
    EXPECT_THROW(missing.Load("/nonexistent/dir/drawing.vb", 0), XFileException);
}

TEST(XVertBufferStream, UnreadableRecordsEndTheLoadWithTheArchiveException)
{
    Bytes head = StoreBytes([](XArchive& ar) { XVertBuffer().Serialize(ar); });
    head.resize(head.size() - 4); // without the record count
    const auto Stream = [&](int nCount) { return std::move(Be().Raw(head).I32(nCount)); };
    XVertBuffer vb;
    // A kind the tables don't list: its size can't be known. What came
    // before stays.
    EXPECT_EQ(LoadCause(Stream(2).Raw(kStart).I32(21).Raw(Le().I32(21).bytes).bytes, vb), XArchiveException::badClass);
    EXPECT_EQ(vb.GetRecordCount(), 1);
    // The stream ends inside a block.
    EXPECT_EQ(LoadCause(Stream(1).I32(13).I32(2).Raw(Le().I32(13).I32(2).Zeros(40).bytes).bytes, vb),
              XArchiveException::endOfFile);
    // A block whose count or kind disagrees with what went before it.
    EXPECT_EQ(LoadCause(Stream(1).I32(11).I32(0).Raw(Le().I32(11).I32(5).Zeros(32).bytes).bytes, vb),
              XArchiveException::badClass);
    EXPECT_EQ(LoadCause(Stream(1).I32(2).Raw(Le().I32(3).I32(0).bytes).bytes, vb), XArchiveException::badClass);
    // Counts that give no size: negative, or too large for one block.
    EXPECT_EQ(LoadCause(Stream(1).I32(14).I32(-5).bytes, vb), XArchiveException::badClass);
    EXPECT_EQ(LoadCause(Stream(1).I32(15).I32(0x10000000).I32(0x10000000).bytes, vb), XArchiveException::badClass);
    // Ring sizes that don't add up to the point total.
    const Bytes rings = Le().I32(17).I32(2).Zeros(32).I32(3).I32(-1).Zeros(24 * 2).bytes;
    EXPECT_EQ(LoadCause(Stream(1).I32(17).I32(2).I32(2).Raw(rings).bytes, vb), XArchiveException::badClass);
    EXPECT_EQ(vb.GetRecordCount(), 1);
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
    vb.AddDIB("\x01\x02\x03\x04", reinterpret_cast<BITMAPINFO*>(header.data()), 0, 0, 1, 1, 0, 1.0, 0);
    const uint32_t nTexture = 42; // a replay has made a texture for it
    std::memcpy(static_cast<char*>(vb.GetRecord(1)) + 56, &nTexture, 4);
    XVertBuffer back;
    LoadBuffer(back, StoreBuffer(vb));
    EXPECT_EQ(U32At(back, 1, 56), 0u);
    EXPECT_EQ(RecordBytes(back.GetRecord(1), 56), RecordBytes(vb.GetRecord(1), 56));
}

} // namespace
