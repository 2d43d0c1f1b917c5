#include "KVDbase/drawing/XDrawStyle.h"

#include "KVDbase/core/XFrameworkException.h"
#include "drawing/XDrawingTestBytes.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

// Row r of a fill mask as the little-endian word it is stored as.
uint32_t Row(const tagXFillStyle& s, int r)
{
    return static_cast<uint32_t>(s.Pattern[4 * r]) | (static_cast<uint32_t>(s.Pattern[4 * r + 1]) << 8) |
           (static_cast<uint32_t>(s.Pattern[4 * r + 2]) << 16) | (static_cast<uint32_t>(s.Pattern[4 * r + 3]) << 24);
}

TEST(XLineStyle, DefaultIsSolidWithoutPenBits)
{
    tagXLineStyle s;
    EXPECT_EQ(s.nPattern, 0xFFFF);
    EXPECT_EQ(s.nFactor, 1);
    EXPECT_EQ(s.nPenBits, 0u);
    EXPECT_EQ(s.nSolidPenBits, 0u);
    EXPECT_EQ(s.GetStyle(), 0);
}

TEST(XLineStyle, CodesMapToMasksAndBack)
{
    const struct {
        int nCode;
        uint16_t nMask;
    } table[] = {{0, 0xFFFF}, {1, 0xFFF0}, {2, 0xCCCC}, {3, 0xFC30}, {4, 0xFCCC}, {5, 0x0000}};
    for (const auto& row : table) {
        tagXLineStyle s;
        s.SetStyle(0x1234, 7);
        s.SetStyle(row.nCode);
        EXPECT_EQ(s.nPattern, row.nMask) << row.nCode;
        EXPECT_EQ(s.nFactor, 1);
        EXPECT_EQ(s.GetStyle(), row.nCode);
    }
    // The user code and unknown codes give solid.
    for (int nCode : {1024, 6, -1, 99999}) {
        tagXLineStyle s;
        s.SetStyle(0x1234, 3);
        s.SetStyle(nCode);
        EXPECT_EQ(s.nPattern, 0xFFFF) << nCode;
        EXPECT_EQ(s.nFactor, 1);
    }
}

TEST(XLineStyle, UserPatternWhenFactorIsNotOneOrMaskUnknown)
{
    tagXLineStyle s;
    s.SetStyle(0, 1);
    EXPECT_EQ(s.GetStyle(), 5);
    s.SetStyle(0, 2);
    EXPECT_EQ(s.GetStyle(), 1024);
    s.SetStyle(0xFFFF, 3);
    EXPECT_EQ(s.GetStyle(), 1024);
    s.SetStyle(0x00FF, 1);
    EXPECT_EQ(s.GetStyle(), 1024);
}

TEST(XLineStyle, DifferenceRuleNeedsFactorAndPenBitsTogether)
{
    tagXLineStyle a, b;
    EXPECT_TRUE(a == b);
    b.nFactor = 4; // factor alone: no difference
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a != b);
    b.nPenBits = 0x100; // factor and pen bits both differ
    EXPECT_TRUE(a != b);
    b.nFactor = 1; // pen bits alone: no difference
    EXPECT_TRUE(a == b);
    tagXLineStyle c;
    c.nSolidPenBits = 0x2000;
    EXPECT_TRUE(a != c);
    tagXLineStyle d;
    d.SetStyle(2);
    EXPECT_TRUE(a != d);
}

TEST(XFillStyle, DefaultIsSolid)
{
    tagXFillStyle s;
    EXPECT_EQ(s.GetStyle(), 0);
    for (int i = 0; i < 128; ++i)
        ASSERT_EQ(s.Pattern[i], 0xFF) << i;
}

TEST(XFillStyle, HatchMasksRowByRow)
{
    const uint32_t diagCross[8] = {0x81818181u, 0x42424242u, 0x24242424u, 0x18181818u,
                                   0x18181818u, 0x24242424u, 0x42424242u, 0x81818181u};
    const uint32_t backward[8] = {0x01010101u, 0x02020202u, 0x04040404u, 0x08080808u,
                                  0x10101010u, 0x20202020u, 0x40404040u, 0x80808080u};
    const uint32_t forward[8] = {0x80808080u, 0x40404040u, 0x20202020u, 0x10101010u,
                                 0x08080808u, 0x04040404u, 0x02020202u, 0x01010101u};
    tagXFillStyle s;
    for (int nCode = 0; nCode <= 7; ++nCode) {
        s.SetStyle(nCode);
        EXPECT_EQ(s.GetStyle(), nCode);
        for (int r = 0; r < 32; ++r) {
            uint32_t want = 0;
            switch (nCode) {
            case 0: want = 0xFFFFFFFFu; break;
            case 1: want = 0; break;
            case 2: want = backward[r % 8]; break;
            case 3: want = r % 8 == 1 ? 0xFFFFFFFFu : 0x01010101u; break;
            case 4: want = diagCross[r % 8]; break;
            case 5: want = forward[r % 8]; break;
            case 6: want = r % 8 == 1 ? 0xFFFFFFFFu : 0u; break;
            case 7: want = 0x01010101u; break;
            }
            ASSERT_EQ(Row(s, r), want) << "code " << nCode << " row " << r;
        }
    }
    // A row is a little-endian word: byte 0 holds the low bits.
    s.SetStyle(5);
    EXPECT_EQ(s.Pattern[4 * 1 + 0], 0x40);
}

TEST(XFillStyle, TransparentUserAndUnknownCodesKeepTheMask)
{
    unsigned char user[128];
    for (int i = 0; i < 128; ++i)
        user[i] = static_cast<unsigned char>(i * 7 + 1);
    tagXFillStyle s;
    s.SetStyle(user);
    EXPECT_EQ(s.GetStyle(), 1024);
    EXPECT_EQ(std::memcmp(s.Pattern, user, 128), 0);

    s.SetStyle(8);
    EXPECT_EQ(s.GetStyle(), 8);
    EXPECT_EQ(std::memcmp(s.Pattern, user, 128), 0);
    s.SetStyle(1024);
    EXPECT_EQ(s.GetStyle(), 1024);
    EXPECT_EQ(std::memcmp(s.Pattern, user, 128), 0);

    // Out of range: solid code, old mask kept.
    s.SetStyle(9);
    EXPECT_EQ(s.GetStyle(), 0);
    EXPECT_EQ(std::memcmp(s.Pattern, user, 128), 0);
    s.SetStyle(-3);
    EXPECT_EQ(s.GetStyle(), 0);
    EXPECT_EQ(std::memcmp(s.Pattern, user, 128), 0);
}

TEST(XFillStyle, DifferByMaskOrCode)
{
    tagXFillStyle a, b;
    EXPECT_TRUE(a == b);
    b.Pattern[127] = 0xFE;
    EXPECT_TRUE(a != b);
    b = a;
    b.nStyle = 8;
    EXPECT_TRUE(a != b);
}

TEST(XTextStyle, Defaults)
{
    tagXTextStyle s;
    EXPECT_EQ(s.nAlign, 9);
    EXPECT_EQ(s.lf.lfHeight, 0);
    EXPECT_EQ(s.lf.lfWidth, 0);
    EXPECT_EQ(s.lf.lfEscapement, 0);
    EXPECT_EQ(s.lf.lfOrientation, 0);
    EXPECT_EQ(s.lf.lfWeight, 400);
    EXPECT_EQ(s.lf.lfItalic, 0);
    EXPECT_EQ(s.lf.lfUnderline, 0);
    EXPECT_EQ(s.lf.lfStrikeOut, 0);
    EXPECT_EQ(s.lf.lfCharSet, 1);
    EXPECT_EQ(s.lf.lfOutPrecision, 2);
    EXPECT_EQ(s.lf.lfClipPrecision, 1);
    EXPECT_EQ(s.lf.lfQuality, 0);
    EXPECT_EQ(s.lf.lfPitchAndFamily, 0);
    EXPECT_STREQ(s.lf.lfFaceName, "Courier New");
    for (int i = 11; i < 32; ++i)
        EXPECT_EQ(s.lf.lfFaceName[i], 0);
}

TEST(XTextStyle, EqualityComparesEveryFieldAndTheWholeFaceName)
{
    tagXTextStyle a, b;
    EXPECT_TRUE(a == b);
    b.lf.lfFaceName[30] = 'x'; // after the terminator, still a difference
    EXPECT_TRUE(a != b);
    b = a;
    b.lf.lfPitchAndFamily = 1;
    EXPECT_TRUE(a != b);
    b = a;
    b.lf.lfOrientation = 450;
    EXPECT_TRUE(a != b);
    b = a;
    b.nAlign = 33;
    EXPECT_TRUE(a != b);
}

TEST(XDrawStyleStream, LineStyleKeepsPenBitsOfTheVariable)
{
    tagXLineStyle s;
    s.SetStyle(0xF0F0, 3);
    s.nPenBits = 7;
    const Bytes bytes = StoreBytes([&](XArchive& ar) { ar << s; });
    EXPECT_EQ(bytes, Be().U16(0xF0F0).I32(3).bytes);

    tagXLineStyle t;
    t.nPenBits = 0x55;
    t.nSolidPenBits = 0x66;
    LoadBytes(bytes, [&](XArchive& ar) { ar >> t; });
    EXPECT_EQ(t.nPattern, 0xF0F0);
    EXPECT_EQ(t.nFactor, 3);
    EXPECT_EQ(t.nPenBits, 0x55u);
    EXPECT_EQ(t.nSolidPenBits, 0x66u);
}

TEST(XDrawStyleStream, FillStyleIsMaskThenCode)
{
    tagXFillStyle s;
    s.SetStyle(4);
    const Bytes bytes = StoreBytes([&](XArchive& ar) { ar << s; });
    EXPECT_EQ(bytes, Be().Raw(s.Pattern, 128).I32(4).bytes);
    tagXFillStyle t;
    LoadBytes(bytes, [&](XArchive& ar) { ar >> t; });
    EXPECT_TRUE(t == s);
}

TEST(XDrawStyleStream, TextStyleInAlphabeticalOrderWithOutPrecisionTwice)
{
    tagXTextStyle s;
    s.nAlign = 18;
    s.lf.lfHeight = -12;
    s.lf.lfWidth = 5;
    s.lf.lfEscapement = 900;
    s.lf.lfOrientation = 450;
    s.lf.lfWeight = 700;
    s.lf.lfItalic = 1;
    s.lf.lfUnderline = 2;
    s.lf.lfStrikeOut = 3;
    s.lf.lfCharSet = 4;
    s.lf.lfOutPrecision = 5;
    s.lf.lfClipPrecision = 6;
    s.lf.lfQuality = 7;
    s.lf.lfPitchAndFamily = 8;
    std::strcpy(s.lf.lfFaceName, "Arial");
    const Bytes bytes = StoreBytes([&](XArchive& ar) { ar << s; });
    const Bytes want = Be().I32(18)
                           .U8(4)        // lfCharSet
                           .U8(6)        // lfClipPrecision
                           .I32(900)     // lfEscapement
                           .I32(-12)     // lfHeight
                           .U8(1)        // lfItalic
                           .I32(450)     // lfOrientation
                           .U8(5)        // lfOutPrecision
                           .U8(5)        // lfOutPrecision again
                           .U8(8)        // lfPitchAndFamily
                           .U8(7)        // lfQuality
                           .U8(3)        // lfStrikeOut
                           .U8(2)        // lfUnderline
                           .I32(700)     // lfWeight
                           .I32(5)       // lfWidth
                           .Raw(s.lf.lfFaceName, 32)
                           .bytes;
    EXPECT_EQ(bytes, want);

    tagXTextStyle t;
    LoadBytes(bytes, [&](XArchive& ar) { ar >> t; });
    EXPECT_TRUE(t == s);

    // The second lfOutPrecision is the one that stays.
    Bytes edited = bytes;
    edited[4 + 1 + 1 + 4 + 4 + 1 + 4 + 1] = 9;
    LoadBytes(edited, [&](XArchive& ar) { ar >> t; });
    EXPECT_EQ(t.lf.lfOutPrecision, 9);
}

TEST(XDrawStyleStream, ShortStreamThrowsEndOfFile)
{
    Bytes bytes = StoreBytes([&](XArchive& ar) { ar << tagXTextStyle(); });
    bytes.resize(bytes.size() - 1);
    tagXTextStyle t;
    try {
        LoadBytes(bytes, [&](XArchive& ar) { ar >> t; });
        FAIL() << "no exception";
    } catch (const XArchiveException& e) {
        EXPECT_EQ(e.nCause, XArchiveException::endOfFile);
    }
}

} // namespace
