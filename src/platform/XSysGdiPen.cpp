// Pens, brushes, palettes and stock objects of the raster device, and
// GetObjectA over them.
#include <algorithm>
#include <cstring>
#include <mutex>
#include <new>

#include "platform/XSysGdiObject.h"
#include "platform/XSysGdiStock.h"

namespace {

// The cosmetic dashes as the raster device draws them, in pixels.
void CosmeticDashes(int nKind, std::vector<DWORD>& dashes)
{
    switch (nKind) {
    case PS_DASH:
        dashes = {18, 6};
        break;
    case PS_DOT:
        dashes = {3, 3};
        break;
    case PS_DASHDOT:
        dashes = {9, 6, 3, 6};
        break;
    case PS_DASHDOTDOT:
        dashes = {9, 3, 3, 3, 3, 3};
        break;
    case PS_ALTERNATE:
        dashes = {1, 1};
        break;
    default:
        dashes.clear();
        break;
    }
}

template <class T>
T AddObject(std::unique_ptr<XGdiObject> p)
{
    return static_cast<T>(XfnGdiAdd(std::move(p)));
}

} // namespace

// The rows of each hatch, bit 7 being column 0. They are the 8 by 8 cells of
// the drawing layer's fill masks, so that a hatch looks the same on every
// route.
const uint8_t g_aXSysHatchRows[6][8] = {
    {0x00, 0xFF, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00}, // HS_HORIZONTAL
    {0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01}, // HS_VERTICAL
    {0x80, 0x40, 0x20, 0x10, 0x08, 0x04, 0x02, 0x01}, // HS_FDIAGONAL
    {0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x80}, // HS_BDIAGONAL
    {0x01, 0xFF, 0x01, 0x01, 0x01, 0x01, 0x01, 0x01}, // HS_CROSS
    {0x81, 0x42, 0x24, 0x18, 0x18, 0x24, 0x42, 0x81}, // HS_DIAGCROSS
};

namespace {

// The largest pattern a brush copies.
constexpr int64_t nMaxPatternPixels = 1 << 24;

// Reads a packed DIB (header, colour table, rows) into top-down pixels.
bool ReadPackedDIB(const void* pDIB, UINT usage, XGdiBrush& br)
{
    if (pDIB == nullptr || usage != DIB_RGB_COLORS)
        return false;
    const BITMAPINFO* bmi = static_cast<const BITMAPINFO*>(pDIB);
    const BITMAPINFOHEADER& h = bmi->bmiHeader;
    const int nBits = h.biBitCount;
    if (h.biSize < sizeof(BITMAPINFOHEADER) || h.biWidth <= 0 || h.biHeight == 0 || h.biHeight == INT32_MIN ||
        h.biPlanes != 1 || h.biCompression != BI_RGB ||
        (nBits != 1 && nBits != 4 && nBits != 8 && nBits != 24 && nBits != 32))
        return false;
    const int nWidth = h.biWidth;
    const int nHeight = h.biHeight < 0 ? -h.biHeight : h.biHeight;
    if (static_cast<int64_t>(nWidth) * nHeight > nMaxPatternPixels)
        return false;
    const DWORD nTable = h.biClrUsed != 0 ? h.biClrUsed : (nBits <= 8 ? 1u << nBits : 0u);
    if (nTable > 256)
        return false;
    const int nColors = nBits <= 8 ? static_cast<int>(std::min<DWORD>(nTable, 1u << nBits)) : 0;
    const RGBQUAD* pColors = reinterpret_cast<const RGBQUAD*>(reinterpret_cast<const uint8_t*>(bmi) + h.biSize);
    const uint8_t* pRows = reinterpret_cast<const uint8_t*>(pColors + nTable);
    const size_t nRowBytes = ((static_cast<size_t>(nWidth) * nBits + 31) / 32) * 4;
    br.pattern.assign(static_cast<size_t>(nWidth) * nHeight, 0xFF000000u);
    for (int y = 0; y < nHeight; ++y) {
        const int nSrcRow = h.biHeight > 0 ? nHeight - 1 - y : y;
        const uint8_t* r = pRows + nRowBytes * nSrcRow;
        uint32_t* out = &br.pattern[static_cast<size_t>(y) * nWidth];
        for (int x = 0; x < nWidth; ++x) {
            if (nBits >= 24) {
                const uint8_t* p = r + x * (nBits / 8);
                out[x] = 0xFF000000u | (uint32_t(p[2]) << 16) | (uint32_t(p[1]) << 8) | p[0];
                continue;
            }
            int nIndex;
            if (nBits == 8)
                nIndex = r[x];
            else if (nBits == 4)
                nIndex = (r[x / 2] >> ((x & 1) ? 0 : 4)) & 0xF;
            else
                nIndex = (r[x / 8] >> (7 - (x & 7))) & 1;
            if (nIndex < nColors) {
                const RGBQUAD& q = pColors[nIndex];
                out[x] = 0xFF000000u | (uint32_t(q.rgbRed) << 16) | (uint32_t(q.rgbGreen) << 8) | q.rgbBlue;
            }
        }
    }
    br.nPatWidth = nWidth;
    br.nPatHeight = nHeight;
    return true;
}

} // namespace

HPEN CreatePen(int iStyle, int cWidth, COLORREF color)
{
    // The type, end-cap and join bits may come along (a geometric hairline is
    // made so); the pen draws by its style field and keeps the word as given.
    const int nKind = iStyle & static_cast<int>(PS_STYLE_MASK);
    const DWORD nKnown = PS_STYLE_MASK | PS_ENDCAP_MASK | PS_JOIN_MASK | PS_TYPE_MASK;
    if (iStyle < 0 || nKind > static_cast<int>(PS_INSIDEFRAME) || cWidth < 0 ||
        (static_cast<DWORD>(iStyle) & ~nKnown) != 0)
        return nullptr;
    std::unique_ptr<XGdiPen> pen(new (std::nothrow) XGdiPen);
    if (!pen)
        return nullptr;
    pen->nStyle = static_cast<DWORD>(iStyle);
    pen->nWidth = cWidth;
    pen->clr = color & 0xFFFFFFu;
    if (cWidth <= 1)
        CosmeticDashes(nKind, pen->dashes);
    return AddObject<HPEN>(std::move(pen));
}

HPEN CreatePenIndirect(const LOGPEN* plpen)
{
    if (plpen == nullptr)
        return nullptr;
    return CreatePen(static_cast<int>(plpen->lopnStyle), plpen->lopnWidth.x, plpen->lopnColor);
}

HPEN ExtCreatePen(DWORD iPenStyle, DWORD cWidth, const LOGBRUSH* plbrush, DWORD cStyle, const DWORD* pstyle)
{
    const int nKind = static_cast<int>(iPenStyle & PS_STYLE_MASK);
    const DWORD nType = iPenStyle & PS_TYPE_MASK;
    if (plbrush == nullptr || (nType != PS_COSMETIC && nType != PS_GEOMETRIC) || nKind > static_cast<int>(PS_ALTERNATE) ||
        cWidth > 0x7FFFFFFF || (iPenStyle & ~(PS_STYLE_MASK | PS_ENDCAP_MASK | PS_JOIN_MASK | PS_TYPE_MASK)) != 0)
        return nullptr;
    if (plbrush->lbStyle != BS_SOLID && plbrush->lbStyle != BS_NULL)
        return nullptr;
    if (nType == PS_COSMETIC && (cWidth != 1 || plbrush->lbStyle != BS_SOLID))
        return nullptr;
    if (nKind == PS_ALTERNATE && nType != PS_COSMETIC)
        return nullptr;
    if (nKind == PS_USERSTYLE ? (cStyle == 0 || cStyle > 16 || pstyle == nullptr) : cStyle != 0)
        return nullptr;
    std::unique_ptr<XGdiPen> pen(new (std::nothrow) XGdiPen);
    if (!pen)
        return nullptr;
    pen->bExt = true;
    pen->nStyle = plbrush->lbStyle == BS_NULL ? (iPenStyle & ~PS_STYLE_MASK) | PS_NULL : iPenStyle;
    pen->nWidth = static_cast<int>(cWidth);
    pen->clr = plbrush->lbColor & 0xFFFFFFu;
    if (nKind == PS_USERSTYLE) {
        pen->dashes.assign(pstyle, pstyle + cStyle);
        DWORD nTotal = 0;
        for (DWORD d : pen->dashes)
            nTotal += std::min<DWORD>(d, 0xFFFF);
        if (nTotal == 0)
            return nullptr;
    } else if (nType == PS_COSMETIC || pen->nWidth <= 1) {
        CosmeticDashes(nKind, pen->dashes);
    } else if (nKind >= static_cast<int>(PS_DASH) && nKind <= static_cast<int>(PS_DASHDOTDOT)) {
        // A wide styled pen's runs grow with its width.
        static const std::vector<DWORD> units[4] = {{3, 1}, {1, 1}, {3, 1, 1, 1}, {3, 1, 1, 1, 1, 1}};
        pen->dashes = units[nKind - PS_DASH];
        for (DWORD& d : pen->dashes)
            d *= static_cast<DWORD>(pen->nWidth);
    }
    return AddObject<HPEN>(std::move(pen));
}

HBRUSH CreateBrushIndirect(const LOGBRUSH* plbrush)
{
    if (plbrush == nullptr)
        return nullptr;
    std::unique_ptr<XGdiBrush> br(new (std::nothrow) XGdiBrush);
    if (!br)
        return nullptr;
    br->nStyle = plbrush->lbStyle;
    br->clr = plbrush->lbColor & 0xFFFFFFu;
    switch (plbrush->lbStyle) {
    case BS_SOLID:
    case BS_NULL:
        break;
    case BS_HATCHED:
        if (plbrush->lbHatch > HS_DIAGCROSS)
            return nullptr;
        br->nHatch = static_cast<int>(plbrush->lbHatch);
        std::memcpy(br->hatchRows, g_aXSysHatchRows[br->nHatch], 8);
        break;
    case BS_DIBPATTERNPT:
        try {
            if (!ReadPackedDIB(reinterpret_cast<const void*>(plbrush->lbHatch), plbrush->lbColor & 0xFFFF, *br))
                return nullptr;
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
        break;
    case BS_PATTERN: {
        XGdiBitmap* bm = XfnGdiBitmap(reinterpret_cast<HBITMAP>(plbrush->lbHatch));
        if (bm == nullptr)
            return nullptr;
        XGdiSurface& s = *bm->surface;
        cairo_surface_flush(s.pCairo);
        if (static_cast<int64_t>(s.Width()) * s.Height() > nMaxPatternPixels)
            return nullptr;
        try {
            br->pattern.resize(static_cast<size_t>(s.Width()) * s.Height());
        } catch (const std::bad_alloc&) {
            return nullptr;
        }
        for (int y = 0; y < s.Height(); ++y)
            std::memcpy(&br->pattern[static_cast<size_t>(y) * s.Width()], s.Row(y), static_cast<size_t>(s.Width()) * 4);
        br->nPatWidth = s.Width();
        br->nPatHeight = s.Height();
        break;
    }
    default:
        return nullptr;
    }
    return AddObject<HBRUSH>(std::move(br));
}

HBRUSH CreateSolidBrush(COLORREF color)
{
    LOGBRUSH lb = {BS_SOLID, color, 0};
    return CreateBrushIndirect(&lb);
}

HBRUSH CreateHatchBrush(int iHatch, COLORREF color)
{
    if (iHatch < HS_HORIZONTAL || iHatch > HS_DIAGCROSS)
        return nullptr;
    LOGBRUSH lb = {BS_HATCHED, color, static_cast<ULONG_PTR>(iHatch)};
    return CreateBrushIndirect(&lb);
}

// ---------------------------------------------------------------- palettes

UINT GetSystemPaletteEntries(HDC hdc, UINT, UINT, PALETTEENTRY*)
{
    // Without RC_PALETTE the device has no system palette to report.
    (void)hdc;
    return 0;
}

HPALETTE CreatePalette(const LOGPALETTE* plpal)
{
    if (plpal == nullptr || plpal->palVersion != 0x300 || plpal->palNumEntries == 0)
        return nullptr;
    std::unique_ptr<XGdiPalette> pal(new (std::nothrow) XGdiPalette);
    if (!pal)
        return nullptr;
    try {
        pal->entries.assign(plpal->palPalEntry, plpal->palPalEntry + plpal->palNumEntries);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
    return AddObject<HPALETTE>(std::move(pal));
}

HPALETTE SelectPalette(HDC hdc, HPALETTE hPal, BOOL)
{
    XGdiDC* dc = XfnGdiDC(hdc);
    XGdiObject* p = XfnGdiFind(hPal);
    if (dc == nullptr || p == nullptr || p->kind != XGdiKind::Palette)
        return nullptr;
    HPALETTE hOld = dc->hPalette;
    if (hOld != hPal) {
        if (XGdiObject* pOld = XfnGdiFind(hOld))
            --pOld->nSelected;
        ++p->nSelected;
        dc->hPalette = hPal;
    }
    return hOld;
}

UINT RealizePalette(HDC hdc)
{
    // A device without a palette maps no entries.
    return XfnGdiDC(hdc) == nullptr ? static_cast<UINT>(GDI_ERROR) : 0;
}

// ---------------------------------------------------------------- stock objects

namespace {

struct Stock {
    HGDIOBJ objects[DEFAULT_GUI_FONT + 1] = {};
    HBITMAP hBitmap = nullptr;
};

void MarkStock(HGDIOBJ h)
{
    if (XGdiObject* p = XfnGdiFind(h))
        p->bStock = true;
}

const Stock& TheStock()
{
    static const Stock* pStock = [] {
        Stock* s = new Stock;
        s->objects[WHITE_BRUSH] = CreateSolidBrush(RGB(255, 255, 255));
        s->objects[LTGRAY_BRUSH] = CreateSolidBrush(RGB(192, 192, 192));
        s->objects[GRAY_BRUSH] = CreateSolidBrush(RGB(128, 128, 128));
        s->objects[DKGRAY_BRUSH] = CreateSolidBrush(RGB(64, 64, 64));
        s->objects[BLACK_BRUSH] = CreateSolidBrush(RGB(0, 0, 0));
        LOGBRUSH lbNull = {BS_NULL, 0, 0};
        s->objects[NULL_BRUSH] = CreateBrushIndirect(&lbNull);
        s->objects[WHITE_PEN] = CreatePen(PS_SOLID, 0, RGB(255, 255, 255));
        s->objects[BLACK_PEN] = CreatePen(PS_SOLID, 0, RGB(0, 0, 0));
        s->objects[NULL_PEN] = CreatePen(PS_NULL, 0, 0);
        LOGFONTA lf = {};
        lf.lfHeight = 16;
        lf.lfWeight = FW_BOLD;
        lf.lfCharSet = DEFAULT_CHARSET;
        std::strcpy(lf.lfFaceName, "Sans");
        s->objects[SYSTEM_FONT] = CreateFontIndirectA(&lf);
        lf.lfHeight = -11;
        lf.lfWeight = FW_NORMAL;
        s->objects[DEFAULT_GUI_FONT] = CreateFontIndirectA(&lf);
        PALETTEENTRY entries[2] = {{0, 0, 0, 0}, {255, 255, 255, 0}};
        alignas(LOGPALETTE) uint8_t block[sizeof(LOGPALETTE) + sizeof(PALETTEENTRY)];
        LOGPALETTE* lp = reinterpret_cast<LOGPALETTE*>(block);
        lp->palVersion = 0x300;
        lp->palNumEntries = 2;
        std::memcpy(lp->palPalEntry, entries, sizeof(entries));
        s->objects[DEFAULT_PALETTE] = CreatePalette(lp);
        s->hBitmap = CreateCompatibleBitmap(nullptr, 1, 1);
        for (HGDIOBJ h : s->objects)
            MarkStock(h);
        MarkStock(s->hBitmap);
        return s;
    }();
    return *pStock;
}

} // namespace

HGDIOBJ GetStockObject(int i)
{
    if (i < 0 || i > DEFAULT_GUI_FONT)
        return nullptr;
    return TheStock().objects[i];
}

HBITMAP XfnGdiStockBitmap() { return TheStock().hBitmap; }

// ---------------------------------------------------------------- GetObjectA

namespace {
int CopyOut(const void* pSrc, int nSize, int c, LPVOID pv)
{
    if (pv == nullptr)
        return nSize;
    if (c <= 0)
        return 0;
    const int n = std::min(c, nSize);
    std::memcpy(pv, pSrc, static_cast<size_t>(n));
    return n;
}
} // namespace

int GetObjectA(HGDIOBJ h, int c, LPVOID pv)
{
    XGdiObject* p = XfnGdiFind(h);
    if (p == nullptr)
        return 0;
    switch (p->kind) {
    case XGdiKind::Bitmap: {
        const XGdiBitmap* bm = static_cast<const XGdiBitmap*>(p);
        BITMAP b = {0, bm->surface->Width(), bm->surface->Height(), bm->surface->Width() * 4, 1, 32, bm->pDIBBits};
        return CopyOut(&b, sizeof(b), c, pv);
    }
    case XGdiKind::Pen: {
        const XGdiPen* pen = static_cast<const XGdiPen*>(p);
        if (!pen->bExt) {
            LOGPEN lp = {pen->nStyle, {pen->nWidth, 0}, pen->clr};
            return CopyOut(&lp, sizeof(lp), c, pv);
        }
        const bool bUser = pen->Kind() == PS_USERSTYLE;
        const size_t nEntries = bUser ? pen->dashes.size() : 0;
        std::vector<uint8_t> block(offsetof(EXTLOGPEN, elpStyleEntry) + std::max<size_t>(nEntries, 1) * 4, 0);
        EXTLOGPEN* e = reinterpret_cast<EXTLOGPEN*>(block.data());
        e->elpPenStyle = pen->nStyle;
        e->elpWidth = static_cast<DWORD>(pen->nWidth);
        e->elpBrushStyle = pen->IsNull() ? BS_NULL : BS_SOLID;
        e->elpColor = pen->clr;
        e->elpNumEntries = static_cast<DWORD>(nEntries);
        if (nEntries > 0)
            std::memcpy(e->elpStyleEntry, pen->dashes.data(), nEntries * 4);
        const int nSize = static_cast<int>(offsetof(EXTLOGPEN, elpStyleEntry) + nEntries * 4);
        return CopyOut(block.data(), nSize, c, pv);
    }
    case XGdiKind::Brush: {
        const XGdiBrush* br = static_cast<const XGdiBrush*>(p);
        LOGBRUSH lb = {br->nStyle, br->clr, br->nStyle == BS_HATCHED ? static_cast<ULONG_PTR>(br->nHatch) : 0};
        return CopyOut(&lb, sizeof(lb), c, pv);
    }
    case XGdiKind::Font:
        return CopyOut(&static_cast<const XGdiFont*>(p)->lf, sizeof(LOGFONTA), c, pv);
    case XGdiKind::Palette: {
        const WORD n = static_cast<WORD>(static_cast<const XGdiPalette*>(p)->entries.size());
        return CopyOut(&n, sizeof(n), c, pv);
    }
    default:
        return 0;
    }
}
