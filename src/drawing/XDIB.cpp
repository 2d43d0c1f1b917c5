#include "KVDbase/drawing/XDIB.h"

int XfnCalcDIBWidthBytes(int nWidth, int nBits)
{
    int nBytes;
    if (nBits == 1)
        nBytes = (nWidth + 7) / 8;
    else if (nBits == 4)
        nBytes = (nWidth + 1) / 2;
    else
        nBytes = (nBits / 8) * nWidth;
    return (nBytes + 3) & ~3;
}

int XfnCalcDIBWidthBytes(const BITMAPINFO* pInfo)
{
    return XfnCalcDIBWidthBytes(pInfo->bmiHeader.biWidth, pInfo->bmiHeader.biBitCount);
}

int XfnGetDIBPaletteSize(const BITMAPINFOHEADER* pHeader)
{
    if (pHeader->biClrUsed != 0)
        return static_cast<int>(pHeader->biClrUsed & 0xFFFFu);
    switch (pHeader->biBitCount) {
    case 1:
        return 2;
    case 4:
        return 16;
    case 8:
        return 256;
    default:
        return 0;
    }
}
