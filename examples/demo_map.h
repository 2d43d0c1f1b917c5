// The demo's drawing leg: a map of the raster it wrote, recorded into a
// vertex buffer for each replay path, saved through the remote server, loaded
// back and rendered to PNG files. World coordinates are the raster's pixel
// columns and rows, with y running up: row r lies at y = -r.
#pragma once

#include "KVDbase/KVDbase.h"
#include "KVDbase/platform/XGdi.h"

#include <cstdlib>
#include <string>
#include <vector>

namespace DemoMap {

const int kWidth = 640, kHeight = 640;
const int kThumb = 64; // the thumbnail's side in pixels

// A colour of the path: the raster path takes the opacity as a double, the
// antialiased path as the colour's high byte.
inline COLORREF Clr(const XVertBuffer& vb, COLORREF rgb, double dAlpha)
{
    if (vb.GetType() != XVertBuffer::PATH_GDIP)
        return rgb;
    return rgb | static_cast<COLORREF>(dAlpha * 255.0) << 24;
}

inline void Box(XVertBuffer& vb, double x1, double y1, double x2, double y2)
{
    const tagXVector2 p[4] = {{x1, y1}, {x2, y1}, {x2, y2}, {x1, y2}};
    const double e[4] = {x1, y1, x2, y2};
    vb.AddPolygon(p, 4, e);
}

inline tagXTextStyle LabelStyle()
{
    tagXTextStyle text;
    std::strcpy(text.lf.lfFaceName, "NanumGothic");
    text.lf.lfWeight = 700;
    text.nAlign = tagXTextStyle::ALIGN_HCENTER | tagXTextStyle::ALIGN_BOTTOM;
    return text;
}

// Records the map of an nSide by nSide raster of tiles of nTile pixels whose
// pixel (x, y) is pixelAt(x, y).
template <typename PixelFn>
void Record(XVertBuffer& vb, int nSide, int nTile, PixelFn pixelAt)
{
    const double s = nSide;
    vb.Start();
    vb.AddPolyFillMode(1);
    tagXFillStyle solid, hollow, hatch;
    hollow.SetStyle(tagXFillStyle::STYLE_HOLLOW);
    hatch.SetStyle(tagXFillStyle::STYLE_DIAGCROSS);
    tagXLineStyle line, dot;
    dot.SetStyle(tagXLineStyle::STYLE_DOT);

    // The raster's thumbnail, grey levels sampled from the raster.
    std::vector<char> bits(static_cast<size_t>(kThumb) * kThumb);
    std::vector<BYTE> info(sizeof(BITMAPINFOHEADER) + 256 * sizeof(RGBQUAD));
    BITMAPINFO* bmi = reinterpret_cast<BITMAPINFO*>(info.data());
    bmi->bmiHeader = {40, kThumb, kThumb, 1, 8, 0, 0, 0, 0, 0, 0};
    for (int i = 0; i < 256; ++i)
        bmi->bmiColors[i] = {static_cast<BYTE>(i), static_cast<BYTE>(i), static_cast<BYTE>(i), 0};
    for (int r = 0; r < kThumb; ++r)
        for (int c = 0; c < kThumb; ++c) // DIB rows run bottom-up
            bits[static_cast<size_t>(kThumb - 1 - r) * kThumb + c] =
                static_cast<char>(pixelAt(c * nSide / kThumb, r * nSide / kThumb));
    vb.AddDIB(bits.data(), bmi, 0.0, 0.0, s, -s, 0.0, 1.0, 0);

    // The tile outlines, in thin dark green.
    vb.AddLineStyle(&line, -1.0, Clr(vb, RGB(0, 96, 0), 1.0), 1.0);
    vb.AddFillStyle(&hollow, 0, 0, 1.0);
    const int nTiles = nSide / nTile;
    const int nStep = nTiles > 16 ? nTiles / 16 : 1; // at most 16 a side on the map
    for (int ty = 0; ty < nTiles; ty += nStep)
        for (int tx = 0; tx < nTiles; tx += nStep)
            Box(vb, tx * nTile, -(ty + 1.0) * nTile, (tx + 1.0) * nTile, -ty * nTile);

    // A graticule of dotted lines every eighth of the side.
    vb.AddLineStyle(&dot, 0.0, Clr(vb, RGB(255, 255, 0), 1.0), 1.0);
    for (int i = 0; i <= 8; ++i) {
        vb.AddLine(s * i / 8, 0.0, s * i / 8, -s);
        vb.AddLine(0.0, -s * i / 8, s, -s * i / 8);
    }

    // A hatched field and a half-transparent lake, outlined in black.
    vb.AddLineStyle(&line, -2.0, Clr(vb, RGB(0, 0, 0), 1.0), 1.0);
    vb.AddFillStyle(&hatch, Clr(vb, RGB(200, 0, 0), 1.0), Clr(vb, RGB(255, 230, 200), 1.0), 1.0);
    Box(vb, s * 0.1, -s * 0.4, s * 0.4, -s * 0.1);
    vb.AddFillStyle(&solid, Clr(vb, RGB(0, 0, 255), 0.5), Clr(vb, RGB(0, 0, 255), 0.5), 0.5);
    Box(vb, s * 0.55, -s * 0.9, s * 0.9, -s * 0.55);

    // Labels in Latin and Hangul, sizes in pixels. OpenGL takes the sizes in
    // world units: there they are scaled by the world width of a pixel of
    // the picture.
    vb.SetFontSizeFlag(1);
    const double k = vb.GetType() == XVertBuffer::PATH_GL ? s * 1.1 / kWidth : 1.0;
    tagXTextStyle text = LabelStyle();
    vb.AddTextStyle(&text, 28.0 * k, Clr(vb, RGB(255, 255, 255), 1.0), 0, 1.0);
    vb.AddText("Scene 장면", s * 0.5, -s * 0.06, 0.0);
    vb.AddTextStyle(&text, 20.0 * k, Clr(vb, RGB(0, 0, 0), 1.0), 0, 1.0);
    vb.AddText("Field 밭", s * 0.25, -s * 0.45, 0.0);
    vb.AddText("Lake 호수", s * 0.725, -s * 0.95, 0.0);
    vb.End();
}

// Saves the drawing to a file (local or remote).
inline void Save(XVertBuffer& vb, const XString& strPath)
{
    XFile file(strPath, XFile::flagCreate | XFile::flagWrite);
    XArchive ar(&file, XArchive::store, 1 << 16);
    vb.Serialize(ar);
    ar.Close();
}

inline void LoadInto(XVertBuffer& vb, const XString& strPath)
{
    XFile file(strPath, XFile::flagRead);
    XArchive ar(&file, XArchive::load);
    vb.Serialize(ar);
    ar.Close();
}

// Renders the map of an nSide raster on a surface of its own; the caller
// probes it and deletes it. The back buffer lies over an image window: a DIB
// one for the raster and antialiased paths, and for OpenGL a type 3 one
// drawing headless into the window's pixels, where the swap lands the frame.
struct Picture {
    HWND hWnd;
    XBackBuffer bb;
    bool bMade = false;
    Picture(XVertBuffer& vb, int nSide) : hWnd(XfnCreateImageWindow(kWidth, kHeight))
    {
        const bool bGL = vb.GetType() == XVertBuffer::PATH_GL;
        bMade = hWnd != nullptr && bb.Create(hWnd, bGL ? XBackBuffer::TYPE_OPENGL : XBackBuffer::TYPE_DIB) &&
                (!bGL || bb.Resize(GetDC(hWnd), kWidth, kHeight));
        if (!bMade)
            return;
        if (bGL) { // the labels' outline font, and the glyph atlas for Hangul
            XBackBuffer::CreateCompositeFont();
            tagXTextStyle text = LabelStyle();
            bb.AddGLFont(&text);
        }
        bb.Clear(RGB(255, 255, 255), nullptr);
        bb.ZoomFit(-nSide * 0.05, -nSide * 1.05, nSide * 1.05, nSide * 0.05);
        vb.Draw(&bb);
        if (bGL)
            bb.Swap(static_cast<HDC>(nullptr), SRCCOPY);
    }
    ~Picture()
    {
        bb.Delete();
        DestroyWindow(hWnd);
    }
    // The colour at the world point.
    COLORREF At(double x, double y)
    {
        bb.ConvWorldToPixelCoord(x, y);
        return GetPixel(bb.GetDC(), static_cast<int>(x), static_cast<int>(y));
    }
    // The number of pixels of the colour in the world box.
    int Count(COLORREF clr, double x1, double y1, double x2, double y2)
    {
        bb.ConvWorldToPixelCoord(x1, y1);
        bb.ConvWorldToPixelCoord(x2, y2);
        int n = 0;
        for (int y = static_cast<int>(std::min(y1, y2)); y < static_cast<int>(std::max(y1, y2)); ++y)
            for (int x = static_cast<int>(std::min(x1, x2)); x < static_cast<int>(std::max(x1, x2)); ++x)
                n += GetPixel(bb.GetDC(), x, y) == clr;
        return n;
    }
};

} // namespace DemoMap
