// XGdiDraw.h: the drawing steps that the back buffer's primitives and the
// raster replay of XVertBuffer share: the polygon fill through a path, the
// stipple fill of fill style 8, and the placement of a text box on its
// anchor. They speak to a device context only through the GDI calls; the
// caller owns every handle it passes. Nothing is reported.
#pragma once

#include "KVDbase/platform/Win32Types.h"

class XBackBuffer;

// Fills the closed ring of n pixel points (the first repeated at the end)
// with the DC's brush in its fill mode, by a path, without outlining it.
void XfnFillRingGDI(HDC hDC, const tagPOINT* pPoints, int n);

// Paints, in clr, every pixel of the region hRgn whose bit is set in the 32
// by 32 mask pPattern (row y mod 32, byte (x mod 32) / 8, high bit first:
// the order of glPolygonStipple), anchored at the surface origin and leaving
// the gaps untouched. Only pixels inside pExtent (minimum x, minimum y,
// maximum x, maximum y in world units, truncated to pixels and clamped to the
// surface) are looked at.
void XfnStippleFillGDI(XBackBuffer* pBack, HRGN hRgn, const double* pExtent, const BYTE* pPattern, COLORREF clr);

// The shifts of a text box of w by h world units from its anchor, by the
// anchor bits: bit 2 centres and bit 4 right-aligns it in x; bit 8 sets it
// on the anchor, 16 centres it and 32 hangs it in y. A later bit of an axis
// wins.
void XfnTextShift(int nAlign, double w, double h, double& sx, double& sy);

// Turns (x, y) about (cx, cy) by dTenths tenths of a degree,
// counter-clockwise in world coordinates.
void XfnRotateAnchor(double& x, double& y, double cx, double cy, LONG nTenths);
