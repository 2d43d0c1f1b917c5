// A memory DC over a top-down DIB section: pixels read straight from memory, probe tables, and a PNG of the
// canvas written into the build tree (gdi-png/) to look at.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <initializer_list>
#include <set>
#include <string>

#include "KVDbase/platform/XGdi.h"

struct XGdiTestCanvas {
    HDC dc = nullptr;
    HBITMAP bm = nullptr;
    HGDIOBJ old = nullptr;
    uint32_t* bits = nullptr;
    int w, h;

    XGdiTestCanvas(int nWidth, int nHeight, COLORREF clrFill = RGB(255, 255, 255)) : w(nWidth), h(nHeight)
    {
        dc = CreateCompatibleDC(nullptr);
        BITMAPINFO bmi = {};
        bmi.bmiHeader = {40, nWidth, -nHeight, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
        void* p = nullptr;
        bm = CreateDIBSection(dc, &bmi, DIB_RGB_COLORS, &p, nullptr, 0);
        bits = static_cast<uint32_t*>(p);
        old = SelectObject(dc, bm);
        Fill(clrFill);
    }
    ~XGdiTestCanvas()
    {
        SelectObject(dc, old);
        DeleteObject(bm);
        DeleteDC(dc);
    }
    void Fill(COLORREF c)
    {
        HBRUSH b = CreateSolidBrush(c);
        RECT r = {0, 0, w, h};
        FillRect(dc, &r, b);
        DeleteObject(b);
    }
    void Line(int x0, int y0, int x1, int y1)
    {
        MoveToEx(dc, x0, y0, nullptr);
        LineTo(dc, x1, y1);
    }
    // The colour at (x, y), as GetPixel reports it.
    COLORREF At(int x, int y) const
    {
        const uint32_t v = bits[y * w + x];
        return RGB((v >> 16) & 0xFF, (v >> 8) & 0xFF, v & 0xFF);
    }
    int Count(COLORREF c) const
    {
        int n = 0;
        for (int i = 0; i < w * h; ++i)
            n += At(i % w, i / w) == c;
        return n;
    }
    std::set<COLORREF> Colours() const
    {
        std::set<COLORREF> seen;
        for (int i = 0; i < w * h; ++i)
            seen.insert(At(i % w, i / w));
        return seen;
    }
    // The box of every pixel that is not of the background colour.
    RECT Ink(COLORREF clrBack = RGB(255, 255, 255)) const
    {
        RECT r = {w, h, -1, -1};
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
                if (At(x, y) != clrBack)
                    r = {std::min<LONG>(r.left, x), std::min<LONG>(r.top, y), std::max<LONG>(r.right, x + 1),
                         std::max<LONG>(r.bottom, y + 1)};
        return r;
    }
    void Save(const std::string& name) const
    {
        std::filesystem::create_directories("gdi-png");
        EXPECT_TRUE(XfnWritePNG(dc, ("gdi-png/" + name + ".png").c_str()));
    }
};

// A plain font of the given height (negative: the em, positive: the cell).
inline LOGFONTA Font(LONG nHeight, const char* pszFace = "Courier New")
{
    LOGFONTA lf = {};
    lf.lfHeight = nHeight;
    lf.lfWeight = FW_NORMAL;
    lf.lfCharSet = DEFAULT_CHARSET;
    std::strcpy(lf.lfFaceName, pszFace);
    return lf;
}

// An object selected into a DC for a scope: put back and deleted at its end.
struct Selected {
    HDC dc;
    HGDIOBJ obj, old;
    Selected(HDC d, HGDIOBJ o) : dc(d), obj(o), old(SelectObject(d, o)) {}
    Selected(HDC d, const LOGFONTA& lf) : Selected(d, CreateFontIndirectA(&lf)) {}
    ~Selected()
    {
        SelectObject(dc, old);
        DeleteObject(obj);
    }
    Selected(const Selected&) = delete;
    Selected& operator=(const Selected&) = delete;
};

constexpr COLORREF kWhite = RGB(255, 255, 255);
constexpr COLORREF kBlack = RGB(0, 0, 0);
constexpr COLORREF kRed = RGB(255, 0, 0);
constexpr COLORREF kGreen = RGB(0, 255, 0);
constexpr COLORREF kBlue = RGB(0, 0, 255);

// A pixel and the colour it must have.
struct Probe {
    int x, y;
    COLORREF c;
};

inline void ExpectPixels(const XGdiTestCanvas& cv, std::initializer_list<Probe> probes)
{
    for (const Probe& p : probes)
        EXPECT_EQ(cv.At(p.x, p.y), p.c) << "at " << p.x << "," << p.y;
}
