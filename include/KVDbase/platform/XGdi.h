// XGdi.h: the raster device of the drawing layer, behind the Win32 GDI names,
// signatures and constants, so that code which draws on a device context with
// GDI calls compiles and draws the same here. A device context draws on a
// 32-bit surface in the layout of a 32-bit device-independent bitmap (blue,
// green, red, unused byte; the unused byte reads 0xFF after drawing), aliased
// as the raster device is, with the pixel rules of the raster device (a
// FillRect or polygon fill leaves out its right and bottom edges, a line its
// last pixel).
//
// Contract: every handle names an object of this layer. Calls report as their
// Win32 namesakes do: a null, deleted or wrong-kind handle, or bad arguments,
// give the documented failure value (0, null, CLR_INVALID, GDI_ERROR, ERROR)
// and change nothing. Objects belong to the caller, who deletes them
// (DeleteObject, DeleteDC); a device context over pixels the application owns
// never frees them. Handles may be used from any thread, but one device
// context and the objects selected into it are drawn on by one thread at a
// time. This header is not part of KVDbase.h:
// include it where GDI calls are made.
#pragma once

#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

typedef tagPOINT POINT;
typedef tagSIZE SIZE;
typedef tagRECT RECT;
typedef uintptr_t ULONG_PTR;
typedef uintptr_t DWORD_PTR;

// ---------------------------------------------------------------- records

// A cosmetic or simple pen: style, width in lopnWidth.x, colour.
struct LOGPEN {
    UINT lopnStyle;
    POINT lopnWidth;
    COLORREF lopnColor;
};

// A brush: lbStyle BS_*, lbColor, and lbHatch the HS_* of a hatched brush or
// the address of a packed DIB (header, colours, rows) of BS_DIBPATTERNPT.
struct LOGBRUSH {
    UINT lbStyle;
    COLORREF lbColor;
    ULONG_PTR lbHatch;
};

// What GetObjectA reports of a pen made by ExtCreatePen; the style table
// runs on past its one declared entry.
struct EXTLOGPEN {
    DWORD elpPenStyle;
    DWORD elpWidth;
    UINT elpBrushStyle;
    COLORREF elpColor;
    ULONG_PTR elpHatch;
    DWORD elpNumEntries;
    DWORD elpStyleEntry[1];
};

struct BITMAP {
    LONG bmType;
    LONG bmWidth;
    LONG bmHeight;
    LONG bmWidthBytes;
    WORD bmPlanes;
    WORD bmBitsPixel;
    LPVOID bmBits;
};

struct TEXTMETRICA {
    LONG tmHeight;
    LONG tmAscent;
    LONG tmDescent;
    LONG tmInternalLeading;
    LONG tmExternalLeading;
    LONG tmAveCharWidth;
    LONG tmMaxCharWidth;
    LONG tmWeight;
    LONG tmOverhang;
    LONG tmDigitizedAspectX;
    LONG tmDigitizedAspectY;
    BYTE tmFirstChar;
    BYTE tmLastChar;
    BYTE tmDefaultChar;
    BYTE tmBreakChar;
    BYTE tmItalic;
    BYTE tmUnderlined;
    BYTE tmStruckOut;
    BYTE tmPitchAndFamily;
    BYTE tmCharSet;
};

struct PALETTEENTRY {
    BYTE peRed;
    BYTE peGreen;
    BYTE peBlue;
    BYTE peFlags;
};

struct LOGPALETTE {
    WORD palVersion;
    WORD palNumEntries;
    PALETTEENTRY palPalEntry[1];
};

typedef LOGFONTA LOGFONT;
typedef TEXTMETRICA TEXTMETRIC;
typedef BITMAPINFO tagBITMAPINFO;
typedef BITMAPINFOHEADER tagBITMAPINFOHEADER;

static_assert(sizeof(LOGPEN) == 16 && sizeof(TEXTMETRICA) == 56 && sizeof(PALETTEENTRY) == 4, "GDI records");

// ---------------------------------------------------------------- constants

inline constexpr COLORREF RGB(BYTE r, BYTE g, BYTE b)
{
    return static_cast<COLORREF>(r) | (static_cast<COLORREF>(g) << 8) | (static_cast<COLORREF>(b) << 16);
}
inline constexpr BYTE GetRValue(COLORREF c) { return static_cast<BYTE>(c); }
inline constexpr BYTE GetGValue(COLORREF c) { return static_cast<BYTE>(c >> 8); }
inline constexpr BYTE GetBValue(COLORREF c) { return static_cast<BYTE>(c >> 16); }

enum : DWORD {
    CLR_INVALID = 0xFFFFFFFF,
    GDI_ERROR = 0xFFFFFFFF,
};
#define HGDI_ERROR (reinterpret_cast<HGDIOBJ>(static_cast<intptr_t>(-1)))

// Object kinds of GetCurrentObject and GetObjectType.
enum : UINT {
    OBJ_PEN = 1,
    OBJ_BRUSH = 2,
    OBJ_DC = 3,
    OBJ_PAL = 5,
    OBJ_FONT = 6,
    OBJ_BITMAP = 7,
    OBJ_REGION = 8,
    OBJ_MEMDC = 10,
    OBJ_EXTPEN = 11,
};

// Pen styles: the style, end cap, join and type fields.
enum : DWORD {
    PS_SOLID = 0,
    PS_DASH = 1,
    PS_DOT = 2,
    PS_DASHDOT = 3,
    PS_DASHDOTDOT = 4,
    PS_NULL = 5,
    PS_INSIDEFRAME = 6,
    PS_USERSTYLE = 7,
    PS_ALTERNATE = 8,
    PS_STYLE_MASK = 0x0000000F,
    PS_ENDCAP_ROUND = 0x00000000,
    PS_ENDCAP_SQUARE = 0x00000100,
    PS_ENDCAP_FLAT = 0x00000200,
    PS_ENDCAP_MASK = 0x00000F00,
    PS_JOIN_ROUND = 0x00000000,
    PS_JOIN_BEVEL = 0x00001000,
    PS_JOIN_MITER = 0x00002000,
    PS_JOIN_MASK = 0x0000F000,
    PS_COSMETIC = 0x00000000,
    PS_GEOMETRIC = 0x00010000,
    PS_TYPE_MASK = 0x000F0000,
};

// Brush styles and hatches.
enum : UINT {
    BS_SOLID = 0,
    BS_NULL = 1,
    BS_HOLLOW = 1,
    BS_HATCHED = 2,
    BS_PATTERN = 3,
    BS_DIBPATTERN = 5,
    BS_DIBPATTERNPT = 6,
};
enum : int {
    HS_HORIZONTAL = 0,
    HS_VERTICAL = 1,
    HS_FDIAGONAL = 2,
    HS_BDIAGONAL = 3,
    HS_CROSS = 4,
    HS_DIAGCROSS = 5,
};
enum : UINT {
    DIB_RGB_COLORS = 0,
    DIB_PAL_COLORS = 1,
};
enum : DWORD {
    BI_RGB = 0,
};

// Stock objects.
enum : int {
    WHITE_BRUSH = 0,
    LTGRAY_BRUSH = 1,
    GRAY_BRUSH = 2,
    DKGRAY_BRUSH = 3,
    BLACK_BRUSH = 4,
    NULL_BRUSH = 5,
    HOLLOW_BRUSH = 5,
    WHITE_PEN = 6,
    BLACK_PEN = 7,
    NULL_PEN = 8,
    SYSTEM_FONT = 13,
    DEFAULT_PALETTE = 15,
    DEFAULT_GUI_FONT = 17,
};

// Binary raster operations (SetROP2): the result for pen P and destination
// D is bit ((P ? 2 : 0) | (D ? 1 : 0)) of the code minus one, per colour bit.
enum : int {
    R2_BLACK = 1,
    R2_NOTMERGEPEN = 2,
    R2_MASKNOTPEN = 3,
    R2_NOTCOPYPEN = 4,
    R2_MASKPENNOT = 5,
    R2_NOT = 6,
    R2_XORPEN = 7,
    R2_NOTMASKPEN = 8,
    R2_MASKPEN = 9,
    R2_NOTXORPEN = 10,
    R2_NOP = 11,
    R2_MERGENOTPEN = 12,
    R2_COPYPEN = 13,
    R2_MERGEPENNOT = 14,
    R2_MERGEPEN = 15,
    R2_WHITE = 16,
};

// Ternary raster operations (BitBlt, StretchBlt, PatBlt): bits 16 to 23 are
// the truth table, the result for pattern P, source S and destination D
// being bit (P ? 4 : 0) | (S ? 2 : 0) | (D ? 1 : 0) of that byte.
enum : DWORD {
    SRCCOPY = 0x00CC0020,
    SRCPAINT = 0x00EE0086,
    SRCAND = 0x008800C6,
    SRCINVERT = 0x00660046,
    SRCERASE = 0x00440328,
    NOTSRCCOPY = 0x00330008,
    NOTSRCERASE = 0x001100A6,
    MERGECOPY = 0x00C000CA,
    MERGEPAINT = 0x00BB0226,
    PATCOPY = 0x00F00021,
    PATPAINT = 0x00FB0A09,
    PATINVERT = 0x005A0049,
    DSTINVERT = 0x00550009,
    BLACKNESS = 0x00000042,
    WHITENESS = 0x00FF0062,
};

// Background modes, fill modes and stretch modes.
enum : int {
    TRANSPARENT = 1,
    OPAQUE = 2,
};
enum : int {
    ALTERNATE = 1,
    WINDING = 2,
};
enum : int {
    BLACKONWHITE = 1,
    WHITEONBLACK = 2,
    COLORONCOLOR = 3,
    HALFTONE = 4,
    STRETCH_ANDSCANS = 1,
    STRETCH_ORSCANS = 2,
    STRETCH_DELETESCANS = 3,
    STRETCH_HALFTONE = 4,
};

// Indexes of GetDeviceCaps and the bits of RASTERCAPS.
enum : int {
    DRIVERVERSION = 0,
    TECHNOLOGY = 2,
    HORZSIZE = 4,
    VERTSIZE = 6,
    HORZRES = 8,
    VERTRES = 10,
    BITSPIXEL = 12,
    PLANES = 14,
    NUMBRUSHES = 16,
    NUMPENS = 18,
    NUMFONTS = 22,
    NUMCOLORS = 24,
    RASTERCAPS = 38,
    LOGPIXELSX = 88,
    LOGPIXELSY = 90,
    SIZEPALETTE = 104,
    NUMRESERVED = 106,
    COLORRES = 108,
};
enum : int {
    DT_RASDISPLAY = 1,
};
enum : int {
    RC_BITBLT = 0x0001,
    RC_BITMAP64 = 0x0008,
    RC_DI_BITMAP = 0x0080,
    RC_PALETTE = 0x0100,
    RC_DIBTODEV = 0x0200,
    RC_STRETCHBLT = 0x0800,
    RC_STRETCHDIB = 0x2000,
};

// Text alignment (SetTextAlign) and ExtTextOutA options.
enum : UINT {
    TA_NOUPDATECP = 0,
    TA_UPDATECP = 1,
    TA_LEFT = 0,
    TA_RIGHT = 2,
    TA_CENTER = 6,
    TA_TOP = 0,
    TA_BOTTOM = 8,
    TA_BASELINE = 24,
};
enum : UINT {
    ETO_OPAQUE = 0x0002,
    ETO_CLIPPED = 0x0004,
};

// DrawTextA formats.
enum : UINT {
    DT_TOP = 0x0000,
    DT_LEFT = 0x0000,
    DT_CENTER = 0x0001,
    DT_RIGHT = 0x0002,
    DT_VCENTER = 0x0004,
    DT_BOTTOM = 0x0008,
    DT_WORDBREAK = 0x0010,
    DT_SINGLELINE = 0x0020,
    DT_EXPANDTABS = 0x0040,
    DT_NOCLIP = 0x0100,
    DT_CALCRECT = 0x0400,
    DT_NOPREFIX = 0x0800,
};

// Font weights and character sets.
enum : LONG {
    FW_DONTCARE = 0,
    FW_THIN = 100,
    FW_LIGHT = 300,
    FW_NORMAL = 400,
    FW_MEDIUM = 500,
    FW_SEMIBOLD = 600,
    FW_BOLD = 700,
    FW_HEAVY = 900,
};
enum : BYTE {
    ANSI_CHARSET = 0,
    DEFAULT_CHARSET = 1,
    HANGUL_CHARSET = 129,
};

// Region results.
enum : int {
    ERROR = 0,
    NULLREGION = 1,
    SIMPLEREGION = 2,
    COMPLEXREGION = 3,
};

// ---------------------------------------------------------------- device contexts

// A memory device context compatible with hdc (or with the raster device for a
// null hdc). It starts with a 1 by 1 stock bitmap, the black pen, the white
// brush, the system font, R2_COPYPEN, OPAQUE, a white background, black text,
// ALTERNATE and BLACKONWHITE. Its HORZRES and VERTRES are those of hdc; made
// from null, they are the size of the bitmap selected into it.
KVD_API HDC CreateCompatibleDC(HDC hdc);
// Deletes a memory DC or one made by XfnCreatePixelDC; the objects selected
// into it are not deleted. A window's own DC is not deleted (FALSE).
KVD_API BOOL DeleteDC(HDC hdc);
// Selects a pen, brush, font or bitmap and returns the one it replaces. A
// bitmap can be selected into one memory DC at a time, and into no other DC.
// Failure: null. The raster device has no clip region: a region given here
// fails with HGDI_ERROR.
KVD_API HGDIOBJ SelectObject(HDC hdc, HGDIOBJ h);
// Deletes a pen, brush, font, bitmap, region or palette. An object selected
// into a DC, or a stock object, is not deleted (FALSE), as documented.
KVD_API BOOL DeleteObject(HGDIOBJ h);
KVD_API HGDIOBJ GetCurrentObject(HDC hdc, UINT type);
KVD_API HGDIOBJ GetStockObject(int i);
KVD_API DWORD GetObjectType(HGDIOBJ h);
// Fills a BITMAP, LOGPEN, EXTLOGPEN, LOGBRUSH or LOGFONTA; with a null pv,
// returns the bytes needed.
KVD_API int GetObjectA(HGDIOBJ h, int c, LPVOID pv);
KVD_API int GetDeviceCaps(HDC hdc, int index);

// ---------------------------------------------------------------- bitmaps

// A 32-bit bitmap of the raster device, cleared to black.
KVD_API HBITMAP CreateCompatibleBitmap(HDC hdc, int cx, int cy);
// A DIB section of a 32-bit BI_RGB header: ppvBits receives the rows, bottom
// row first for a positive biHeight and top row first for a negative one. The
// rows are those the DC draws on. Other depths fail (null).
KVD_API HBITMAP CreateDIBSection(HDC hdc, const BITMAPINFO* pbmi, UINT usage, void** ppvBits, HANDLE hSection,
                                 DWORD offset);
// The dimensions stored by SetBitmapDimensionEx, in 0.1 mm; 0, 0 until then.
KVD_API BOOL GetBitmapDimensionEx(HBITMAP hbm, SIZE* lpsize);
KVD_API BOOL SetBitmapDimensionEx(HBITMAP hbm, int w, int h, SIZE* lpsz);
// Rows start to start + cLines - 1, counted from the bottom for a positive
// biHeight, copied out of (GetDIBits) or into (SetDIBits) hbm as 24- or
// 32-bit BI_RGB rows padded to 4 bytes. hbm must not be selected into a DC
// other than hdc. A null lpvBits with a zero biBitCount fills the header.
// Returns the lines copied, 0 on failure.
KVD_API int GetDIBits(HDC hdc, HBITMAP hbm, UINT start, UINT cLines, LPVOID lpvBits, BITMAPINFO* lpbmi, UINT usage);
KVD_API int SetDIBits(HDC hdc, HBITMAP hbm, UINT start, UINT cLines, const void* lpBits, const BITMAPINFO* lpbmi,
                      UINT usage);

// ---------------------------------------------------------------- pens and brushes

// A pen of PS_SOLID to PS_INSIDEFRAME; width 0 or 1 is the one-pixel cosmetic
// pen, whose dashes are 18-6 (dash), 3-3 (dot), 9-6-3-6 and 9-3-3-3-3-3
// pixels. A wider pen is geometric with round ends; its styles draw solid. The
// end-cap and join bits are honoured on a wide pen.
KVD_API HPEN CreatePen(int iStyle, int cWidth, COLORREF color);
KVD_API HPEN CreatePenIndirect(const LOGPEN* plpen);
// A cosmetic pen (width 1, solid brush, PS_ALTERNATE or PS_USERSTYLE allowed)
// or a geometric one of any width, with end-cap and join bits and, for
// PS_USERSTYLE, cStyle dash and gap lengths (at most 16) in device units.
KVD_API HPEN ExtCreatePen(DWORD iPenStyle, DWORD cWidth, const LOGBRUSH* plbrush, DWORD cStyle, const DWORD* pstyle);
KVD_API HBRUSH CreateSolidBrush(COLORREF color);
KVD_API HBRUSH CreateHatchBrush(int iHatch, COLORREF color);
// BS_SOLID, BS_NULL, BS_HATCHED (8 by 8, anchored at the surface origin, gaps
// in the background colour with OPAQUE and untouched with TRANSPARENT) and
// BS_DIBPATTERNPT (1, 4, 8, 24 or 32 bits, copied; tiled from the origin).
KVD_API HBRUSH CreateBrushIndirect(const LOGBRUSH* plbrush);

// ---------------------------------------------------------------- state

KVD_API int SetROP2(HDC hdc, int rop2);
KVD_API int GetROP2(HDC hdc);
KVD_API int SetBkMode(HDC hdc, int mode);
KVD_API int GetBkMode(HDC hdc);
KVD_API COLORREF SetBkColor(HDC hdc, COLORREF color);
KVD_API COLORREF GetBkColor(HDC hdc);
KVD_API COLORREF SetTextColor(HDC hdc, COLORREF color);
KVD_API COLORREF GetTextColor(HDC hdc);
KVD_API UINT SetTextAlign(HDC hdc, UINT align);
KVD_API UINT GetTextAlign(HDC hdc);
KVD_API int SetPolyFillMode(HDC hdc, int mode);
KVD_API int GetPolyFillMode(HDC hdc);
KVD_API int SetStretchBltMode(HDC hdc, int mode);
KVD_API int GetStretchBltMode(HDC hdc);

// ---------------------------------------------------------------- drawing

KVD_API BOOL MoveToEx(HDC hdc, int x, int y, POINT* lppt);
// From the current position to (x, y), which is left out and becomes the
// current position.
KVD_API BOOL LineTo(HDC hdc, int x, int y);
KVD_API BOOL Polyline(HDC hdc, const POINT* apt, int cpt);
// Fills with the brush in the fill mode and outlines with the pen.
KVD_API BOOL Polygon(HDC hdc, const POINT* apt, int cpt);
KVD_API BOOL PolyPolygon(HDC hdc, const POINT* apt, const int* asz, int csz);
KVD_API BOOL Rectangle(HDC hdc, int left, int top, int right, int bottom);
// The ellipse in the box; its right and bottom edges are left out.
KVD_API BOOL Ellipse(HDC hdc, int left, int top, int right, int bottom);
// Fills with hbr; the right and bottom edges are left out.
KVD_API int FillRect(HDC hdc, const RECT* lprc, HBRUSH hbr);
KVD_API BOOL PatBlt(HDC hdc, int x, int y, int w, int h, DWORD rop);
KVD_API COLORREF SetPixel(HDC hdc, int x, int y, COLORREF color);
// CLR_INVALID outside the surface.
KVD_API COLORREF GetPixel(HDC hdc, int x, int y);

// Paths: the lines and polygons drawn between BeginPath and EndPath are
// recorded instead of drawn; FillPath fills them with the brush and the fill
// mode, StrokePath outlines them with the pen, and each discards the path.
KVD_API BOOL BeginPath(HDC hdc);
KVD_API BOOL EndPath(HDC hdc);
KVD_API BOOL AbortPath(HDC hdc);
KVD_API BOOL FillPath(HDC hdc);
KVD_API BOOL StrokePath(HDC hdc);
KVD_API BOOL StrokeAndFillPath(HDC hdc);

// ---------------------------------------------------------------- regions

// Regions hold one row of spans per pixel row of their box, so PtInRegion
// costs the same whatever the shape.
KVD_API HRGN CreatePolygonRgn(const POINT* pptl, int cPoint, int iMode);
KVD_API HRGN CreatePolyPolygonRgn(const POINT* pptl, const int* pc, int cPoly, int iMode);
KVD_API HRGN CreateRectRgn(int x1, int y1, int x2, int y2);
KVD_API BOOL PtInRegion(HRGN hrgn, int x, int y);
KVD_API int GetRgnBox(HRGN hrgn, RECT* lprc);
KVD_API BOOL FillRgn(HDC hdc, HRGN hrgn, HBRUSH hbr);
// Sets, as SetPixel would, each pixel of the region inside *pBounds (right and
// bottom exclusive) whose bit is set in a 32 by 32 mask of four bytes a row:
// row y % 32, bit 7 - x % 8 of byte (x % 32) / 8, anchored at the surface
// origin. FALSE for a bad DC or region or a null argument.
KVD_API BOOL XfnStippleRgn(HDC hdc, HRGN hrgn, const RECT* pBounds, const BYTE* pMask, COLORREF color);

// ---------------------------------------------------------------- blits

// Every ternary raster operation, by its truth table over the DC's brush
// (anchored at the surface origin), the source and the destination. The
// rectangles are clipped to both surfaces.
KVD_API BOOL BitBlt(HDC hdc, int x, int y, int cx, int cy, HDC hdcSrc, int x1, int y1, DWORD rop);
// Negative extents mirror. Every mode picks source pixels (the nearest, by
// the centre of the target pixel), as COLORONCOLOR does.
KVD_API BOOL StretchBlt(HDC hdcDest, int xDest, int yDest, int wDest, int hDest, HDC hdcSrc, int xSrc, int ySrc,
                        int wSrc, int hSrc, DWORD rop);
// From a packed DIB of 8 bits with a palette (DIB_RGB_COLORS), 24 or 32 bits;
// returns the lines drawn (the source height), 0 on failure.
KVD_API int StretchDIBits(HDC hdc, int xDest, int yDest, int DestWidth, int DestHeight, int xSrc, int ySrc,
                          int SrcWidth, int SrcHeight, const void* lpBits, const BITMAPINFO* lpbmi, UINT iUsage,
                          DWORD rop);

// ---------------------------------------------------------------- palettes

// The raster device has no palette (RASTERCAPS lacks RC_PALETTE): the system
// palette is empty, and a logical palette selected into a DC maps nothing.
KVD_API UINT GetSystemPaletteEntries(HDC hdc, UINT iStart, UINT cEntries, PALETTEENTRY* pPalEntries);
KVD_API HPALETTE CreatePalette(const LOGPALETTE* plpal);
KVD_API HPALETTE SelectPalette(HDC hdc, HPALETTE hPal, BOOL bForceBkgd);
KVD_API UINT RealizePalette(HDC hdc);

// ---------------------------------------------------------------- fonts and text

// lfHeight below 0 is the character height (cell height less internal
// leading), above 0 the cell height, 0 a default of 12 pixels. lfEscapement
// turns the text counter-clockwise in tenths of a degree. The face resolves
// through fontconfig ("Courier New" to a metric-compatible face), and
// characters the face lacks (Hangul, for one) fall back to a face that has
// them. Narrow text is UTF-8.
KVD_API HFONT CreateFontIndirectA(const LOGFONTA* lplf);
// The reference point is placed by the text alignment; the text is drawn in
// the text colour, on the background colour with OPAQUE. c is in bytes.
// With lpDx, each character starts where the advances of the bytes before it
// put it (one entry a byte); without, characters keep the face's advances.
KVD_API BOOL TextOutA(HDC hdc, int x, int y, const char* lpString, int c);
KVD_API BOOL ExtTextOutA(HDC hdc, int x, int y, UINT options, const RECT* lprect, const char* lpString, UINT c,
                         const int* lpDx);
// Draws or, with DT_CALCRECT, measures: the rectangle's right and bottom
// become those of the text. cchText -1 takes a zero-terminated text. Returns
// the text's height, 0 on failure.
KVD_API int DrawTextA(HDC hdc, const char* lpchText, int cchText, RECT* lprc, UINT format);
KVD_API BOOL GetTextExtentPoint32A(HDC hdc, const char* lpString, int c, SIZE* psizl);
KVD_API BOOL GetTextMetricsA(HDC hdc, TEXTMETRICA* lptm);

// ---------------------------------------------------------------- windows

// There is no window system: a window is pixel memory of the application
// (XfnCreatePixelWindow: nWidth by nHeight 32-bit BGRX pixels, top row first,
// nStride bytes from one row to the next, never freed here) or a new image of
// its own (XfnCreateImageWindow, white). A window has one DC of its own,
// which GetDC returns each time; ReleaseDC leaves it, and DestroyWindow
// deletes both.
KVD_API HWND XfnCreatePixelWindow(void* pPixels, int nWidth, int nHeight, int nStride);
KVD_API HWND XfnCreateImageWindow(int nWidth, int nHeight);
KVD_API BOOL DestroyWindow(HWND hWnd);
KVD_API HDC GetDC(HWND hWnd);
KVD_API int ReleaseDC(HWND hWnd, HDC hdc);
KVD_API BOOL GetClientRect(HWND hWnd, RECT* lpRect);
KVD_API HWND WindowFromDC(HDC hdc);
// The window's pixels, top row first, and the bytes from one row to the next.
KVD_API void* XfnGetWindowPixels(HWND hWnd, int* pnStride);

// A DC straight over the application's pixels (the layout of
// XfnCreatePixelWindow), for drawing without a window; DeleteDC ends it and
// leaves the pixels.
KVD_API HDC XfnCreatePixelDC(void* pPixels, int nWidth, int nHeight, int nStride);
// Writes what the DC shows, or a bitmap, to a PNG file (8-bit RGB). FALSE on
// a bad handle or a file that cannot be written.
KVD_API BOOL XfnWritePNG(HDC hdc, const char* pszPath);
KVD_API BOOL XfnWriteBitmapPNG(HBITMAP hbm, const char* pszPath);

// ---------------------------------------------------------------- unsuffixed names

inline HFONT CreateFontIndirect(const LOGFONTA* lplf) { return CreateFontIndirectA(lplf); }
inline BOOL TextOut(HDC hdc, int x, int y, const char* s, int c) { return TextOutA(hdc, x, y, s, c); }
inline BOOL ExtTextOut(HDC hdc, int x, int y, UINT o, const RECT* r, const char* s, UINT c, const int* dx)
{
    return ExtTextOutA(hdc, x, y, o, r, s, c, dx);
}
inline int DrawText(HDC hdc, const char* s, int c, RECT* r, UINT f) { return DrawTextA(hdc, s, c, r, f); }
inline BOOL GetTextExtentPoint32(HDC hdc, const char* s, int c, SIZE* sz) { return GetTextExtentPoint32A(hdc, s, c, sz); }
inline BOOL GetTextMetrics(HDC hdc, TEXTMETRICA* tm) { return GetTextMetricsA(hdc, tm); }
inline int GetObject(HGDIOBJ h, int c, LPVOID pv) { return GetObjectA(h, c, pv); }
