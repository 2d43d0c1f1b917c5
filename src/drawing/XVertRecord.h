// XVertRecord.h: byte access to the records of XVertBuffer. A record is a
// file format (little-endian, no gaps, fixed offsets), so every field is read
// and written here byte by byte, never through a host struct. Shared by the
// recorder, the stream form and the replays.
#pragma once

#include "KVDbase/drawing/XDrawStyle.h"
#include "KVDbase/platform/Win32Types.h"

#include <cstdint>
#include <cstring>

namespace XVertRecord {

// On a little-endian machine a field's bytes are its memory image, so a copy
// is the encoding; elsewhere the bytes are placed one by one.
constexpr bool bHostLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

// Offsets shared by several kinds.
enum : int {
    OFS_KIND = 0,
    OFS_VALUE = 4,          // kinds 2, 3, 4, 6, 9, 16: the one value after the kind
    OFS_COUNT = 4,          // kinds 11, 12, 13: n; kind 17: ring count
    OFS_EXTENT = 8,         // kinds 11, 12, 13, 17: four doubles
    OFS_POINTS = 40,        // kinds 11, 12, 13: the points; kind 17: the ring sizes
    OFS_TEXT_COUNT = 28,    // kind 14: n
    OFS_TEXT_CHARS = 32,    // kind 14: the characters
    OFS_DIB_WIDTH = 4,      // kind 15
    OFS_DIB_HEIGHT = 8,
    OFS_DIB_DOUBLES = 12,
    OFS_DIB_CLASS = 52,
    OFS_DIB_TEXTURE = 56,
    OFS_DIB_PIXELS = 60,
    OFS_TEXTBOX_HANDLE = 44, // kind 18
    OFS_EMF_INTS = 28,      // kind 19: three ints
    OFS_EMF_SIZE = 40,      // kind 19: n
    OFS_EMF_DATA = 44,      // kind 19: n bytes, then m and m characters and a zero
};

// Size of one point (x, y, z doubles) and of one extent.
enum : int { POINT_BYTES = 24, EXTENT_BYTES = 32 };

inline void PutU16(void* p, uint16_t v)
{
    BYTE* b = static_cast<BYTE*>(p);
    b[0] = static_cast<BYTE>(v);
    b[1] = static_cast<BYTE>(v >> 8);
}

inline void PutU32(void* p, uint32_t v)
{
    if (bHostLittleEndian) {
        std::memcpy(p, &v, 4);
        return;
    }
    BYTE* b = static_cast<BYTE*>(p);
    b[0] = static_cast<BYTE>(v);
    b[1] = static_cast<BYTE>(v >> 8);
    b[2] = static_cast<BYTE>(v >> 16);
    b[3] = static_cast<BYTE>(v >> 24);
}

inline void PutI32(void* p, int32_t v) { PutU32(p, static_cast<uint32_t>(v)); }

inline void PutF64(void* p, double d)
{
    if (bHostLittleEndian) {
        std::memcpy(p, &d, 8);
        return;
    }
    uint64_t v;
    std::memcpy(&v, &d, 8);
    BYTE* b = static_cast<BYTE*>(p);
    for (int i = 0; i < 8; ++i)
        b[i] = static_cast<BYTE>(v >> (8 * i));
}

inline uint16_t GetU16(const void* p)
{
    const BYTE* b = static_cast<const BYTE*>(p);
    return static_cast<uint16_t>(b[0] | (b[1] << 8));
}

inline uint32_t GetU32(const void* p)
{
    if (bHostLittleEndian) {
        uint32_t v;
        std::memcpy(&v, p, 4);
        return v;
    }
    const BYTE* b = static_cast<const BYTE*>(p);
    return static_cast<uint32_t>(b[0]) | (static_cast<uint32_t>(b[1]) << 8) | (static_cast<uint32_t>(b[2]) << 16) |
           (static_cast<uint32_t>(b[3]) << 24);
}

inline int32_t GetI32(const void* p) { return static_cast<int32_t>(GetU32(p)); }

inline double GetF64(const void* p)
{
    if (bHostLittleEndian) {
        double d;
        std::memcpy(&d, p, 8);
        return d;
    }
    const BYTE* b = static_cast<const BYTE*>(p);
    uint64_t v = 0;
    for (int i = 0; i < 8; ++i)
        v |= static_cast<uint64_t>(b[i]) << (8 * i);
    double d;
    std::memcpy(&d, &v, 8);
    return d;
}

// Field access at a byte offset of a record.
inline BYTE* At(void* pRecord, int nOffset) { return static_cast<BYTE*>(pRecord) + nOffset; }
inline const BYTE* At(const void* pRecord, int nOffset) { return static_cast<const BYTE*>(pRecord) + nOffset; }

inline int Kind(const void* pRecord) { return GetI32(pRecord); }

// The style records as the replays read them: kind 5 (mask, 2 bytes of
// padding, factor, pen bits, solid pen bits), kind 7 (mask, code) and kind 8
// (anchor bits, then the font in LOGFONTA order).
inline void ReadLineStyle(const void* pRecord, tagXLineStyle& style)
{
    style.nPattern = GetU16(At(pRecord, 4));
    style.nFactor = GetI32(At(pRecord, 8));
    style.nPenBits = GetU32(At(pRecord, 12));
    style.nSolidPenBits = GetU32(At(pRecord, 16));
}

inline void ReadFillStyle(const void* pRecord, tagXFillStyle& style)
{
    std::memcpy(style.Pattern, At(pRecord, 4), tagXFillStyle::PATTERN_BYTES);
    style.nStyle = GetI32(At(pRecord, 132));
}

inline void ReadTextStyle(const void* pRecord, tagXTextStyle& style)
{
    LOGFONTA& lf = style.lf;
    style.nAlign = GetI32(At(pRecord, 4));
    lf.lfHeight = GetI32(At(pRecord, 8));
    lf.lfWidth = GetI32(At(pRecord, 12));
    lf.lfEscapement = GetI32(At(pRecord, 16));
    lf.lfOrientation = GetI32(At(pRecord, 20));
    lf.lfWeight = GetI32(At(pRecord, 24));
    const BYTE* b = At(pRecord, 28);
    lf.lfItalic = b[0];
    lf.lfUnderline = b[1];
    lf.lfStrikeOut = b[2];
    lf.lfCharSet = b[3];
    lf.lfOutPrecision = b[4];
    lf.lfClipPrecision = b[5];
    lf.lfQuality = b[6];
    lf.lfPitchAndFamily = b[7];
    std::memcpy(lf.lfFaceName, At(pRecord, 36), sizeof lf.lfFaceName);
}

} // namespace XVertRecord

static_assert(sizeof(double) == 8 && sizeof(uint64_t) == 8, "records hold IEEE 754 doubles of 8 bytes");
