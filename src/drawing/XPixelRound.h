// XPixelRound.h: world-to-pixel rounding of the drawing layer. A pixel value
// v rounds half away from zero (v + 0.5 or v - 0.5, truncated); the extent of
// a stipple fill is plainly truncated. Values beyond the device's coordinate
// range (a world point far off the view, or no number at all) are held to
// that range, so that they stay off the surface instead of wrapping round.
#pragma once

#include "KVDbase/platform/Win32Types.h"

namespace XPixelRound {

// The coordinate range of the raster device: +-2^27, as on the original.
constexpr double kLimit = 134217728.0;

inline LONG Trunc(double v)
{
    if (v >= kLimit)
        return static_cast<LONG>(kLimit);
    if (v <= -kLimit)
        return -static_cast<LONG>(kLimit);
    if (v != v)
        return 0;
    return static_cast<LONG>(v);
}

inline LONG Round(double v) { return Trunc(v >= 0.0 ? v + 0.5 : v - 0.5); }

} // namespace XPixelRound
