// A back buffer on a window of the test's own for pixel tests: a w by h white image window, a surface of the type given
// on its DC, and a view in which world (x, y) is pixel (x, h - y), so that world y runs up from the bottom edge. PNG
// files go to the build tree.
#pragma once

#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/platform/XGdi.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <string>

#ifndef KVD_TEST_OUTPUT_DIR
#define KVD_TEST_OUTPUT_DIR "."
#endif

struct XTestCanvas {
    HWND hWnd;
    XBackBuffer bb;

    XTestCanvas(int w, int h, int nType = XBackBuffer::TYPE_DIB) : hWnd(XfnCreateImageWindow(w, h))
    {
        bb.Create(hWnd, nType);
        if (nType == XBackBuffer::TYPE_DDB) {
            // Off the placeholder: a type 1 surface needs a size other than the device's to get a bitmap of its own.
            bb.Resize(::GetDC(hWnd), w + 1, h);
            bb.Resize(::GetDC(hWnd), w, h);
        }
        bb.Clear(RGB(255, 255, 255), nullptr);
        bb.SetWorldPerPixel(1.0, 1.0);
        bb.SetWorldToCenter(w / 2.0, h / 2.0);
    }
    ~XTestCanvas()
    {
        bb.Delete();
        DestroyWindow(hWnd);
    }
    XTestCanvas(const XTestCanvas&) = delete;
    XTestCanvas& operator=(const XTestCanvas&) = delete;

    HDC DC() const { return bb.GetDC(); }
    HDC WindowDC() const { return ::GetDC(hWnd); }
    COLORREF Px(int x, int y) const { return GetPixel(bb.GetDC(), x, y); }
    // The number of pixels of colour clr in the rectangle [x0, x1) by [y0, y1).
    int Count(COLORREF clr, int x0, int y0, int x1, int y1) const
    {
        int n = 0;
        for (int y = y0; y < y1; ++y)
            for (int x = x0; x < x1; ++x)
                n += Px(x, y) == clr;
        return n;
    }
    int Count(COLORREF clr) const { return Count(clr, 0, 0, bb.GetWidth(), bb.GetHeight()); }
    // Writes the surface to a PNG of the build tree and returns its path.
    std::string SavePNG(const char* pszName) const
    {
        const std::string path = std::string(KVD_TEST_OUTPUT_DIR) + "/" + pszName + ".png";
        XfnWritePNG(bb.GetDC(), path.c_str());
        return path;
    }
};

// Expects each pixel (x, y) of a canvas (or anything with Px) to have its colour.
struct PixelIs {
    int x, y;
    COLORREF clr;
};
template <class Surface>
inline void ExpectPixels(const Surface& c, std::initializer_list<PixelIs> pixels)
{
    for (const PixelIs& p : pixels)
        EXPECT_EQ(c.Px(p.x, p.y), p.clr) << "pixel " << p.x << "," << p.y;
}

// Styles of one code.
template <class Style>
inline Style StyleCode(int nCode)
{
    Style s;
    s.SetStyle(nCode);
    return s;
}
inline tagXFillStyle FillCode(int nCode) { return StyleCode<tagXFillStyle>(nCode); }
inline tagXLineStyle LineCode(int nCode) { return StyleCode<tagXLineStyle>(nCode); }

const COLORREF kWhite = RGB(255, 255, 255), kBlack = RGB(0, 0, 0), kRed = RGB(255, 0, 0), kGreen = RGB(0, 255, 0);
const COLORREF kBlue = RGB(0, 0, 255);
