// Reading an OpenGL back buffer into a bottom-up DIB, for the back buffers
// whose surface is OpenGL's. Needs the context current.
#pragma once

#include "KVDbase/platform/Win32Types.h"

// Checks the request against a surface of nWidth by nHeight (a w or h of 0
// takes the whole), rewrites the header for nBits (24 or 32) and reads the
// pixels with y counted from the top. 1, or 0 for a null pOut, a region off
// the surface or a header too small or shallow for it.
int XfnGLReadDIB(void* pOut, BITMAPINFO* pInfo, int x, int y, int w, int h, int nWidth, int nHeight, int nBits);
