// XPaletteTables.h: the constant colour tables behind the stored palettes of
// the catalogue. Read-only data with static storage; safe from any thread.
#pragma once

#include "KVDbase/platform/Win32Types.h"

// One palette: three separate rows of 256 entries, indexed by pixel value.
struct tagXPaletteTable {
    BYTE bRed[256];
    BYTE bGreen[256];
    BYTE bBlue[256];
};

// The table of palette nIndex (1 to 68), or null for a palette that is
// computed, or derived from another, rather than stored.
const tagXPaletteTable* XfnFindStoredPalette(int nIndex);
