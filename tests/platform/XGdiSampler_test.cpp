// One picture of the raster device's pens, brushes, shapes and text, drawn through a window over the
// application's pixels, written to gdi-png/sampler.png (the picture of docs/drawing.md) and probed.
#include "platform/XGdiTestCanvas.h"

#include <vector>

TEST(XGdiSampler, EveryKindOfObjectInOnePictureOnTheApplicationsPixels)
{
    // The application's pixels, with a padded stride: 4 more pixels a row.
    const int w = 360, h = 200, nStride = (w + 4) * 4;
    std::vector<uint32_t> pixels(static_cast<size_t>(w + 4) * h, 0x11111111u);
    HWND wnd = XfnCreatePixelWindow(pixels.data(), w, h, nStride);
    ASSERT_NE(wnd, nullptr);
    HDC dc = GetDC(wnd);
    RECT rc;
    int nGot = 0;
    ASSERT_TRUE(GetClientRect(wnd, &rc));
    EXPECT_EQ((std::vector<LONG>{rc.right, rc.bottom}), (std::vector<LONG>{w, h}));
    EXPECT_EQ(XfnGetWindowPixels(wnd, &nGot), pixels.data());
    EXPECT_EQ(nGot, nStride);
    // A white back buffer copied in; the five cosmetic styles, and widths 1 to 4.
    XGdiTestCanvas back(w, h);
    ASSERT_TRUE(BitBlt(dc, 0, 0, w, h, back.dc, 0, 0, SRCCOPY));
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
    // The six hatches, opaque on yellow, then transparent.
    SetBkColor(dc, RGB(255, 240, 120));
    for (int i = 0; i < 6; ++i) {
        Selected br(dc, CreateHatchBrush(i, RGB(0, 100, 0)));
        SetBkMode(dc, i < 3 ? OPAQUE : TRANSPARENT);
        Rectangle(dc, 125 + 38 * i, 10, 157 + 38 * i, 42);
    }
    // A pentagram in both fill modes and an ellipse.
    {
        Selected fill(dc, CreateSolidBrush(RGB(90, 150, 230)));
        const POINT star[5] = {{160, 52}, {185, 128}, {120, 81}, {200, 81}, {135, 128}};
        const POINT star2[5] = {{250, 52}, {275, 128}, {210, 81}, {290, 81}, {225, 128}};
        Polygon(dc, star, 5);
        SetPolyFillMode(dc, WINDING);
        Polygon(dc, star2, 5);
        Ellipse(dc, 300, 55, 350, 125);
    }
    // Latin and Hangul at an anchor marked by a red pixel, then bold italic turned by its escapement.
    LOGFONTA lf = Font(-18);
    {
        Selected font(dc, lf);
        SetBkMode(dc, TRANSPARENT);
        TextOutA(dc, 10, 150, "Seoul \xEC\x84\x9C\xEC\x9A\xB8", 12);
        SetPixel(dc, 10, 150, kRed);
        lf.lfEscapement = 300;
        lf.lfWeight = FW_BOLD;
        lf.lfItalic = 1;
        Selected turned(dc, lf);
        TextOutA(dc, 200, 185, "turned 30", 9);
    }
    std::filesystem::create_directories("gdi-png");
    ASSERT_TRUE(XfnWritePNG(dc, "gdi-png/sampler.png"));
    EXPECT_TRUE(XfnWriteBitmapPNG(back.bm, "gdi-png/sampler-back.png"));
    EXPECT_FALSE(XfnWritePNG(dc, "/nonexistent-dir/x.png"));
    // The last point of a line is left out; the star's middle is wound twice.
    const Probe probes[] = {{10, 10, RGB(0, 0, 160)}, {110, 10, kWhite}, {160, 95, kWhite},
                            {250, 95, RGB(90, 150, 230)}, {325, 90, RGB(90, 150, 230)}};
    for (const Probe& p : probes)
        EXPECT_EQ(GetPixel(dc, p.x, p.y), p.c) << p.x << "," << p.y;
    EXPECT_EQ(pixels[w], 0x11111111u); // the padding is the application's
    DestroyWindow(wnd);
    EXPECT_EQ(pixels[10 * (w + 4) + 10] & 0xFFFFFF, 0x0000A0u); // never freed nor cleared
}
