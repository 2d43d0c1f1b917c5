#include "KVDbase/drawing/XDrawStyle.h"

#include "KVDbase/core/XFrameworkException.h"
#include "drawing/XDrawingTestBytes.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

// Row r of a fill mask as the little-endian word it is stored as.
uint32_t Row(const tagXFillStyle& s, int r)
{
    uint32_t v = 0;
    for (int i = 3; i >= 0; --i)
        v = (v << 8) | s.Pattern[4 * r + i];
    return v;
}

TEST(XLineStyle, CodesMasksAndTheUserPattern)
{
    tagXLineStyle s;
    EXPECT_EQ(s.nPattern, 0xFFFF);
    EXPECT_EQ(s.nFactor, 1);
    EXPECT_EQ(s.nPenBits | s.nSolidPenBits, 0u);
    const uint16_t masks[6] = {0xFFFF, 0xFFF0, 0xCCCC, 0xFC30, 0xFCCC, 0x0000};
    for (int nCode = 0; nCode < 6; ++nCode) {
        s.SetStyle(0x1234, 7);
        s.SetStyle(nCode);
        EXPECT_EQ(s.nPattern, masks[nCode]);
        EXPECT_EQ(s.nFactor, 1);
        EXPECT_EQ(s.GetStyle(), nCode);
    }
    for (int nCode : {1024, 6, -1}) { // the user code and unknown codes give solid
        s.SetStyle(0x1234, 3);
        s.SetStyle(nCode);
        EXPECT_EQ(s.nPattern, 0xFFFF);
    }
    s.SetStyle(0, 1);
    EXPECT_EQ(s.GetStyle(), 5);
    s.SetStyle(0, 2);
    EXPECT_EQ(s.GetStyle(), 1024);
    s.SetStyle(0xFFFF, 3);
    EXPECT_EQ(s.GetStyle(), 1024);
    s.SetStyle(0x00FF, 1);
    EXPECT_EQ(s.GetStyle(), 1024);
}

TEST(XLineStyle, DifferenceNeedsFactorAndPenBitsTogether)
{
    tagXLineStyle a, b;
    b.nFactor = 4; // factor alone: no difference
    EXPECT_TRUE(a == b);
    b.nPenBits = 0x100; // both differ
    EXPECT_TRUE(a != b);
    b.nFactor = 1; // pen bits alone: no difference
    EXPECT_TRUE(a == b);
    b.nSolidPenBits = 0x2000;
    EXPECT_TRUE(a != b);
    tagXLineStyle d;
    d.SetStyle(2);
    EXPECT_TRUE(a != d);
}

TEST(XFillStyle, MaskOfEveryCode)
{
    const uint32_t diagCross[8] = {0x81818181u, 0x42424242u, 0x24242424u, 0x18181818u,
                                   0x18181818u, 0x24242424u, 0x42424242u, 0x81818181u};
    const uint32_t backward[8] = {0x01010101u, 0x02020202u, 0x04040404u, 0x08080808u,
                                  0x10101010u, 0x20202020u, 0x40404040u, 0x80808080u};
    tagXFillStyle s;
    EXPECT_EQ(s.GetStyle(), 0);
    for (int nCode = 0; nCode <= 7; ++nCode) {
        s.SetStyle(nCode);
        EXPECT_EQ(s.GetStyle(), nCode);
        for (int r = 0; r < 32; ++r) {
            const bool bLine = r % 8 == 1;
            const uint32_t want[8] = {0xFFFFFFFFu, 0u, backward[r % 8], bLine ? 0xFFFFFFFFu : 0x01010101u,
                                      diagCross[r % 8], backward[7 - r % 8], bLine ? 0xFFFFFFFFu : 0u, 0x01010101u};
            ASSERT_EQ(Row(s, r), want[nCode]) << "code " << nCode << " row " << r;
        }
    }
    s.SetStyle(5); // a row is a little-endian word: byte 0 holds the low bits
    EXPECT_EQ(s.Pattern[4], 0x40);
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
    tagXFillStyle a, b;
    b.Pattern[127] = 0xFE;
    EXPECT_TRUE(a != b);
    b = a;
    b.nStyle = 8;
    EXPECT_TRUE(a != b);
    EXPECT_TRUE(a == tagXFillStyle());
}

TEST(XTextStyle, DefaultsAndEquality)
{
    tagXTextStyle a;
    const LOGFONTA& lf = a.lf;
    EXPECT_EQ(a.nAlign, 9);
    EXPECT_EQ(lf.lfHeight | lf.lfWidth | lf.lfEscapement | lf.lfOrientation, 0);
    EXPECT_EQ(lf.lfWeight, 400);
    EXPECT_EQ(lf.lfItalic | lf.lfUnderline | lf.lfStrikeOut | lf.lfQuality | lf.lfPitchAndFamily, 0);
    EXPECT_EQ(lf.lfCharSet, 1);
    EXPECT_EQ(lf.lfOutPrecision, 2);
    EXPECT_EQ(lf.lfClipPrecision, 1);
    EXPECT_EQ(std::memcmp(lf.lfFaceName, "Courier New\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0", 32), 0);

    tagXTextStyle b;
    EXPECT_TRUE(a == b);
    b.lf.lfFaceName[30] = 'x'; // after the terminator, still a difference
    EXPECT_TRUE(a != b);
    b = a;
    b.lf.lfPitchAndFamily = 1;
    EXPECT_TRUE(a != b);
    b = a;
    b.nAlign = 33;
    EXPECT_TRUE(a != b);
}

TEST(XDrawStyleStream, LineAndFillStyles)
{
    tagXLineStyle s;
    s.SetStyle(0xF0F0, 3);
    s.nPenBits = 7;
    Bytes bytes = StoreBytes([&](XArchive& ar) { ar << s; });
    EXPECT_EQ(bytes, Be().U16(0xF0F0).I32(3).bytes);
    tagXLineStyle t;
    t.nPenBits = 0x55;
    t.nSolidPenBits = 0x66;
    LoadBytes(bytes, [&](XArchive& ar) { ar >> t; });
    EXPECT_EQ(t.nPattern, 0xF0F0);
    EXPECT_EQ(t.nFactor, 3);
    EXPECT_EQ(t.nPenBits, 0x55u); // not streamed: the variable keeps its bits
    EXPECT_EQ(t.nSolidPenBits, 0x66u);

    tagXFillStyle f, g;
    f.SetStyle(4);
    bytes = StoreBytes([&](XArchive& ar) { ar << f; });
    EXPECT_EQ(bytes, Be().Raw(f.Pattern, 128).I32(4).bytes);
    LoadBytes(bytes, [&](XArchive& ar) { ar >> g; });
    EXPECT_TRUE(f == g);
}

TEST(XDrawStyleStream, TextStyleInAlphabeticalOrderWithOutPrecisionTwice)
{
    tagXTextStyle s;
    s.nAlign = 18;
    LOGFONTA& lf = s.lf;
    lf.lfHeight = -12, lf.lfWidth = 5, lf.lfEscapement = 900, lf.lfOrientation = 450, lf.lfWeight = 700;
    lf.lfItalic = 1, lf.lfUnderline = 2, lf.lfStrikeOut = 3, lf.lfCharSet = 4;
    lf.lfOutPrecision = 5, lf.lfClipPrecision = 6, lf.lfQuality = 7, lf.lfPitchAndFamily = 8;
    std::strcpy(lf.lfFaceName, "Arial");
    const Bytes bytes = StoreBytes([&](XArchive& ar) { ar << s; });
    // nAlign; charset, clip, escapement, height, italic, orientation,
    // out precision twice, pitch, quality, strike out, underline, weight,
    // width; the face.
    const Bytes want = Be().I32(18).U8(4).U8(6).I32(900).I32(-12).U8(1).I32(450).U8(5).U8(5).U8(8).U8(7).U8(3).U8(2)
                           .I32(700).I32(5).Raw(lf.lfFaceName, 32).bytes;
    EXPECT_EQ(bytes, want);
    tagXTextStyle t;
    LoadBytes(bytes, [&](XArchive& ar) { ar >> t; });
    EXPECT_TRUE(t == s);

    Bytes edited = bytes;
    edited[20] = 9; // the second lfOutPrecision is the one that stays
    LoadBytes(edited, [&](XArchive& ar) { ar >> t; });
    EXPECT_EQ(t.lf.lfOutPrecision, 9);

    edited.resize(edited.size() - 1);
    try {
        LoadBytes(edited, [&](XArchive& ar) { ar >> t; });
        FAIL() << "no exception";
    } catch (const XArchiveException& e) {
        EXPECT_EQ(e.nCause, XArchiveException::endOfFile);
    }
}

} // namespace
