// Replays of one drawing on the three render paths, read back as pixels: a View says how the scene is looked at,
// Play replays a buffer (or what a recorder records) on a surface of the buffer's path and returns the Frame.
#pragma once

#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/drawing/XVertBuffer.h"
#include "XDrawingTestCanvas.h"
#include "XGLTestContext.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

// Paths 1 to 3 by name; rows of expected values are in the same order.
const char* const kPathNames[4] = {"", "gdi", "gl", "gdip"};
typedef std::function<void(XVertBuffer&)> Recorder;
typedef std::function<void(XVertBuffer&, XBackBuffer&)> Hook;

// Opaque on every path: the antialiased path reads the alpha from the high byte, the others ignore it.
inline COLORREF Opaque(COLORREF c) { return c | 0xFF000000u; }

// How a scene is looked at: a w by h surface cleared to clrBack, s pixels a world unit, world (cx, cy) in the middle
// (by default world (x, y) is pixel (s x, h - s y)), the view turned by dAngle, wrapped a turn east and west if bWrap.
struct View {
    View(int nW = 80, int nH = 60, double dS = 1.0) : w(nW), h(nH), s(dS) {}
    int w, h;
    double s, cx = NAN, cy = NAN, dAngle = 0.0;
    bool bWrap = false;
    COLORREF clrBack = kWhite;
    Hook before = nullptr, after = nullptr; // called on the live surface around the replay
};

// A replayed scene's pixels read back from its surface, top row first.
struct Frame {
    int w = 0, h = 0;
    std::vector<COLORREF> px;
    COLORREF Px(int x, int y) const { return px[static_cast<size_t>(y) * w + x]; }
    // Pixels of colour clr (or, with clr ~0u, not of the background) in [x0, x1) by [y0, y1).
    int Count(COLORREF clr, int x0, int y0, int x1, int y1, COLORREF clrBack = kWhite) const
    {
        int n = 0;
        for (int y = y0; y < y1; ++y)
            for (int x = x0; x < x1; ++x)
                n += clr == ~0u ? Px(x, y) != clrBack : Px(x, y) == clr;
        return n;
    }
};
const COLORREF kInked = ~0u;

// Replays vb on a surface of its path seen through v, writes the PNG name_<path> and reads the pixels back.
inline Frame Play(XVertBuffer& vb, const View& v, const std::string& name)
{
    Frame f{v.w, v.h, {}};
    auto replay = [&](XBackBuffer& bb) {
        bb.Clear(v.clrBack, nullptr);
        bb.SetWorldPerPixel(1.0 / v.s, 1.0 / v.s);
        bb.SetWorldToCenter(std::isnan(v.cx) ? v.w / 2.0 / v.s : v.cx, std::isnan(v.cy) ? v.h / 2.0 / v.s : v.cy);
        bb.SetRotationAngle(v.dAngle);
        bb.SetLatLongRounding(v.bWrap);
        if (v.before)
            v.before(vb, bb);
        vb.Draw(&bb);
    };
    auto read = [&](HDC dc) {
        for (int i = 0; i < v.w * v.h; ++i)
            f.px.push_back(GetPixel(dc, i % v.w, i / v.w));
    };
    const std::string png = name + "_" + kPathNames[vb.GetType()];
    if (vb.GetType() != XVertBuffer::PATH_GL) {
        XTestCanvas c(v.w, v.h);
        // A DC that fills by winding, with a transparent green background, which the raster walk leaves as it was.
        HDC dc = c.DC();
        SetBkMode(dc, TRANSPARENT);
        SetBkColor(dc, kGreen);
        SetPolyFillMode(dc, WINDING);
        const HGDIOBJ objects[3] = {GetCurrentObject(dc, OBJ_PEN), GetCurrentObject(dc, OBJ_BRUSH),
                                    GetCurrentObject(dc, OBJ_FONT)};
        replay(c.bb);
        if (vb.GetType() == XVertBuffer::PATH_GDI) { // the raster walk's promise; the antialiased one sets fill modes
            EXPECT_EQ(GetCurrentObject(dc, OBJ_PEN), objects[0]);
            EXPECT_EQ(GetCurrentObject(dc, OBJ_BRUSH), objects[1]);
            EXPECT_EQ(GetCurrentObject(dc, OBJ_FONT), objects[2]);
            EXPECT_EQ(GetBkMode(dc), TRANSPARENT);
            EXPECT_EQ(GetPolyFillMode(dc), WINDING);
            EXPECT_EQ(GetBkColor(dc), kGreen);
        }
        if (v.after)
            v.after(vb, c.bb);
        c.SavePNG(png.c_str());
        read(c.DC());
        return f;
    }
    XGLTestDC dc(v.w, v.h);
    XBackBuffer bb;
    EXPECT_EQ(bb.Create(dc.Handle(), XBackBuffer::TYPE_OPENGL), 1);
    EXPECT_EQ(bb.Resize(dc.Handle(), v.w, v.h), 1);
    tagXTextStyle style;
    std::strcpy(style.lf.lfFaceName, "Liberation Sans");
    bb.AddGLFont(&style);
    replay(bb);
    bb.Swap(static_cast<HDC>(nullptr), SRCCOPY);
    if (v.after)
        v.after(vb, bb);
    dc.Save(png);
    read(dc.Handle());
    vb.Free(); // its textures go while their context is current
    return f;
}

inline Frame Play(int nPath, const Recorder& record, const View& v, const std::string& name)
{
    XVertBuffer vb(nPath);
    vb.Start();
    record(vb);
    vb.End();
    return Play(vb, v, name);
}

