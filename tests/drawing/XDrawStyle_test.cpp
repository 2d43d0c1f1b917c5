// The style records: codes and their masks, equality, and their stream forms.
#include "KVDbase/drawing/XDrawStyle.h"

#include "KVDbase/core/XFrameworkException.h"
#include "drawing/XDrawingTestBytes.h"

#include <gtest/gtest.h>

#include <cstring>
#include <utility>

namespace {

TEST(XLineStyle, CodesMasksAndTheUserPattern)
{
    tagXLineStyle s;
    const uint16_t masks[6] = {0xFFFF, 0xFFF0, 0xCCCC, 0xFC30, 0xFCCC, 0x0000};
    for (int nCode : {0, 1, 2, 3, 4, 5, 1024, 6, -1}) { // the user code and unknown codes give solid
        s.SetStyle(0x1234, 7);
        s.SetStyle(nCode);
        EXPECT_EQ(s.nPattern, nCode >= 0 && nCode < 6 ? masks[nCode] : 0xFFFF) << nCode;
        EXPECT_EQ(s.nFactor, 1) << nCode;
        EXPECT_EQ(s.GetStyle(), nCode >= 0 && nCode < 6 ? nCode : 0) << nCode;
    }
    const int patterns[][3] = {{0, 1, 5}, {0, 2, 1024}, {0xFFFF, 3, 1024}, {0x00FF, 1, 1024}};
    for (const auto& p : patterns) {
        s.SetStyle(static_cast<unsigned short>(p[0]), p[1]);
        EXPECT_EQ(s.GetStyle(), p[2]) << p[0] << " " << p[1];
    }
    // Two styles differ only when the factor and the pen bits both do (a mask change: XVertBuffer.StyleRecords).
    tagXLineStyle a, b;
    b.nFactor = 4;
    EXPECT_TRUE(a == b);
    b.nPenBits = 0x100;
    EXPECT_TRUE(a != b);
    b.nFactor = 1;
    EXPECT_TRUE(a == b);
    b.nSolidPenBits = 0x2000;
    EXPECT_TRUE(a != b);
}

TEST(XFillStyle, MaskOfEveryCode)
{
    const uint32_t diagCross[8] = {0x81818181u, 0x42424242u, 0x24242424u, 0x18181818u,
                                   0x18181818u, 0x24242424u, 0x42424242u, 0x81818181u};
    tagXFillStyle s;
    EXPECT_EQ(s.GetStyle(), 0);
    for (int nCode = 0; nCode <= 7; ++nCode) {
        s.SetStyle(nCode);
        EXPECT_EQ(s.GetStyle(), nCode);
        for (int r = 0; r < 32; ++r) {
            // Row r as the little-endian word it is stored as: byte 0 holds the low bits.
            const uint32_t row = s.Pattern[4 * r] | s.Pattern[4 * r + 1] << 8 | s.Pattern[4 * r + 2] << 16 |
                                 static_cast<uint32_t>(s.Pattern[4 * r + 3]) << 24;
            const bool bLine = r % 8 == 1;
            const uint32_t backward = 0x01010101u << (r % 8), forward = 0x80808080u >> (r % 8);
            const uint32_t want[8] = {0xFFFFFFFFu, 0u, backward, bLine ? 0xFFFFFFFFu : 0x01010101u,
                                      diagCross[r % 8], forward, bLine ? 0xFFFFFFFFu : 0u, 0x01010101u};
            ASSERT_EQ(row, want[nCode]) << "code " << nCode << " row " << r;
        }
    }
}

TEST(XFillStyle, TransparentUserAndUnknownCodesKeepTheMask)
{
    unsigned char user[128];
    for (int i = 0; i < 128; ++i)
        user[i] = static_cast<unsigned char>(i * 7 + 1);
    tagXFillStyle s;
    s.SetStyle(user);
    EXPECT_EQ(s.GetStyle(), 1024);
    for (int nCode : {8, 1024, 9, -3}) {
        s.SetStyle(nCode);
        EXPECT_EQ(s.GetStyle(), nCode == 8 || nCode == 1024 ? nCode : 0);
        EXPECT_EQ(std::memcmp(s.Pattern, user, 128), 0) << nCode;
    }
}

TEST(XTextStyle, FaceBytesPastTheTerminatorCount)
{
    tagXTextStyle a, b;
    EXPECT_EQ(std::memcmp(a.lf.lfFaceName, "Courier New\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 32), 0);
    EXPECT_TRUE(a == b);
    b.lf.lfFaceName[30] = 'x';
    EXPECT_TRUE(a != b);
}

TEST(XDrawStyleStream, LineStyleLeavesThePenBits)
{
    tagXLineStyle s, t;
    s.SetStyle(0xF0F0, 3);
    s.nPenBits = 7;
    const Bytes bytes = StoreBytes([&](XArchive& ar) { ar << s; });
    EXPECT_EQ(bytes, Be().U16(0xF0F0).I32(3).bytes);
    t.nPenBits = 0x55;
    t.nSolidPenBits = 0x66;
    LoadBytes(bytes, [&](XArchive& ar) { ar >> t; });
    EXPECT_EQ(t.nPattern, 0xF0F0);
    EXPECT_EQ(t.nFactor, 3);
    EXPECT_EQ(std::make_pair(t.nPenBits, t.nSolidPenBits), std::make_pair(0x55u, 0x66u)); // not streamed: kept
}

TEST(XDrawStyleStream, TextStyleInAlphabeticalOrderWithOutPrecisionTwice)
{
    tagXTextStyle s, t;
    s.nAlign = 18;
    LOGFONTA& lf = s.lf;
    lf.lfHeight = -12, lf.lfWidth = 5, lf.lfEscapement = 900, lf.lfOrientation = 450, lf.lfWeight = 700;
    lf.lfItalic = 1, lf.lfUnderline = 2, lf.lfStrikeOut = 3, lf.lfCharSet = 4;
    lf.lfOutPrecision = 5, lf.lfClipPrecision = 6, lf.lfQuality = 7, lf.lfPitchAndFamily = 8;
    std::strcpy(lf.lfFaceName, "Arial");
    const Bytes bytes = StoreBytes([&](XArchive& ar) { ar << s; });
    // nAlign; charset, clip, escapement, height, italic, orientation, out precision twice, pitch, quality, strike out,
    // underline, weight, width; the face.
    EXPECT_EQ(bytes, Be().I32(18).U8(4).U8(6).I32(900).I32(-12).U8(1).I32(450).U8(5).U8(5).U8(8).U8(7).U8(3).U8(2)
                         .I32(700).I32(5).Raw(lf.lfFaceName, 32).bytes);
    LoadBytes(bytes, [&](XArchive& ar) { ar >> t; });
    EXPECT_TRUE(t == s);

    Bytes edited = bytes;
    edited[20] = 9; // the second lfOutPrecision is the one that stays
    LoadBytes(edited, [&](XArchive& ar) { ar >> t; });
    EXPECT_EQ(t.lf.lfOutPrecision, 9);
    edited.pop_back();
    try {
        LoadBytes(edited, [&](XArchive& ar) { ar >> t; });
        FAIL() << "no exception";
    } catch (const XArchiveException& e) {
        EXPECT_EQ(e.nCause, XArchiveException::endOfFile);
    }
}

} // namespace
