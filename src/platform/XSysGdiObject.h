// XSysGdiObject: the objects behind the GDI handles of XGdi.h and the table
// that maps handles to them. A handle is a slot index and a generation, so a
// deleted handle (whose slot moved on to a later generation) or a handle of
// another kind is recognised without touching freed memory. Lookups take no
// lock; creation and deletion take the table's lock. Objects are owned by the
// table until DeleteObject/DeleteDC/DestroyWindow; stock objects live for the
// process.
#pragma once

#include <cairo.h>
#include <pango/pango.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/XSysDC.h"
#include "platform/XSysGdiScan.h"

enum class XGdiKind : uint8_t { Dc, Bitmap, Pen, Brush, Font, Region, Palette, Window };

struct XGdiObject {
    XGdiKind kind;
    bool bStock = false;
    // DCs that hold it selected; atomic because the stock objects sit in the
    // DCs of every thread.
    std::atomic<int> nSelected{0};
    explicit XGdiObject(XGdiKind k) : kind(k) {}
    virtual ~XGdiObject() = default;
};

// Pixel memory with a cairo surface over it, top row at pTop.
class XGdiSurface {
public:
    // New zeroed memory; null when the size is out of range or unavailable.
    static std::unique_ptr<XGdiSurface> Create(int nWidth, int nHeight);
    // Over memory of the caller, who keeps it alive and frees it.
    static std::unique_ptr<XGdiSurface> Wrap(uint8_t* pTop, int nWidth, int nHeight, ptrdiff_t nStride);
    ~XGdiSurface();

    XSysPixels px;
    cairo_surface_t* pCairo = nullptr;
    uint8_t* pOwned = nullptr; // memory this surface frees

    uint32_t* Row(int y) const { return px.Row(y); }
    int Width() const { return px.nWidth; }
    int Height() const { return px.nHeight; }
};

struct XGdiBitmap : XGdiObject {
    XGdiBitmap() : XGdiObject(XGdiKind::Bitmap) {}
    std::unique_ptr<XGdiSurface> surface;
    void* pDIBBits = nullptr; // the DIB section's memory in its own row order
    SIZE dimension = {0, 0};  // SetBitmapDimensionEx, 0.1 mm
};

struct XGdiPen : XGdiObject {
    XGdiPen() : XGdiObject(XGdiKind::Pen) {}
    DWORD nStyle = PS_SOLID; // full style word
    int nWidth = 0;
    COLORREF clr = 0;
    bool bExt = false;         // made by ExtCreatePen
    std::vector<DWORD> dashes; // on and off runs in pixels; empty draws solid

    int Kind() const { return static_cast<int>(nStyle & PS_STYLE_MASK); }
    bool IsNull() const { return Kind() == PS_NULL; }
    // Drawn by the one-pixel stepper rather than as a wide stroke.
    bool IsThin() const { return nWidth <= 1; }
    bool IsCosmetic() const { return (nStyle & PS_TYPE_MASK) == PS_COSMETIC; }
};

struct XGdiBrush : XGdiObject {
    XGdiBrush() : XGdiObject(XGdiKind::Brush) {}
    UINT nStyle = BS_SOLID;
    COLORREF clr = 0;
    int nHatch = 0;
    uint8_t hatchRows[8] = {}; // bit 7 is column 0
    int nPatWidth = 0, nPatHeight = 0;
    std::vector<uint32_t> pattern; // top-down pixels of a DIB pattern
};

struct XGdiFont : XGdiObject {
    XGdiFont() : XGdiObject(XGdiKind::Font) {}
    ~XGdiFont() override;
    LOGFONTA lf = {};
    PangoFontDescription* pDesc = nullptr;
    // Sized once at first use; the stock fonts are shared by every thread.
    std::once_flag sized;
    int nAscent = 0, nDescent = 0, nEmPixels = 0, nAveWidth = 0, nMaxWidth = 0;
};

// Rows of spans; PtInRegion reads a bit mask of the box when it is of a
// reasonable size, and a row's spans otherwise.
struct XGdiRegion : XGdiObject {
    XGdiRegion() : XGdiObject(XGdiKind::Region) {}
    // What PtInRegion reads sits next to the object's header, in one line of
    // the cache.
    RECT box = {0, 0, 0, 0};          // right and bottom exclusive
    int nMaskWords = 0;               // words a mask row; 0 without a mask
    const uint64_t* pMask = nullptr;  // mask.data()
    std::vector<int> rowStart;        // per box row, index into spans; one extra at the end
    std::vector<int> spans;           // x0, x1 pairs, x1 exclusive
    std::vector<uint64_t> mask;       // box rows of nMaskWords words
};

struct XGdiPalette : XGdiObject {
    XGdiPalette() : XGdiObject(XGdiKind::Palette) {}
    std::vector<PALETTEENTRY> entries;
};

struct XGdiWindow;

struct XGdiDC : XGdiObject {
    XGdiDC() : XGdiObject(XGdiKind::Dc) {}
    ~XGdiDC() override;

    bool bMemory = false;
    XGdiWindow* pWindow = nullptr;            // a window's own DC
    std::unique_ptr<XGdiSurface> ownSurface;  // a DC over the caller's pixels
    XGdiSurface* pSurface = nullptr;          // what it draws on
    cairo_t* pCairo = nullptr;                // over pSurface, made on demand
    int nRefWidth = 0, nRefHeight = 0;        // HORZRES, VERTRES; 0 measures the bitmap

    HBITMAP hBitmap = nullptr;
    HPEN hPen = nullptr;
    HBRUSH hBrush = nullptr;
    HFONT hFont = nullptr;
    HPALETTE hPalette = nullptr;

    int nRop2 = R2_COPYPEN;
    int nBkMode = OPAQUE;
    COLORREF clrBk = 0xFFFFFF;
    COLORREF clrText = 0;
    UINT nTextAlign = 0;
    int nFillMode = ALTERNATE;
    int nStretchMode = BLACKONWHITE;
    POINT cur = {0, 0};
    bool bAntialias = false;

    // Paths: each figure a list of points; open figures are closed when
    // filled.
    bool bPathOpen = false;
    bool bPathDone = false;
    std::vector<std::vector<POINT>> path;

    struct Attachment {
        void* p = nullptr;
        void (*pfnFree)(void*) = nullptr;
    } attach[XSYS_DC_SLOT_COUNT];

    // The cairo context over the surface, or null without one.
    cairo_t* Cairo();
    void DropCairo();
};

struct XGdiWindow : XGdiObject {
    XGdiWindow() : XGdiObject(XGdiKind::Window) {}
    std::unique_ptr<XGdiSurface> surface;
    HWND hWnd = nullptr;
    HDC hDC = nullptr;
};

// Table of live objects. Slots live in chunks that are never freed, so a
// lookup reads a slot without a lock while another thread adds objects; the
// chunk pointers are constant-initialised, so a lookup costs no guard either.
namespace XGdiTable {
constexpr uint32_t nChunkBits = 12;
constexpr uint32_t nChunkSlots = 1u << nChunkBits;
constexpr uint32_t nMaxChunks = 4096;

struct Slot {
    std::atomic<XGdiObject*> pObject{nullptr};
    std::atomic<uint32_t> nGeneration{1};
};
extern std::atomic<Slot*> g_chunks[nMaxChunks];

// The slot a handle names and the generation it carries, or null.
inline Slot* Locate(const void* h, uint32_t& nGeneration)
{
    const uintptr_t v = reinterpret_cast<uintptr_t>(h);
    const uint32_t nLow = static_cast<uint32_t>(v);
    if (nLow == 0)
        return nullptr;
    const uint32_t nIndex = nLow - 1;
    if ((nIndex >> nChunkBits) >= nMaxChunks)
        return nullptr;
    Slot* pChunk = g_chunks[nIndex >> nChunkBits].load(std::memory_order_acquire);
    if (pChunk == nullptr)
        return nullptr;
    nGeneration = static_cast<uint32_t>(v >> 32);
    return &pChunk[nIndex & (nChunkSlots - 1)];
}
} // namespace XGdiTable

HGDIOBJ XfnGdiAdd(std::unique_ptr<XGdiObject> pObject);
// The live object of a handle, or null.
inline XGdiObject* XfnGdiFind(const void* h)
{
    uint32_t nGeneration = 0;
    XGdiTable::Slot* s = XGdiTable::Locate(h, nGeneration);
    if (s == nullptr || s->nGeneration.load(std::memory_order_acquire) != nGeneration)
        return nullptr;
    return s->pObject.load(std::memory_order_acquire);
}
// Removes and destroys; false for an unknown handle.
bool XfnGdiRemove(const void* h);

template <class T>
T* XfnGdiGet(const void* h, XGdiKind kind)
{
    XGdiObject* p = XfnGdiFind(h);
    return p != nullptr && p->kind == kind ? static_cast<T*>(p) : nullptr;
}
inline XGdiDC* XfnGdiDC(HDC h) { return XfnGdiGet<XGdiDC>(h, XGdiKind::Dc); }
inline XGdiPen* XfnGdiPen(HPEN h) { return XfnGdiGet<XGdiPen>(h, XGdiKind::Pen); }
inline XGdiBrush* XfnGdiBrush(HBRUSH h) { return XfnGdiGet<XGdiBrush>(h, XGdiKind::Brush); }
inline XGdiFont* XfnGdiFont(HFONT h) { return XfnGdiGet<XGdiFont>(h, XGdiKind::Font); }
inline XGdiBitmap* XfnGdiBitmap(HBITMAP h) { return XfnGdiGet<XGdiBitmap>(h, XGdiKind::Bitmap); }
inline XGdiRegion* XfnGdiRegion(HRGN h) { return XfnGdiGet<XGdiRegion>(h, XGdiKind::Region); }

// A DC with a surface to draw on, or null.
inline XGdiDC* XfnGdiDrawDC(HDC h)
{
    XGdiDC* dc = XfnGdiDC(h);
    return dc != nullptr && dc->pSurface != nullptr ? dc : nullptr;
}

// Pixel arithmetic shared by the drawing files.
inline uint32_t XfnGdiPixel(COLORREF c)
{
    return 0xFF000000u | ((c & 0xFFu) << 16) | (c & 0xFF00u) | ((c >> 16) & 0xFFu);
}
inline COLORREF XfnGdiColor(uint32_t px)
{
    return ((px >> 16) & 0xFFu) | (px & 0xFF00u) | ((px & 0xFFu) << 16);
}
// The binary raster operation of SetROP2 on pen p and destination d.
inline uint32_t XfnGdiRop2(int nRop2, uint32_t p, uint32_t d)
{
    const unsigned t = static_cast<unsigned>(nRop2 - 1);
    uint32_t r = 0;
    if (t & 8) r |= p & d;
    if (t & 4) r |= p & ~d;
    if (t & 2) r |= ~p & d;
    if (t & 1) r |= ~p & ~d;
    return r | 0xFF000000u;
}
// The ternary raster operation whose truth table is the byte t.
inline uint32_t XfnGdiRop3(unsigned t, uint32_t p, uint32_t s, uint32_t d)
{
    uint32_t r = 0;
    for (unsigned k = 0; k < 8; ++k) {
        if (t & (1u << k))
            r |= ((k & 4) ? p : ~p) & ((k & 2) ? s : ~s) & ((k & 1) ? d : ~d);
    }
    return r | 0xFF000000u;
}

// The brush's colour at (x, y) of the surface, gaps of a hatch in bg; black
// for no brush.
inline uint32_t XfnGdiBrushPixel(const XGdiBrush* br, int x, int y, uint32_t bg)
{
    if (br == nullptr)
        return 0xFF000000u;
    switch (br->nStyle) {
    case BS_SOLID:
        return XfnGdiPixel(br->clr);
    case BS_HATCHED:
        return ((br->hatchRows[y & 7] >> (7 - (x & 7))) & 1) ? XfnGdiPixel(br->clr) : bg;
    case BS_NULL:
        return 0xFF000000u;
    default: {
        const int py = ((y % br->nPatHeight) + br->nPatHeight) % br->nPatHeight;
        const int px = ((x % br->nPatWidth) + br->nPatWidth) % br->nPatWidth;
        return br->pattern[static_cast<size_t>(py) * br->nPatWidth + px];
    }
    }
}

// Paints the span [x0, x1) of row y with the brush in the DC's raster
// operation (or R2_COPYPEN for bPatCopy) and background.
void XfnGdiPaintSpan(XGdiDC* dc, const XGdiBrush* br, int y, int x0, int x1, bool bPatCopy);
