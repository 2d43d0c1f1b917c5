// A memory DC over a 32-bit DIB section for the OpenGL tests: SwapBuffers
// lands the frame in its pixels, which At() reads back, and Save() writes a
// PNG into the build tree (gl-png/) to look at. Contexts made here are
// released and deleted with it.
#pragma once

#include "KVDbase/platform/XGdi.h"
#include "KVDbase/platform/XWGL.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

class XGLTestDC {
public:
    XGLTestDC(int w, int h, bool bTopDown = true) : bTopDown(bTopDown)
    {
        dc = CreateCompatibleDC(nullptr);
        Resize(w, h);
    }
    ~XGLTestDC()
    {
        wglMakeCurrent(nullptr, nullptr);
        for (HGLRC rc : contexts)
            wglDeleteContext(rc);
        DeleteDC(dc);
        DeleteObject(bm);
    }
    XGLTestDC(const XGLTestDC&) = delete;
    XGLTestDC& operator=(const XGLTestDC&) = delete;

    HDC Handle() const { return dc; }
    int Width() const { return nWidth; }
    int Height() const { return nHeight; }
    // A new DIB section of the size, black, selected in place of the old.
    void Resize(int w, int h)
    {
        BITMAPINFO bmi = {};
        bmi.bmiHeader = {40, w, bTopDown ? -h : h, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
        void* p = nullptr;
        HBITMAP bmNew = CreateDIBSection(dc, &bmi, DIB_RGB_COLORS, &p, nullptr, 0);
        SelectObject(dc, bmNew);
        if (bm != nullptr)
            DeleteObject(bm);
        bm = bmNew;
        bits = static_cast<BYTE*>(p);
        nWidth = w;
        nHeight = h;
    }

    // The format of the back buffers' OpenGL surfaces.
    static PIXELFORMATDESCRIPTOR Format()
    {
        PIXELFORMATDESCRIPTOR pfd{};
        pfd.nSize = 40;
        pfd.nVersion = 1;
        pfd.dwFlags = 0x25;
        pfd.cColorBits = 32;
        pfd.cDepthBits = 32;
        return pfd;
    }
    // A new context on this DC (the format set on first use), not yet current.
    HGLRC NewContext()
    {
        PIXELFORMATDESCRIPTOR pfd = Format();
        if (GetPixelFormat(dc) == 0)
            SetPixelFormat(dc, ChoosePixelFormat(dc, &pfd), &pfd);
        HGLRC rc = wglCreateContext(dc);
        if (rc != nullptr)
            contexts.push_back(rc);
        return rc;
    }
    // A context made current on this DC.
    bool MakeCurrent()
    {
        HGLRC rc = NewContext();
        return rc != nullptr && wglMakeCurrent(dc, rc);
    }
    // Blue, green, red (from the low byte) of column x, row y counted from
    // the top.
    DWORD At(int x, int y) const
    {
        int row = bTopDown ? y : nHeight - 1 - y;
        const BYTE* p = bits + (static_cast<size_t>(row) * nWidth + x) * 4;
        return p[0] | p[1] << 8 | p[2] << 16;
    }
    void Save(const std::string& name) const
    {
        std::filesystem::create_directories("gl-png");
        EXPECT_TRUE(XfnWritePNG(dc, ("gl-png/" + name + ".png").c_str()));
    }

private:
    HDC dc = nullptr;
    HBITMAP bm = nullptr;
    BYTE* bits = nullptr;
    int nWidth = 0, nHeight = 0;
    bool bTopDown;
    std::vector<HGLRC> contexts;
};
