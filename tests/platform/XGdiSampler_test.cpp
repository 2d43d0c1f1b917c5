// One picture of the raster device's pens, brushes, shapes and text, drawn
// through a window over pixels the test owns, written to gdi-png/sampler.png
// (the picture of docs/drawing.md), with probes of its known pixels.
#include "platform/XGdiTestCanvas.h"

#include <cstring>
#include <vector>

TEST(XGdiSampler, EveryKindOfObjectInOnePicture)
{
    const int w = 360, h = 200;
    std::vector<uint32_t> pixels(static_cast<size_t>(w) * h);
    HWND wnd = XfnCreatePixelWindow(pixels.data(), w, h, w * 4);
    HDC dc = GetDC(wnd);
    RECT all = {0, 0, w, h};
    HBRUSH white = CreateSolidBrush(kWhite);
    FillRect(dc, &all, white);
    DeleteObject(white);

    // Pens: the five cosmetic styles, then widths 1 to 4.
    const int styles[5] = {PS_SOLID, PS_DASH, PS_DOT, PS_DASHDOT, PS_DASHDOTDOT};
    for (int i = 0; i < 5; ++i) {
        Selected pen(dc, CreatePen(styles[i], 0, RGB(0, 0, 160)));
        MoveToEx(dc, 10, 10 + 6 * i, nullptr);
        LineTo(dc, 110, 10 + 6 * i);
    }
    for (int i = 1; i <= 4; ++i) {
        Selected pen(dc, CreatePen(PS_SOLID, i, RGB(160, 0, 0)));
        MoveToEx(dc, 10, 40 + 8 * i, nullptr);
        LineTo(dc, 110, 70 + 2 * i);
    }

    // Brushes: the six hatches, opaque on yellow, then transparent.
    SetBkColor(dc, RGB(255, 240, 120));
    for (int i = 0; i < 6; ++i) {
        Selected br(dc, CreateHatchBrush(i, RGB(0, 100, 0)));
        SetBkMode(dc, i < 3 ? OPAQUE : TRANSPARENT);
        Rectangle(dc, 125 + 38 * i, 10, 157 + 38 * i, 42);
    }

    // Shapes: a pentagram in both fill modes and an ellipse.
    {
        Selected fill(dc, CreateSolidBrush(RGB(90, 150, 230)));
        const POINT star[5] = {{160, 52}, {185, 128}, {120, 81}, {200, 81}, {135, 128}};
        Polygon(dc, star, 5);
        SetPolyFillMode(dc, WINDING);
        POINT star2[5];
        for (int i = 0; i < 5; ++i)
            star2[i] = {star[i].x + 90, star[i].y};
        Polygon(dc, star2, 5);
        Ellipse(dc, 300, 55, 350, 125);
    }

    // Text: Latin and Hangul at an anchor marked by a red pixel.
    LOGFONTA lf = Font(-18);
    {
        Selected font(dc, lf);
        SetBkMode(dc, TRANSPARENT);
        SetTextAlign(dc, 0);
        const char* pszText = "Seoul \xEC\x84\x9C\xEC\x9A\xB8";
        TextOutA(dc, 10, 150, pszText, static_cast<int>(std::strlen(pszText)));
        SetPixel(dc, 10, 150, kRed);
        lf.lfEscapement = 300;
        lf.lfWeight = FW_BOLD;
        lf.lfItalic = 1;
        Selected turned(dc, lf);
        TextOutA(dc, 200, 185, "turned 30", 9);
    }

    std::filesystem::create_directories("gdi-png");
    ASSERT_TRUE(XfnWritePNG(dc, "gdi-png/sampler.png"));
    auto at = [&](int x, int y) { return GetPixel(dc, x, y); };
    EXPECT_EQ(at(10, 10), RGB(0, 0, 160));
    EXPECT_EQ(at(110, 10), kWhite); // the last point is left out
    EXPECT_EQ(at(160, 95), kWhite); // wound twice, empty in ALTERNATE
    EXPECT_EQ(at(250, 95), RGB(90, 150, 230)); // and filled in WINDING
    EXPECT_EQ(at(325, 90), RGB(90, 150, 230));
    DestroyWindow(wnd);
}
