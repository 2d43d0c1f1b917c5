#include "KVDbase/raster/XBitHelpers.h"

int XfnGetBitBuffer(unsigned char* buffer, int bit)
{
    if (bit < 0)
        return 0;
    return (buffer[bit >> 3] & (0x80 >> (bit & 7))) != 0 ? 1 : 0;
}

void XfnSetBitBuffer(unsigned char* buffer, int bit, int value)
{
    if (bit < 0)
        return;
    unsigned char mask = static_cast<unsigned char>(0x80 >> (bit & 7));
    if (value != 0)
        buffer[bit >> 3] |= mask;
    else
        buffer[bit >> 3] &= static_cast<unsigned char>(~mask);
}

int XfnGetNearest2nValue(int value)
{
    if (value == 0)
        return 0;
    // The power is read from the exponent field of the float: the conversion
    // rounds to nearest, and the sign bit is not looked at.
    float f = static_cast<float>(value);
    uint32_t nBits;
    __builtin_memcpy(&nBits, &f, sizeof nBits);
    int nExp = static_cast<int>((nBits >> 23) & 0xFF) - 127;
    // An int converts to a float of at most 2^31, so nExp lies in 0..31; the
    // shift is done unsigned so that 2^31 wraps to a negative int.
    return static_cast<int>(1u << nExp);
}

int XfnGetPowerOf2nValue(int value)
{
    // Binary search on the shift that leaves exactly 1. The shift is done on
    // 64 bits so that every probe up to 32 is defined; it stays arithmetic.
    int nLow = 0;
    int nHigh = 32;
    while (nLow <= nHigh) {
        int nMid = (nLow + nHigh) / 2;
        int64_t t = static_cast<int64_t>(value) >> nMid;
        if (t >= 2)
            nLow = nMid + 1;
        else if (t >= 1)
            return nMid;
        else
            nHigh = nMid - 1;
    }
    return -1;
}

void XfnByteSwap(void* data, int size)
{
    unsigned char* p = static_cast<unsigned char*>(data);
    for (int i = 0; i < size / 2; ++i) {
        unsigned char c = p[i];
        p[i] = p[size - 1 - i];
        p[size - 1 - i] = c;
    }
}

namespace {

// Every typed form: copy the value's bytes out, then reverse them there.
template <typename T>
inline void XfnStoreSwapped(T value, unsigned char* out)
{
    __builtin_memcpy(out, &value, sizeof(T));
    XfnByteSwap(out, static_cast<int>(sizeof(T)));
}

} // namespace

void XfnByteSwap(unsigned short value, unsigned char* out) { XfnStoreSwapped(value, out); }
void XfnByteSwap(int value, unsigned char* out) { XfnStoreSwapped(value, out); }
void XfnByteSwap(unsigned int value, unsigned char* out) { XfnStoreSwapped(value, out); }
void XfnByteSwap(float value, unsigned char* out) { XfnStoreSwapped(value, out); }
void XfnByteSwap(double value, unsigned char* out) { XfnStoreSwapped(value, out); }
void XfnByteSwap(int64_t value, unsigned char* out) { XfnStoreSwapped(value, out); }

void XfnByteSwap(unsigned long value, unsigned char* out)
{
    // The stored formats know unsigned long as 32 bits.
    XfnStoreSwapped(static_cast<uint32_t>(value), out);
}

void XfnByteSwap(long double value, unsigned char* out)
{
    // The stored formats know long double as a double.
    XfnStoreSwapped(static_cast<double>(value), out);
}

void XfnByteSwapMulti(void* data, int size, int count)
{
    unsigned char* p = static_cast<unsigned char*>(data);
    if (size == 2) {
        for (int i = 0; i < count; ++i, p += 2) {
            uint16_t n;
            __builtin_memcpy(&n, p, 2);
            n = __builtin_bswap16(n);
            __builtin_memcpy(p, &n, 2);
        }
    } else if (size == 4) {
        for (int i = 0; i < count; ++i, p += 4) {
            uint32_t n;
            __builtin_memcpy(&n, p, 4);
            n = __builtin_bswap32(n);
            __builtin_memcpy(p, &n, 4);
        }
    } else if (size == 8) {
        // The element loop and the byte loop share their counter, as they
        // always have: after element 0 the byte loop leaves it at 4, the
        // element step makes it 5, so the next pass takes element 5 and comes
        // back to 5 for ever. Stores go through a volatile pointer so that the
        // endless case remains a real loop the compiler may not assume away.
        volatile unsigned char* pv = p;
        int i = 0;
        for (; i < count; ++i) {
            volatile unsigned char* pElem = pv + i * 8;
            for (i = 0; i < 4; ++i) {
                unsigned char c = pElem[i];
                pElem[i] = pElem[7 - i];
                pElem[7 - i] = c;
            }
        }
    }
}
