// How the OpenGL layer reaches the pixels of a device context. The DC layer
// answers for the DCs it made; until one is installed, or for a DC it does not
// know, the GL surface has no pixels to land in. Tests install their own
// source to stand for a DC. Installing is not synchronised: do it before
// contexts are made.
#pragma once

#include "KVDbase/platform/XWGL.h"

// 32-bit BGRA pixels of a DC: nStride bytes from one row to the next, row 0
// at the top of the picture when bTopDown, else at the bottom.
struct XSysDCPixels {
    BYTE* pBits;
    int nWidth;
    int nHeight;
    int nStride;
    bool bTopDown;
};

typedef bool (*XSysDCPixelSource)(HDC hdc, XSysDCPixels& px);

// Returns the source it replaces.
XSysDCPixelSource XSysGLSetPixelSource(XSysDCPixelSource pfn);
