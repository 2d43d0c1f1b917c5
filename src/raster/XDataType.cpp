#include "KVDbase/raster/XDataType.h"

namespace {

// Element sizes in bytes, indexed by type code.
const int s_anDataSize[30] = {
    0,                      // no type
    1, 1, 2, 2, 4, 4, 4, 8, // real: u8 s8 u16 s16 u32 s32 f32 f64
    2, 2, 4, 4, 8, 8, 8, 16, // complex of the same eight
    1,                      // packed, one byte
    3, 3,                   // packed, three bytes
    4, 4, 4, 4,             // packed, four bytes
    2, 2, 2, 2, 2, 2,       // packed, two bytes
};

// The not-known bound, and 3.4e38 as a float widened back to double: the
// float ranges are stated through the float constant, not FLT_MAX.
const double s_dNotKnown = 1.7e308;
const double s_dFloatLimit = static_cast<double>(3.4e38f);

} // namespace

int XfnGetDataSize(int type)
{
    if (type < 0 || type > 29)
        return 0;
    return s_anDataSize[type];
}

void XfnGetDataLimits(int type, double& min, double& max)
{
    switch (type) {
    case 1: min = 0.0; max = 255.0; break;
    case 2: min = -128.0; max = 127.0; break;
    case 3: min = 0.0; max = 65535.0; break;
    case 4: min = -32768.0; max = 32767.0; break;
    case 5: min = 0.0; max = 4294967295.0; break;
    case 6: min = -2147483648.0; max = 2147483647.0; break;
    case 7:
    case 15: min = -s_dFloatLimit; max = s_dFloatLimit; break;
    // The complex integer codes deliberately take the not-known bounds
    // rather than the range of their component.
    default: min = -s_dNotKnown; max = s_dNotKnown; break;
    }
}

int XfnIsDataTypeComplex(int type)
{
    return (type >= 9 && type <= 16) ? 1 : 0;
}
