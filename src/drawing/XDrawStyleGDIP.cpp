// The antialiased device's objects of the style records: pens, brushes and
// fonts from the same masks and codes that the other paths draw with.
#include "KVDbase/drawing/XDrawStyleGDIP.h"

#include "platform/XMbText.h"

#include <cstdlib>
#include <cstring>

using namespace Gdiplus;

void XfnCreatePenGDIP(Pen*& pPen, tagXLineStyle* pStyle, double dWidth, Color color)
{
    delete pPen;
    pPen = new Pen(Color(255, 0, 0, 0), 1.0f);
    pPen->SetColor(color);
    pPen->SetWidth(static_cast<REAL>(dWidth));
    pPen->SetStartCap(LineCapRound);
    pPen->SetEndCap(LineCapRound);
    const int nCode = pStyle->GetStyle();
    if (nCode >= tagXLineStyle::STYLE_SOLID && nCode <= tagXLineStyle::STYLE_DASHDOTDOT) {
        pPen->SetDashStyle(static_cast<DashStyle>(nCode));
        return;
    }
    unsigned nPattern = pStyle->nPattern;
    if (nCode == tagXLineStyle::STYLE_NONE || nPattern == 0) {
        pPen->SetDashStyle(DashStyleSolid);
        pPen->SetColor(Color(0, 0, 0, 0));
        return;
    }
    // The runs of the mask from bit 15 down, after shifting it to start with a
    // dash; the dash array is in pen widths, so these dashes come out width
    // times longer than the raster path's, as they always have.
    while ((nPattern & 0x8000) == 0)
        nPattern <<= 1;
    REAL afRuns[16] = {0};
    int nRun = 0;
    unsigned nPrev = 1;
    for (int nBit = 15; nBit >= 0; --nBit) {
        const unsigned nValue = (nPattern >> nBit) & 1;
        if (nValue != nPrev)
            ++nRun;
        nPrev = nValue;
        afRuns[nRun] += 1.0f;
    }
    const REAL fScale = static_cast<REAL>(dWidth != 0.0 ? pStyle->nFactor * dWidth : pStyle->nFactor);
    for (int i = 0; i <= nRun; ++i)
        afRuns[i] *= fScale;
    pPen->SetDashPattern(afRuns, nRun + 1);
}

namespace {

// The hatch of fill codes 2 to 7.
const HatchStyle kHatchOfCode[8] = {HatchStyleHorizontal,       HatchStyleHorizontal,  HatchStyleBackwardDiagonal,
                                    HatchStyleCross,            HatchStyleDiagonalCross, HatchStyleForwardDiagonal,
                                    HatchStyleHorizontal,       HatchStyleVertical};

// The mask as a 32 by 32 texture, top row first: row r of the mask is image
// row r, and bit 31 of its word is column 0.
Brush* TextureOfMask(const tagXFillStyle* pStyle, Color fore, Color clear)
{
    enum { SIDE = 32, BLOCK_BYTES = SIDE * SIDE * 4 };
    void* pBlock = std::calloc(1, BLOCK_BYTES);
    if (pBlock == nullptr)
        return nullptr;
    BITMAPINFO bi;
    std::memset(&bi, 0, sizeof(bi));
    bi.bmiHeader.biSize = 40;
    bi.bmiHeader.biWidth = SIDE;
    bi.bmiHeader.biHeight = SIDE;
    bi.bmiHeader.biPlanes = 1;
    bi.bmiHeader.biBitCount = 32;
    Bitmap* pFirst = new Bitmap(&bi, pBlock);
    Bitmap* pClone = pFirst->Clone(0, 0, SIDE, SIDE, PixelFormat32bppARGB);
    Brush* pBrush = nullptr;
    if (pClone != nullptr) {
        for (int i = 0; i < SIDE; ++i) {
            const BYTE* pRow = pStyle->Pattern + 4 * (SIDE - 1 - i);
            const DWORD nWord = pRow[0] | pRow[1] << 8 | pRow[2] << 16 | static_cast<DWORD>(pRow[3]) << 24;
            for (int j = 0; j < SIDE; ++j)
                pClone->SetPixel(j, SIDE - 1 - i, (nWord >> (31 - j)) & 1 ? fore : clear);
        }
        pBrush = new TextureBrush(pClone, WrapModeTile);
        // The brush holds its own copy of the image.
        delete pClone;
    }
    delete pFirst;
    std::free(pBlock);
    return pBrush;
}

} // namespace

void XfnCreateBrushGDIP(Brush*& pBrush, tagXFillStyle* pStyle, Color foreColor, Color backColor)
{
    delete pBrush;
    pBrush = nullptr;
    const int nCode = pStyle->GetStyle();
    switch (nCode) {
    case tagXFillStyle::STYLE_SOLID:
        pBrush = new SolidBrush(foreColor);
        break;
    case tagXFillStyle::STYLE_HOLLOW:
        pBrush = new SolidBrush(Color(0, 255, 255, 255));
        break;
    case tagXFillStyle::STYLE_BDIAGONAL:
    case tagXFillStyle::STYLE_CROSS:
    case tagXFillStyle::STYLE_DIAGCROSS:
    case tagXFillStyle::STYLE_FDIAGONAL:
    case tagXFillStyle::STYLE_HORIZONTAL:
    case tagXFillStyle::STYLE_VERTICAL:
        pBrush = new HatchBrush(kHatchOfCode[nCode], foreColor, backColor);
        break;
    case tagXFillStyle::STYLE_TRANSPARENT_PATTERN:
        pBrush = TextureOfMask(pStyle, foreColor, Color(0, 0, 0, 0));
        break;
    case tagXFillStyle::STYLE_USER:
        pBrush = TextureOfMask(pStyle, foreColor, backColor);
        break;
    default:
        pBrush = new HatchBrush(static_cast<HatchStyle>(nCode), foreColor, backColor);
        break;
    }
}

void XfnCreateFontGDIP(Font*& pFont, tagXTextStyle* pStyle, double dSize)
{
    delete pFont;
    const LOGFONTA& lf = pStyle->lf;
    INT nStyle = FontStyleRegular;
    if (lf.lfItalic != 0)
        nStyle |= FontStyleItalic;
    if (lf.lfUnderline != 0)
        nStyle |= FontStyleUnderline;
    if (lf.lfStrikeOut != 0)
        nStyle |= FontStyleStrikeout;
    if (lf.lfWeight == 700)
        nStyle |= FontStyleBold;
    const int nFace = static_cast<int>(strnlen(lf.lfFaceName, sizeof(lf.lfFaceName)));
    wchar_t awcFace[sizeof(lf.lfFaceName) + 1] = {0};
    XMbText::NarrowToWide(lf.lfFaceName, nFace, awcFace, static_cast<int>(sizeof(lf.lfFaceName)));
    FontFamily family(awcFace);
    pFont = new Font(&family, static_cast<REAL>(dSize), nStyle, UnitPixel);
}
