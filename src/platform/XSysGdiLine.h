// XSysGdiLine: how the raster device draws with a pen. A pen of width 0 or 1
// is drawn by a stepper that sets one pixel per step of the longer axis and
// leaves out the last point, with the dashes counted in steps and carried
// from one segment of a polyline to the next; the gaps of a cosmetic styled
// pen take the background colour when the background mode is OPAQUE. A wider
// pen is stroked by cairo, aliased, along the pixel centres, with its caps,
// joins and dashes. Every pen applies the DC's binary raster operation. The
// caller holds the DC; nothing is reported.
#pragma once

#include "platform/XSysGdiObject.h"

// Draws the polyline of n points (closing it back to the first when bClose)
// with the DC's pen.
void XfnGdiStrokePolyline(XGdiDC* dc, const POINT* pts, int n, bool bClose);
// Draws the outline of the ellipse in the box with the DC's pen: a thin pen
// sets the edge pixels of the ellipse's own pixel set, a wide one is stroked.
void XfnGdiStrokeEllipse(XGdiDC* dc, int left, int top, int right, int bottom);
