// XGdipDevice.h: how the antialiased device reaches its pixels. A graphics
// draws over 32-bit pixels it does not own; the device contexts make one over
// their surface, and tests over plain memory. No drawing library shows here.
#pragma once

#include "KVDbase/platform/XGdiplusFlat.h"

namespace Gdiplus {

// A graphics over w by h pixels in rows of nStride bytes, top row first, each
// pixel blue, green, red and a fourth byte that is a premultiplied alpha when
// bAlpha and unused otherwise. The pixels must outlive the graphics. Null
// when the pixels cannot be drawn on (a stride too small, no memory).
GpGraphics* XGdipCreateGraphics(BYTE* pPixels, int w, int h, int nStride, bool bAlpha);

// Writes such pixels (the fourth byte unused) to a PNG file; false on failure.
bool XGdipWritePNG(const BYTE* pPixels, int w, int h, int nStride, const char* pszPath);

} // namespace Gdiplus
