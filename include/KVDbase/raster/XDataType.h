// XDataType.h: the integer codes that name the element type of a raster, with
// their sizes and value limits. Codes 1 to 8 are real, 9 to 16 complex and 17
// to 29 packed elements known only by their size. Stateless, thread-safe free
// functions; none reports an error.
#pragma once

#include "KVDbase/platform/Export.h"

// Bytes per element of a pixel data type. Codes outside 0 to 29 have no
// element and give 0.
KVD_API int XfnGetDataSize(int type);

// The value range of a pixel data type. Codes without a range of their own
// (the packed and the complex integer codes, and unknown codes) get the
// not-known bounds -1.7e308 and 1.7e308; the float codes 7 and 15 get the
// float value of +-3.4e38 widened to double.
KVD_API void XfnGetDataLimits(int type, double& min, double& max);

// 1 for the complex codes 9 to 16, else 0.
KVD_API int XfnIsDataTypeComplex(int type);
