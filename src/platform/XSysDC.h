// XSysDC: what other platform code (the OpenGL and the antialiased stand-ins)
// reaches behind a device context of XGdi.h. A DC draws on a surface of
// 32-bit pixels in the layout of a 32-bit DIB (blue, green, red, unused byte;
// cairo's CAIRO_FORMAT_RGB24 on this little-endian machine). The view given
// here is always top-down: pTop is the top row and nStride the signed byte
// distance from a row to the one below it. It is negative for a bottom-up DIB
// section, whose memory holds the bottom row first.
//
// The surface behind a memory DC changes when another bitmap is selected, so
// callers ask for it at each use and keep nothing. Pixels written directly
// must be announced with XfnSysEndPixels (cairo keeps no stale copy then);
// XfnSysBeginPixels flushes pending cairo work first. One thread at a time
// per DC; a bad handle gives false or null.
#pragma once

#include <cairo.h>
#include <cstddef>
#include <cstdint>

#include "KVDbase/platform/XGdi.h"

struct XSysPixels {
    uint8_t* pTop;     // top row, 4 bytes a pixel
    int nWidth;
    int nHeight;
    ptrdiff_t nStride; // bytes from one row to the row below; may be negative

    uint32_t* Row(int y) const { return reinterpret_cast<uint32_t*>(pTop + y * nStride); }
};

// The DC's pixels, after flushing cairo. False for a bad handle.
bool XfnSysBeginPixels(HDC hdc, XSysPixels& pixels);
// Tells cairo that the pixels were written directly.
void XfnSysEndPixels(HDC hdc);

// The cairo surface behind the DC (borrowed: valid until another bitmap is
// selected into the DC or the DC is deleted). Null for a bad handle.
cairo_surface_t* XfnSysDCSurface(HDC hdc);

// The one variation between the raster device and the antialiased device:
// with bAntialias, the DC's paths (fills, wide lines, curves and text) are
// rasterised with coverage instead of the raster device's aliased pixel rules,
// and one-pixel lines are drawn as one-pixel-wide strokes instead of stepped
// lines. Raster operations other than R2_COPYPEN stay exact either way. A new
// DC is aliased.
bool XfnSysSetDCAntialias(HDC hdc, bool bAntialias);
bool XfnSysGetDCAntialias(HDC hdc);

// Room for one object of another part of the platform per DC (the pixel format
// and drawable of the OpenGL stand-in, the state of the antialiased stand-in).
// pfnFree runs when the DC is deleted or the slot is set again.
enum XSysDCSlot { XSYS_DC_SLOT_GL = 0, XSYS_DC_SLOT_GDIPLUS = 1, XSYS_DC_SLOT_COUNT = 2 };
bool XfnSysSetDCAttachment(HDC hdc, XSysDCSlot slot, void* pObject, void (*pfnFree)(void*));
void* XfnSysGetDCAttachment(HDC hdc, XSysDCSlot slot);

// The 8 by 8 cells of the six hatches (HS_HORIZONTAL to HS_DIAGCROSS), one
// byte a row, bit 7 being column 0, anchored at the surface origin: shared by
// the raster and the antialiased devices so that both hatch alike.
extern const uint8_t g_aXSysHatchRows[6][8];
