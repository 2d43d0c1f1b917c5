#include "platform/XMbText.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

TEST(XMbText, CharacterLengthsAndMalformedBytes)
{
    EXPECT_EQ(XMbText::CharLen("a"), 1);
    EXPECT_EQ(XMbText::CharLen("\xc3\xa9"), 2);
    EXPECT_EQ(XMbText::CharLen("\xe4\xb8\x96"), 3);
    EXPECT_EQ(XMbText::CharLen("\xf0\x9f\x98\x80"), 4);
    // Malformed: a lone continuation, a truncated sequence, overlong and
    // surrogate forms each count as one byte.
    EXPECT_EQ(XMbText::CharLen("\x80"), 1);
    EXPECT_EQ(XMbText::CharLen("\xe4\xb8"), 1);
    EXPECT_EQ(XMbText::CharLen("\xc0\xaf"), 1);
    EXPECT_EQ(XMbText::CharLen("\xe0\x80\xaf"), 1);
    EXPECT_EQ(XMbText::CharLen("\xed\xa0\x80"), 1);
    EXPECT_EQ(XMbText::CharLen("\xf4\x90\x80\x80"), 1);
    EXPECT_EQ(XMbText::CharLen(""), 1);
}

TEST(XMbText, SearchesMatchWholeCharactersOnly)
{
    const char* s = "x\xe4\xb8\x96y\xb8";
    EXPECT_EQ(XMbText::FindChar(s, '\xb8'), s + 5);
    EXPECT_EQ(XMbText::FindLastChar(s, 'x'), s);
    EXPECT_EQ(XMbText::FindText(s, "\xb8\x96"), nullptr); // the middle of a character
    EXPECT_EQ(XMbText::FindText(s, "\xe4\xb8\x96y"), s + 1);
    EXPECT_EQ(XMbText::FindOneOf(s, "y\xe4\xb8\x96"), s + 1);
    EXPECT_EQ(XMbText::SpanIncluding("aab", "a"), 2u);
    EXPECT_EQ(XMbText::SpanExcluding("aab", "b"), 2u);
}

TEST(XMbText, WideAndUtf16Conversions)
{
    const wchar_t* pszWide = L"a\u00e9\u4e16\U0001F600";
    int nBytes = XMbText::WideToNarrow(pszWide, 4, nullptr, 0);
    EXPECT_EQ(nBytes, 1 + 2 + 3 + 4);
    std::string strNarrow(static_cast<size_t>(nBytes), '\0');
    XMbText::WideToNarrow(pszWide, 4, &strNarrow[0], nBytes);
    EXPECT_EQ(strNarrow, "a\xc3\xa9\xe4\xb8\x96\xf0\x9f\x98\x80");

    std::vector<wchar_t> wide(8);
    EXPECT_EQ(XMbText::NarrowToWide(strNarrow.c_str(), nBytes, wide.data(), 8), 4);
    EXPECT_EQ(wide[3], static_cast<wchar_t>(0x1F600));

    std::vector<uint16_t> units(8);
    int nUnits = XMbText::NarrowToUtf16(strNarrow.c_str(), nBytes, units.data(), 8);
    EXPECT_EQ(nUnits, 5); // the last character takes a surrogate pair
    EXPECT_EQ(units[3], 0xD83D);
    EXPECT_EQ(units[4], 0xDE00);
    std::string strBack(16, '\0');
    strBack.resize(static_cast<size_t>(XMbText::Utf16ToNarrow(units.data(), nUnits, &strBack[0], 16)));
    EXPECT_EQ(strBack, strNarrow);

    // A malformed byte becomes the replacement character; a lone surrogate too.
    EXPECT_EQ(XMbText::NarrowToWide("\xff", 1, wide.data(), 8), 1);
    EXPECT_EQ(wide[0], static_cast<wchar_t>(0xFFFD));
    uint16_t lone = 0xD800;
    char out[4];
    EXPECT_EQ(XMbText::Utf16ToNarrow(&lone, 1, out, 4), 3);
    EXPECT_EQ(std::string(out, 3), "\xef\xbf\xbd");
    // The target's capacity is respected: whole characters only.
    char small[3];
    EXPECT_EQ(XMbText::WideToNarrow(L"\u00e9\u00e9", 2, small, 3), 2);
}

TEST(XMbText, ConsoleCodePage)
{
    const char* psz = "\xc3\x87" "a\xe2\x96\x88\xe2\x82\xac";
    char oem[8];
    int n = XMbText::NarrowToOem(psz, static_cast<int>(std::strlen(psz)), oem);
    EXPECT_EQ(std::string(oem, static_cast<size_t>(n)), "\x80" "a\xdb?");
    char back[16];
    n = XMbText::OemToNarrow("\x80\xdb", 2, back);
    EXPECT_EQ(std::string(back, static_cast<size_t>(n)), "\xc3\x87\xe2\x96\x88");
}

TEST(XMbText, ReverseKeepsCharactersWhole)
{
    char s[] = "ab\xc3\xa9\xe4\xb8\x96" "c";
    XMbText::Reverse(s, static_cast<int>(sizeof(s) - 1));
    EXPECT_STREQ(s, "c\xe4\xb8\x96\xc3\xa9" "ba");
}
