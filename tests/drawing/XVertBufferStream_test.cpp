// XVertBuffer's stream: the stored bytes, round trips on every path, loading with recolouring, bad streams.
#include "KVDbase/drawing/XVertBuffer.h"

#include "KVDbase/core/XException.h"
#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/files/XFile.h"
#include "drawing/XDrawingTestBytes.h"
#include "drawing/XVertRecord.h"
#include "XReferenceDrawing.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

// The stored state of a buffer, from its getters, after the hierarchy block that a direct Serialize on a fresh archive
// writes.
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

uint32_t U32At(const XVertBuffer& vb, int i, int nOffset)
{
    return XVertRecord::GetU32(XVertRecord::At(vb.GetRecord(i), nOffset));
}

const Bytes kStart = Be().I32(1).Raw(Le().I32(1).bytes).bytes;

TEST(XVertBufferStream, RecordsFollowTheStateEachAfterItsKindAndCount)
{
    // Each record: its kind and, for the kinds with points, its count big-endian, then its block as it is.
    const double ext[4] = {0.1, 0.7, 0.30000000000000004, 9.999999999999999e22};
    tagXVector3 pts[7];
    for (int i = 0; i < 7; ++i)
        pts[i] = tagXVector3{i * 1.5, -i * 0.25, 1e-300 * i};
    ByteWriter points = Le();
    for (const tagXVector3& p : pts)
        points.F64(p.x).F64(p.y).F64(p.z);
    const Bytes extent = Le().F64(ext[0]).F64(ext[1]).F64(ext[2]).F64(ext[3]).bytes;
    const int counts[2] = {3, 4};
    const struct {
        bool bStart;
        int nKind, n; // a polygon, a poly-polygon of two rings, or the end record
        int nRecording;
        Bytes records;
    } rows[] = {
        {false, 0, 0, 0, Be().I32(0).bytes}, // never started
        {true, 65535, 0, 0, Be().I32(2).Raw(kStart).I32(65535).Raw(Le().I32(65535).bytes).bytes},
        {true, 13, 5, 1,
         Be().I32(2).Raw(kStart).I32(13).I32(5).Raw(Le().I32(13).I32(5).Raw(extent).Raw(points.bytes.data(), 120).bytes)
             .bytes},
        {true, 17, 7, 1,
         Be().I32(2).Raw(kStart).I32(17).I32(2).I32(7)
             .Raw(Le().I32(17).I32(2).Raw(extent).I32(3).I32(4).Raw(points.bytes).bytes).bytes},
    };
    for (const auto& row : rows) {
        XVertBuffer vb;
        if (row.bStart)
            vb.Start();
        if (row.nKind == XVertBuffer::KIND_END)
            vb.End();
        else if (row.nKind == XVertBuffer::KIND_POLYGON)
            vb.AddPolygon(pts, row.n, ext);
        else if (row.nKind == XVertBuffer::KIND_POLYPOLYGON)
            vb.AddPolyPolygon(pts, counts, 2, ext);
        EXPECT_EQ(StoreBuffer(vb), Be().Raw(HeadBytes(vb, row.nRecording, row.n)).Raw(row.records).bytes)
            << row.nKind << " " << row.n;
    }
}

TEST(XVertBufferStream, EveryKindRoundTripsOnEveryPath)
{
    for (int nType : {1, 2, 3}) {
        XVertBuffer vb(nType);
        XReferenceDrawing::Record(vb); // a record of every kind
        vb.SetFontSizeFlag(1);
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
            XArchive ar(&file, XArchive::load); // made by its class name
            ar >> pBack >> pSame;
        }
        ASSERT_NE(pBack, nullptr);
        EXPECT_EQ(pSame, pBack); // one object, stored once
        // Stored again, the loaded buffer gives the same bytes: the state and every record came back as stored.
        EXPECT_EQ(StoreBuffer(*pBack), StoreBuffer(vb));
        delete pBack;
    }
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

    XVertBuffer missing; // the open is not checked: the first read fails
    EXPECT_THROW(missing.Load("/nonexistent/dir/drawing.vb", 0), XFileException);
}

TEST(XVertBufferStream, UnreadableRecordsEndTheLoadWithTheArchiveException)
{
    Bytes head = StoreBytes([](XArchive& ar) { XVertBuffer().Serialize(ar); });
    head.resize(head.size() - 4); // without the record count
    const Bytes rings = Le().I32(17).I32(2).Zeros(32).I32(3).I32(-1).Zeros(24 * 2).bytes;
    const struct {
        const char* pszWhat;
        Bytes records;
        int nCause;
    } rows[] = {
        // A kind the tables don't list: its size can't be known. What came before stays.
        {"unknown kind", Be().I32(2).Raw(kStart).I32(21).Raw(Le().I32(21).bytes).bytes, XArchiveException::badClass},
        {"end inside a block", Be().I32(1).I32(13).I32(2).Raw(Le().I32(13).I32(2).Zeros(40).bytes).bytes,
         XArchiveException::endOfFile},
        // A block whose count or kind disagrees with what went before it.
        {"count", Be().I32(1).I32(11).I32(0).Raw(Le().I32(11).I32(5).Zeros(32).bytes).bytes,
         XArchiveException::badClass},
        {"kind", Be().I32(1).I32(2).Raw(Le().I32(3).I32(0).bytes).bytes, XArchiveException::badClass},
        // Counts that give no size: negative, or too large for one block.
        {"negative", Be().I32(1).I32(14).I32(-5).bytes, XArchiveException::badClass},
        {"too large", Be().I32(1).I32(15).I32(0x10000000).I32(0x10000000).bytes, XArchiveException::badClass},
        {"ring sizes", Be().I32(1).I32(17).I32(2).I32(2).Raw(rings).bytes, XArchiveException::badClass},
    };
    XVertBuffer vb;
    for (const auto& row : rows) {
        int nCause = -1;
        try {
            LoadBuffer(vb, Be().Raw(head).Raw(row.records).bytes);
        } catch (const XArchiveException& e) {
            nCause = e.nCause;
        }
        EXPECT_EQ(nCause, row.nCause) << row.pszWhat;
        EXPECT_EQ(vb.GetRecordCount(), 1) << row.pszWhat;
    }
}

TEST(XVertBufferStream, StoredTextureNamesAreNotTakenOver)
{
    XVertBuffer vb(2);
    vb.Start();
    BITMAPINFO bmi = {};
    bmi.bmiHeader = {40, 1, 1, 0, 32, 0, 0, 0, 0, 0, 0};
    vb.AddDIB("\x01\x02\x03\x04", &bmi, 0, 0, 1, 1, 0, 1.0, 0);
    XVertRecord::PutU32(XVertRecord::At(vb.GetRecord(1), 56), 42); // a replay has made a texture for it
    XVertBuffer back;
    LoadBuffer(back, StoreBuffer(vb));
    EXPECT_EQ(U32At(back, 1, 56), 0u);
    EXPECT_EQ(RecordBytes(back.GetRecord(1), 56), RecordBytes(vb.GetRecord(1), 56));
}

} // namespace
