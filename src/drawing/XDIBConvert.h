// XDIBConvert.h: turns a caller's DIB (8 bits through a palette or as grey,
// 16 bits as 5-5-5, 24 and 32 bits as blue, green, red) into the pixel forms
// that the drawing layer keeps, with one opacity for the whole image and an
// optional colour key. Shared by the image records of XVertBuffer and the
// normalising form of XBackBuffer::DrawDIB, so that both read a source alike.
// Pure: no allocation, nothing reported.
#pragma once

#include "KVDbase/platform/Win32Types.h"

// The forms of the converted pixels.
enum XDIBForm {
    // Blue, green, red rows of XfnCalcDIBWidthBytes(w, 24) bytes, bottom row
    // first, followed by a plane of XfnCalcDIBWidthBytes(w, 8) bytes a row
    // holding 255 minus each pixel's opacity. Padding bytes are not written.
    XDIB_FORM_ROWS_AND_MASK,
    // Blue, green, red, alpha, w times 4 bytes a row, bottom row first.
    XDIB_FORM_BGRA_BOTTOM_UP,
    // The same with the top row first.
    XDIB_FORM_BGRA_TOP_DOWN,
};

// The opacity byte of an alpha in 0.0 to 1.0: alpha times 255, truncated.
// Values outside that range keep the low byte of the truncation; a value that
// is no number gives 0.
BYTE XfnOpacityByte(double dAlpha);

// Converts every pixel of pBits (laid out as pInfo says) into pOut, in nForm.
// Opacity is dAlpha times 255; bytes 0 to 3 of dwKey are enable, red, green,
// blue of a colour that becomes black of opacity 0. A depth other than 8, 16,
// 24 and 32 repeats the last colour read (black at first). Returns the
// opacity class: 1 if some pixel is partly opaque, else 0 if some pixel has
// opacity 0, else -1; always -1 for the top-down form, which keeps its alpha
// per pixel and needs no class.
int XfnConvertDIBPixels(const char* pBits, const BITMAPINFO* pInfo, double dAlpha, DWORD dwKey, XDIBForm nForm,
                        BYTE* pOut);

// The check that every reader of a surface into a caller's DIB makes first: a
// w or h of 0 takes the whole surface of nWidth by nHeight; then the region
// must lie on the surface, fit the caller's header and its depth must hold
// nBits. false for a null pOut or pInfo too.
bool XfnCheckDIBRead(const void* pOut, const BITMAPINFO* pInfo, int x, int y, int& w, int& h, int nWidth, int nHeight,
                     int nBits);
