#include "KVDbase/drawing/XDrawStyleGDI.h"

#include "KVDbase/platform/XGdi.h"
#include "KVDbase/platform/XGdiClasses.h"

#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <cstring>

namespace {

// A wide patterned pen: geometric, flat ends, its own dash table.
const DWORD kGeometricStyle = PS_GEOMETRIC | PS_ENDCAP_FLAT | PS_USERSTYLE;
// The cosmetic styles of the wrapper form: the style with flat ends.
const DWORD kFlatCosmetic = PS_ENDCAP_FLAT;

// How a pen is made: by CreatePen (bExtended false) or by ExtCreatePen with
// a solid brush and nRuns dash table entries.
struct PenRecipe {
    bool bExtended;
    DWORD nStyle;
    DWORD nRuns;
    DWORD aRuns[16];
};

// The runs of a user pattern: shifted up until it starts with a dash, then
// walked from bit 15 down, a new run at every change. The pattern must not be
// zero.
DWORD UserPatternRuns(uint16_t nPattern, DWORD* pRuns)
{
    unsigned p = nPattern;
    while ((p & 0x8000u) == 0)
        p = (p << 1) & 0xFFFFu;
    std::memset(pRuns, 0, 16 * sizeof(DWORD));
    DWORD nRun = 0;
    unsigned nBefore = 1;
    for (int nBit = 15; nBit >= 0; --nBit) {
        const unsigned v = (p >> nBit) & 1u;
        if (v != nBefore)
            ++nRun;
        ++pRuns[nRun];
        nBefore = v;
    }
    return nRun + 1;
}

// The pen of a style. The handle form (bWrapper false) ORs in the style's pen
// bits; the wrapper form leaves them out, draws solid with CreatePen at any
// width, and gives the cosmetic dash its flat-ended code.
PenRecipe MakePenRecipe(const tagXLineStyle* pStyle, int nWidth, bool bWrapper)
{
    const DWORD nBits = bWrapper ? 0 : pStyle->nPenBits;
    const DWORD w = static_cast<DWORD>(nWidth);
    PenRecipe r = {false, PS_NULL, 0, {0}};
    auto Dashes = [&](std::initializer_list<DWORD> runs) {
        r.bExtended = true;
        r.nStyle = kGeometricStyle | nBits;
        for (DWORD v : runs)
            r.aRuns[r.nRuns++] = v;
    };
    switch (pStyle->GetStyle()) {
    case tagXLineStyle::STYLE_SOLID:
        if (bWrapper) {
            r.nStyle = PS_SOLID;
        } else {
            r.nStyle = nBits | PS_GEOMETRIC | pStyle->nSolidPenBits;
            r.bExtended = nWidth != 0;
        }
        break;
    case tagXLineStyle::STYLE_DASH:
        if (nWidth != 0)
            Dashes({3 * w, w});
        else
            r.nStyle = bWrapper ? (kFlatCosmetic | PS_DASH) : PS_DASH;
        break;
    case tagXLineStyle::STYLE_DOT:
        if (nWidth != 0)
            Dashes({w, w});
        else
            r.nStyle = nBits | kFlatCosmetic | PS_DOT;
        break;
    case tagXLineStyle::STYLE_DASHDOT:
        if (nWidth != 0)
            Dashes({3 * w, 2 * w, w, 2 * w});
        else
            r.nStyle = nBits | kFlatCosmetic | PS_DASHDOT;
        break;
    case tagXLineStyle::STYLE_DASHDOTDOT:
        if (nWidth != 0)
            Dashes({3 * w, w, w, w, w, w});
        else
            r.nStyle = nBits | kFlatCosmetic | PS_DASHDOTDOT;
        break;
    case tagXLineStyle::STYLE_NONE:
        r.nStyle = PS_NULL;
        break;
    default:
        // A zero pattern has no dash to start with: no pen line at all.
        if (pStyle->nPattern == 0) {
            r.nStyle = PS_NULL;
            break;
        }
        r.bExtended = true;
        r.nStyle = kGeometricStyle | nBits;
        r.nRuns = UserPatternRuns(pStyle->nPattern, r.aRuns);
        const DWORD nScale = static_cast<DWORD>(static_cast<int64_t>(pStyle->nFactor) * (nWidth != 0 ? nWidth : 1));
        for (DWORD i = 0; i < r.nRuns; ++i)
            r.aRuns[i] *= nScale;
        break;
    }
    return r;
}

LOGBRUSH SolidLogBrush(COLORREF clr)
{
    LOGBRUSH lb;
    lb.lbStyle = BS_SOLID;
    lb.lbColor = clr;
    lb.lbHatch = 0;
    return lb;
}

// The hatch of fill codes 2 to 7.
const int kHatchOfCode[8] = {-1, -1, HS_BDIAGONAL, HS_CROSS, HS_DIAGCROSS, HS_FDIAGONAL, HS_HORIZONTAL, HS_VERTICAL};

// The user brush: a 24-bit DIB of 32 by 32 pixels, its rows bottom-up so
// that mask row 0 is the picture's top row.
enum { USER_DIB_BYTES = 40 + 32 * 96 };

BYTE* NewUserPatternDIB(const tagXFillStyle* pStyle, COLORREF clrForeArg, COLORREF clrBackArg)
{
    BYTE* p = static_cast<BYTE*>(std::malloc(USER_DIB_BYTES));
    if (p == nullptr)
        return nullptr;
    BITMAPINFOHEADER bih;
    std::memset(&bih, 0, sizeof bih);
    bih.biSize = 40;
    bih.biWidth = 32;
    bih.biHeight = 32;
    bih.biPlanes = 1;
    bih.biBitCount = 24;
    bih.biCompression = BI_RGB;
    std::memcpy(p, &bih, 40);
    for (int i = 0; i < 32; ++i) {
        const BYTE* s = pStyle->Pattern + (31 - i) * 4;
        const DWORD nWord = s[0] | (s[1] << 8) | (s[2] << 16) | (static_cast<DWORD>(s[3]) << 24);
        BYTE* pRow = p + 40 + i * 96;
        for (int col = 0; col < 32; ++col) {
            const COLORREF c = (nWord >> (31 - col)) & 1u ? clrForeArg : clrBackArg;
            pRow[3 * col] = GetBValue(c);
            pRow[3 * col + 1] = GetGValue(c);
            pRow[3 * col + 2] = GetRValue(c);
        }
    }
    return p;
}

// Fills lb for the style and returns the DIB block it points to (code 1024),
// which the caller frees once the brush is made.
BYTE* MakeLogBrush(LOGBRUSH& lb, const tagXFillStyle* pStyle, COLORREF clrForeArg, COLORREF clrBackArg)
{
    lb = SolidLogBrush(clrForeArg);
    const int nCode = pStyle->GetStyle();
    if (nCode == tagXFillStyle::STYLE_HOLLOW) {
        lb.lbStyle = BS_NULL;
    } else if (nCode >= tagXFillStyle::STYLE_BDIAGONAL && nCode <= tagXFillStyle::STYLE_VERTICAL) {
        lb.lbStyle = BS_HATCHED;
        lb.lbHatch = static_cast<ULONG_PTR>(kHatchOfCode[nCode]);
    } else if (nCode == tagXFillStyle::STYLE_USER) {
        BYTE* pDIB = NewUserPatternDIB(pStyle, clrForeArg, clrBackArg);
        if (pDIB != nullptr) {
            lb.lbStyle = BS_DIBPATTERNPT;
            lb.lbColor = DIB_RGB_COLORS;
            lb.lbHatch = reinterpret_cast<ULONG_PTR>(pDIB);
        }
        return pDIB;
    }
    return nullptr;
}

void PrepareFont(tagXTextStyle* pStyle, int nHeight)
{
    pStyle->lf.lfHeight = nHeight != 0 ? nHeight : 1;
    pStyle->lf.lfEscapement = pStyle->lf.lfOrientation;
}

void DrawBand(HDC hDC, HPEN hPen, const CPoint& from, const CPoint& to)
{
    const int nRop = GetROP2(hDC);
    SetROP2(hDC, R2_XORPEN);
    HGDIOBJ hOld = SelectObject(hDC, hPen);
    MoveToEx(hDC, from.x, from.y, nullptr);
    LineTo(hDC, to.x, from.y);
    LineTo(hDC, to.x, to.y);
    LineTo(hDC, from.x, to.y);
    LineTo(hDC, from.x, from.y);
    SelectObject(hDC, hOld);
    DeleteObject(hPen);
    SetROP2(hDC, nRop);
}

} // namespace

void XfnCreatePen(HPEN& hPen, tagXLineStyle* pStyle, int nWidth, COLORREF clr)
{
    const PenRecipe r = MakePenRecipe(pStyle, nWidth, false);
    if (!r.bExtended) {
        hPen = CreatePen(static_cast<int>(r.nStyle), 0, clr);
        return;
    }
    const LOGBRUSH lb = SolidLogBrush(clr);
    hPen = ExtCreatePen(r.nStyle, static_cast<DWORD>(nWidth), &lb, r.nRuns, r.nRuns != 0 ? r.aRuns : nullptr);
}

void XfnCreatePen(CPen* pPen, tagXLineStyle* pStyle, int nWidth, COLORREF clr)
{
    const PenRecipe r = MakePenRecipe(pStyle, nWidth, true);
    if (!r.bExtended) {
        pPen->CreatePen(static_cast<int>(r.nStyle), r.nStyle == PS_SOLID ? nWidth : 0, clr);
        return;
    }
    const LOGBRUSH lb = SolidLogBrush(clr);
    pPen->CreatePen(static_cast<int>(r.nStyle), nWidth, &lb, static_cast<int>(r.nRuns), r.aRuns);
}

void XfnCreateBrush(HBRUSH& hBrush, tagXFillStyle* pStyle, COLORREF clrForeArg, COLORREF clrBackArg)
{
    LOGBRUSH lb;
    BYTE* pDIB = MakeLogBrush(lb, pStyle, clrForeArg, clrBackArg);
    hBrush = CreateBrushIndirect(&lb);
    std::free(pDIB);
}

void XfnCreateBrush(CBrush* pBrush, tagXFillStyle* pStyle, COLORREF clrForeArg, COLORREF clrBackArg)
{
    LOGBRUSH lb;
    BYTE* pDIB = MakeLogBrush(lb, pStyle, clrForeArg, clrBackArg);
    pBrush->CreateBrushIndirect(&lb);
    std::free(pDIB);
}

void XfnCreateFont(HFONT& hFont, tagXTextStyle* pStyle, int nHeight)
{
    PrepareFont(pStyle, nHeight);
    hFont = CreateFontIndirectA(&pStyle->lf);
}

void XfnCreateFont(CFont* pFont, tagXTextStyle* pStyle, int nHeight)
{
    PrepareFont(pStyle, nHeight);
    pFont->CreateFontIndirect(&pStyle->lf);
}

void XfnDrawRubberBand(HDC hDC, CPoint from, CPoint to, tagXLineStyle* pStyle, int nWidth, COLORREF clr)
{
    HPEN hPen = nullptr;
    if (pStyle != nullptr)
        XfnCreatePen(hPen, pStyle, nWidth, clr);
    else
        hPen = CreatePen(PS_DOT, 0, clr);
    DrawBand(hDC, hPen, from, to);
}

void XfnDrawRubberBand(CDC* pDC, CPoint from, CPoint to, tagXLineStyle* pStyle, int nWidth, COLORREF clr)
{
    XfnDrawRubberBand(pDC != nullptr ? pDC->GetSafeHdc() : nullptr, from, to, pStyle, nWidth, clr);
}
