// The reference map: a small map of a peninsula in longitude and latitude, recorded into an XVertBuffer of any
// render path, which every replay draws and the suite writes to PNGs: sea, land with a lake (a ring with a hole), a
// hatched and a stippled island, a dotted graticule, dashed roads of world and pixel widths, city markers and points,
// labels in Latin and Hangul at several anchors (one turned), a half-transparent legend and a colour-keyed picture.
// Record it, call SetView on a kWidth by kHeight surface, replay. Free of platform headers, for any test or benchmark.
#pragma once

#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/drawing/XVertBuffer.h"

#include <vector>

namespace XReferenceDrawing {

const int kWidth = 480, kHeight = 320;

// Colours, 0x00BBGGRR.
const COLORREF kSea = 0xF0D8A8, kLand = 0xB4DCE6, kCoast = 0x206020, kGrid = 0x808080, kRoad = 0x2020D0;
const COLORREF kHighway = 0x0080FF, kCity = 0xFFFFFF, kInk = 0x000000, kIsland = 0x208040, kReef = 0x000090;

// The view: the whole of 123.5 to 132.5 east and 33 to 39 north.
inline void SetView(XBackBuffer& bb) { bb.ZoomFit(123.5, 33.0, 132.5, 39.0); }

struct Probe {
    double x, y;
    COLORREF clr;
};

// Places inside large areas of one colour, away from every edge: the open sea, the land, and the lake, which is the
// hole of the land and shows the sea.
inline std::vector<Probe> Probes()
{
    return {{124.5, 34.5, kSea}, {128.3, 38.2, kLand}, {128.1, 36.55, kSea}, {131.5, 38.5, kSea}};
}

// The extent of a list of points: minimum x, minimum y, maximum x, maximum y.
inline void ExtentOf(const std::vector<tagXVector2>& pts, double* e)
{
    e[0] = e[2] = pts[0].x;
    e[1] = e[3] = pts[0].y;
    for (const tagXVector2& p : pts) {
        e[0] = p.x < e[0] ? p.x : e[0];
        e[1] = p.y < e[1] ? p.y : e[1];
        e[2] = p.x > e[2] ? p.x : e[2];
        e[3] = p.y > e[3] ? p.y : e[3];
    }
}

inline void Polygon(XVertBuffer& vb, const std::vector<tagXVector2>& pts)
{
    double e[4];
    ExtentOf(pts, e);
    vb.AddPolygon(pts.data(), static_cast<int>(pts.size()), e);
}

inline void Polyline(XVertBuffer& vb, const std::vector<tagXVector2>& pts)
{
    double e[4];
    ExtentOf(pts, e);
    vb.AddPolyline(pts.data(), static_cast<int>(pts.size()), e);
}

// A w by h 24-bit DIB: a diagonal gradient from red to blue, with a black square in the middle quarter (the colour key
// of the keyed image).
struct Picture {
    BITMAPINFO bmi = {{sizeof(BITMAPINFOHEADER), 0, 0, 1, 24, 0, 0, 0, 0, 0, 0}, {}};
    std::vector<char> bits;
    Picture(int w, int h)
    {
        bmi.bmiHeader.biWidth = w;
        bmi.bmiHeader.biHeight = h;
        const int nStride = (w * 3 + 3) & ~3;
        bits.assign(static_cast<size_t>(nStride) * h, 0);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                char* p = &bits[static_cast<size_t>(nStride) * y + 3 * x];
                if (x < w / 4 || x >= 3 * w / 4 || y < h / 4 || y >= 3 * h / 4) {
                    p[0] = static_cast<char>(255 * x / (w - 1));
                    p[1] = static_cast<char>(128 * y / (h - 1));
                    p[2] = static_cast<char>(255 - 255 * x / (w - 1));
                }
            }
    }
};

template <class Style>
inline Style StyleOf(int nCode)
{
    Style s;
    s.SetStyle(nCode);
    return s;
}

inline void Label(XVertBuffer& vb, const char* pszText, double x, double y, int nAlign, double dSize,
                  int nOrientation = 0, LONG nWeight = 400)
{
    tagXTextStyle s;
    s.nAlign = nAlign;
    s.lf.lfOrientation = nOrientation;
    s.lf.lfWeight = nWeight;
    vb.AddTextStyle(&s, dSize, kInk, kCity, 1.0);
    vb.AddText(pszText, x, y, 0.0);
}

inline void Record(XVertBuffer& vb)
{
    vb.Start();
    vb.AddPolyFillMode(1); // ALTERNATE: the lake stays a hole

    // The sea, beyond the view on every side.
    tagXFillStyle solid = StyleOf<tagXFillStyle>(tagXFillStyle::STYLE_SOLID);
    tagXLineStyle none = StyleOf<tagXLineStyle>(tagXLineStyle::STYLE_NONE);
    vb.AddLineStyle(&none, -1.0, kSea, 1.0);
    vb.AddFillStyle(&solid, kSea, kSea, 1.0);
    Polygon(vb, {{118, 30}, {138, 30}, {138, 42}, {118, 42}});

    // The land, a ring with a lake, outlined in two pixels.
    tagXLineStyle coast = StyleOf<tagXLineStyle>(tagXLineStyle::STYLE_SOLID);
    vb.AddLineStyle(&coast, -2.0, kCoast, 1.0);
    vb.AddFillStyle(&solid, kLand, kLand, 1.0);
    const std::vector<tagXVector2> land = {
        {126.0, 38.6}, {127.2, 38.8}, {128.4, 38.6}, {129.4, 37.2}, {129.5, 36.0}, {129.3, 35.3}, {128.6, 35.0},
        {127.5, 34.6}, {126.5, 34.4}, {126.3, 35.0}, {126.6, 35.8}, {126.5, 36.6}, {126.8, 37.2}, {126.4, 37.6},
        {127.7, 36.7}, {128.4, 36.7}, {128.4, 36.0}, {127.7, 36.0}};
    const int rings[2] = {14, 4};
    double e[4];
    ExtentOf(land, e);
    vb.AddPolyPolygon(land.data(), rings, 2, e);

    // A cross-hatched island, on the land colour, with a hairline coast.
    tagXFillStyle cross = StyleOf<tagXFillStyle>(tagXFillStyle::STYLE_CROSS);
    vb.AddLineStyle(&coast, -1.0, kCoast, 1.0);
    vb.AddFillStyle(&cross, kIsland, kLand, 1.0);
    Polygon(vb, {{126.15, 33.45}, {126.5, 33.62}, {126.95, 33.5}, {126.9, 33.22}, {126.4, 33.2}});

    // A stippled reef whose gaps show the sea, with no outline (line opacity 0).
    tagXFillStyle stripes;
    unsigned char mask[128];
    for (int r = 0; r < 32; ++r)
        for (int b = 0; b < 4; ++b)
            mask[4 * r + b] = static_cast<unsigned char>(0xF0F0F0F0u >> (r % 8));
    stripes.SetStyle(mask);
    stripes.nStyle = tagXFillStyle::STYLE_TRANSPARENT_PATTERN;
    vb.AddLineColor(kReef, 0.0);
    vb.AddFillStyle(&stripes, kReef, kSea, 1.0);
    Polygon(vb, {{130.6, 37.3}, {131.3, 37.6}, {131.6, 37.2}, {131.0, 36.9}});

    // The graticule: dotted hairlines every degree.
    tagXLineStyle dot = StyleOf<tagXLineStyle>(tagXLineStyle::STYLE_DOT);
    vb.AddLineStyle(&dot, 0.0, kGrid, 1.0);
    for (int lon = 124; lon <= 132; ++lon)
        Polyline(vb, {{static_cast<double>(lon), 33.0}, {static_cast<double>(lon), 39.0}});
    for (int lat = 33; lat <= 39; ++lat)
        Polyline(vb, {{123.5, static_cast<double>(lat)}, {132.5, static_cast<double>(lat)}});

    // Roads: a dashed highway 0.04 degrees wide, and a user-patterned road of 3 pixels.
    tagXLineStyle dash = StyleOf<tagXLineStyle>(tagXLineStyle::STYLE_DASH);
    vb.AddLineStyle(&dash, 0.04, kHighway, 1.0);
    Polyline(vb, {{127.0, 37.55}, {127.4, 36.35}, {128.6, 35.87}, {129.05, 35.15}});
    tagXLineStyle user;
    user.SetStyle(0xFF18, 2);
    vb.AddLineStyle(&user, -3.0, kRoad, 1.0);
    Polyline(vb, {{127.0, 37.55}, {127.9, 37.7}, {128.9, 37.75}});
    vb.AddLine(126.4, 35.0, 127.4, 36.35);

    // Cities as white ellipses outlined in black, and villages as points.
    tagXLineStyle solidLine = StyleOf<tagXLineStyle>(tagXLineStyle::STYLE_SOLID);
    vb.AddLineStyle(&solidLine, -1.0, kInk, 1.0);
    vb.AddFillStyle(&solid, kCity, kCity, 1.0);
    const tagXVector2 cities[] = {{127.0, 37.55}, {129.05, 35.15}, {128.6, 35.87}, {127.4, 36.35}, {128.9, 37.75}};
    for (const tagXVector2& c : cities)
        vb.AddEllipse(c.x, c.y, 0.07, 0.06);
    vb.AddLineStyle(&solidLine, -2.0, kInk, 1.0);
    const std::vector<tagXVector2> villages = {{126.9, 35.15}, {127.15, 35.8}, {128.1, 35.2}, {128.0, 37.1},
                                                {129.3, 36.0}, {126.7, 36.9}, {127.5, 34.9}};
    ExtentOf(villages, e);
    vb.AddPolypoint(villages.data(), static_cast<int>(villages.size()), e);

    // Labels in Latin and Hangul at several anchors; sizes in world units.
    Label(vb, "Seoul", 127.08, 37.6, 9, 0.3, 0, 700);         // left, above
    Label(vb, "서울", 126.92, 37.5, 36, 0.3);                  // right, below
    Label(vb, "Busan 부산", 129.12, 35.12, 17, 0.26);          // left, centred
    Label(vb, "Daegu", 128.6, 35.8, 34, 0.22);                 // centred, below
    Label(vb, "동해 East Sea", 130.4, 36.2, 18, 0.3, 900);     // centred, turned
    Label(vb, "Yellow Sea 서해", 125.9, 35.6, 12, 0.3, 0, 700); // right end on the anchor, above

    // Images: a legend at 60 % opacity, and a keyed picture whose black middle lets the land through.
    Picture legend(48, 32), keyed(32, 32);
    vb.AddDIB(legend.bits.data(), &legend.bmi, 123.7, 38.9, 125.1, 38.0, 0.0, 0.6, 0);
    const DWORD dwBlackKey = 1; // enable byte set, red, green and blue 0
    vb.AddDIB(keyed.bits.data(), &keyed.bmi, 128.6, 37.2, 129.1, 36.7, 0.0, 1.0, dwBlackKey);
    // A text box with no metafile and a stored metafile: record kinds the replays here pass over.
    vb.AddTextBox(124.0, 33.5, 0.0, 124.5, 33.2, nullptr);
    const unsigned char emf[6] = {1, 2, 3, 4, 5, 6};
    vb.AddEMF(124.0, 33.5, 0.0, 4, 5, 6, sizeof emf, emf, "legend");
    vb.End();
}

} // namespace XReferenceDrawing
