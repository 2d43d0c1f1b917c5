#include "KVDbase/raster/XNumberHelpers.h"

#include <cmath>

double XfnRound(double value, int place)
{
    int e = place + 1;
    double p = std::pow(10.0, e);
    double q = std::pow(10.0, -e);
    if (p > std::fabs(value))
        return value;
    // Truncation toward zero to 32 bits, with the out-of-range and NaN cases
    // taking the integer-indefinite value that the hardware conversion gives.
    double dScaled = (value + 0.5 * p) * q;
    int32_t n = (dScaled > -2147483649.0 && dScaled < 2147483648.0) ? static_cast<int32_t>(dScaled)
                                                                    : INT32_MIN;
    return static_cast<double>(n) * p;
}

int XfnIsNumber(XString text, int digitsOnly)
{
    const char* p = text;
    int nMinus = 0;
    int nExponent = 0;
    int nPoint = 0;
    for (; *p != '\0'; ++p) {
        signed char c = static_cast<signed char>(*p);
        bool bDigit = c >= '0' && c <= '9';
        if (digitsOnly != 0) {
            if (!bDigit)
                return 0;
            continue;
        }
        if (bDigit)
            continue;
        switch (c) {
        case '-': ++nMinus; break;
        case '.': ++nPoint; break;
        case 'E': case 'e': case 'D': case 'd': ++nExponent; break;
        default: return 0;
        }
        if (nMinus > 2 || nExponent > 1 || nPoint > 1)
            return 0;
    }
    return 1;
}
