// The graphics of the antialiased device: state, transforms, clipping, and
// shapes, text and images drawn by cairo (text laid out by pango).
#include "platform/XGdipObjects.h"

#include "platform/XMbText.h"
#include "platform/XSysDC.h"

#include <pango/pangocairo.h>

#include <cmath>
#include <cstring>
#include <cwchar>
#include <new>

namespace Gdiplus {

namespace {

constexpr double kPi = 3.14159265358979323846;

// Every other hatch value: alternating pixels.
const BYTE kOtherHatchRows[8] = {0xAA, 0x55, 0xAA, 0x55, 0xAA, 0x55, 0xAA, 0x55};

bool Antialiased(const GpGraphics* g)
{
    return g->smoothing == SmoothingModeHighQuality || g->smoothing == SmoothingModeAntiAlias ||
           g->smoothing == SmoothingModeAntiAlias8x4 || g->smoothing == SmoothingModeAntiAlias8x8;
}

// Pixel centres sit on whole coordinates unless the mode says halves: cairo's
// centres are on halves, so the whole-coordinate modes shift by half a pixel.
double PixelOffset(const GpGraphics* g)
{
    return g->pixelOffset == PixelOffsetModeHalf || g->pixelOffset == PixelOffsetModeHighQuality ? 0.0 : 0.5;
}

// Sets the context's matrix (world, then the pixel offset), its antialiasing
// and a new path, ahead of every drawing call.
void Begin(GpGraphics* g)
{
    cairo_matrix_t m = g->world;
    const double off = PixelOffset(g);
    m.x0 += off;
    m.y0 += off;
    cairo_set_matrix(g->cr, &m);
    cairo_set_antialias(g->cr, Antialiased(g) ? CAIRO_ANTIALIAS_DEFAULT : CAIRO_ANTIALIAS_NONE);
    cairo_new_path(g->cr);
}

void SetSourceARGB(cairo_t* cr, ARGB c)
{
    cairo_set_source_rgba(cr, ((c >> 16) & 0xFF) / 255.0, ((c >> 8) & 0xFF) / 255.0, (c & 0xFF) / 255.0,
                          (c >> 24) / 255.0);
}

cairo_surface_t* HatchSurface(const GpBrush* b)
{
    cairo_surface_t* s = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 8, 8);
    if (cairo_surface_status(s) != CAIRO_STATUS_SUCCESS) {
        cairo_surface_destroy(s);
        return nullptr;
    }
    cairo_surface_flush(s);
    // The raster device's cells: a hatch looks the same on both devices.
    const BYTE* rows = b->hatch >= 0 && b->hatch < 6 ? g_aXSysHatchRows[b->hatch] : kOtherHatchRows;
    BYTE* p = cairo_image_surface_get_data(s);
    const int nStride = cairo_image_surface_get_stride(s);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            XGdipWritePixel(PixelFormat32bppPARGB, p + y * nStride + 4 * x,
                            (rows[y] << x) & 0x80 ? b->fore : b->back);
    cairo_surface_mark_dirty(s);
    return s;
}

// Makes the brush the context's source. Hatches are fixed to the device's
// pixel grid; textures start at the world origin and turn with the world.
bool SetBrushSource(GpGraphics* g, const GpBrush* b)
{
    if (b->type == BrushTypeSolidColor) {
        SetSourceARGB(g->cr, b->fore);
        return true;
    }
    cairo_surface_t* s = b->type == BrushTypeHatchFill ? HatchSurface(b) : XGdipImageSurface(b->pTexture);
    if (s == nullptr)
        return false;
    cairo_pattern_t* pat = cairo_pattern_create_for_surface(s);
    cairo_surface_destroy(s);
    cairo_pattern_set_filter(pat, CAIRO_FILTER_NEAREST);
    cairo_matrix_t m;
    if (b->type == BrushTypeHatchFill) {
        cairo_pattern_set_extend(pat, CAIRO_EXTEND_REPEAT);
        cairo_get_matrix(g->cr, &m);
    } else {
        cairo_pattern_set_extend(pat, b->wrap == WrapModeTile    ? CAIRO_EXTEND_REPEAT
                                      : b->wrap == WrapModeClamp ? CAIRO_EXTEND_NONE
                                                                 : CAIRO_EXTEND_REFLECT);
        cairo_matrix_init_translate(&m, PixelOffset(g), PixelOffset(g));
    }
    cairo_pattern_set_matrix(pat, &m);
    cairo_set_source(g->cr, pat);
    cairo_pattern_destroy(pat);
    return true;
}

cairo_line_cap_t CairoCap(LineCap cap)
{
    switch (cap) {
    case LineCapSquare:
        return CAIRO_LINE_CAP_SQUARE;
    case LineCapRound:
        return CAIRO_LINE_CAP_ROUND;
    default:
        return CAIRO_LINE_CAP_BUTT;
    }
}

// Strokes the current path with the pen. A pen narrower than one device pixel
// (width 0 among them) draws one pixel wide at any transform. Dashes are in
// units of the drawn width and have flat ends; a solid line takes the pen's
// start cap at both ends.
void Stroke(GpGraphics* g, const GpPen* pen)
{
    cairo_t* cr = g->cr;
    SetSourceARGB(cr, pen->argb);
    const cairo_matrix_t& w = g->world;
    const double dScale = std::sqrt(std::fabs(w.xx * w.yy - w.xy * w.yx));
    const bool bHair = pen->width * dScale < 1.0;
    static const double kDash[] = {3, 1}, kDot[] = {1, 1}, kDashDot[] = {3, 1, 1, 1},
                        kDashDotDot[] = {3, 1, 1, 1, 1, 1};
    const double* pRuns = nullptr;
    int nRuns = 0;
    double adCustom[64];
    switch (pen->dashStyle) {
    case DashStyleDash:
        pRuns = kDash, nRuns = 2;
        break;
    case DashStyleDot:
        pRuns = kDot, nRuns = 2;
        break;
    case DashStyleDashDot:
        pRuns = kDashDot, nRuns = 4;
        break;
    case DashStyleDashDotDot:
        pRuns = kDashDotDot, nRuns = 6;
        break;
    case DashStyleCustom:
        nRuns = static_cast<int>(std::min<size_t>(pen->dashArray.size(), 64));
        for (int i = 0; i < nRuns; ++i)
            adCustom[i] = pen->dashArray[i];
        pRuns = adCustom;
        break;
    default:
        break;
    }
    const double dUnit = bHair ? 1.0 : pen->width;
    double adRuns[64];
    for (int i = 0; i < nRuns; ++i)
        adRuns[i] = pRuns[i] * dUnit;
    cairo_save(cr);
    if (bHair)
        cairo_identity_matrix(cr);
    cairo_set_line_width(cr, dUnit);
    cairo_set_dash(cr, adRuns, nRuns, 0.0);
    cairo_set_line_cap(cr, nRuns > 0 ? CAIRO_LINE_CAP_BUTT : CairoCap(pen->startCap));
    cairo_stroke(cr);
    cairo_restore(cr);
}

void AddPoints(cairo_t* cr, const GpPoint* p, INT n, bool bClose)
{
    cairo_move_to(cr, p[0].X, p[0].Y);
    for (INT i = 1; i < n; ++i)
        cairo_line_to(cr, p[i].X, p[i].Y);
    if (bClose)
        cairo_close_path(cr);
}

void AddPath(cairo_t* cr, const GpPath* path)
{
    for (const XGdipFigure& f : path->figures) {
        if (f.points.empty())
            continue;
        cairo_move_to(cr, f.points[0].X, f.points[0].Y);
        for (size_t i = 1; i < f.points.size(); ++i)
            cairo_line_to(cr, f.points[i].X, f.points[i].Y);
        cairo_close_path(cr);
    }
    cairo_set_fill_rule(cr, path->fillMode == FillModeWinding ? CAIRO_FILL_RULE_WINDING : CAIRO_FILL_RULE_EVEN_ODD);
}

// An ellipse in the box; a box of no width or height is the line along it.
void AddEllipse(cairo_t* cr, double x, double y, double w, double h)
{
    if (w == 0.0 || h == 0.0) {
        cairo_move_to(cr, x, y);
        cairo_line_to(cr, x + w, y + h);
        return;
    }
    cairo_save(cr);
    cairo_translate(cr, x + w / 2, y + h / 2);
    cairo_scale(cr, w / 2, h / 2);
    cairo_arc(cr, 0.0, 0.0, 1.0, 0.0, 2 * kPi);
    cairo_close_path(cr);
    cairo_restore(cr);
}

GpStatus Fill(GpGraphics* g, const GpBrush* brush)
{
    if (!SetBrushSource(g, brush)) {
        cairo_new_path(g->cr);
        return OutOfMemory;
    }
    cairo_fill(g->cr);
    return Ok;
}

// ---------------------------------------------------------------------------
// Text

double FontPixels(const GpFont* f)
{
    switch (f->unit) {
    case UnitPoint:
        return f->size * 96.0 / 72.0;
    case UnitInch:
        return f->size * 96.0;
    case UnitDocument:
        return f->size * 96.0 / 300.0;
    case UnitMillimeter:
        return f->size * 96.0 / 25.4;
    default:
        return f->size;
    }
}

// A layout of the text in the font, with the graphics' rendering hint. The
// caller unrefs it. A layout rectangle with a width wraps the text within it.
PangoLayout* MakeLayout(GpGraphics* g, const wchar_t* s, INT length, const GpFont* font, const GpRectF* rect,
                        const GpStringFormat* format)
{
    PangoLayout* layout = pango_cairo_create_layout(g->cr);
    cairo_font_options_t* fo = cairo_font_options_create();
    switch (g->textHint) {
    case TextRenderingHintSingleBitPerPixelGridFit:
    case TextRenderingHintSingleBitPerPixel:
        cairo_font_options_set_antialias(fo, CAIRO_ANTIALIAS_NONE);
        break;
    case TextRenderingHintClearTypeGridFit:
        cairo_font_options_set_antialias(fo, CAIRO_ANTIALIAS_SUBPIXEL);
        break;
    default:
        cairo_font_options_set_antialias(fo, CAIRO_ANTIALIAS_GRAY);
        break;
    }
    const bool bGridFit = g->textHint == TextRenderingHintSingleBitPerPixelGridFit ||
                          g->textHint == TextRenderingHintAntiAliasGridFit ||
                          g->textHint == TextRenderingHintClearTypeGridFit;
    cairo_font_options_set_hint_style(fo, bGridFit ? CAIRO_HINT_STYLE_FULL : CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(fo, bGridFit ? CAIRO_HINT_METRICS_ON : CAIRO_HINT_METRICS_OFF);
    pango_cairo_context_set_font_options(pango_layout_get_context(layout), fo);
    cairo_font_options_destroy(fo);
    pango_layout_context_changed(layout);

    PangoFontDescription* desc = pango_font_description_new();
    pango_font_description_set_family(desc, font->strFamily.c_str());
    pango_font_description_set_absolute_size(desc, FontPixels(font) * PANGO_SCALE);
    pango_font_description_set_weight(desc, (font->style & FontStyleBold) ? PANGO_WEIGHT_BOLD : PANGO_WEIGHT_NORMAL);
    pango_font_description_set_style(desc, (font->style & FontStyleItalic) ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
    pango_layout_set_font_description(layout, desc);
    pango_font_description_free(desc);
    if (font->style & (FontStyleUnderline | FontStyleStrikeout)) {
        PangoAttrList* attrs = pango_attr_list_new();
        if (font->style & FontStyleUnderline)
            pango_attr_list_insert(attrs, pango_attr_underline_new(PANGO_UNDERLINE_SINGLE));
        if (font->style & FontStyleStrikeout)
            pango_attr_list_insert(attrs, pango_attr_strikethrough_new(TRUE));
        pango_layout_set_attributes(layout, attrs);
        pango_attr_list_unref(attrs);
    }

    const int n = length < 0 ? static_cast<int>(std::wcslen(s)) : length;
    const int nBytes = XMbText::WideToNarrow(s, n, nullptr, 0);
    std::string str(static_cast<size_t>(nBytes), '\0');
    XMbText::WideToNarrow(s, n, &str[0], nBytes);
    pango_layout_set_text(layout, str.data(), nBytes);

    if (rect != nullptr && rect->Width > 0.0f) {
        pango_layout_set_width(layout, static_cast<int>(rect->Width * PANGO_SCALE));
        pango_layout_set_wrap(layout, PANGO_WRAP_WORD_CHAR);
    }
    const StringAlignment align = format != nullptr ? format->align : StringAlignmentNear;
    pango_layout_set_alignment(layout, align == StringAlignmentCenter ? PANGO_ALIGN_CENTER
                                       : align == StringAlignmentFar  ? PANGO_ALIGN_RIGHT
                                                                      : PANGO_ALIGN_LEFT);
    return layout;
}

// Places the layout's box by the format: against the rectangle's edges, or
// before, about or after its corner when the rectangle has no size.
GpRectF PlaceLayout(PangoLayout* layout, const GpRectF& rect, const GpStringFormat* format, PangoRectangle& logical)
{
    pango_layout_get_extents(layout, nullptr, &logical);
    const double w = static_cast<double>(logical.width) / PANGO_SCALE;
    const double h = static_cast<double>(logical.height) / PANGO_SCALE;
    auto place = [](double origin, double room, double size, StringAlignment a) {
        if (a == StringAlignmentCenter)
            return origin + (room - size) / 2;
        if (a == StringAlignmentFar)
            return origin + room - size;
        return origin;
    };
    const StringAlignment align = format != nullptr ? format->align : StringAlignmentNear;
    const StringAlignment lineAlign = format != nullptr ? format->lineAlign : StringAlignmentNear;
    // A wrapped layout already aligns its lines within the width.
    const double left = rect.Width > 0.0f ? rect.X : place(rect.X, 0.0, w, align);
    const double top = place(rect.Y, rect.Height > 0.0f ? rect.Height : 0.0, h, lineAlign);
    return {static_cast<REAL>(left), static_cast<REAL>(top), static_cast<REAL>(rect.Width > 0.0f ? rect.Width : w),
            static_cast<REAL>(h)};
}

} // namespace

GpGraphics::~GpGraphics() { cairo_destroy(cr); }

namespace {

// A graphics drawing through the context, which it references.
GpGraphics* NewGraphics(cairo_t* cr)
{
    if (cr == nullptr || cairo_status(cr) != CAIRO_STATUS_SUCCESS)
        return nullptr;
    GpGraphics* g = new (std::nothrow) GpGraphics;
    if (g == nullptr)
        return nullptr;
    g->cr = cairo_reference(cr);
    cairo_matrix_init_identity(&g->world);
    return g;
}

} // namespace

GpStatus GdipCreateFromHDC(HDC hdc, GpGraphics** graphics)
{
    if (graphics == nullptr)
        return InvalidParameter;
    // The DC's own surface: the raster device's pixels, drawn here by a cairo
    // context of this graphics' own, whose state the DC never sees.
    cairo_surface_t* s = XfnSysDCSurface(hdc);
    if (s == nullptr)
        return InvalidParameter;
    cairo_t* cr = cairo_create(s);
    *graphics = NewGraphics(cr);
    cairo_destroy(cr);
    return *graphics != nullptr ? Ok : OutOfMemory;
}

GpStatus GdipDeleteGraphics(GpGraphics* graphics)
{
    if (graphics == nullptr)
        return InvalidParameter;
    cairo_surface_flush(cairo_get_target(graphics->cr));
    delete graphics;
    return Ok;
}

// ---------------------------------------------------------------------------
// State

GpStatus GdipSetSmoothingMode(GpGraphics* g, SmoothingMode mode)
{
    if (g == nullptr || mode < SmoothingModeDefault || mode > SmoothingModeAntiAlias8x8)
        return InvalidParameter;
    g->smoothing = mode;
    return Ok;
}

GpStatus GdipGetSmoothingMode(GpGraphics* g, SmoothingMode* mode)
{
    if (g == nullptr || mode == nullptr)
        return InvalidParameter;
    *mode = g->smoothing;
    return Ok;
}

GpStatus GdipSetTextRenderingHint(GpGraphics* g, TextRenderingHint mode)
{
    if (g == nullptr || mode < TextRenderingHintSystemDefault || mode > TextRenderingHintClearTypeGridFit)
        return InvalidParameter;
    g->textHint = mode;
    return Ok;
}

GpStatus GdipGetTextRenderingHint(GpGraphics* g, TextRenderingHint* mode)
{
    if (g == nullptr || mode == nullptr)
        return InvalidParameter;
    *mode = g->textHint;
    return Ok;
}

GpStatus GdipSetInterpolationMode(GpGraphics* g, InterpolationMode mode)
{
    if (g == nullptr || mode < InterpolationModeDefault || mode > InterpolationModeHighQualityBicubic)
        return InvalidParameter;
    g->interpolation = mode;
    return Ok;
}

GpStatus GdipGetInterpolationMode(GpGraphics* g, InterpolationMode* mode)
{
    if (g == nullptr || mode == nullptr)
        return InvalidParameter;
    *mode = g->interpolation;
    return Ok;
}

GpStatus GdipSetPixelOffsetMode(GpGraphics* g, PixelOffsetMode mode)
{
    if (g == nullptr || mode < PixelOffsetModeDefault || mode > PixelOffsetModeHalf)
        return InvalidParameter;
    g->pixelOffset = mode;
    return Ok;
}

GpStatus GdipGetPixelOffsetMode(GpGraphics* g, PixelOffsetMode* mode)
{
    if (g == nullptr || mode == nullptr)
        return InvalidParameter;
    *mode = g->pixelOffset;
    return Ok;
}

GpStatus GdipSetClipRectI(GpGraphics* g, INT x, INT y, INT width, INT height, CombineMode mode)
{
    if (g == nullptr || (mode != CombineModeReplace && mode != CombineModeIntersect))
        return InvalidParameter;
    // The clip follows the world transform but not the pixel offset, so that
    // a whole-number rectangle clips on pixel edges.
    cairo_set_matrix(g->cr, &g->world);
    if (mode == CombineModeReplace)
        cairo_reset_clip(g->cr);
    cairo_new_path(g->cr);
    cairo_rectangle(g->cr, x, y, width, height);
    cairo_clip(g->cr);
    return Ok;
}

GpStatus GdipResetClip(GpGraphics* g)
{
    if (g == nullptr)
        return InvalidParameter;
    cairo_reset_clip(g->cr);
    return Ok;
}

GpStatus GdipResetWorldTransform(GpGraphics* g)
{
    if (g == nullptr)
        return InvalidParameter;
    cairo_matrix_init_identity(&g->world);
    return Ok;
}

namespace {

// Prepending applies the step to world points before the transform;
// appending applies it to the transform's results.
GpStatus Compose(GpGraphics* g, const cairo_matrix_t& step, GpMatrixOrder order)
{
    if (g == nullptr || (order != MatrixOrderPrepend && order != MatrixOrderAppend))
        return InvalidParameter;
    cairo_matrix_t r;
    if (order == MatrixOrderPrepend)
        cairo_matrix_multiply(&r, &step, &g->world);
    else
        cairo_matrix_multiply(&r, &g->world, &step);
    g->world = r;
    return Ok;
}

} // namespace

GpStatus GdipTranslateWorldTransform(GpGraphics* g, REAL dx, REAL dy, GpMatrixOrder order)
{
    cairo_matrix_t m;
    cairo_matrix_init_translate(&m, dx, dy);
    return Compose(g, m, order);
}

GpStatus GdipRotateWorldTransform(GpGraphics* g, REAL angle, GpMatrixOrder order)
{
    cairo_matrix_t m;
    cairo_matrix_init_rotate(&m, angle * kPi / 180.0);
    return Compose(g, m, order);
}

GpStatus GdipScaleWorldTransform(GpGraphics* g, REAL sx, REAL sy, GpMatrixOrder order)
{
    // A transform that flattens the plane could not be undone.
    if (sx == 0.0f || sy == 0.0f)
        return InvalidParameter;
    cairo_matrix_t m;
    cairo_matrix_init_scale(&m, sx, sy);
    return Compose(g, m, order);
}

GpStatus GdipGetWorldTransform(GpGraphics* g, GpMatrix* matrix)
{
    if (g == nullptr || matrix == nullptr)
        return InvalidParameter;
    matrix->m = g->world;
    return Ok;
}

// ---------------------------------------------------------------------------
// Shapes

GpStatus GdipDrawLine(GpGraphics* g, GpPen* pen, REAL x1, REAL y1, REAL x2, REAL y2)
{
    if (g == nullptr || pen == nullptr)
        return InvalidParameter;
    Begin(g);
    cairo_move_to(g->cr, x1, y1);
    cairo_line_to(g->cr, x2, y2);
    Stroke(g, pen);
    return Ok;
}

GpStatus GdipDrawLineI(GpGraphics* g, GpPen* pen, INT x1, INT y1, INT x2, INT y2)
{
    return GdipDrawLine(g, pen, static_cast<REAL>(x1), static_cast<REAL>(y1), static_cast<REAL>(x2),
                        static_cast<REAL>(y2));
}

GpStatus GdipDrawLinesI(GpGraphics* g, GpPen* pen, const GpPoint* points, INT count)
{
    if (g == nullptr || pen == nullptr || points == nullptr || count < 2)
        return InvalidParameter;
    Begin(g);
    AddPoints(g->cr, points, count, false);
    Stroke(g, pen);
    return Ok;
}

GpStatus GdipDrawPolygonI(GpGraphics* g, GpPen* pen, const GpPoint* points, INT count)
{
    if (g == nullptr || pen == nullptr || points == nullptr || count < 2)
        return InvalidParameter;
    Begin(g);
    AddPoints(g->cr, points, count, true);
    Stroke(g, pen);
    return Ok;
}

GpStatus GdipDrawRectangle(GpGraphics* g, GpPen* pen, REAL x, REAL y, REAL width, REAL height)
{
    if (g == nullptr || pen == nullptr)
        return InvalidParameter;
    Begin(g);
    cairo_rectangle(g->cr, x, y, width, height);
    Stroke(g, pen);
    return Ok;
}

GpStatus GdipDrawEllipseI(GpGraphics* g, GpPen* pen, INT x, INT y, INT width, INT height)
{
    if (g == nullptr || pen == nullptr)
        return InvalidParameter;
    Begin(g);
    AddEllipse(g->cr, x, y, width, height);
    Stroke(g, pen);
    return Ok;
}

GpStatus GdipDrawPath(GpGraphics* g, GpPen* pen, GpPath* path)
{
    if (g == nullptr || pen == nullptr || path == nullptr)
        return InvalidParameter;
    Begin(g);
    AddPath(g->cr, path);
    Stroke(g, pen);
    return Ok;
}

GpStatus GdipFillEllipseI(GpGraphics* g, GpBrush* brush, INT x, INT y, INT width, INT height)
{
    if (g == nullptr || brush == nullptr)
        return InvalidParameter;
    Begin(g);
    if (width == 0 || height == 0)
        return Ok;
    AddEllipse(g->cr, x, y, width, height);
    return Fill(g, brush);
}

GpStatus GdipFillRectangle(GpGraphics* g, GpBrush* brush, REAL x, REAL y, REAL width, REAL height)
{
    if (g == nullptr || brush == nullptr)
        return InvalidParameter;
    Begin(g);
    cairo_rectangle(g->cr, x, y, width, height);
    return Fill(g, brush);
}

GpStatus GdipFillRectangleI(GpGraphics* g, GpBrush* brush, INT x, INT y, INT width, INT height)
{
    return GdipFillRectangle(g, brush, static_cast<REAL>(x), static_cast<REAL>(y), static_cast<REAL>(width),
                             static_cast<REAL>(height));
}

GpStatus GdipFillPolygonI(GpGraphics* g, GpBrush* brush, const GpPoint* points, INT count, GpFillMode fillMode)
{
    if (g == nullptr || brush == nullptr || points == nullptr || count < 3)
        return InvalidParameter;
    Begin(g);
    AddPoints(g->cr, points, count, true);
    cairo_set_fill_rule(g->cr, fillMode == FillModeWinding ? CAIRO_FILL_RULE_WINDING : CAIRO_FILL_RULE_EVEN_ODD);
    return Fill(g, brush);
}

GpStatus GdipFillPath(GpGraphics* g, GpBrush* brush, GpPath* path)
{
    if (g == nullptr || brush == nullptr || path == nullptr)
        return InvalidParameter;
    Begin(g);
    AddPath(g->cr, path);
    return Fill(g, brush);
}

GpStatus GdipFillRegion(GpGraphics* g, GpBrush* brush, GpRegion* region)
{
    if (region == nullptr)
        return InvalidParameter;
    return GdipFillPath(g, brush, &region->path);
}

// ---------------------------------------------------------------------------
// Text

GpStatus GdipMeasureString(GpGraphics* g, const wchar_t* string, INT length, const GpFont* font,
                           const GpRectF* layoutRect, const GpStringFormat* format, GpRectF* boundingBox,
                           INT* codepointsFitted, INT* linesFilled)
{
    if (g == nullptr || string == nullptr || font == nullptr || layoutRect == nullptr || boundingBox == nullptr)
        return InvalidParameter;
    Begin(g);
    PangoLayout* layout = MakeLayout(g, string, length, font, layoutRect, format);
    PangoRectangle logical;
    *boundingBox = PlaceLayout(layout, *layoutRect, format, logical);
    if (codepointsFitted != nullptr)
        *codepointsFitted = length < 0 ? static_cast<INT>(std::wcslen(string)) : length;
    if (linesFilled != nullptr)
        *linesFilled = pango_layout_get_line_count(layout);
    g_object_unref(layout);
    return Ok;
}

GpStatus GdipDrawString(GpGraphics* g, const wchar_t* string, INT length, const GpFont* font,
                        const GpRectF* layoutRect, const GpStringFormat* format, const GpBrush* brush)
{
    if (g == nullptr || string == nullptr || font == nullptr || layoutRect == nullptr || brush == nullptr)
        return InvalidParameter;
    Begin(g);
    PangoLayout* layout = MakeLayout(g, string, length, font, layoutRect, format);
    PangoRectangle logical;
    const GpRectF box = PlaceLayout(layout, *layoutRect, format, logical);
    GpStatus status = Ok;
    if (SetBrushSource(g, brush)) {
        cairo_move_to(g->cr, box.X - static_cast<double>(logical.x) / PANGO_SCALE,
                      box.Y - static_cast<double>(logical.y) / PANGO_SCALE);
        pango_cairo_show_layout(g->cr, layout);
    } else {
        status = OutOfMemory;
    }
    g_object_unref(layout);
    return status;
}

// ---------------------------------------------------------------------------
// Images

namespace {

// Paints the source rectangle of the image into the destination rectangle,
// filtered by the interpolation mode; edges repeat their last pixels rather
// than fade.
GpStatus PaintImage(GpGraphics* g, GpImage* image, double dx, double dy, double dw, double dh, double sx, double sy,
                    double sw, double sh)
{
    if (image->bLocked)
        return WrongState;
    if (dw == 0.0 || dh == 0.0)
        return Ok;
    cairo_surface_t* s = XGdipImageSurface(image);
    if (s == nullptr)
        return OutOfMemory;
    Begin(g);
    cairo_pattern_t* pat = cairo_pattern_create_for_surface(s);
    cairo_surface_destroy(s);
    cairo_matrix_t m;
    cairo_matrix_init_translate(&m, sx, sy);
    cairo_matrix_scale(&m, sw / dw, sh / dh);
    cairo_matrix_translate(&m, -dx, -dy);
    cairo_pattern_set_matrix(pat, &m);
    cairo_pattern_set_extend(pat, CAIRO_EXTEND_PAD);
    cairo_filter_t filter = CAIRO_FILTER_BILINEAR;
    if (g->interpolation == InterpolationModeNearestNeighbor)
        filter = CAIRO_FILTER_NEAREST;
    else if (g->interpolation == InterpolationModeBicubic || g->interpolation == InterpolationModeHighQualityBicubic ||
             g->interpolation == InterpolationModeHighQuality)
        filter = CAIRO_FILTER_GOOD;
    cairo_pattern_set_filter(pat, filter);
    cairo_set_source(g->cr, pat);
    cairo_pattern_destroy(pat);
    cairo_rectangle(g->cr, dx, dy, dw, dh);
    cairo_fill(g->cr);
    return Ok;
}

} // namespace

GpStatus GdipDrawImageRectRectI(GpGraphics* g, GpImage* image, INT dstx, INT dsty, INT dstwidth, INT dstheight,
                                INT srcx, INT srcy, INT srcwidth, INT srcheight, GpUnit srcUnit,
                                const GpImageAttributes*, DrawImageAbort, void*)
{
    if (g == nullptr || image == nullptr || (srcUnit != UnitPixel && srcUnit != UnitWorld) || srcwidth == 0 ||
        srcheight == 0)
        return InvalidParameter;
    return PaintImage(g, image, dstx, dsty, dstwidth, dstheight, srcx, srcy, srcwidth, srcheight);
}

GpStatus GdipDrawImageRect(GpGraphics* g, GpImage* image, REAL x, REAL y, REAL width, REAL height)
{
    if (g == nullptr || image == nullptr)
        return InvalidParameter;
    return PaintImage(g, image, x, y, width, height, 0.0, 0.0, image->width, image->height);
}

} // namespace Gdiplus
