// XPalette.h: a fixed catalogue of 68 named colour tables of 256 entries for
// showing single-band rasters, numbered from 1. The catalogue is constant:
// the functions hold no state and may be called from any thread. The caller
// owns the arrays and the string; nothing reports an error.
#pragma once

#include "KVDbase/platform/Export.h"
#include "KVDbase/core/XString.h"

// The number of palettes: always 68.
KVD_API int XfnGetNumberOfPalette();

// Fills red, green and blue, 256 bytes each, with palette index (1 to 68).
// A number outside 1 to 68 leaves the arrays untouched. Palettes 10 to 15
// (black or white to one primary) write entries 0 to 254 only: entry 255
// keeps what the arrays held.
KVD_API void XfnGetPalette(int index, unsigned char* red, unsigned char* green, unsigned char* blue);

// Writes the name of palette index into name; "Default" for a number
// outside 1 to 68. A null name is ignored.
KVD_API void XfnGetPaletteName(int index, XString* name);
