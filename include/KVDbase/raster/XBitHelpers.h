// XBitHelpers.h: single bits of packed rows, powers of two and byte-order
// reversal. Stateless, thread-safe free functions; buffers belong to the
// caller and must be large enough. Nothing reports an error.
#pragma once

#include "KVDbase/platform/Export.h"

#include "KVDbase/platform/Win32Types.h"

// Bits are numbered from the most significant bit of the first byte, the order
// of a 1-bit image row: bit n is mask 0x80 >> (n % 8) of byte n / 8.
// A negative bit index addresses nothing: Get gives 0 and Set changes nothing.
KVD_API int XfnGetBitBuffer(unsigned char* buffer, int bit);
// Sets the bit for a non-zero value and clears it for zero; the other bits of
// the byte keep their state.
KVD_API void XfnSetBitBuffer(unsigned char* buffer, int bit, int value);

// The largest power of two not above |value| after value has been rounded to
// single precision; 0 for 0. Values that the rounding carries across a power
// give that power, so 2147483647 gives 0x80000000, negative as an int.
KVD_API int XfnGetNearest2nValue(int value);

// The floor of the base-two logarithm of value; -1 for zero and every negative
// value.
KVD_API int XfnGetPowerOf2nValue(int value);

// Reverses size bytes in place; a size below 2 changes nothing and the middle
// byte of an odd size stays.
KVD_API void XfnByteSwap(void* data, int size);

// Each form stores value at out (out needs the listed bytes) and reverses the
// bytes there. The widths are those of the stored formats, not of this
// machine: unsigned long is written as 4 bytes and long double as the 8 bytes
// of a double.
KVD_API void XfnByteSwap(unsigned short value, unsigned char* out); // 2 bytes
KVD_API void XfnByteSwap(int value, unsigned char* out);            // 4 bytes
KVD_API void XfnByteSwap(unsigned int value, unsigned char* out);   // 4 bytes
KVD_API void XfnByteSwap(unsigned long value, unsigned char* out);  // 4 bytes
KVD_API void XfnByteSwap(float value, unsigned char* out);          // 4 bytes
KVD_API void XfnByteSwap(double value, unsigned char* out);         // 8 bytes
KVD_API void XfnByteSwap(long double value, unsigned char* out);    // 8 bytes
KVD_API void XfnByteSwap(int64_t value, unsigned char* out);        // 8 bytes

// Reverses count consecutive elements of size bytes. Sizes 2 and 4 swap every
// element. Size 8 keeps the historical shared-counter loop: a count of 1 to 5
// reverses element 0 only, and a count of 6 or more reverses element 5 over
// and over and never returns, so callers pass 8-byte elements one at a time.
// Any other size, and a count of 0 or less, changes nothing.
KVD_API void XfnByteSwapMulti(void* data, int size, int count);
