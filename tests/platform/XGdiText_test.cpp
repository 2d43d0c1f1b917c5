// Fonts and text on the raster device: the height rules of LOGFONTA, text at
// its anchor, measuring, Hangul through fallback, escapement and aliasing.
#include "platform/XGdiTestCanvas.h"

#include <cstring>
#include <set>

namespace {


} // namespace

TEST(XGdiText, HeightSignRulesOfLogfont)
{
    XGdiTestCanvas cv(10, 10);
    TEXTMETRICA tm;
    {
        Selected f(cv.dc, Font(-20));
        ASSERT_TRUE(GetTextMetricsA(cv.dc, &tm));
        EXPECT_EQ(tm.tmHeight - tm.tmInternalLeading, 20);
        EXPECT_EQ(tm.tmHeight, tm.tmAscent + tm.tmDescent);
    }
    {
        Selected f(cv.dc, Font(20));
        ASSERT_TRUE(GetTextMetricsA(cv.dc, &tm));
        EXPECT_NEAR(tm.tmHeight, 20, 1);
        EXPECT_LT(tm.tmHeight - tm.tmInternalLeading, 20);
    }
    // "Courier New" resolves to a monospaced face: every letter advances alike.
    Selected f(cv.dc, Font(-16));
    SIZE a, b;
    ASSERT_TRUE(GetTextExtentPoint32A(cv.dc, "iiii", 4, &a));
    ASSERT_TRUE(GetTextExtentPoint32A(cv.dc, "MMMM", 4, &b));
    EXPECT_EQ(a.cx, b.cx);
    EXPECT_GT(a.cx, 0);
}

TEST(XGdiText, TextLandsAtItsAnchorWithAlignZero)
{
    XGdiTestCanvas cv(200, 60);
    Selected f(cv.dc, Font(-24));
    SetBkMode(cv.dc, TRANSPARENT);
    SetTextColor(cv.dc, kBlack);
    EXPECT_EQ(SetTextAlign(cv.dc, 0), 0u);
    ASSERT_TRUE(ExtTextOutA(cv.dc, 30, 15, 0, nullptr, "HEH", 3, nullptr));
    cv.Save("text-anchor");
    SIZE sz;
    GetTextExtentPoint32A(cv.dc, "HEH", 3, &sz);
    const RECT ink = cv.Ink();
    // The ink lies in the box that starts at the anchor and starts near it.
    EXPECT_GE(ink.left, 30);
    EXPECT_LE(ink.left, 33);
    EXPECT_GE(ink.top, 15);
    EXPECT_LE(ink.top, 15 + sz.cy / 3);
    EXPECT_LE(ink.right, 30 + sz.cx);
    EXPECT_LE(ink.bottom, 15 + sz.cy);
    // Aliased: only the text colour and the background.
    EXPECT_EQ(cv.Colours(), (std::set<COLORREF>{kBlack, kWhite}));
}

TEST(XGdiText, AlignmentMovesTheBoxAroundTheAnchor)
{
    XGdiTestCanvas cv(200, 80);
    Selected f(cv.dc, Font(-20));
    SetBkMode(cv.dc, OPAQUE);
    SetBkColor(cv.dc, kRed);
    SIZE sz;
    GetTextExtentPoint32A(cv.dc, "Ab", 2, &sz);
    SetTextAlign(cv.dc, TA_RIGHT | TA_BOTTOM);
    TextOutA(cv.dc, 100, 50, "Ab", 2);
    // The opaque box ends at the anchor on both axes.
    const RECT ink = cv.Ink();
    EXPECT_EQ(ink.right, 100);
    EXPECT_EQ(ink.bottom, 50);
    EXPECT_EQ(ink.left, 100 - sz.cx);
    EXPECT_EQ(ink.top, 50 - sz.cy);
}

TEST(XGdiText, DrawTextMeasuresWhatGetTextExtentReports)
{
    XGdiTestCanvas cv(10, 10);
    Selected f(cv.dc, Font(-18));
    RECT r = {5, 7, 5, 7};
    const int h = DrawTextA(cv.dc, "Seoul 2024", -1, &r, DT_CALCRECT | DT_SINGLELINE);
    SIZE sz;
    GetTextExtentPoint32A(cv.dc, "Seoul 2024", 10, &sz);
    EXPECT_EQ(h, sz.cy);
    EXPECT_EQ(r.right - r.left, sz.cx);
    EXPECT_EQ(r.bottom - r.top, sz.cy);
    EXPECT_EQ(cv.Count(kWhite), 100); // measuring draws nothing
    // A measuring DC without a bitmap of its own measures as well.
    HDC mem = CreateCompatibleDC(nullptr);
    HFONT font = static_cast<HFONT>(GetCurrentObject(cv.dc, OBJ_FONT));
    HGDIOBJ old = SelectObject(mem, font);
    RECT r2 = {0, 0, 0, 0};
    EXPECT_EQ(DrawTextA(mem, "Seoul 2024", 10, &r2, 0x420), h);
    EXPECT_EQ(r2.right, sz.cx);
    SelectObject(mem, old);
    DeleteDC(mem);
}

TEST(XGdiText, HangulFallsBackToAFaceThatHasIt)
{
    XGdiTestCanvas cv(200, 50);
    Selected f(cv.dc, Font(-24));
    SetBkMode(cv.dc, TRANSPARENT);
    const char* pszHangul = "\xED\x95\x9C\xEA\xB8\x80"; // two syllables
    SIZE sz;
    ASSERT_TRUE(GetTextExtentPoint32A(cv.dc, pszHangul, 6, &sz));
    EXPECT_GT(sz.cx, 30);
    TextOutA(cv.dc, 10, 10, pszHangul, 6);
    cv.Save("text-hangul");
    // Real glyphs: plenty of ink, not two hollow boxes.
    EXPECT_GT(cv.Count(kBlack), 80);
    // Malformed text is drawn without harm.
    EXPECT_TRUE(TextOutA(cv.dc, 10, 10, "\xFF\xC3", 2));
}

TEST(XGdiText, EscapementTurnsTheTextCounterClockwise)
{
    XGdiTestCanvas cv(80, 160);
    LOGFONTA lf = Font(-20);
    lf.lfEscapement = 900;
    Selected f(cv.dc, lf);
    SetBkMode(cv.dc, TRANSPARENT);
    TextOutA(cv.dc, 20, 140, "LLLLLL", 6);
    cv.Save("text-escapement");
    const RECT ink = cv.Ink();
    // Turned a quarter: the text runs up from the anchor, and the box that hung
    // below it now lies to its right.
    SIZE sz;
    GetTextExtentPoint32A(cv.dc, "LLLLLL", 6, &sz);
    EXPECT_GT(ink.bottom - ink.top, 3 * (ink.right - ink.left));
    EXPECT_LE(ink.bottom, 141);
    EXPECT_GE(ink.top, 140 - sz.cx - 1);
    EXPECT_GE(ink.left, 20);
    EXPECT_LE(ink.right, 20 + sz.cy);
}

TEST(XGdiText, BoldItalicUnderlineAndStrikeOutChangeThePixels)
{
    auto inkOf = [](LOGFONTA lf) {
        XGdiTestCanvas cv(120, 40);
        Selected f(cv.dc, lf);
        SetBkMode(cv.dc, TRANSPARENT);
        TextOutA(cv.dc, 5, 5, "Hill", 4);
        return cv.Count(kBlack);
    };
    const LOGFONTA plain = Font(-20, "Liberation Sans");
    const int n = inkOf(plain);
    LOGFONTA bold = plain, under = plain, strike = plain;
    bold.lfWeight = FW_BOLD, under.lfUnderline = 1, strike.lfStrikeOut = 1;
    for (const LOGFONTA& lf : {bold, under, strike})
        EXPECT_GT(inkOf(lf), n) << lf.lfWeight << " " << int(lf.lfUnderline) << int(lf.lfStrikeOut);
}

TEST(XGdiText, DrawTextCentresItsLineInTheRectangleAndClipsToIt)
{
    XGdiTestCanvas cv(120, 60);
    Selected f(cv.dc, Font(-16));
    SetBkMode(cv.dc, TRANSPARENT);
    RECT box = {20, 10, 100, 50};
    const int h = DrawTextA(cv.dc, "MID", 3, &box, DT_CENTER | DT_VCENTER | DT_SINGLELINE);
    SIZE sz;
    GetTextExtentPoint32A(cv.dc, "MID", 3, &sz);
    EXPECT_EQ(h, sz.cy);
    const RECT ink = cv.Ink();
    // Centred: the ink's middle lies within a few pixels of the box's middle.
    EXPECT_NEAR((ink.left + ink.right) / 2.0, 60.0, 3.0);
    EXPECT_NEAR((ink.top + ink.bottom) / 2.0, 30.0, 4.0);
    // A box too small for the text keeps the ink inside it.
    XGdiTestCanvas small(120, 60);
    Selected f2(small.dc, Font(-16));
    RECT tiny = {10, 10, 20, 14};
    DrawTextA(small.dc, "MMMM", 4, &tiny, DT_SINGLELINE);
    const RECT clipped = small.Ink();
    EXPECT_GE(clipped.left, 10);
    EXPECT_LE(clipped.right, 20);
    EXPECT_LE(clipped.bottom, 14);
}

TEST(XGdiText, AdvancesPlaceEachCharacter)
{
    XGdiTestCanvas cv(200, 40);
    Selected f(cv.dc, Font(-16));
    SetBkMode(cv.dc, TRANSPARENT);
    // Three letters 40 pixels apart, the second of them two bytes long.
    const char* pszText = "I\xC3\x89I";
    const int dx[4] = {40, 20, 20, 40};
    ASSERT_TRUE(ExtTextOutA(cv.dc, 10, 5, 0, nullptr, pszText, 4, dx));
    cv.Save("text-advances");
    auto inkIn = [&](int x0, int x1) {
        int n = 0;
        for (int y = 0; y < 40; ++y)
            for (int x = x0; x < x1; ++x)
                n += cv.At(x, y) != kWhite;
        return n;
    };
    EXPECT_GT(inkIn(10, 30), 0);
    EXPECT_GT(inkIn(50, 70), 0);
    EXPECT_GT(inkIn(90, 110), 0);
    EXPECT_EQ(inkIn(30, 50) + inkIn(70, 90) + inkIn(110, 200), 0);
}
