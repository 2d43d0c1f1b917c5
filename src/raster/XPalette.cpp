#include "KVDbase/raster/XPalette.h"

#include "XPaletteTables.h"

namespace {

const char* const s_apszPaletteName[68] = {
    "Grey", "RainBow", "RainBow_Reversed", "RainBow1", "RainBow2", "Black + Rainbow", "Rainbow + Black",
    "White + Rainbow", "Rainbow + White", "Black - Red", "Black - Green", "Black - Blue", "Red - White",
    "Green - White", "Blue - White", "Dark - Blue - White", "Dark - Red - White", "Green - Red - Blue - White",
    "Blue - Green - Red - Yellow", "Standard GAMMA-II", "Prism", "Dark - Purple - White", "Dark - Green - White",
    "Green - Pink", "Blue - Red", "16 LEVEL", "Steps", "Haze", "Blue - Pastel - Red", "Pastels",
    "Hue Sat Lightness 1", "Hue Sat Lightness 2", "Hue Sat Value 1", "Hue Sat Value 2", "Stripy Purple - Red",
    "Beach", "Mac Style", "Eos A", "Eos B", "Dark - Rainbow", "Hard Candy", "Nature", "Ocean", "Peppermint",
    "Plasma", "Volcano", "Waves", "Blue Waves", "Amp phase", "Azimuth", "Brown - Green", "Contour", "Elevation",
    "Hue", "Lutramp", "New Grey", "PseudoColor", "Red - Blue", "Red - Yellow - SAR", "RGB", "RGB_Reduce",
    "Rt - Shade", "SAW", "Spectrum", "Step", "Unique", "Waterlevel", "Yellow - Blue",
};

void XfnCopyPalette(const tagXPaletteTable& tab, BYTE* red, BYTE* green, BYTE* blue)
{
    for (int i = 0; i < 256; ++i) {
        red[i] = tab.bRed[i];
        green[i] = tab.bGreen[i];
        blue[i] = tab.bBlue[i];
    }
}

void XfnSetEntry(BYTE* red, BYTE* green, BYTE* blue, int nEntry, BYTE r, BYTE g, BYTE b)
{
    red[nEntry] = r;
    green[nEntry] = g;
    blue[nEntry] = b;
}

// Palettes 10 to 15: each channel is either off, a ramp or full. Entry 255
// is left as it was, unlike the grey ramp of palette 1.
enum { CH_ZERO, CH_RAMP, CH_FULL };

void XfnFillPrimaryRamp(int nRed, int nGreen, int nBlue, BYTE* red, BYTE* green, BYTE* blue)
{
    auto value = [](int nKind, int i) { return static_cast<BYTE>(nKind == CH_RAMP ? i : nKind == CH_FULL ? 255 : 0); };
    for (int i = 0; i < 255; ++i)
        XfnSetEntry(red, green, blue, i, value(nRed, i), value(nGreen, i), value(nBlue, i));
}

} // namespace

int XfnGetNumberOfPalette()
{
    return 68;
}

void XfnGetPalette(int index, unsigned char* red, unsigned char* green, unsigned char* blue)
{
    switch (index) {
    case 1:  // "Grey"
    case 62: // "Rt - Shade" shares the grey ramp
        for (int i = 0; i < 256; ++i)
            XfnSetEntry(red, green, blue, i, static_cast<BYTE>(i), static_cast<BYTE>(i), static_cast<BYTE>(i));
        return;
    case 3: { // palette 2 read backwards
        const tagXPaletteTable& tab = *XfnFindStoredPalette(2);
        for (int i = 0; i < 256; ++i)
            XfnSetEntry(red, green, blue, i, tab.bRed[255 - i], tab.bGreen[255 - i], tab.bBlue[255 - i]);
        return;
    }
    case 6: // palette 2 starting from black
        XfnCopyPalette(*XfnFindStoredPalette(2), red, green, blue);
        XfnSetEntry(red, green, blue, 0, 0, 0, 0);
        return;
    case 8: // palette 2 starting from white
        XfnCopyPalette(*XfnFindStoredPalette(2), red, green, blue);
        XfnSetEntry(red, green, blue, 0, 255, 255, 255);
        return;
    case 9: // palette 7 ending in white
        XfnCopyPalette(*XfnFindStoredPalette(7), red, green, blue);
        XfnSetEntry(red, green, blue, 255, 255, 255, 255);
        return;
    case 10: XfnFillPrimaryRamp(CH_RAMP, CH_ZERO, CH_ZERO, red, green, blue); return;
    case 11: XfnFillPrimaryRamp(CH_ZERO, CH_RAMP, CH_ZERO, red, green, blue); return;
    case 12: XfnFillPrimaryRamp(CH_ZERO, CH_ZERO, CH_RAMP, red, green, blue); return;
    case 13: XfnFillPrimaryRamp(CH_FULL, CH_RAMP, CH_RAMP, red, green, blue); return;
    case 14: XfnFillPrimaryRamp(CH_RAMP, CH_FULL, CH_RAMP, red, green, blue); return;
    case 15: XfnFillPrimaryRamp(CH_RAMP, CH_RAMP, CH_FULL, red, green, blue); return;
    default:
        if (const tagXPaletteTable* pTab = XfnFindStoredPalette(index))
            XfnCopyPalette(*pTab, red, green, blue);
        return;
    }
}

void XfnGetPaletteName(int index, XString* name)
{
    if (name == nullptr)
        return;
    const char* pszName = (index >= 1 && index <= 68) ? s_apszPaletteName[index - 1] : "Default";
    name->Format("%s", pszName);
}
