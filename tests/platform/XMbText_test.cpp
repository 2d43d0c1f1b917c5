// The one helper that walks UTF-8 text: character lengths with malformed
// bytes, whole-character searches, the wide and UTF-16 forms and the console
// code page's unmappable characters.
#include "platform/XMbText.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

TEST(XMbText, CharacterLengthsCountAMalformedByteAsOne)
{
    // A lone continuation, a truncated sequence, overlong, surrogate and
    // beyond-range forms are malformed.
    const std::pair<const char*, int> cases[] = {
        {"a", 1},        {"\xc3\xa9", 2},     {"\xe4\xb8\x96", 3},     {"\xf0\x9f\x98\x80", 4},
        {"\x80", 1},     {"\xe4\xb8", 1},     {"\xc0\xaf", 1},         {"\xe0\x80\xaf", 1},
        {"\xed\xa0\x80", 1}, {"\xf4\x90\x80\x80", 1}, {"", 1},
    };
    for (const auto& c : cases)
        EXPECT_EQ(XMbText::CharLen(c.first), c.second) << c.first;
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

TEST(XMbText, WideUtf16AndConsoleForms)
{
    const wchar_t* pszWide = L"a\u00e9\u4e16\U0001F600";
    const std::string strNarrow = "a\xc3\xa9\xe4\xb8\x96\xf0\x9f\x98\x80";
    std::string strGot(10, '\0'), strBack(16, '\0');
    EXPECT_EQ(XMbText::WideToNarrow(pszWide, 4, nullptr, 0), 10);
    XMbText::WideToNarrow(pszWide, 4, &strGot[0], 10);
    EXPECT_EQ(strGot, strNarrow);
    std::vector<wchar_t> wide(8);
    EXPECT_EQ(XMbText::NarrowToWide(strNarrow.c_str(), 10, wide.data(), 8), 4);
    EXPECT_EQ(wide[3], static_cast<wchar_t>(0x1F600));
    // The last character takes a surrogate pair.
    std::vector<uint16_t> units(8);
    const int nUnits = XMbText::NarrowToUtf16(strNarrow.c_str(), 10, units.data(), 8);
    EXPECT_EQ((std::vector<uint16_t>(units.begin(), units.begin() + nUnits)),
              (std::vector<uint16_t>{'a', 0xE9, 0x4E16, 0xD83D, 0xDE00}));
    strBack.resize(static_cast<size_t>(XMbText::Utf16ToNarrow(units.data(), nUnits, &strBack[0], 16)));
    EXPECT_EQ(strBack, strNarrow);
    // A malformed byte becomes the replacement character; a lone surrogate too.
    EXPECT_EQ(XMbText::NarrowToWide("\xff", 1, wide.data(), 8), 1);
    EXPECT_EQ(wide[0], static_cast<wchar_t>(0xFFFD));
    const uint16_t lone = 0xD800;
    char out[4];
    EXPECT_EQ(XMbText::Utf16ToNarrow(&lone, 1, out, 4), 3);
    EXPECT_EQ(std::string(out, 3), "\xef\xbf\xbd");
    // The target's capacity is respected: whole characters only.
    char small[3];
    EXPECT_EQ(XMbText::WideToNarrow(L"\u00e9\u00e9", 2, small, 3), 2);
    // The console code page: a character it lacks becomes '?'.
    const char* psz = "\xc3\x87" "a\xe2\x96\x88\xe2\x82\xac";
    char oem[8], back[16];
    EXPECT_EQ(std::string(oem, static_cast<size_t>(XMbText::NarrowToOem(psz, 9, oem))), "\x80" "a\xdb?");
    const int nBack = XMbText::OemToNarrow("\x80\xdb", 2, back);
    EXPECT_EQ(std::string(back, static_cast<size_t>(nBack)), "\xc3\x87\xe2\x96\x88");
}
