// XSysGdiStock: the stock objects of the raster device, made once and kept
// for the process: the brushes, pens, fonts and palette of GetStockObject,
// and the 1 by 1 bitmap that a new memory DC holds.
#pragma once

#include "KVDbase/platform/XGdi.h"

HBITMAP XfnGdiStockBitmap();
