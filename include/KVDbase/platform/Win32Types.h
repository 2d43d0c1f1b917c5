// Win32Types.h: the fixed-size value types and records of the library's
// interface. The library's formats were laid down on a 32-bit machine, so
// "long" there is 32 bits: these types keep every record, stream and wire
// layout at its historical byte size on a 64-bit build. Handles and
// POSITION hold pointers and are pointer-wide.
#pragma once

#include <cstddef>
#include <cstdint>

typedef int32_t LONG;
typedef uint32_t ULONG;
typedef uint32_t DWORD;
typedef uint16_t WORD;
typedef uint8_t BYTE;
typedef int32_t BOOL;
typedef uint32_t UINT;
typedef char CHAR;
typedef uint32_t COLORREF;
typedef void* HANDLE;
typedef void* LPVOID;

#ifndef FALSE
#define FALSE 0
#endif
#ifndef TRUE
#define TRUE 1
#endif

// An opaque position in a list or map walk: a node or entry address.
struct __POSITION {};
typedef __POSITION* POSITION;

// Drawing handles. Each is a distinct pointer type, so that a pen cannot be
// passed where a brush is wanted; any of the GDI object handles converts to
// HGDIOBJ. They name objects of the platform layer (include
// "KVDbase/platform/XGdi.h" for the calls that take them).
#define KVD_DECLARE_HANDLE(name) \
    struct name##__;             \
    typedef name##__* name
KVD_DECLARE_HANDLE(HDC);
KVD_DECLARE_HANDLE(HPEN);
KVD_DECLARE_HANDLE(HBRUSH);
KVD_DECLARE_HANDLE(HFONT);
KVD_DECLARE_HANDLE(HBITMAP);
KVD_DECLARE_HANDLE(HRGN);
KVD_DECLARE_HANDLE(HPALETTE);
KVD_DECLARE_HANDLE(HWND);
KVD_DECLARE_HANDLE(HGLRC);
KVD_DECLARE_HANDLE(HENHMETAFILE);
typedef void* HGDIOBJ;

// The wrapper classes of the GDI handles (KVDbase/platform/XGdiClasses.h).
// Declared here so that interfaces can name them without pulling in the
// drawing platform.
class CDC;
class CPen;
class CBrush;
class CFont;
class CRgn;
class CPoint;

#define KVD_INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(static_cast<intptr_t>(-1)))

struct tagPOINT {
    LONG x;
    LONG y;
};

struct tagSIZE {
    LONG cx;
    LONG cy;
};

struct tagRECT {
    LONG left;
    LONG top;
    LONG right;
    LONG bottom;
};

// A moment as 100-nanosecond units since 1601-01-01 00:00:00 UTC, low word
// first.
struct _FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};

// A broken-down date and time; wDayOfWeek counts from Sunday = 0.
struct _SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};

union LARGE_INTEGER {
    struct {
        DWORD LowPart;
        LONG HighPart;
    } u;
    int64_t QuadPart;
};

struct SECURITY_ATTRIBUTES {
    DWORD nLength;
    LPVOID lpSecurityDescriptor;
    BOOL bInheritHandle;
};

// A font description, 60 bytes.
struct LOGFONTA {
    LONG lfHeight;
    LONG lfWidth;
    LONG lfEscapement;
    LONG lfOrientation;
    LONG lfWeight;
    BYTE lfItalic;
    BYTE lfUnderline;
    BYTE lfStrikeOut;
    BYTE lfCharSet;
    BYTE lfOutPrecision;
    BYTE lfClipPrecision;
    BYTE lfQuality;
    BYTE lfPitchAndFamily;
    CHAR lfFaceName[32];
};

// The header of a device-independent bitmap, 40 bytes.
struct BITMAPINFOHEADER {
    DWORD biSize;
    LONG biWidth;
    LONG biHeight;
    WORD biPlanes;
    WORD biBitCount;
    DWORD biCompression;
    DWORD biSizeImage;
    LONG biXPelsPerMeter;
    LONG biYPelsPerMeter;
    DWORD biClrUsed;
    DWORD biClrImportant;
};

struct RGBQUAD {
    BYTE rgbBlue;
    BYTE rgbGreen;
    BYTE rgbRed;
    BYTE rgbReserved;
};

struct BITMAPINFO {
    BITMAPINFOHEADER bmiHeader;
    RGBQUAD bmiColors[1];
};

// One entry of a directory listing, 320 bytes.
struct WIN32_FIND_DATAA {
    DWORD dwFileAttributes;
    _FILETIME ftCreationTime;
    _FILETIME ftLastAccessTime;
    _FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD dwReserved0;
    DWORD dwReserved1;
    CHAR cFileName[260];
    CHAR cAlternateFileName[14];
};

// File attribute bits.
enum : DWORD {
    FILE_ATTRIBUTE_READONLY = 0x01,
    FILE_ATTRIBUTE_HIDDEN = 0x02,
    FILE_ATTRIBUTE_SYSTEM = 0x04,
    FILE_ATTRIBUTE_DIRECTORY = 0x10,
    FILE_ATTRIBUTE_ARCHIVE = 0x20,
    FILE_ATTRIBUTE_NORMAL = 0x80,
};

static_assert(sizeof(tagPOINT) == 8 && sizeof(tagSIZE) == 8 && sizeof(tagRECT) == 16, "point records");
static_assert(sizeof(_FILETIME) == 8 && sizeof(_SYSTEMTIME) == 16 && sizeof(LARGE_INTEGER) == 8, "time records");
static_assert(sizeof(LOGFONTA) == 60, "LOGFONTA is 60 bytes");
static_assert(sizeof(BITMAPINFOHEADER) == 40 && sizeof(BITMAPINFO) == 44, "bitmap headers");
static_assert(sizeof(WIN32_FIND_DATAA) == 320, "WIN32_FIND_DATAA is 320 bytes");
static_assert(offsetof(WIN32_FIND_DATAA, cFileName) == 44, "find data layout");
