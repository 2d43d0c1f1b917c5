// The surface half of XBackBuffer: making, sizing and releasing the DC and
// bitmap, clearing, and the style setters that keep the DC's pen, brush and
// font in step with the current styles.
#include "KVDbase/drawing/XBackBuffer.h"

#include "KVDbase/drawing/XDIB.h"
#include "KVDbase/drawing/XDrawStyleGDI.h"
#include "KVDbase/platform/XGdi.h"
#include "KVDbase/platform/XGdiClasses.h"
#include "drawing/XPixelRound.h"

#include <cstring>

int XBackBuffer::Create(HWND hWnd, int nTypeArg)
{
    return Create(::GetDC(hWnd), nTypeArg);
}

int XBackBuffer::Create(CDC* pDC, int nTypeArg)
{
    return Create(pDC != nullptr ? pDC->GetSafeHdc() : nullptr, nTypeArg);
}

int XBackBuffer::Create(HDC hDCArg, int nTypeArg)
{
    nType = nTypeArg;
    Delete();
    if (nType == TYPE_DDB || nType == TYPE_DIB) {
        hDC = ::CreateCompatibleDC(hDCArg);
        if (hDC == nullptr)
            return 0;
        bOwnDC = 1;
    } else {
        hDC = hDCArg;
        bOwnDC = 0;
    }

    // The size of the bitmap in the given DC if it states one, else the
    // device's.
    SIZE size = {0, 0};
    HBITMAP hCurrent = static_cast<HBITMAP>(::GetCurrentObject(hDCArg, OBJ_BITMAP));
    if (hCurrent == nullptr || !::GetBitmapDimensionEx(hCurrent, &size) || size.cx == 0 || size.cy == 0) {
        size.cx = ::GetDeviceCaps(hDC, HORZRES);
        size.cy = ::GetDeviceCaps(hDC, VERTRES);
    }
    nWidth = size.cx;
    nHeight = size.cy;
    nBitsPixel = ::GetDeviceCaps(hDC, BITSPIXEL);
    nDIBWidthBytes = XfnCalcDIBWidthBytes(nWidth, nBitsPixel);

    if (nType == TYPE_DDB || nType == TYPE_DIB) {
        // Type 1 starts on a placeholder: the application sizes it to its
        // window with Resize.
        hBitmap = nType == TYPE_DDB ? ::CreateCompatibleBitmap(hDC, 10, 10) : CreateSurfaceBitmap(nWidth, nHeight);
        if (hBitmap == nullptr) {
            DropSurface();
            return 0;
        }
        hOldBitmap = static_cast<HBITMAP>(::SelectObject(hDC, hBitmap));
        return 1;
    }
    if (nType == TYPE_OPENGL && !CreateGL()) {
        DropSurface();
        return 0;
    }
    return 1;
}

int XBackBuffer::Resize(CDC* pDC, int w, int h)
{
    return Resize(pDC != nullptr ? pDC->GetSafeHdc() : nullptr, w, h);
}

int XBackBuffer::Resize(HDC hDCArg, int w, int h)
{
    if (hDC == nullptr)
        Create(hDCArg, nType);
    // A negative size is as unusable as a zero one.
    if (w <= 0 || h <= 0)
        return 0;
    if (nType == TYPE_OPENGL) {
        if (!ResizeGL(w, h))
            return 0;
    } else if (nType == TYPE_DDB || nType == TYPE_DIB) {
        if (hDC == nullptr)
            return 0;
        if (w == nWidth && h == nHeight)
            return 1;
        ::SelectObject(hDC, hOldBitmap);
        ::DeleteObject(hBitmap);
        hBitmap = CreateSurfaceBitmap(w, h);
        if (hBitmap == nullptr) {
            DropSurface();
            return 0;
        }
        ::SelectObject(hDC, hBitmap);
        nDIBWidthBytes = XfnCalcDIBWidthBytes(w, nBitsPixel);
    }
    nWidth = w;
    nHeight = h;
    if (bLatLongRounding)
        AutoFitForLLRounding();
    if (nType == TYPE_OPENGL)
        SetMatrix();
    return 1;
}

HBITMAP XBackBuffer::CreateSurfaceBitmap(int w, int h)
{
    if (nType == TYPE_DDB)
        return ::CreateCompatibleBitmap(hDC, w, h);
    BITMAPINFO bmi;
    std::memset(&bmi, 0, sizeof bmi);
    bmi.bmiHeader.biSize = sizeof(BITMAPINFOHEADER);
    bmi.bmiHeader.biWidth = w;
    bmi.bmiHeader.biHeight = h;
    bmi.bmiHeader.biPlanes = 1;
    bmi.bmiHeader.biBitCount = static_cast<WORD>(nBitsPixel);
    bmi.bmiHeader.biCompression = BI_RGB;
    void* pNewBits = nullptr;
    HBITMAP hNew = ::CreateDIBSection(hDC, &bmi, DIB_RGB_COLORS, &pNewBits, nullptr, 0);
    pBits = hNew != nullptr ? pNewBits : nullptr;
    return hNew;
}

void XBackBuffer::DropSurface()
{
    if (bOwnDC && hDC != nullptr) {
        ::SelectObject(hDC, hOldBitmap);
        ::DeleteDC(hDC);
    }
    if (bOwnDC)
        hDC = nullptr;
    bOwnDC = 0;
    if (hBitmap != nullptr)
        ::DeleteObject(hBitmap);
    hBitmap = hOldBitmap = nullptr;
    pBits = nullptr;
}

void XBackBuffer::Delete()
{
    if (bOwnDC && hDC != nullptr) {
        // The pen, brush and font of the style setters go with the DC: put
        // the stock objects back and delete what comes out (a stock object
        // is not deleted).
        ::DeleteObject(::SelectObject(hDC, ::GetStockObject(BLACK_PEN)));
        ::DeleteObject(::SelectObject(hDC, ::GetStockObject(WHITE_BRUSH)));
        ::DeleteObject(::SelectObject(hDC, ::GetStockObject(SYSTEM_FONT)));
    }
    DropSurface();
    DeleteGL();
}

void XBackBuffer::Clear(COLORREF clr, tagRECT* pRect)
{
    if (nType == TYPE_OPENGL) {
        ClearGL(clr);
        return;
    }
    if (hDC == nullptr)
        return;
    // The whole surface reaches one pixel past its size, as FillRect leaves
    // out the right and bottom edges.
    RECT rc = {0, 0, nWidth + 1, nHeight + 1};
    HBRUSH hBrush = ::CreateSolidBrush(clr);
    ::FillRect(hDC, pRect != nullptr ? pRect : &rc, hBrush);
    ::DeleteObject(hBrush);
}

// ---------------------------------------------------------------------------
// Styles

void XBackBuffer::SelectAndDelete(void* hObject)
{
    HGDIOBJ hOld = ::SelectObject(hDC, static_cast<HGDIOBJ>(hObject));
    // An object that no DC took (no surface yet, or none could be made) is
    // not kept.
    ::DeleteObject(hOld != nullptr ? hOld : static_cast<HGDIOBJ>(hObject));
}

void XBackBuffer::MakePen()
{
    double w = dLineWidth, h = dLineWidth;
    if (bWorldSize)
        ConvWorldToPixelLength(w, h);
    HPEN hPen = nullptr;
    XfnCreatePen(hPen, &LineStyle, XPixelRound::Trunc(w), clrLine);
    SelectAndDelete(hPen);
}

void XBackBuffer::MakeBrush()
{
    HBRUSH hBrush = nullptr;
    XfnCreateBrush(hBrush, &FillStyle, clrFore, clrBack);
    SelectAndDelete(hBrush);
}

void XBackBuffer::SetLineStyle(tagXLineStyle* pStyle, bool bWorld, double dWidth, COLORREF clr, double)
{
    LineStyle = *pStyle;
    bWorldSize = bWorld;
    dLineWidth = dWidth;
    clrLine = clr;
    MakePen();
}

void XBackBuffer::SetLineColor(COLORREF clr, double)
{
    clrLine = clr;
    MakePen();
}

void XBackBuffer::SetFillStyle(tagXFillStyle* pStyle, COLORREF clrForeArg, COLORREF clrBackArg, double)
{
    FillStyle = *pStyle;
    clrFore = clrForeArg;
    clrBack = clrBackArg;
    MakeBrush();
}

void XBackBuffer::SetForeColor(COLORREF clr, double)
{
    clrFore = clr;
    MakeBrush();
}

void XBackBuffer::SetBackColor(COLORREF clr, double)
{
    clrBack = clr;
    MakeBrush();
}

void XBackBuffer::SetTextStyle(tagXTextStyle* pStyle, bool bWorld, double dHeight, COLORREF clr, COLORREF, double)
{
    double w = dHeight, h = dHeight;
    if (bWorld)
        ConvWorldToPixelLength(w, h);
    // The font function sets the height into the caller's style, and the
    // stored copy is taken after it, so that measuring uses the same height.
    HFONT hFont = nullptr;
    XfnCreateFont(hFont, pStyle, XPixelRound::Trunc(w));
    TextStyle = *pStyle;
    bWorldSize = bWorld;
    dTextHeight = dHeight;
    SelectAndDelete(hFont);
    SetLineColor(clr, 1.0);
}

void XBackBuffer::SetPolyFillMode(int nMode)
{
    ::SetPolyFillMode(hDC, nMode);
}
