// XScaleFactor.h: linear maps of one axis, value * scale + offset, for fitting
// two value pairs and for the world-to-pixel transform of a centred view.
// Stateless; nothing is reported, and equal inputs give a scale of 0.
#pragma once

#include "KVDbase/platform/Export.h"

// The line through (a1, b1) and (a2, b2): b = a * scale + offset. With a1
// equal to a2, offset is b1 and scale 0.
KVD_API void XfnGetScaleFactor(double dA1, double dA2, double dB1, double dB2, double& dOffset, double& dScale);
KVD_API void XfnGetScaleFactor(float fA1, float fA2, float fB1, float fB2, float& fOffset, float& fScale);

// World to pixel for a view of nWidth by nHeight pixels centred on
// pCenter[0], pCenter[1], with pUnitsPerPixel[0], [1] world units per pixel.
// The y scale is negative: pixel rows grow downward, world y upward.
KVD_API void XfnGetWorldToPixelSF(int nWidth, int nHeight, double* const pUnitsPerPixel, double* const pCenter,
                                  double& dOffsetX, double& dScaleX, double& dOffsetY, double& dScaleY);
