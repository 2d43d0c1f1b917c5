#include "KVDbase/geometry/XScaleFactor.h"

namespace {

template <class T>
void XScaleFactor(T a1, T a2, T b1, T b2, T& offset, T& scale)
{
    if (a1 == a2) {
        offset = b1;
        scale = 0;
        return;
    }
    const T d = a1 - a2;
    offset = (b2 * a1 - b1 * a2) / d;
    scale = (b1 - b2) / d;
}

} // namespace

void XfnGetScaleFactor(double dA1, double dA2, double dB1, double dB2, double& dOffset, double& dScale)
{
    XScaleFactor(dA1, dA2, dB1, dB2, dOffset, dScale);
}

void XfnGetScaleFactor(float fA1, float fA2, float fB1, float fB2, float& fOffset, float& fScale)
{
    XScaleFactor(fA1, fA2, fB1, fB2, fOffset, fScale);
}

void XfnGetWorldToPixelSF(int nWidth, int nHeight, double* const pUnitsPerPixel, double* const pCenter,
                          double& dOffsetX, double& dScaleX, double& dOffsetY, double& dScaleY)
{
    dScaleX = 1.0 / pUnitsPerPixel[0];
    dOffsetX = nWidth / 2.0 - pCenter[0] * dScaleX;
    dScaleY = -1.0 / pUnitsPerPixel[1];
    dOffsetY = nHeight / 2.0 - pCenter[1] * dScaleY;
}
