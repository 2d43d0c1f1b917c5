// XDrawStyleGDIP.h: the antialiased device's pen, brush and font of a style
// record. Each function deletes the object its pointer held, then makes the
// new one, which the caller owns and deletes. Nothing is reported: a brush
// whose pattern block cannot be had leaves the pointer null, and a failed
// flat call leaves its status in the object. One thread at a time.
// This header is not part of KVDbase.h: it is for application code that draws
// with the Gdiplus classes.
#pragma once

#include "KVDbase/drawing/XDrawStyle.h"
#include "KVDbase/platform/XGdiplus.h"

// A pen of the colour and width (narrowed to a float) with round caps. Line
// codes 0 to 4 are dash styles 0 to 4; code 5 is solid and fully transparent;
// a user pattern becomes a dash array of its runs, each times nFactor and the
// width (or nFactor alone at width 0), in units of the pen's width. A user
// pattern with no bit set draws nothing, as code 5.
KVD_API void XfnCreatePenGDIP(Gdiplus::Pen*& pPen, tagXLineStyle* pStyle, double dWidth, Gdiplus::Color color);

// Fill code 0: solid in the foreground; 1: transparent white; 2 to 7: the
// hatch of the code in both colours; 8 and 1024: a 32 by 32 tiled texture of
// the mask, set bits in the foreground and clear bits transparent (8) or in
// the background (1024); any other code: a hatch whose style is the code.
KVD_API void XfnCreateBrushGDIP(Gdiplus::Brush*& pBrush, tagXFillStyle* pStyle, Gdiplus::Color foreColor,
                                Gdiplus::Color backColor);

// A font of the face, of size (narrowed to a float) pixels: italic,
// underline and strikeout from their flags, bold only at weight 700.
KVD_API void XfnCreateFontGDIP(Gdiplus::Font*& pFont, tagXTextStyle* pStyle, double dSize);
