// The value objects of the antialiased device: pens, brushes, paths, regions,
// matrices, fonts, string formats and bitmaps with their locks.
#include "platform/XGdipObjects.h"

#include "platform/XMbText.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

namespace Gdiplus {

namespace {

bool IsKnownFormat(PixelFormat format)
{
    return format == PixelFormat32bppARGB || format == PixelFormat32bppPARGB || format == PixelFormat32bppRGB ||
           format == PixelFormat24bppRGB;
}

// Rows of 32-bit pixels need no padding; 24-bit rows are padded to 4 bytes as
// a device-independent bitmap's are.
int StrideOf(PixelFormat format, int w) { return (w * XGdipBytesPerPixel(format) + 3) & ~3; }

GpImage* NewBitmap(INT width, INT height, PixelFormat format)
{
    // At most 2^28 pixels, so that no row or size arithmetic overflows.
    if (width <= 0 || height <= 0 || !IsKnownFormat(format) || static_cast<int64_t>(width) * height > (1 << 28))
        return nullptr;
    GpImage* p = new (std::nothrow) GpImage;
    if (p == nullptr)
        return nullptr;
    p->width = width;
    p->height = height;
    p->format = format;
    p->stride = StrideOf(format, width);
    p->pBits = static_cast<BYTE*>(std::calloc(static_cast<size_t>(p->stride), static_cast<size_t>(height)));
    p->bOwnsBits = true;
    if (p->pBits == nullptr) {
        delete p;
        return nullptr;
    }
    return p;
}

GpImage* CopyBitmap(const GpImage* src)
{
    GpImage* p = NewBitmap(src->width, src->height, src->format);
    if (p != nullptr)
        for (int y = 0; y < src->height; ++y)
            std::memcpy(p->pBits + y * p->stride, src->pBits + y * src->stride,
                        static_cast<size_t>(src->width) * XGdipBytesPerPixel(src->format));
    return p;
}

std::string Narrow(const wchar_t* s)
{
    std::string str;
    if (s == nullptr)
        return str;
    const int n = static_cast<int>(std::wcslen(s));
    const int nBytes = XMbText::WideToNarrow(s, n, nullptr, 0);
    str.resize(static_cast<size_t>(nBytes));
    XMbText::WideToNarrow(s, n, &str[0], nBytes);
    return str;
}

} // namespace

// ---------------------------------------------------------------------------
// Pixels

int XGdipBytesPerPixel(PixelFormat format) { return format == PixelFormat24bppRGB ? 3 : 4; }

ARGB XGdipReadPixel(PixelFormat format, const BYTE* p)
{
    const ARGB rgb = static_cast<ARGB>(p[2]) << 16 | static_cast<ARGB>(p[1]) << 8 | p[0];
    switch (format) {
    case PixelFormat32bppARGB:
        return rgb | static_cast<ARGB>(p[3]) << 24;
    case PixelFormat32bppPARGB: {
        const ARGB a = p[3];
        if (a == 0)
            return 0;
        auto un = [a](BYTE c) { return static_cast<ARGB>(std::min<ARGB>(255, (c * 255 + a / 2) / a)); };
        return a << 24 | un(p[2]) << 16 | un(p[1]) << 8 | un(p[0]);
    }
    default:
        return rgb | 0xFF000000;
    }
}

void XGdipWritePixel(PixelFormat format, BYTE* p, ARGB argb)
{
    const ARGB a = argb >> 24;
    BYTE b = static_cast<BYTE>(argb), g = static_cast<BYTE>(argb >> 8), r = static_cast<BYTE>(argb >> 16);
    if (format == PixelFormat32bppPARGB) {
        auto pre = [a](BYTE c) { return static_cast<BYTE>((c * a + 127) / 255); };
        b = pre(b);
        g = pre(g);
        r = pre(r);
    }
    p[0] = b;
    p[1] = g;
    p[2] = r;
    if (format == PixelFormat32bppARGB || format == PixelFormat32bppPARGB)
        p[3] = static_cast<BYTE>(a);
    else if (format == PixelFormat32bppRGB)
        p[3] = 0xFF;
}

cairo_surface_t* XGdipImageSurface(GpImage* image)
{
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, image->width, image->height);
    if (cairo_surface_status(s) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(s);
        return nullptr;
    }
    cairo_surface_flush(s);
    BYTE* pDst = cairo_image_surface_get_data(s);
    const int nDstStride = cairo_image_surface_get_stride(s);
    const int nBpp = XGdipBytesPerPixel(image->format);
    for (int y = 0; y < image->height; ++y) {
        const BYTE* src = image->pBits + static_cast<ptrdiff_t>(y) * image->stride;
        BYTE* dst = pDst + static_cast<ptrdiff_t>(y) * nDstStride;
        if (image->format == PixelFormat32bppPARGB) {
            std::memcpy(dst, src, static_cast<size_t>(image->width) * 4);
            continue;
        }
        for (int x = 0; x < image->width; ++x)
            XGdipWritePixel(PixelFormat32bppPARGB, dst + 4 * x, XGdipReadPixel(image->format, src + nBpp * x));
    }
    cairo_surface_mark_dirty(s);
    return s;
}

GpImage::~GpImage()
{
    if (bOwnsBits)
        std::free(pBits);
}

GpBrush::~GpBrush() { delete pTexture; }

// ---------------------------------------------------------------------------
// Pens

GpStatus GdipCreatePen1(ARGB color, REAL width, GpUnit, GpPen** pen)
{
    if (pen == nullptr)
        return InvalidParameter;
    *pen = new (std::nothrow) GpPen;
    if (*pen == nullptr)
        return OutOfMemory;
    (*pen)->argb = color;
    (*pen)->width = width;
    return Ok;
}

GpStatus GdipDeletePen(GpPen* pen)
{
    if (pen == nullptr)
        return InvalidParameter;
    delete pen;
    return Ok;
}

GpStatus GdipSetPenColor(GpPen* pen, ARGB argb)
{
    if (pen == nullptr)
        return InvalidParameter;
    pen->argb = argb;
    return Ok;
}

GpStatus GdipGetPenColor(GpPen* pen, ARGB* argb)
{
    if (pen == nullptr || argb == nullptr)
        return InvalidParameter;
    *argb = pen->argb;
    return Ok;
}

GpStatus GdipSetPenWidth(GpPen* pen, REAL width)
{
    if (pen == nullptr || !(width >= 0.0f))
        return InvalidParameter;
    pen->width = width;
    return Ok;
}

GpStatus GdipGetPenWidth(GpPen* pen, REAL* width)
{
    if (pen == nullptr || width == nullptr)
        return InvalidParameter;
    *width = pen->width;
    return Ok;
}

GpStatus GdipSetPenStartCap(GpPen* pen, GpLineCap startCap)
{
    if (pen == nullptr || startCap < LineCapFlat || startCap > LineCapTriangle)
        return InvalidParameter;
    pen->startCap = startCap;
    return Ok;
}

GpStatus GdipGetPenStartCap(GpPen* pen, GpLineCap* startCap)
{
    if (pen == nullptr || startCap == nullptr)
        return InvalidParameter;
    *startCap = pen->startCap;
    return Ok;
}

GpStatus GdipSetPenEndCap(GpPen* pen, GpLineCap endCap)
{
    if (pen == nullptr || endCap < LineCapFlat || endCap > LineCapTriangle)
        return InvalidParameter;
    pen->endCap = endCap;
    return Ok;
}

GpStatus GdipGetPenEndCap(GpPen* pen, GpLineCap* endCap)
{
    if (pen == nullptr || endCap == nullptr)
        return InvalidParameter;
    *endCap = pen->endCap;
    return Ok;
}

GpStatus GdipSetPenDashStyle(GpPen* pen, GpDashStyle dashStyle)
{
    if (pen == nullptr || dashStyle < DashStyleSolid || dashStyle > DashStyleCustom)
        return InvalidParameter;
    // A custom style without an array of its own draws solid.
    pen->dashStyle = dashStyle;
    return Ok;
}

GpStatus GdipGetPenDashStyle(GpPen* pen, GpDashStyle* dashStyle)
{
    if (pen == nullptr || dashStyle == nullptr)
        return InvalidParameter;
    *dashStyle = pen->dashStyle;
    return Ok;
}

GpStatus GdipSetPenDashArray(GpPen* pen, const REAL* dash, INT count)
{
    if (pen == nullptr || dash == nullptr || count <= 0)
        return InvalidParameter;
    for (INT i = 0; i < count; ++i)
        if (!(dash[i] > 0.0f) || !std::isfinite(dash[i]))
            return InvalidParameter;
    pen->dashArray.assign(dash, dash + count);
    pen->dashStyle = DashStyleCustom;
    return Ok;
}

GpStatus GdipGetPenDashCount(GpPen* pen, INT* count)
{
    if (pen == nullptr || count == nullptr)
        return InvalidParameter;
    *count = static_cast<INT>(pen->dashArray.size());
    return Ok;
}

GpStatus GdipGetPenDashArray(GpPen* pen, REAL* dash, INT count)
{
    if (pen == nullptr || dash == nullptr || count != static_cast<INT>(pen->dashArray.size()))
        return InvalidParameter;
    std::copy(pen->dashArray.begin(), pen->dashArray.end(), dash);
    return Ok;
}

// ---------------------------------------------------------------------------
// Brushes

GpStatus GdipCreateSolidFill(ARGB color, GpSolidFill** brush)
{
    if (brush == nullptr)
        return InvalidParameter;
    *brush = new (std::nothrow) GpBrush;
    if (*brush == nullptr)
        return OutOfMemory;
    (*brush)->fore = color;
    return Ok;
}

GpStatus GdipSetSolidFillColor(GpSolidFill* brush, ARGB color)
{
    if (brush == nullptr || brush->type != BrushTypeSolidColor)
        return InvalidParameter;
    brush->fore = color;
    return Ok;
}

GpStatus GdipGetSolidFillColor(GpSolidFill* brush, ARGB* color)
{
    if (brush == nullptr || color == nullptr || brush->type != BrushTypeSolidColor)
        return InvalidParameter;
    *color = brush->fore;
    return Ok;
}

GpStatus GdipCreateHatchBrush(GpHatchStyle hatchstyle, ARGB forecol, ARGB backcol, GpHatch** brush)
{
    if (brush == nullptr)
        return InvalidParameter;
    *brush = new (std::nothrow) GpBrush;
    if (*brush == nullptr)
        return OutOfMemory;
    (*brush)->type = BrushTypeHatchFill;
    (*brush)->hatch = hatchstyle;
    (*brush)->fore = forecol;
    (*brush)->back = backcol;
    return Ok;
}

GpStatus GdipGetHatchStyle(GpHatch* brush, GpHatchStyle* hatchstyle)
{
    if (brush == nullptr || hatchstyle == nullptr || brush->type != BrushTypeHatchFill)
        return InvalidParameter;
    *hatchstyle = static_cast<HatchStyle>(brush->hatch);
    return Ok;
}

GpStatus GdipGetHatchForegroundColor(GpHatch* brush, ARGB* forecol)
{
    if (brush == nullptr || forecol == nullptr || brush->type != BrushTypeHatchFill)
        return InvalidParameter;
    *forecol = brush->fore;
    return Ok;
}

GpStatus GdipGetHatchBackgroundColor(GpHatch* brush, ARGB* backcol)
{
    if (brush == nullptr || backcol == nullptr || brush->type != BrushTypeHatchFill)
        return InvalidParameter;
    *backcol = brush->back;
    return Ok;
}

GpStatus GdipCreateTexture(GpImage* image, GpWrapMode wrapmode, GpTexture** texture)
{
    if (image == nullptr || texture == nullptr || wrapmode < WrapModeTile || wrapmode > WrapModeClamp)
        return InvalidParameter;
    if (image->bLocked)
        return WrongState;
    GpBrush* p = new (std::nothrow) GpBrush;
    if (p == nullptr)
        return OutOfMemory;
    p->type = BrushTypeTextureFill;
    p->wrap = wrapmode;
    p->pTexture = CopyBitmap(image);
    if (p->pTexture == nullptr) {
        delete p;
        return OutOfMemory;
    }
    *texture = p;
    return Ok;
}

GpStatus GdipGetTextureImage(GpTexture* brush, GpImage** image)
{
    if (brush == nullptr || image == nullptr || brush->type != BrushTypeTextureFill)
        return InvalidParameter;
    *image = CopyBitmap(brush->pTexture);
    return *image != nullptr ? Ok : OutOfMemory;
}

GpStatus GdipGetBrushType(GpBrush* brush, GpBrushType* type)
{
    if (brush == nullptr || type == nullptr)
        return InvalidParameter;
    *type = brush->type;
    return Ok;
}

GpStatus GdipDeleteBrush(GpBrush* brush)
{
    if (brush == nullptr)
        return InvalidParameter;
    delete brush;
    return Ok;
}

// ---------------------------------------------------------------------------
// Paths, regions, matrices

GpStatus GdipCreatePath(GpFillMode brushMode, GpPath** path)
{
    if (path == nullptr || (brushMode != FillModeAlternate && brushMode != FillModeWinding))
        return InvalidParameter;
    *path = new (std::nothrow) GpPath;
    if (*path == nullptr)
        return OutOfMemory;
    (*path)->fillMode = brushMode;
    return Ok;
}

GpStatus GdipDeletePath(GpPath* path)
{
    if (path == nullptr)
        return InvalidParameter;
    delete path;
    return Ok;
}

GpStatus GdipAddPathPolygonI(GpPath* path, const GpPoint* points, INT count)
{
    if (path == nullptr || points == nullptr || count < 3)
        return InvalidParameter;
    XGdipFigure fig;
    fig.points.resize(static_cast<size_t>(count));
    for (INT i = 0; i < count; ++i)
        fig.points[i] = {static_cast<REAL>(points[i].X), static_cast<REAL>(points[i].Y)};
    path->figures.push_back(std::move(fig));
    return Ok;
}

GpStatus GdipAddPathRectangle(GpPath* path, REAL x, REAL y, REAL width, REAL height)
{
    if (path == nullptr)
        return InvalidParameter;
    XGdipFigure fig;
    fig.points = {{x, y}, {x + width, y}, {x + width, y + height}, {x, y + height}};
    path->figures.push_back(std::move(fig));
    return Ok;
}

GpStatus GdipGetPointCount(GpPath* path, INT* count)
{
    if (path == nullptr || count == nullptr)
        return InvalidParameter;
    size_t n = 0;
    for (const XGdipFigure& f : path->figures)
        n += f.points.size();
    *count = static_cast<INT>(n);
    return Ok;
}

GpStatus GdipCreateRegionPath(GpPath* path, GpRegion** region)
{
    if (path == nullptr || region == nullptr)
        return InvalidParameter;
    *region = new (std::nothrow) GpRegion;
    if (*region == nullptr)
        return OutOfMemory;
    (*region)->path = *path;
    return Ok;
}

GpStatus GdipDeleteRegion(GpRegion* region)
{
    if (region == nullptr)
        return InvalidParameter;
    delete region;
    return Ok;
}

GpStatus GdipCreateMatrix(GpMatrix** matrix) { return GdipCreateMatrix2(1, 0, 0, 1, 0, 0, matrix); }

GpStatus GdipCreateMatrix2(REAL m11, REAL m12, REAL m21, REAL m22, REAL dx, REAL dy, GpMatrix** matrix)
{
    if (matrix == nullptr)
        return InvalidParameter;
    *matrix = new (std::nothrow) GpMatrix;
    if (*matrix == nullptr)
        return OutOfMemory;
    cairo_matrix_init(&(*matrix)->m, m11, m12, m21, m22, dx, dy);
    return Ok;
}

GpStatus GdipDeleteMatrix(GpMatrix* matrix)
{
    if (matrix == nullptr)
        return InvalidParameter;
    delete matrix;
    return Ok;
}

GpStatus GdipGetMatrixElements(const GpMatrix* matrix, REAL* out)
{
    if (matrix == nullptr || out == nullptr)
        return InvalidParameter;
    const cairo_matrix_t& m = matrix->m;
    const double a[6] = {m.xx, m.yx, m.xy, m.yy, m.x0, m.y0};
    for (int i = 0; i < 6; ++i)
        out[i] = static_cast<REAL>(a[i]);
    return Ok;
}

// ---------------------------------------------------------------------------
// Fonts and string formats

GpStatus GdipCreateFontFamilyFromName(const wchar_t* name, GpFontCollection*, GpFontFamily** fontFamily)
{
    if (name == nullptr || fontFamily == nullptr)
        return InvalidParameter;
    *fontFamily = new (std::nothrow) GpFontFamily;
    if (*fontFamily == nullptr)
        return OutOfMemory;
    (*fontFamily)->strName = Narrow(name);
    return Ok;
}

GpStatus GdipDeleteFontFamily(GpFontFamily* fontFamily)
{
    if (fontFamily == nullptr)
        return InvalidParameter;
    delete fontFamily;
    return Ok;
}

GpStatus GdipGetFamilyName(const GpFontFamily* family, wchar_t name[32], LANGID)
{
    if (family == nullptr || name == nullptr)
        return InvalidParameter;
    const std::string& s = family->strName;
    const int n = XMbText::NarrowToWide(s.data(), static_cast<int>(s.size()), name, 31);
    name[n < 31 ? n : 31] = L'\0';
    return Ok;
}

GpStatus GdipCreateFont(const GpFontFamily* fontFamily, REAL emSize, INT style, Unit unit, GpFont** font)
{
    if (fontFamily == nullptr || font == nullptr || !(emSize > 0.0f) || unit == UnitDisplay || unit < UnitWorld ||
        unit > UnitMillimeter)
        return InvalidParameter;
    *font = new (std::nothrow) GpFont;
    if (*font == nullptr)
        return OutOfMemory;
    (*font)->strFamily = fontFamily->strName;
    (*font)->size = emSize;
    (*font)->style = style;
    (*font)->unit = unit;
    return Ok;
}

GpStatus GdipDeleteFont(GpFont* font)
{
    if (font == nullptr)
        return InvalidParameter;
    delete font;
    return Ok;
}

GpStatus GdipGetFontSize(GpFont* font, REAL* size)
{
    if (font == nullptr || size == nullptr)
        return InvalidParameter;
    *size = font->size;
    return Ok;
}

GpStatus GdipGetFontStyle(GpFont* font, INT* style)
{
    if (font == nullptr || style == nullptr)
        return InvalidParameter;
    *style = font->style;
    return Ok;
}

GpStatus GdipGetFontUnit(GpFont* font, Unit* unit)
{
    if (font == nullptr || unit == nullptr)
        return InvalidParameter;
    *unit = font->unit;
    return Ok;
}

GpStatus GdipGetFamily(GpFont* font, GpFontFamily** family)
{
    if (font == nullptr || family == nullptr)
        return InvalidParameter;
    *family = new (std::nothrow) GpFontFamily;
    if (*family == nullptr)
        return OutOfMemory;
    (*family)->strName = font->strFamily;
    return Ok;
}

GpStatus GdipCreateStringFormat(INT formatAttributes, LANGID language, GpStringFormat** format)
{
    if (format == nullptr)
        return InvalidParameter;
    *format = new (std::nothrow) GpStringFormat;
    if (*format == nullptr)
        return OutOfMemory;
    (*format)->flags = formatAttributes;
    (*format)->language = language;
    return Ok;
}

GpStatus GdipDeleteStringFormat(GpStringFormat* format)
{
    if (format == nullptr)
        return InvalidParameter;
    delete format;
    return Ok;
}

GpStatus GdipSetStringFormatAlign(GpStringFormat* format, StringAlignment align)
{
    if (format == nullptr || align < StringAlignmentNear || align > StringAlignmentFar)
        return InvalidParameter;
    format->align = align;
    return Ok;
}

GpStatus GdipGetStringFormatAlign(GpStringFormat* format, StringAlignment* align)
{
    if (format == nullptr || align == nullptr)
        return InvalidParameter;
    *align = format->align;
    return Ok;
}

GpStatus GdipSetStringFormatLineAlign(GpStringFormat* format, StringAlignment align)
{
    if (format == nullptr || align < StringAlignmentNear || align > StringAlignmentFar)
        return InvalidParameter;
    format->lineAlign = align;
    return Ok;
}

GpStatus GdipGetStringFormatLineAlign(GpStringFormat* format, StringAlignment* align)
{
    if (format == nullptr || align == nullptr)
        return InvalidParameter;
    *align = format->lineAlign;
    return Ok;
}

// ---------------------------------------------------------------------------
// Bitmaps

GpStatus GdipCreateBitmapFromScan0(INT width, INT height, INT stride, PixelFormat format, BYTE* scan0,
                                   GpBitmap** bitmap)
{
    if (bitmap == nullptr)
        return InvalidParameter;
    if (scan0 == nullptr) {
        *bitmap = NewBitmap(width, height, format);
        return *bitmap != nullptr ? Ok : InvalidParameter;
    }
    if (width <= 0 || height <= 0 || !IsKnownFormat(format) || stride < width * XGdipBytesPerPixel(format))
        return InvalidParameter;
    GpImage* p = new (std::nothrow) GpImage;
    if (p == nullptr)
        return OutOfMemory;
    p->width = width;
    p->height = height;
    p->format = format;
    p->stride = stride;
    p->pBits = scan0;
    *bitmap = p;
    return Ok;
}

GpStatus GdipCreateBitmapFromGdiDib(const BITMAPINFO* info, void* data, GpBitmap** bitmap)
{
    if (info == nullptr || data == nullptr || bitmap == nullptr)
        return InvalidParameter;
    const BITMAPINFOHEADER& h = info->bmiHeader;
    const int nBits = h.biBitCount;
    if ((nBits != 24 && nBits != 32) || h.biCompression != 0 || h.biWidth <= 0 || h.biHeight == 0 ||
        h.biHeight == INT32_MIN)
        return InvalidParameter;
    const int w = h.biWidth, rows = h.biHeight < 0 ? -h.biHeight : h.biHeight;
    GpImage* p = NewBitmap(w, rows, nBits == 24 ? PixelFormat24bppRGB : PixelFormat32bppRGB);
    if (p == nullptr)
        return OutOfMemory;
    const int nSrcStride = ((w * nBits + 31) / 32) * 4;
    for (int y = 0; y < rows; ++y) {
        // A positive height stores the bottom row first.
        const int nSrcRow = h.biHeight > 0 ? rows - 1 - y : y;
        std::memcpy(p->pBits + y * p->stride, static_cast<const BYTE*>(data) + static_cast<ptrdiff_t>(nSrcRow) * nSrcStride,
                    static_cast<size_t>(w) * (nBits / 8));
    }
    *bitmap = p;
    return Ok;
}

GpStatus GdipCloneBitmapAreaI(INT x, INT y, INT width, INT height, PixelFormat format, GpBitmap* src,
                              GpBitmap** dst)
{
    if (src == nullptr || dst == nullptr || x < 0 || y < 0 || width <= 0 || height <= 0 ||
        x > src->width - width || y > src->height - height)
        return InvalidParameter;
    if (src->bLocked)
        return WrongState;
    GpImage* p = NewBitmap(width, height, format);
    if (p == nullptr)
        return IsKnownFormat(format) ? OutOfMemory : InvalidParameter;
    const int nSrcBpp = XGdipBytesPerPixel(src->format), nDstBpp = XGdipBytesPerPixel(format);
    for (int r = 0; r < height; ++r)
        for (int c = 0; c < width; ++c)
            XGdipWritePixel(format, p->pBits + r * p->stride + c * nDstBpp,
                            XGdipReadPixel(src->format, src->pBits + (y + r) * src->stride + (x + c) * nSrcBpp));
    *dst = p;
    return Ok;
}

GpStatus GdipBitmapSetPixel(GpBitmap* bitmap, INT x, INT y, ARGB color)
{
    if (bitmap == nullptr || x < 0 || y < 0 || x >= bitmap->width || y >= bitmap->height)
        return InvalidParameter;
    if (bitmap->bLocked)
        return WrongState;
    XGdipWritePixel(bitmap->format, bitmap->pBits + y * bitmap->stride + x * XGdipBytesPerPixel(bitmap->format),
                    color);
    return Ok;
}

GpStatus GdipBitmapGetPixel(GpBitmap* bitmap, INT x, INT y, ARGB* color)
{
    if (bitmap == nullptr || color == nullptr || x < 0 || y < 0 || x >= bitmap->width || y >= bitmap->height)
        return InvalidParameter;
    if (bitmap->bLocked)
        return WrongState;
    *color = XGdipReadPixel(bitmap->format,
                            bitmap->pBits + y * bitmap->stride + x * XGdipBytesPerPixel(bitmap->format));
    return Ok;
}

GpStatus GdipBitmapLockBits(GpBitmap* bitmap, const GpRect* rect, UINT flags, PixelFormat format,
                            BitmapData* data)
{
    if (bitmap == nullptr || data == nullptr || !IsKnownFormat(format) ||
        (flags & (ImageLockModeRead | ImageLockModeWrite)) == 0)
        return InvalidParameter;
    if (bitmap->bLocked)
        return WrongState;
    const GpRect r = rect != nullptr ? *rect : GpRect{0, 0, bitmap->width, bitmap->height};
    if (r.X < 0 || r.Y < 0 || r.Width <= 0 || r.Height <= 0 || r.X > bitmap->width - r.Width ||
        r.Y > bitmap->height - r.Height)
        return InvalidParameter;
    const int nSrcBpp = XGdipBytesPerPixel(bitmap->format), nBpp = XGdipBytesPerPixel(format);
    BYTE* pFirst = bitmap->pBits + r.Y * bitmap->stride + r.X * nSrcBpp;
    if (flags & ImageLockModeUserInputBuf) {
        // The caller's rows receive (and, for a write lock, give back) the pixels.
        if (data->Scan0 == nullptr || data->Stride < r.Width * nBpp)
            return InvalidParameter;
    } else if (format == bitmap->format) {
        data->Scan0 = pFirst;
        data->Stride = bitmap->stride;
    } else {
        const int nStride = StrideOf(format, r.Width);
        try {
            bitmap->lockBuffer.assign(static_cast<size_t>(nStride) * r.Height, 0);
        } catch (const std::bad_alloc&) {
            return OutOfMemory;
        }
        data->Scan0 = bitmap->lockBuffer.data();
        data->Stride = nStride;
    }
    if (data->Scan0 != pFirst && (flags & ImageLockModeRead))
        for (int y = 0; y < r.Height; ++y)
            for (int x = 0; x < r.Width; ++x)
                XGdipWritePixel(format, static_cast<BYTE*>(data->Scan0) + y * data->Stride + x * nBpp,
                                XGdipReadPixel(bitmap->format, pFirst + y * bitmap->stride + x * nSrcBpp));
    data->Width = static_cast<UINT>(r.Width);
    data->Height = static_cast<UINT>(r.Height);
    data->PixelFormat = format;
    bitmap->bLocked = true;
    bitmap->lockFlags = flags;
    bitmap->lockRect = r;
    return Ok;
}

GpStatus GdipBitmapUnlockBits(GpBitmap* bitmap, BitmapData* data)
{
    if (bitmap == nullptr || data == nullptr)
        return InvalidParameter;
    if (!bitmap->bLocked)
        return WrongState;
    const GpRect& r = bitmap->lockRect;
    const int nSrcBpp = XGdipBytesPerPixel(bitmap->format), nBpp = XGdipBytesPerPixel(data->PixelFormat);
    BYTE* pFirst = bitmap->pBits + r.Y * bitmap->stride + r.X * nSrcBpp;
    if (data->Scan0 != pFirst && (bitmap->lockFlags & ImageLockModeWrite))
        for (int y = 0; y < r.Height; ++y)
            for (int x = 0; x < r.Width; ++x)
                XGdipWritePixel(bitmap->format, pFirst + y * bitmap->stride + x * nSrcBpp,
                                XGdipReadPixel(data->PixelFormat,
                                               static_cast<const BYTE*>(data->Scan0) + y * data->Stride + x * nBpp));
    bitmap->lockBuffer.clear();
    bitmap->lockBuffer.shrink_to_fit();
    bitmap->bLocked = false;
    return Ok;
}

GpStatus GdipGetImageWidth(GpImage* image, UINT* width)
{
    if (image == nullptr || width == nullptr)
        return InvalidParameter;
    *width = static_cast<UINT>(image->width);
    return Ok;
}

GpStatus GdipGetImageHeight(GpImage* image, UINT* height)
{
    if (image == nullptr || height == nullptr)
        return InvalidParameter;
    *height = static_cast<UINT>(image->height);
    return Ok;
}

GpStatus GdipGetImagePixelFormat(GpImage* image, PixelFormat* format)
{
    if (image == nullptr || format == nullptr)
        return InvalidParameter;
    *format = image->format;
    return Ok;
}

GpStatus GdipGetImageBounds(GpImage* image, GpRectF* srcRect, GpUnit* srcUnit)
{
    if (image == nullptr || srcRect == nullptr || srcUnit == nullptr)
        return InvalidParameter;
    *srcRect = {0.0f, 0.0f, static_cast<REAL>(image->width), static_cast<REAL>(image->height)};
    *srcUnit = UnitPixel;
    return Ok;
}

GpStatus GdipDisposeImage(GpImage* image)
{
    if (image == nullptr)
        return InvalidParameter;
    delete image;
    return Ok;
}

} // namespace Gdiplus
