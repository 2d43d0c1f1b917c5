// XVertClip.h: the clip test of a replay, on a box taken from the buffer
// once per replay, so that each shape's test is a few comparisons inline.
// A point must lie in the box, ends included; an interval must overlap or
// touch it. The box of no clip lets everything through.
#pragma once

struct XVertClipBox {
    static constexpr double kNoClip = 1.7e308;
    double dMinX, dMaxX, dMinY, dMaxY;

    static bool AxisIn(double lo, double hi, double boxMin, double boxMax)
    {
        if (lo == hi)
            return lo >= boxMin && lo <= boxMax;
        const double top = hi > boxMax ? hi : boxMax;
        const double bottom = lo < boxMin ? lo : boxMin;
        return top - bottom <= (boxMax - boxMin) + (hi - lo);
    }
    bool IsOpen() const { return dMinX == -kNoClip && dMaxX == kNoClip && dMinY == -kNoClip && dMaxY == kNoClip; }
    bool Contains(double x1, double y1, double x2, double y2) const
    {
        return IsOpen() || (AxisIn(x1, x2, dMinX, dMaxX) && AxisIn(y1, y2, dMinY, dMaxY));
    }
};
