// What the two back buffers' OpenGL surfaces share: their pixel format, and
// reading the back buffer into a bottom-up DIB (the context current).
#pragma once

#include "KVDbase/platform/Win32Types.h"
#include "KVDbase/platform/XWGL.h"

// RGBA, 32 colour bits, 32 depth bits (as deep as the driver gives), double
// buffered.
constexpr PIXELFORMATDESCRIPTOR kXGLSurfaceFormat = {
    40, 1, PFD_DRAW_TO_WINDOW | PFD_SUPPORT_OPENGL | PFD_DOUBLEBUFFER, PFD_TYPE_RGBA, 32, 0, 0, 0, 0, 0, 0, 0, 0, 0,
    0, 0, 0, 0, 32, 0, 0, 0, 0, 0, 0, 0};

// Checks the request against a surface of nWidth by nHeight (a w or h of 0
// takes the whole), rewrites the header for nBits (24 or 32) and reads the
// pixels with y counted from the top. 1, or 0 for a null pOut, a region off
// the surface or a header too small or shallow for it.
int XfnGLReadDIB(void* pOut, BITMAPINFO* pInfo, int x, int y, int w, int h, int nWidth, int nHeight, int nBits);
// Clears colour and depth to clr (red in the low byte), opaque.
void XfnGLClear(COLORREF clr);
// The reading alone, of a region already checked, on a surface nHeight high.
void XfnGLReadPixels(void* pOut, int x, int y, int w, int h, int nHeight, int nBits);
