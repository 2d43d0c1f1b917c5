// XGdipObjects.h: what stands behind the opaque objects of the antialiased
// device (XGdiplusFlat.h). Pens, brushes, paths, matrices, fonts and formats
// are plain values; a bitmap holds its pixels in its own format; a graphics
// draws through a cairo context over a 32-bit surface it does not own. Used
// by the Gdip functions alone; one thread per object.
#pragma once

#include "KVDbase/platform/XGdiplusFlat.h"

#include <cairo.h>

#include <string>
#include <vector>

namespace Gdiplus {

class GpMatrix {
public:
    cairo_matrix_t m;
};

class GpPen {
public:
    ARGB argb = 0xFF000000;
    REAL width = 1.0f;
    LineCap startCap = LineCapFlat;
    LineCap endCap = LineCapFlat;
    DashStyle dashStyle = DashStyleSolid;
    std::vector<REAL> dashArray; // the custom pattern, in pen widths
};

class GpBrush {
public:
    BrushType type = BrushTypeSolidColor;
    ARGB fore = 0xFF000000; // the solid colour, or the hatch's foreground
    ARGB back = 0xFF000000;
    int hatch = HatchStyleHorizontal; // as given: any value draws a defined pattern
    GpImage* pTexture = nullptr;      // owned copy
    WrapMode wrap = WrapModeTile;
    ~GpBrush();
};

// One closed figure of a path, in world coordinates.
struct XGdipFigure {
    std::vector<GpPointF> points;
};

class GpPath {
public:
    FillMode fillMode = FillModeAlternate;
    std::vector<XGdipFigure> figures;
};

class GpRegion {
public:
    GpPath path;
};

class GpFontFamily {
public:
    std::string strName; // UTF-8, as the caller gave it
};

class GpFont {
public:
    std::string strFamily;
    REAL size = 0.0f;
    INT style = FontStyleRegular;
    Unit unit = UnitPixel;
};

class GpStringFormat {
public:
    INT flags = 0;
    LANGID language = 0;
    StringAlignment align = StringAlignmentNear;
    StringAlignment lineAlign = StringAlignmentNear;
};

class GpImage {
public:
    INT width = 0;
    INT height = 0;
    INT stride = 0;
    PixelFormat format = PixelFormat32bppARGB;
    BYTE* pBits = nullptr;
    bool bOwnsBits = false;
    // The one lock allowed at a time; a converted lock keeps its own rows.
    bool bLocked = false;
    UINT lockFlags = 0;
    GpRect lockRect = {0, 0, 0, 0};
    std::vector<BYTE> lockBuffer;
    ~GpImage();
};

class GpGraphics {
public:
    cairo_t* cr = nullptr;
    SmoothingMode smoothing = SmoothingModeDefault;
    TextRenderingHint textHint = TextRenderingHintSystemDefault;
    InterpolationMode interpolation = InterpolationModeDefault;
    PixelOffsetMode pixelOffset = PixelOffsetModeDefault;
    cairo_matrix_t world; // world to device, without the pixel offset
    ~GpGraphics();
};

// Pixel access in any format a bitmap holds, as straight ARGB.
ARGB XGdipReadPixel(PixelFormat format, const BYTE* p);
void XGdipWritePixel(PixelFormat format, BYTE* p, ARGB argb);
int XGdipBytesPerPixel(PixelFormat format);
// A premultiplied cairo surface with a copy of the image's pixels; the caller
// destroys it. Null when it cannot be made.
cairo_surface_t* XGdipImageSurface(GpImage* image);

} // namespace Gdiplus
