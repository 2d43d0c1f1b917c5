// The antialiased device's pens, brushes and fonts of the style records.
#include "KVDbase/drawing/XDrawStyleGDIP.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

using namespace Gdiplus;

namespace {

std::vector<REAL> Dashes(Pen& pen)
{
    std::vector<REAL> v(static_cast<size_t>(pen.GetDashPatternCount()));
    if (!v.empty())
        pen.GetDashPattern(v.data(), static_cast<INT>(v.size()));
    return v;
}

} // namespace

TEST(XfnCreatePenGDIP, CodesDashesAndTheUserPattern)
{
    Pen* pPen = nullptr;
    tagXLineStyle style;
    for (int nCode = 0; nCode <= 4; ++nCode) {
        style.SetStyle(nCode);
        XfnCreatePenGDIP(pPen, &style, 2.5, Color(0x80, 0x10, 0x20, 0x30));
        ASSERT_NE(pPen, nullptr);
        EXPECT_EQ(pPen->GetDashStyle(), static_cast<DashStyle>(nCode));
        EXPECT_EQ(pPen->GetWidth(), 2.5f);
        EXPECT_EQ(pPen->GetStartCap(), LineCapRound);
        EXPECT_EQ(pPen->GetEndCap(), LineCapRound);
        Color c;
        pPen->GetColor(&c);
        EXPECT_EQ(c.GetValue(), 0x80102030u);
    }
    style.SetStyle(5); // solid and fully transparent
    XfnCreatePenGDIP(pPen, &style, 1.0, Color(255, 255, 0, 0));
    Color c;
    pPen->GetColor(&c);
    EXPECT_EQ(c.GetValue(), 0u);
    EXPECT_EQ(pPen->GetDashStyle(), DashStyleSolid);

    struct Case {
        unsigned short nPattern;
        int nFactor;
        double dWidth;
        std::vector<REAL> runs;
    };
    const Case cases[] = {
        {0x00FF, 1, 2.0, {16.0f, 16.0f}},      // shifted to 0xFF00, runs 8, 8, times the width
        {0x8001, 2, 0.0, {2.0f, 28.0f, 2.0f}}, // width 0: the factor alone
        {0xFFFF, 3, 0.0, {48.0f}},             // solid mask, but a factor: one run
        {0xF0F0, 1, 1.5, {6.0f, 6.0f, 6.0f, 6.0f}},
    };
    for (const Case& k : cases) {
        style.SetStyle(k.nPattern, k.nFactor);
        XfnCreatePenGDIP(pPen, &style, k.dWidth, Color(255, 0, 0, 0));
        SCOPED_TRACE(k.nPattern);
        EXPECT_EQ(pPen->GetDashStyle(), DashStyleCustom);
        EXPECT_EQ(Dashes(*pPen), k.runs);
    }
    // No bit set and a factor other than 1: nothing to draw.
    style.SetStyle(0, 2);
    XfnCreatePenGDIP(pPen, &style, 1.0, Color(255, 0, 0, 0));
    pPen->GetColor(&c);
    EXPECT_EQ(c.GetA(), 0);
    delete pPen;
}

TEST(XfnCreateBrushGDIP, EachCodeMakesItsBrush)
{
    struct Case {
        int nCode;
        BrushType type;
        int nHatch;
    };
    const Case cases[] = {
        {0, BrushTypeSolidColor, -1},        {1, BrushTypeSolidColor, -1},
        {2, BrushTypeHatchFill, 3},          {3, BrushTypeHatchFill, 4},
        {4, BrushTypeHatchFill, 5},          {5, BrushTypeHatchFill, 2},
        {6, BrushTypeHatchFill, 0},          {7, BrushTypeHatchFill, 1},
        {8, BrushTypeTextureFill, -1},       {1024, BrushTypeTextureFill, -1},
        {-1, BrushTypeHatchFill, -1},
    };
    const Color fore(255, 200, 0, 0), back(255, 0, 0, 200);
    Brush* pBrush = nullptr;
    for (const Case& k : cases) {
        tagXFillStyle style;
        if (k.nCode == 1024) {
            unsigned char pattern[128] = {0};
            style.SetStyle(pattern);
        } else if (k.nCode == -1) {
            style.nStyle = 99; // a code no table lists, as a stream can carry it
        } else {
            style.SetStyle(k.nCode);
        }
        XfnCreateBrushGDIP(pBrush, &style, fore, back);
        SCOPED_TRACE(k.nCode);
        ASSERT_NE(pBrush, nullptr);
        EXPECT_EQ(pBrush->GetType(), k.type);
        if (k.nCode == 0 || k.nCode == 1) {
            Color c;
            static_cast<SolidBrush*>(pBrush)->GetColor(&c);
            EXPECT_EQ(c.GetValue(), k.nCode == 0 ? fore.GetValue() : 0x00FFFFFFu);
        }
        if (k.type == BrushTypeHatchFill) {
            HatchBrush* h = static_cast<HatchBrush*>(pBrush);
            EXPECT_EQ(h->GetHatchStyle(), k.nHatch >= 0 ? k.nHatch : 99);
            Color c;
            h->GetBackgroundColor(&c);
            EXPECT_EQ(c.GetValue(), back.GetValue());
        }
    }
    delete pBrush;
}

TEST(XfnCreateBrushGDIP, TexturesStandUprightWithTheirGaps)
{
    // One bit: row 0, bit 31, which is column 0 of the top row.
    unsigned char pattern[128] = {0};
    pattern[3] = 0x80;
    pattern[4 * 31] = 0x01; // and row 31, bit 0: the bottom right corner
    const Color fore(255, 200, 0, 0), back(255, 0, 0, 200);
    for (int nCode : {8, 1024}) {
        tagXFillStyle style;
        style.SetStyle(pattern);
        style.nStyle = nCode;
        Brush* pBrush = nullptr;
        XfnCreateBrushGDIP(pBrush, &style, fore, back);
        ASSERT_NE(pBrush, nullptr);
        Image* img = static_cast<TextureBrush*>(pBrush)->GetImage();
        ASSERT_NE(img, nullptr);
        Bitmap* bmp = static_cast<Bitmap*>(img);
        EXPECT_EQ(bmp->GetWidth(), 32u);
        Color c;
        bmp->GetPixel(0, 0, &c);
        EXPECT_EQ(c.GetValue(), fore.GetValue());
        bmp->GetPixel(31, 31, &c);
        EXPECT_EQ(c.GetValue(), fore.GetValue());
        bmp->GetPixel(31, 0, &c);
        EXPECT_EQ(c.GetValue(), nCode == 8 ? 0u : back.GetValue());
        bmp->GetPixel(0, 31, &c);
        EXPECT_EQ(c.GetValue(), nCode == 8 ? 0u : back.GetValue());
        delete img;
        delete pBrush;
    }
}

TEST(XfnCreateFontGDIP, StyleFlagsAndSize)
{
    struct Case {
        LONG nWeight;
        BYTE bItalic, bUnderline, bStrike;
        INT nStyle;
    };
    const Case cases[] = {
        {400, 0, 0, 0, FontStyleRegular},
        {700, 0, 0, 0, FontStyleBold},
        {800, 0, 0, 0, FontStyleRegular}, // only 700 is bold
        {700, 1, 1, 1, FontStyleBold | FontStyleItalic | FontStyleUnderline | FontStyleStrikeout},
        {100, 0, 1, 0, FontStyleUnderline},
    };
    Font* pFont = nullptr;
    for (const Case& k : cases) {
        tagXTextStyle style;
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
    tagXTextStyle style;
    std::strcpy(style.lf.lfFaceName, "NanumGothic");
    XfnCreateFontGDIP(pFont, &style, 12.0);
    FontFamily family(L"");
    pFont->GetFamily(&family);
    wchar_t name[32];
    family.GetFamilyName(name);
    EXPECT_STREQ(name, L"NanumGothic");
    delete pFont;
}
