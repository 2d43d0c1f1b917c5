// XDrawStyleGDI.h: the raster device's pens, brushes and fonts made from the
// style records, and the rubber band. Each creation function has a form that
// hands back a raw handle and one that fills a wrapper object; the caller
// owns what is made (DeleteObject, or the wrapper's destructor). Nothing is
// reported: a handle the device cannot make stays null.
#pragma once

#include "KVDbase/drawing/XDrawStyle.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

// A pen of the line style, nWidth pixels wide (0: the hairline), in clr. A
// wide patterned pen is geometric with flat ends and a dash table scaled by
// the width; a user pattern becomes its runs, starting with a dash, times
// nFactor (and the width). The handle form ORs in the style's pen bits; the
// wrapper form ignores them.
KVD_API void XfnCreatePen(HPEN& hPen, tagXLineStyle* pStyle, int nWidth, COLORREF clr);
KVD_API void XfnCreatePen(CPen* pPen, tagXLineStyle* pStyle, int nWidth, COLORREF clr);
// A brush of the fill style: solid (codes 0, 8 and unknown codes), null
// (1), one of the six hatches in clrForeArg on the DC's background (2 to 7),
// or the 32 by 32 user mask in the two colours (1024; solid if its block
// cannot be had).
KVD_API void XfnCreateBrush(HBRUSH& hBrush, tagXFillStyle* pStyle, COLORREF clrForeArg, COLORREF clrBackArg);
KVD_API void XfnCreateBrush(CBrush* pBrush, tagXFillStyle* pStyle, COLORREF clrForeArg, COLORREF clrBackArg);
// A font of the text style. The style is changed: lfHeight becomes nHeight
// (1 for 0) and lfEscapement takes lfOrientation.
KVD_API void XfnCreateFont(HFONT& hFont, tagXTextStyle* pStyle, int nHeight);
KVD_API void XfnCreateFont(CFont* pFont, tagXTextStyle* pStyle, int nHeight);
// A box from one corner to the other in XOR with the line style's pen (a
// dotted hairline for a null style): drawing it twice restores the pixels.
KVD_API void XfnDrawRubberBand(HDC hDC, CPoint from, CPoint to, tagXLineStyle* pStyle, int nWidth, COLORREF clr);
KVD_API void XfnDrawRubberBand(CDC* pDC, CPoint from, CPoint to, tagXLineStyle* pStyle, int nWidth, COLORREF clr);
