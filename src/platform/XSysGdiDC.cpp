// Device contexts of the raster device: memory DCs, DCs over the
// application's pixels, stand-in windows, object selection, the DC's modes,
// the device's capabilities and the PNG writer.
#include <cairo.h>

#include <cstring>
#include <mutex>
#include <new>

#include "platform/XSysGdiObject.h"
#include "platform/XSysGdiStock.h"

namespace {

void Select(HGDIOBJ h)
{
    if (XGdiObject* p = XfnGdiFind(h))
        ++p->nSelected;
}

void Deselect(HGDIOBJ h)
{
    if (XGdiObject* p = XfnGdiFind(h))
        --p->nSelected;
}

HDC AddDC(std::unique_ptr<XGdiDC> dc)
{
    XGdiDC* p = dc.get();
    p->hPen = static_cast<HPEN>(GetStockObject(BLACK_PEN));
    p->hBrush = static_cast<HBRUSH>(GetStockObject(WHITE_BRUSH));
    p->hFont = static_cast<HFONT>(GetStockObject(SYSTEM_FONT));
    p->hPalette = static_cast<HPALETTE>(GetStockObject(DEFAULT_PALETTE));
    HDC h = static_cast<HDC>(XfnGdiAdd(std::move(dc)));
    if (h == nullptr)
        return nullptr;
    Select(p->hPen);
    Select(p->hBrush);
    Select(p->hFont);
    Select(p->hPalette);
    if (p->hBitmap != nullptr)
        Select(p->hBitmap);
    return h;
}

void ReleaseObjects(XGdiDC* dc)
{
    Deselect(dc->hPen);
    Deselect(dc->hBrush);
    Deselect(dc->hFont);
    Deselect(dc->hPalette);
    if (dc->hBitmap != nullptr)
        Deselect(dc->hBitmap);
}

} // namespace

HDC CreateCompatibleDC(HDC hdc)
{
    XGdiDC* pRef = nullptr;
    if (hdc != nullptr && (pRef = XfnGdiDC(hdc)) == nullptr)
        return nullptr;
    std::unique_ptr<XGdiDC> dc(new (std::nothrow) XGdiDC);
    if (!dc)
        return nullptr;
    dc->bMemory = true;
    if (pRef != nullptr) {
        dc->nRefWidth = GetDeviceCaps(hdc, HORZRES);
        dc->nRefHeight = GetDeviceCaps(hdc, VERTRES);
    }
    dc->hBitmap = XfnGdiStockBitmap();
    dc->pSurface = XfnGdiBitmap(dc->hBitmap)->surface.get();
    return AddDC(std::move(dc));
}

HDC XfnCreatePixelDC(void* pPixels, int nWidth, int nHeight, int nStride)
{
    std::unique_ptr<XGdiSurface> s = XGdiSurface::Wrap(static_cast<uint8_t*>(pPixels), nWidth, nHeight, nStride);
    if (!s)
        return nullptr;
    std::unique_ptr<XGdiDC> dc(new (std::nothrow) XGdiDC);
    if (!dc)
        return nullptr;
    dc->ownSurface = std::move(s);
    dc->pSurface = dc->ownSurface.get();
    return AddDC(std::move(dc));
}

BOOL DeleteDC(HDC hdc)
{
    XGdiDC* dc = XfnGdiDC(hdc);
    if (dc == nullptr || dc->pWindow != nullptr)
        return FALSE;
    ReleaseObjects(dc);
    return XfnGdiRemove(hdc) ? TRUE : FALSE;
}

HGDIOBJ SelectObject(HDC hdc, HGDIOBJ h)
{
    XGdiDC* dc = XfnGdiDC(hdc);
    XGdiObject* p = XfnGdiFind(h);
    if (dc == nullptr || p == nullptr)
        return nullptr;
    HGDIOBJ* pSlot = nullptr;
    switch (p->kind) {
    case XGdiKind::Pen:
        pSlot = reinterpret_cast<HGDIOBJ*>(&dc->hPen);
        break;
    case XGdiKind::Brush:
        pSlot = reinterpret_cast<HGDIOBJ*>(&dc->hBrush);
        break;
    case XGdiKind::Font:
        pSlot = reinterpret_cast<HGDIOBJ*>(&dc->hFont);
        break;
    case XGdiKind::Bitmap: {
        if (!dc->bMemory)
            return nullptr;
        if (h == dc->hBitmap)
            return h;
        if (p->nSelected > 0 && !p->bStock)
            return nullptr;
        dc->DropCairo();
        dc->pSurface = static_cast<XGdiBitmap*>(p)->surface.get();
        pSlot = reinterpret_cast<HGDIOBJ*>(&dc->hBitmap);
        break;
    }
    case XGdiKind::Region:
        return HGDI_ERROR;
    default:
        return nullptr;
    }
    HGDIOBJ hOld = *pSlot;
    if (hOld == h)
        return hOld;
    Deselect(hOld);
    ++p->nSelected;
    *pSlot = h;
    return hOld;
}

BOOL DeleteObject(HGDIOBJ h)
{
    XGdiObject* p = XfnGdiFind(h);
    if (p == nullptr || p->kind == XGdiKind::Dc || p->kind == XGdiKind::Window)
        return FALSE;
    if (p->bStock)
        return TRUE;
    if (p->nSelected > 0)
        return FALSE;
    return XfnGdiRemove(h) ? TRUE : FALSE;
}

HGDIOBJ GetCurrentObject(HDC hdc, UINT type)
{
    XGdiDC* dc = XfnGdiDC(hdc);
    if (dc == nullptr)
        return nullptr;
    switch (type) {
    case OBJ_PEN:
        return dc->hPen;
    case OBJ_BRUSH:
        return dc->hBrush;
    case OBJ_FONT:
        return dc->hFont;
    case OBJ_PAL:
        return dc->hPalette;
    case OBJ_BITMAP:
        return dc->hBitmap;
    default:
        return nullptr;
    }
}

DWORD GetObjectType(HGDIOBJ h)
{
    XGdiObject* p = XfnGdiFind(h);
    if (p == nullptr)
        return 0;
    switch (p->kind) {
    case XGdiKind::Dc:
        return static_cast<XGdiDC*>(p)->bMemory ? OBJ_MEMDC : OBJ_DC;
    case XGdiKind::Bitmap:
        return OBJ_BITMAP;
    case XGdiKind::Pen:
        return static_cast<XGdiPen*>(p)->bExt ? OBJ_EXTPEN : OBJ_PEN;
    case XGdiKind::Brush:
        return OBJ_BRUSH;
    case XGdiKind::Font:
        return OBJ_FONT;
    case XGdiKind::Region:
        return OBJ_REGION;
    case XGdiKind::Palette:
        return OBJ_PAL;
    default:
        return 0;
    }
}

int GetDeviceCaps(HDC hdc, int index)
{
    XGdiDC* dc = XfnGdiDC(hdc);
    if (dc == nullptr)
        return 0;
    const int nWidth = dc->nRefWidth > 0 ? dc->nRefWidth : (dc->pSurface ? dc->pSurface->Width() : 0);
    const int nHeight = dc->nRefHeight > 0 ? dc->nRefHeight : (dc->pSurface ? dc->pSurface->Height() : 0);
    // The device claims 96 pixels an inch.
    switch (index) {
    case DRIVERVERSION:
        return 0x4000;
    case TECHNOLOGY:
        return DT_RASDISPLAY;
    case HORZSIZE:
        return static_cast<int>(nWidth * 25.4 / 96.0 + 0.5);
    case VERTSIZE:
        return static_cast<int>(nHeight * 25.4 / 96.0 + 0.5);
    case HORZRES:
        return nWidth;
    case VERTRES:
        return nHeight;
    case BITSPIXEL:
        return 32;
    case PLANES:
        return 1;
    case NUMBRUSHES:
    case NUMPENS:
    case NUMCOLORS:
        return -1;
    case RASTERCAPS:
        return RC_BITBLT | RC_BITMAP64 | RC_DI_BITMAP | RC_DIBTODEV | RC_STRETCHBLT | RC_STRETCHDIB;
    case LOGPIXELSX:
    case LOGPIXELSY:
        return 96;
    case COLORRES:
        return 24;
    default:
        return 0;
    }
}

// ---------------------------------------------------------------- modes

namespace {
template <class T, class V>
V Swap(HDC hdc, T XGdiDC::*pField, V v, V vFail)
{
    XGdiDC* dc = XfnGdiDC(hdc);
    if (dc == nullptr)
        return vFail;
    V vOld = static_cast<V>(dc->*pField);
    dc->*pField = static_cast<T>(v);
    return vOld;
}
template <class T, class V>
V Read(HDC hdc, T XGdiDC::*pField, V vFail)
{
    XGdiDC* dc = XfnGdiDC(hdc);
    return dc == nullptr ? vFail : static_cast<V>(dc->*pField);
}
} // namespace

int SetROP2(HDC hdc, int rop2)
{
    return rop2 < R2_BLACK || rop2 > R2_WHITE ? 0 : Swap(hdc, &XGdiDC::nRop2, rop2, 0);
}
int GetROP2(HDC hdc) { return Read(hdc, &XGdiDC::nRop2, 0); }
int SetBkMode(HDC hdc, int mode)
{
    return mode != TRANSPARENT && mode != OPAQUE ? 0 : Swap(hdc, &XGdiDC::nBkMode, mode, 0);
}
int GetBkMode(HDC hdc) { return Read(hdc, &XGdiDC::nBkMode, 0); }
COLORREF SetBkColor(HDC hdc, COLORREF color)
{
    return Swap(hdc, &XGdiDC::clrBk, color & 0xFFFFFFu, static_cast<COLORREF>(CLR_INVALID));
}
COLORREF GetBkColor(HDC hdc) { return Read(hdc, &XGdiDC::clrBk, static_cast<COLORREF>(CLR_INVALID)); }
COLORREF SetTextColor(HDC hdc, COLORREF color)
{
    return Swap(hdc, &XGdiDC::clrText, color & 0xFFFFFFu, static_cast<COLORREF>(CLR_INVALID));
}
COLORREF GetTextColor(HDC hdc) { return Read(hdc, &XGdiDC::clrText, static_cast<COLORREF>(CLR_INVALID)); }
UINT SetTextAlign(HDC hdc, UINT align) { return Swap(hdc, &XGdiDC::nTextAlign, align, static_cast<UINT>(GDI_ERROR)); }
UINT GetTextAlign(HDC hdc) { return Read(hdc, &XGdiDC::nTextAlign, static_cast<UINT>(GDI_ERROR)); }
int SetPolyFillMode(HDC hdc, int mode)
{
    return mode != ALTERNATE && mode != WINDING ? 0 : Swap(hdc, &XGdiDC::nFillMode, mode, 0);
}
int GetPolyFillMode(HDC hdc) { return Read(hdc, &XGdiDC::nFillMode, 0); }
int SetStretchBltMode(HDC hdc, int mode)
{
    return mode < BLACKONWHITE || mode > HALFTONE ? 0 : Swap(hdc, &XGdiDC::nStretchMode, mode, 0);
}
int GetStretchBltMode(HDC hdc) { return Read(hdc, &XGdiDC::nStretchMode, 0); }

// ---------------------------------------------------------------- windows

HWND XfnCreatePixelWindow(void* pPixels, int nWidth, int nHeight, int nStride)
{
    std::unique_ptr<XGdiSurface> s = XGdiSurface::Wrap(static_cast<uint8_t*>(pPixels), nWidth, nHeight, nStride);
    if (!s)
        return nullptr;
    std::unique_ptr<XGdiWindow> w(new (std::nothrow) XGdiWindow);
    std::unique_ptr<XGdiDC> dc(new (std::nothrow) XGdiDC);
    if (!w || !dc)
        return nullptr;
    w->surface = std::move(s);
    XGdiWindow* pWindow = w.get();
    dc->pWindow = pWindow;
    dc->pSurface = pWindow->surface.get();
    HWND hWnd = static_cast<HWND>(XfnGdiAdd(std::move(w)));
    if (hWnd == nullptr)
        return nullptr;
    pWindow->hWnd = hWnd;
    pWindow->hDC = AddDC(std::move(dc));
    if (pWindow->hDC == nullptr) {
        XfnGdiRemove(hWnd);
        return nullptr;
    }
    return hWnd;
}

HWND XfnCreateImageWindow(int nWidth, int nHeight)
{
    std::unique_ptr<XGdiSurface> s = XGdiSurface::Create(nWidth, nHeight);
    if (!s)
        return nullptr;
    for (int y = 0; y < nHeight; ++y)
        std::memset(s->Row(y), 0xFF, static_cast<size_t>(nWidth) * 4);
    HWND hWnd = XfnCreatePixelWindow(s->px.pTop, nWidth, nHeight, static_cast<int>(s->px.nStride));
    if (hWnd == nullptr)
        return nullptr;
    // The window takes the memory over.
    XGdiWindow* w = XfnGdiGet<XGdiWindow>(hWnd, XGdiKind::Window);
    w->surface->pOwned = s->pOwned;
    s->pOwned = nullptr;
    return hWnd;
}

BOOL DestroyWindow(HWND hWnd)
{
    XGdiWindow* w = XfnGdiGet<XGdiWindow>(hWnd, XGdiKind::Window);
    if (w == nullptr)
        return FALSE;
    if (XGdiDC* dc = XfnGdiDC(w->hDC)) {
        ReleaseObjects(dc);
        XfnGdiRemove(w->hDC);
    }
    return XfnGdiRemove(hWnd) ? TRUE : FALSE;
}

HDC GetDC(HWND hWnd)
{
    XGdiWindow* w = XfnGdiGet<XGdiWindow>(hWnd, XGdiKind::Window);
    return w == nullptr ? nullptr : w->hDC;
}

int ReleaseDC(HWND hWnd, HDC hdc)
{
    XGdiWindow* w = XfnGdiGet<XGdiWindow>(hWnd, XGdiKind::Window);
    return w != nullptr && w->hDC == hdc ? 1 : 0;
}

BOOL GetClientRect(HWND hWnd, RECT* lpRect)
{
    XGdiWindow* w = XfnGdiGet<XGdiWindow>(hWnd, XGdiKind::Window);
    if (w == nullptr || lpRect == nullptr)
        return FALSE;
    *lpRect = {0, 0, w->surface->Width(), w->surface->Height()};
    return TRUE;
}

HWND WindowFromDC(HDC hdc)
{
    XGdiDC* dc = XfnGdiDC(hdc);
    if (dc == nullptr || dc->pWindow == nullptr)
        return nullptr;
    return dc->pWindow->hWnd;
}

void* XfnGetWindowPixels(HWND hWnd, int* pnStride)
{
    XGdiWindow* w = XfnGdiGet<XGdiWindow>(hWnd, XGdiKind::Window);
    if (w == nullptr)
        return nullptr;
    cairo_surface_flush(w->surface->pCairo);
    if (pnStride != nullptr)
        *pnStride = static_cast<int>(w->surface->px.nStride);
    return w->surface->px.pTop;
}

// ---------------------------------------------------------------- PNG

namespace {
BOOL WritePNG(XGdiSurface* s, const char* pszPath)
{
    if (s == nullptr || pszPath == nullptr)
        return FALSE;
    cairo_surface_flush(s->pCairo);
    return cairo_surface_write_to_png(s->pCairo, pszPath) == CAIRO_STATUS_SUCCESS ? TRUE : FALSE;
}
} // namespace

BOOL XfnWritePNG(HDC hdc, const char* pszPath)
{
    XGdiDC* dc = XfnGdiDC(hdc);
    return dc == nullptr ? FALSE : WritePNG(dc->pSurface, pszPath);
}

BOOL XfnWriteBitmapPNG(HBITMAP hbm, const char* pszPath)
{
    XGdiBitmap* bm = XfnGdiBitmap(hbm);
    return bm == nullptr ? FALSE : WritePNG(bm->surface.get(), pszPath);
}

// ---------------------------------------------------------------- the internal view

bool XfnSysBeginPixels(HDC hdc, XSysPixels& pixels)
{
    XGdiDC* dc = XfnGdiDrawDC(hdc);
    if (dc == nullptr)
        return false;
    cairo_surface_flush(dc->pSurface->pCairo);
    pixels = dc->pSurface->px;
    return true;
}

void XfnSysEndPixels(HDC hdc)
{
    if (XGdiDC* dc = XfnGdiDrawDC(hdc))
        cairo_surface_mark_dirty(dc->pSurface->pCairo);
}

cairo_surface_t* XfnSysDCSurface(HDC hdc)
{
    XGdiDC* dc = XfnGdiDrawDC(hdc);
    return dc == nullptr ? nullptr : dc->pSurface->pCairo;
}

bool XfnSysSetDCAntialias(HDC hdc, bool bAntialias)
{
    XGdiDC* dc = XfnGdiDC(hdc);
    if (dc == nullptr)
        return false;
    dc->bAntialias = bAntialias;
    return true;
}

bool XfnSysGetDCAntialias(HDC hdc)
{
    XGdiDC* dc = XfnGdiDC(hdc);
    return dc != nullptr && dc->bAntialias;
}

bool XfnSysSetDCAttachment(HDC hdc, XSysDCSlot slot, void* pObject, void (*pfnFree)(void*))
{
    XGdiDC* dc = XfnGdiDC(hdc);
    if (dc == nullptr || slot < 0 || slot >= XSYS_DC_SLOT_COUNT)
        return false;
    XGdiDC::Attachment& a = dc->attach[slot];
    if (a.pfnFree != nullptr && a.p != pObject)
        a.pfnFree(a.p);
    a.p = pObject;
    a.pfnFree = pfnFree;
    return true;
}

void* XfnSysGetDCAttachment(HDC hdc, XSysDCSlot slot)
{
    XGdiDC* dc = XfnGdiDC(hdc);
    if (dc == nullptr || slot < 0 || slot >= XSYS_DC_SLOT_COUNT)
        return nullptr;
    return dc->attach[slot].p;
}
