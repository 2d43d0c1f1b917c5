// A current OpenGL context for tests, on a DC that is nothing but pixels,
// standing for the DC layer's: SwapBuffers lands the frame in Pixels(),
// top row first. One per test; it releases the context when it goes.
#pragma once

#include "KVDbase/platform/XWGL.h"
#include "platform/XSysGLTarget.h"

#include <vector>

class XGLTestDC {
public:
    XGLTestDC(int w, int h, bool bTopDown = true)
        : bits(static_cast<size_t>(w) * h * 4, 0), nWidth(w), nHeight(h), bTopDown(bTopDown)
    {
        pfnOld = XSysGLSetPixelSource(&Source);
    }
    ~XGLTestDC()
    {
        wglMakeCurrent(nullptr, nullptr);
        for (HGLRC rc : contexts)
            wglDeleteContext(rc);
        XSysGLSetPixelSource(pfnOld);
    }
    XGLTestDC(const XGLTestDC&) = delete;
    XGLTestDC& operator=(const XGLTestDC&) = delete;

    HDC Handle() { return reinterpret_cast<HDC>(this); }
    int Width() const { return nWidth; }
    int Height() const { return nHeight; }
    void Resize(int w, int h)
    {
        bits.assign(static_cast<size_t>(w) * h * 4, 0);
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
        if (GetPixelFormat(Handle()) == 0)
            SetPixelFormat(Handle(), ChoosePixelFormat(Handle(), &pfd), &pfd);
        HGLRC rc = wglCreateContext(Handle());
        if (rc != nullptr)
            contexts.push_back(rc);
        return rc;
    }
    // A context made current on this DC.
    bool MakeCurrent()
    {
        HGLRC rc = NewContext();
        return rc != nullptr && wglMakeCurrent(Handle(), rc);
    }
    // Blue, green, red of column x, row y counted from the top.
    DWORD At(int x, int y) const
    {
        int row = bTopDown ? y : nHeight - 1 - y;
        const BYTE* p = &bits[(static_cast<size_t>(row) * nWidth + x) * 4];
        return p[0] | p[1] << 8 | p[2] << 16;
    }
    const std::vector<BYTE>& Pixels() const { return bits; }

private:
    std::vector<BYTE> bits;
    int nWidth, nHeight;
    bool bTopDown;
    XSysDCPixelSource pfnOld = nullptr;
    std::vector<HGLRC> contexts;

    static bool Source(HDC hdc, XSysDCPixels& px)
    {
        XGLTestDC* dc = reinterpret_cast<XGLTestDC*>(hdc);
        px = XSysDCPixels{dc->bits.data(), dc->nWidth, dc->nHeight, dc->nWidth * 4, dc->bTopDown};
        return true;
    }
};
