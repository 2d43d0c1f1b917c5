// Text on the raster device: LOGFONTA's height rules, the box about its anchor, DrawTextA,
// Hangul through fallback, escapement and advances.
#include "platform/XGdiTestCanvas.h"

#include <cstring>
#include <vector>

namespace {

// A white canvas with the font selected and the text colour black.
struct TextCanvas : XGdiTestCanvas {
    Selected font;
    TextCanvas(int w, int h, const LOGFONTA& lf, int nBkMode = TRANSPARENT) : XGdiTestCanvas(w, h), font(dc, lf)
    {
        SetBkMode(dc, nBkMode);
        SetBkColor(dc, kRed);
    }
    SIZE Extent(const char* psz) const
    {
        SIZE sz = {};
        GetTextExtentPoint32A(dc, psz, static_cast<int>(std::strlen(psz)), &sz);
        return sz;
    }
    int InkIn(int x0, int x1) const
    {
        int n = 0;
        for (int y = 0; y < h; ++y)
            for (int x = x0; x < x1; ++x)
                n += At(x, y) != kWhite;
        return n;
    }
};

std::vector<LONG> Box(const RECT& r) { return {r.left, r.top, r.right, r.bottom}; }

} // namespace

TEST(XGdiText, HeightSignRulesOfLogfont)
{
    TEXTMETRICA em, cell;
    TextCanvas a(10, 10, Font(-20)), b(10, 10, Font(20));
    ASSERT_TRUE(GetTextMetricsA(a.dc, &em) && GetTextMetricsA(b.dc, &cell));
    EXPECT_EQ(em.tmHeight - em.tmInternalLeading, 20);
    EXPECT_EQ(em.tmHeight, em.tmAscent + em.tmDescent);
    EXPECT_NEAR(cell.tmHeight, 20, 1);
    EXPECT_LT(cell.tmHeight - cell.tmInternalLeading, 20);
}

TEST(XGdiText, AlignmentPlacesTheTextBoxAboutItsAnchor)
{
    const UINT aligns[3] = {TA_LEFT | TA_TOP, TA_RIGHT | TA_BOTTOM, TA_CENTER | TA_BASELINE};
    for (UINT nAlign : aligns) {
        TextCanvas cv(200, 100, Font(-20), OPAQUE);
        TEXTMETRICA tm;
        GetTextMetricsA(cv.dc, &tm);
        const SIZE sz = cv.Extent("HEb");
        EXPECT_EQ(SetTextAlign(cv.dc, nAlign), 0u);
        ASSERT_TRUE(ExtTextOutA(cv.dc, 100, 50, 0, nullptr, "HEb", 3, nullptr));
        // The opaque box is the text's extent, moved by the alignment.
        const UINT h = nAlign & TA_CENTER, v = nAlign & TA_BASELINE;
        const LONG x = h == TA_RIGHT ? 100 - sz.cx : h == TA_CENTER ? 100 - sz.cx / 2 : 100;
        const LONG y = v == TA_BOTTOM ? 50 - sz.cy : v == TA_BASELINE ? 50 - tm.tmAscent : 50;
        EXPECT_EQ(Box(cv.Ink()), (std::vector<LONG>{x, y, x + sz.cx, y + sz.cy})) << nAlign;
        // Aliased: only the text colour and the background.
        EXPECT_EQ(cv.Colours(), (std::set<COLORREF>{kBlack, kRed, kWhite})) << nAlign;
    }
    // An opaque clipping rectangle bounds the text and its background.
    TextCanvas clip(60, 30, Font(-24));
    const RECT box = {5, 4, 30, 14};
    ASSERT_TRUE(ExtTextOutA(clip.dc, 0, 0, ETO_OPAQUE | ETO_CLIPPED, &box, "MMMM", 4, nullptr));
    EXPECT_EQ(Box(clip.Ink()), Box(box));
    EXPECT_TRUE(clip.Count(kBlack) > 10 && clip.Count(kRed) > 10);
}

TEST(XGdiText, DrawTextMeasuresWhatGetTextExtentReportsAndPlacesByItsFormat)
{
    TextCanvas cv(120, 60, Font(-16));
    const SIZE sz = cv.Extent("Seoul 2024");
    RECT r = {5, 7, 5, 7};
    const int h = DrawTextA(cv.dc, "Seoul 2024", -1, &r, DT_CALCRECT | DT_SINGLELINE);
    EXPECT_EQ(h, sz.cy);
    EXPECT_EQ(Box(r), (std::vector<LONG>{5, 7, 5 + sz.cx, 7 + sz.cy}));
    // '&' marks a prefix unless DT_NOPREFIX; a word break wraps at the width.
    RECT amp = {}, raw = {}, wrapped = {0, 0, sz.cx, 0};
    DrawTextA(cv.dc, "Seoul &2024", -1, &amp, DT_CALCRECT);
    DrawTextA(cv.dc, "Seoul &2024", -1, &raw, DT_CALCRECT | DT_NOPREFIX);
    EXPECT_EQ(amp.right, sz.cx);
    EXPECT_GT(raw.right, sz.cx);
    EXPECT_EQ(DrawTextA(cv.dc, "Seoul 2024 Seoul", -1, &wrapped, DT_CALCRECT | DT_WORDBREAK), 2 * sz.cy);
    // Centred in the box.
    RECT box = {20, 10, 100, 50};
    EXPECT_EQ(DrawTextA(cv.dc, "MID", 3, &box, DT_CENTER | DT_VCENTER | DT_SINGLELINE), cv.Extent("MID").cy);
    const RECT ink = cv.Ink();
    EXPECT_NEAR((ink.left + ink.right) / 2.0, 60.0, 3.0);
    EXPECT_NEAR((ink.top + ink.bottom) / 2.0, 30.0, 4.0);
}

TEST(XGdiText, HangulFallsBackToAFaceThatHasIt)
{
    TextCanvas cv(200, 50, Font(-24));
    const char* pszHangul = "\xED\x95\x9C\xEA\xB8\x80"; // two syllables
    EXPECT_GT(cv.Extent(pszHangul).cx, 30);
    TextOutA(cv.dc, 10, 10, pszHangul, 6);
    cv.Save("text-hangul");
    // Real glyphs: plenty of ink, not two hollow boxes; malformed text is drawn without harm, a negative count refused.
    EXPECT_GT(cv.Count(kBlack), 80);
    EXPECT_TRUE(TextOutA(cv.dc, 10, 10, "\xFF\xC3", 2));
    EXPECT_FALSE(TextOutA(cv.dc, 10, 10, "Ab", -1));
}

TEST(XGdiText, EscapementTurnsTheTextCounterClockwise)
{
    LOGFONTA lf = Font(-20);
    lf.lfEscapement = 900;
    TextCanvas cv(80, 160, lf);
    TextOutA(cv.dc, 20, 140, "LLLLLL", 6);
    cv.Save("text-escapement");
    // Turned a quarter: the text runs up from the anchor, the box that hung below it lies to its right.
    const RECT ink = cv.Ink();
    const SIZE sz = cv.Extent("LLLLLL");
    EXPECT_GT(ink.bottom - ink.top, 3 * (ink.right - ink.left));
    EXPECT_TRUE(ink.bottom <= 141 && ink.top >= 140 - sz.cx - 1) << ink.top;
    EXPECT_TRUE(ink.left >= 20 && ink.right <= 20 + sz.cy) << ink.right;
}

TEST(XGdiText, AdvancesPlaceEachCharacter)
{
    // Three letters 40 pixels apart, the second of them two bytes long.
    TextCanvas cv(200, 40, Font(-16));
    const int dx[4] = {40, 20, 20, 40};
    ASSERT_TRUE(ExtTextOutA(cv.dc, 10, 5, 0, nullptr, "I\xC3\x89I", 4, dx));
    cv.Save("text-advances");
    for (int x : {10, 50, 90})
        EXPECT_GT(cv.InkIn(x, x + 20), 0) << x;
    EXPECT_EQ(cv.InkIn(30, 50) + cv.InkIn(70, 90) + cv.InkIn(110, 200), 0);
}
