// Fonts and text of the raster device: a LOGFONTA becomes a pango font
// description, faces resolve through fontconfig (with its fallback for
// characters a face lacks), and text is laid out by pango and drawn by cairo
// without antialiasing.
#include <glib.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "platform/XMbText.h"
#include "platform/XSysGdiObject.h"

namespace {

// The character height of a font whose LOGFONTA height is 0.
constexpr int nDefaultEm = 12;

cairo_font_options_t* AliasedOptions()
{
    static cairo_font_options_t* pOptions = [] {
        cairo_font_options_t* o = cairo_font_options_create();
        cairo_font_options_set_antialias(o, CAIRO_ANTIALIAS_NONE);
        cairo_font_options_set_hint_style(o, CAIRO_HINT_STYLE_FULL);
        cairo_font_options_set_hint_metrics(o, CAIRO_HINT_METRICS_ON);
        return o;
    }();
    return pOptions;
}

// A context of this thread's font map, for measuring without a surface.
PangoContext* MeasureContext()
{
    thread_local PangoContext* pContext = [] {
        PangoContext* c = pango_font_map_create_context(pango_cairo_font_map_get_default());
        pango_cairo_context_set_font_options(c, AliasedOptions());
        return c;
    }();
    return pContext;
}

void MeasureAt(PangoFontDescription* pDesc, int nEm, int& nAscent, int& nDescent, int& nAve, int& nMax)
{
    pango_font_description_set_absolute_size(pDesc, static_cast<double>(nEm) * PANGO_SCALE);
    PangoFontMetrics* m = pango_context_get_metrics(MeasureContext(), pDesc, nullptr);
    nAscent = PANGO_PIXELS(pango_font_metrics_get_ascent(m));
    nDescent = PANGO_PIXELS(pango_font_metrics_get_descent(m));
    nAve = PANGO_PIXELS(pango_font_metrics_get_approximate_char_width(m));
    nMax = std::max(nAve, PANGO_PIXELS(pango_font_metrics_get_approximate_digit_width(m)));
    pango_font_metrics_unref(m);
}

// Sizes the description by the LOGFONTA height rules.
void SizeFont(XGdiFont* f)
{
    const LONG h = f->lf.lfHeight;
    int nEm = h < 0 ? (h == INT32_MIN ? INT32_MAX : -h) : (h == 0 ? nDefaultEm : h);
    nEm = std::min(nEm, 0x7FFF);
    if (h > 0) {
        // A positive height is the cell (ascent and descent): find the
        // character height whose cell it is.
        int a, d, w, m;
        MeasureAt(f->pDesc, 1000, a, d, w, m);
        if (a + d > 0)
            nEm = std::max(1, static_cast<int>(std::lround(h * 1000.0 / (a + d))));
    }
    f->nEmPixels = nEm;
    MeasureAt(f->pDesc, nEm, f->nAscent, f->nDescent, f->nAveWidth, f->nMaxWidth);
}

void EnsureMetrics(XGdiFont* f) { std::call_once(f->sized, SizeFont, f); }

// Valid UTF-8 for pango, with '&' prefixes taken out when asked.
std::string Text(const char* s, int n, bool bPrefix)
{
    std::string t(s, static_cast<size_t>(n));
    if (bPrefix) {
        std::string u;
        for (size_t i = 0; i < t.size(); ++i) {
            if (t[i] == '&' && i + 1 < t.size())
                ++i;
            u.push_back(t[i]);
        }
        t.swap(u);
    }
    gchar* v = g_utf8_make_valid(t.data(), static_cast<gssize>(t.size()));
    std::string r(v);
    g_free(v);
    return r;
}

PangoLayout* Layout(PangoContext* c, XGdiFont* f, const std::string& text)
{
    EnsureMetrics(f);
    PangoLayout* l = pango_layout_new(c);
    pango_layout_set_font_description(l, f->pDesc);
    if (f->lf.lfUnderline || f->lf.lfStrikeOut) {
        PangoAttrList* attrs = pango_attr_list_new();
        if (f->lf.lfUnderline)
            pango_attr_list_insert(attrs, pango_attr_underline_new(PANGO_UNDERLINE_SINGLE));
        if (f->lf.lfStrikeOut)
            pango_attr_list_insert(attrs, pango_attr_strikethrough_new(TRUE));
        pango_layout_set_attributes(l, attrs);
        pango_attr_list_unref(attrs);
    }
    pango_layout_set_text(l, text.data(), static_cast<int>(text.size()));
    return l;
}

// The text's box: its advance width and the font's cell height per line.
void Extent(PangoLayout* l, const XGdiFont* f, int& w, int& h)
{
    PangoRectangle logical;
    pango_layout_get_pixel_extents(l, nullptr, &logical);
    w = logical.width;
    h = (f->nAscent + f->nDescent) * std::max(1, pango_layout_get_line_count(l));
}

void SetRgb(cairo_t* cr, COLORREF c)
{
    cairo_set_source_rgb(cr, (c & 0xFF) / 255.0, ((c >> 8) & 0xFF) / 255.0, ((c >> 16) & 0xFF) / 255.0);
}

// A piece of text and where it starts from the left of the text's box.
struct Piece {
    PangoLayout* pLayout;
    double dx;
};

// Draws the pieces with the box's top left at (ox, oy) of a frame at (x, y)
// turned by the font's escapement.
void Show(XGdiDC* dc, XGdiFont* f, const std::vector<Piece>& pieces, double x, double y, double ox, double oy, int w,
          int h)
{
    cairo_t* cr = dc->Cairo();
    cairo_save(cr);
    cairo_translate(cr, x, y);
    if (f->lf.lfEscapement != 0)
        cairo_rotate(cr, -f->lf.lfEscapement * M_PI / 1800.0);
    cairo_set_antialias(cr, dc->bAntialias ? CAIRO_ANTIALIAS_DEFAULT : CAIRO_ANTIALIAS_NONE);
    if (dc->nBkMode == OPAQUE) {
        SetRgb(cr, dc->clrBk);
        cairo_rectangle(cr, ox, oy, w, h);
        cairo_fill(cr);
    }
    SetRgb(cr, dc->clrText);
    for (const Piece& piece : pieces) {
        cairo_move_to(cr, ox + piece.dx, oy);
        pango_cairo_show_layout(cr, piece.pLayout);
    }
    cairo_restore(cr);
}

PangoContext* DrawContext(XGdiDC* dc)
{
    cairo_t* cr = dc->Cairo();
    if (cr == nullptr)
        return nullptr;
    PangoContext* c = pango_cairo_create_context(cr);
    pango_cairo_context_set_font_options(c, AliasedOptions());
    return c;
}

} // namespace

HFONT CreateFontIndirectA(const LOGFONTA* lplf)
{
    if (lplf == nullptr)
        return nullptr;
    std::unique_ptr<XGdiFont> f(new (std::nothrow) XGdiFont);
    if (!f)
        return nullptr;
    f->lf = *lplf;
    f->lf.lfFaceName[sizeof(f->lf.lfFaceName) - 1] = '\0';
    f->pDesc = pango_font_description_new();
    pango_font_description_set_family(f->pDesc, f->lf.lfFaceName[0] != '\0' ? f->lf.lfFaceName : "Sans");
    const LONG nWeight = f->lf.lfWeight <= 0 ? FW_NORMAL : std::clamp<LONG>(f->lf.lfWeight, 100, 1000);
    pango_font_description_set_weight(f->pDesc, static_cast<PangoWeight>(nWeight));
    pango_font_description_set_style(f->pDesc, f->lf.lfItalic ? PANGO_STYLE_ITALIC : PANGO_STYLE_NORMAL);
    return static_cast<HFONT>(XfnGdiAdd(std::move(f)));
}

BOOL ExtTextOutA(HDC hdc, int x, int y, UINT options, const RECT* lprect, const char* lpString, UINT c,
                 const int* lpDx)
{
    XGdiDC* dc = XfnGdiDrawDC(hdc);
    XGdiFont* f = dc != nullptr ? XfnGdiFont(dc->hFont) : nullptr;
    if (f == nullptr || (lpString == nullptr && c > 0) || c > 0x7FFFFFFF)
        return FALSE;
    cairo_t* cr = dc->Cairo();
    if (cr == nullptr)
        return FALSE;
    const bool bUpdate = (dc->nTextAlign & TA_UPDATECP) != 0;
    if (bUpdate) {
        x = dc->cur.x;
        y = dc->cur.y;
    }
    if (lprect != nullptr && (options & (ETO_OPAQUE | ETO_CLIPPED)) != 0) {
        cairo_save(cr);
        cairo_set_antialias(cr, CAIRO_ANTIALIAS_NONE);
        cairo_rectangle(cr, lprect->left, lprect->top, lprect->right - lprect->left, lprect->bottom - lprect->top);
        if (options & ETO_OPAQUE) {
            SetRgb(cr, dc->clrBk);
            cairo_fill_preserve(cr);
        }
        if (options & ETO_CLIPPED)
            cairo_clip(cr);
        cairo_new_path(cr);
    }
    PangoContext* pc = DrawContext(dc);
    std::vector<Piece> pieces;
    int w, h;
    if (lpDx == nullptr) {
        pieces.push_back({Layout(pc, f, Text(lpString != nullptr ? lpString : "", static_cast<int>(c), false)), 0.0});
        Extent(pieces.back().pLayout, f, w, h);
    } else {
        // Each character stands where the advances of the bytes before it put
        // it; a character of several bytes advances by all of theirs.
        int64_t nPos = 0;
        for (UINT i = 0; i < c;) {
            const UINT n = std::min<UINT>(static_cast<UINT>(XMbText::CharLen(lpString + i)), c - i);
            pieces.push_back({Layout(pc, f, Text(lpString + i, static_cast<int>(n), false)), static_cast<double>(nPos)});
            for (UINT k = 0; k < n; ++k)
                nPos += lpDx[i + k];
            i += n;
        }
        EnsureMetrics(f);
        w = static_cast<int>(std::clamp<int64_t>(nPos, 0, INT32_MAX));
        h = f->nAscent + f->nDescent;
    }
    double ox = 0, oy = 0;
    switch (dc->nTextAlign & TA_CENTER) {
    case TA_RIGHT:
        ox = -w;
        break;
    case TA_CENTER:
        ox = -w / 2;
        break;
    default:
        break;
    }
    switch (dc->nTextAlign & TA_BASELINE) {
    case TA_BOTTOM:
        oy = -h;
        break;
    case TA_BASELINE:
        oy = -f->nAscent;
        break;
    default:
        break;
    }
    Show(dc, f, pieces, x, y, ox, oy, w, h);
    if (lprect != nullptr && (options & (ETO_OPAQUE | ETO_CLIPPED)) != 0)
        cairo_restore(cr);
    if (bUpdate && (dc->nTextAlign & TA_CENTER) != TA_CENTER) {
        const double a = f->lf.lfEscapement * M_PI / 1800.0;
        const int d = (dc->nTextAlign & TA_CENTER) == TA_RIGHT ? -w : w;
        dc->cur = {static_cast<LONG>(std::lround(x + d * std::cos(a))), static_cast<LONG>(std::lround(y - d * std::sin(a)))};
    }
    for (const Piece& piece : pieces)
        g_object_unref(piece.pLayout);
    g_object_unref(pc);
    return TRUE;
}

BOOL TextOutA(HDC hdc, int x, int y, const char* lpString, int c)
{
    if (c < 0)
        return FALSE;
    return ExtTextOutA(hdc, x, y, 0, nullptr, lpString, static_cast<UINT>(c), nullptr);
}

int DrawTextA(HDC hdc, const char* lpchText, int cchText, RECT* lprc, UINT format)
{
    XGdiDC* dc = XfnGdiDC(hdc);
    XGdiFont* f = dc != nullptr ? XfnGdiFont(dc->hFont) : nullptr;
    if (f == nullptr || lpchText == nullptr || lprc == nullptr || cchText < -1)
        return 0;
    const int n = cchText == -1 ? static_cast<int>(std::strlen(lpchText)) : cchText;
    const bool bMeasure = (format & DT_CALCRECT) != 0;
    if (!bMeasure && dc->pSurface == nullptr)
        return 0;
    PangoContext* pc = bMeasure ? MeasureContext() : DrawContext(dc);
    if (pc == nullptr)
        return 0;
    std::string text = Text(lpchText, n, (format & DT_NOPREFIX) == 0);
    if (format & DT_SINGLELINE)
        std::replace_if(text.begin(), text.end(), [](char ch) { return ch == '\n' || ch == '\r'; }, ' ');
    PangoLayout* l = Layout(pc, f, text);
    if ((format & DT_WORDBREAK) && !(format & DT_SINGLELINE) && lprc->right > lprc->left)
        pango_layout_set_width(l, (lprc->right - lprc->left) * PANGO_SCALE);
    int w, h;
    Extent(l, f, w, h);
    if (bMeasure) {
        lprc->right = lprc->left + w;
        lprc->bottom = lprc->top + h;
    } else {
        double x = lprc->left, y = lprc->top;
        if (format & DT_CENTER)
            x = lprc->left + ((lprc->right - lprc->left) - w) / 2;
        else if (format & DT_RIGHT)
            x = lprc->right - w;
        if (format & DT_SINGLELINE) {
            if (format & DT_VCENTER)
                y = lprc->top + ((lprc->bottom - lprc->top) - h) / 2;
            else if (format & DT_BOTTOM)
                y = lprc->bottom - h;
        }
        cairo_t* cr = dc->Cairo();
        cairo_save(cr);
        if (!(format & DT_NOCLIP)) {
            cairo_rectangle(cr, lprc->left, lprc->top, lprc->right - lprc->left, lprc->bottom - lprc->top);
            cairo_clip(cr);
        }
        Show(dc, f, {{l, 0.0}}, x, y, 0, 0, w, h);
        cairo_restore(cr);
    }
    g_object_unref(l);
    if (!bMeasure)
        g_object_unref(pc);
    return h;
}

BOOL GetTextExtentPoint32A(HDC hdc, const char* lpString, int c, SIZE* psizl)
{
    XGdiDC* dc = XfnGdiDC(hdc);
    XGdiFont* f = dc != nullptr ? XfnGdiFont(dc->hFont) : nullptr;
    if (f == nullptr || psizl == nullptr || c < 0 || (lpString == nullptr && c > 0))
        return FALSE;
    PangoLayout* l = Layout(MeasureContext(), f, Text(lpString != nullptr ? lpString : "", c, false));
    int w, h;
    Extent(l, f, w, h);
    g_object_unref(l);
    psizl->cx = w;
    psizl->cy = f->nAscent + f->nDescent;
    return TRUE;
}

BOOL GetTextMetricsA(HDC hdc, TEXTMETRICA* lptm)
{
    XGdiDC* dc = XfnGdiDC(hdc);
    XGdiFont* f = dc != nullptr ? XfnGdiFont(dc->hFont) : nullptr;
    if (f == nullptr || lptm == nullptr)
        return FALSE;
    EnsureMetrics(f);
    TEXTMETRICA tm = {};
    tm.tmAscent = f->nAscent;
    tm.tmDescent = f->nDescent;
    tm.tmHeight = f->nAscent + f->nDescent;
    tm.tmInternalLeading = std::max(0, tm.tmHeight - f->nEmPixels);
    tm.tmAveCharWidth = f->nAveWidth;
    tm.tmMaxCharWidth = f->nMaxWidth;
    tm.tmWeight = f->lf.lfWeight <= 0 ? FW_NORMAL : f->lf.lfWeight;
    tm.tmDigitizedAspectX = tm.tmDigitizedAspectY = 96;
    tm.tmFirstChar = 0x20;
    tm.tmLastChar = 0xFF;
    tm.tmDefaultChar = '?';
    tm.tmBreakChar = ' ';
    tm.tmItalic = f->lf.lfItalic;
    tm.tmUnderlined = f->lf.lfUnderline;
    tm.tmStruckOut = f->lf.lfStrikeOut;
    tm.tmPitchAndFamily = f->lf.lfPitchAndFamily;
    tm.tmCharSet = f->lf.lfCharSet;
    *lptm = tm;
    return TRUE;
}
