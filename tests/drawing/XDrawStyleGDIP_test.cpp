// The antialiased device's pens, brushes and fonts of the style records.
#include "KVDbase/drawing/XDrawStyleGDIP.h"

#include <gtest/gtest.h>

#include <vector>

using namespace Gdiplus;

namespace {

TEST(XfnCreatePenGDIP, CodesDashesAndTheUserPattern)
{
    Pen* pPen = nullptr;
    tagXLineStyle style;
    Color c;
    for (int nCode = 0; nCode <= 5; ++nCode) { // 5: solid and fully transparent
        style.SetStyle(nCode);
        XfnCreatePenGDIP(pPen, &style, 2.5, Color(0x80, 0x10, 0x20, 0x30));
        ASSERT_NE(pPen, nullptr);
        pPen->GetColor(&c);
        SCOPED_TRACE(nCode);
        EXPECT_EQ(pPen->GetDashStyle(), static_cast<DashStyle>(nCode == 5 ? 0 : nCode));
        EXPECT_EQ(c.GetValue(), nCode == 5 ? 0u : 0x80102030u);
        EXPECT_EQ(pPen->GetWidth(), 2.5f);
    }
    const struct {
        unsigned short nPattern;
        int nFactor;
        double dWidth;
        std::vector<REAL> runs;
    } cases[] = {
        {0x00FF, 1, 2.0, {16.0f, 16.0f}},      // shifted to 0xFF00, runs 8, 8, times the width
        {0x8001, 2, 0.0, {2.0f, 28.0f, 2.0f}}, // width 0: the factor alone
        {0xFFFF, 3, 0.0, {48.0f}},             // solid mask, but a factor: one run
    };
    for (const auto& k : cases) {
        style.SetStyle(k.nPattern, k.nFactor);
        XfnCreatePenGDIP(pPen, &style, k.dWidth, Color(255, 0, 0, 0));
        std::vector<REAL> runs(static_cast<size_t>(pPen->GetDashPatternCount()));
        pPen->GetDashPattern(runs.data(), static_cast<INT>(runs.size()));
        EXPECT_EQ(pPen->GetDashStyle(), DashStyleCustom) << k.nPattern;
        EXPECT_EQ(runs, k.runs) << k.nPattern;
    }
    style.SetStyle(0, 2); // no bit set and a factor other than 1: nothing to draw
    XfnCreatePenGDIP(pPen, &style, 1.0, Color(255, 0, 0, 0));
    pPen->GetColor(&c);
    EXPECT_EQ(c.GetA(), 0);
    delete pPen;
}

TEST(XfnCreateBrushGDIP, EachCodeMakesItsBrush)
{
    // Code -1 stands for a code no table lists, as a stream can carry it (99).
    const struct {
        int nCode;
        BrushType type;
        int nHatch;
    } cases[] = {
        {0, BrushTypeSolidColor, -1},  {1, BrushTypeSolidColor, -1},    {2, BrushTypeHatchFill, 3},
        {3, BrushTypeHatchFill, 4},    {4, BrushTypeHatchFill, 5},      {5, BrushTypeHatchFill, 2},
        {6, BrushTypeHatchFill, 0},    {7, BrushTypeHatchFill, 1},      {8, BrushTypeTextureFill, -1},
        {-1, BrushTypeHatchFill, 99},
    };
    const Color fore(255, 200, 0, 0), back(255, 0, 0, 200);
    Brush* pBrush = nullptr;
    for (const auto& k : cases) {
        tagXFillStyle style;
        if (k.nCode == -1)
            style.nStyle = 99;
        else
            style.SetStyle(k.nCode);
        XfnCreateBrushGDIP(pBrush, &style, fore, back);
        ASSERT_NE(pBrush, nullptr);
        SCOPED_TRACE(k.nCode);
        EXPECT_EQ(pBrush->GetType(), k.type);
        if (k.type == BrushTypeHatchFill) { // the solid and hollow colours are the antialiased fill scene's
            Color c;
            static_cast<HatchBrush*>(pBrush)->GetBackgroundColor(&c);
            EXPECT_EQ(static_cast<HatchBrush*>(pBrush)->GetHatchStyle(), k.nHatch);
            EXPECT_EQ(c.GetValue(), back.GetValue());
        }
    }
    delete pBrush;
}

TEST(XfnCreateFontGDIP, StyleFlagsAndSize)
{
    const struct {
        LONG nWeight;
        BYTE bItalic, bUnderline, bStrike;
        INT nStyle;
    } cases[] = {
        {400, 0, 0, 0, FontStyleRegular},
        {700, 0, 0, 0, FontStyleBold},
        {800, 0, 0, 0, FontStyleRegular}, // only 700 is bold
        {700, 1, 1, 1, FontStyleBold | FontStyleItalic | FontStyleUnderline | FontStyleStrikeout},
    };
    Font* pFont = nullptr;
    tagXTextStyle style;
    for (const auto& k : cases) {
        style.lf.lfWeight = k.nWeight;
        style.lf.lfItalic = k.bItalic;
        style.lf.lfUnderline = k.bUnderline;
        style.lf.lfStrikeOut = k.bStrike;
        XfnCreateFontGDIP(pFont, &style, 17.5);
        ASSERT_NE(pFont, nullptr);
        EXPECT_EQ(pFont->GetStyle(), k.nStyle);
        EXPECT_EQ(pFont->GetSize(), 17.5f);
        EXPECT_EQ(pFont->GetUnit(), UnitPixel);
    }
    delete pFont;
}

} // namespace
