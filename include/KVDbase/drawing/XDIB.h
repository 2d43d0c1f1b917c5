// XDIB.h: the two sizing rules of device-independent bitmaps that the drawing
// layer shares: the padded length of a pixel row and the number of palette
// entries behind a header. Pure functions of their arguments.
#pragma once

#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

// Bytes in one row of nWidth pixels of nBits each, padded to a multiple of 4:
// 1 and 4 bits round up to whole bytes, other depths take nBits / 8 bytes a
// pixel.
KVD_API int XfnCalcDIBWidthBytes(int nWidth, int nBits);
// The same with the header's biWidth and biBitCount.
KVD_API int XfnCalcDIBWidthBytes(const BITMAPINFO* pInfo);
// The low 16 bits of biClrUsed when it is not 0; otherwise 2, 16 or 256 for
// 1, 4 or 8 bits a pixel, and 0 for any other depth.
KVD_API int XfnGetDIBPaletteSize(const BITMAPINFOHEADER* pHeader);
