// XGdiplusFlat.h: the antialiased drawing device, as the flat Gdip functions
// and their value types in namespace Gdiplus. Application code written against
// these names draws on the back buffer's device context with antialiased
// shapes, per-colour opacity (alpha in the high byte of an ARGB value) and
// laid-out text. Objects are opaque and owned by the caller, who frees each
// with its Delete function. Every function reports by its Status and never
// throws; a null object or out-of-range value gives InvalidParameter. One
// thread per object at a time. This header is not part of KVDbase.h: it is
// for application code that draws with these calls on a back buffer's DC.
#pragma once

#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

#include <cstdint>

namespace Gdiplus {

typedef float REAL;
typedef DWORD ARGB;
typedef WORD LANGID;
typedef int INT;
typedef int PixelFormat;

// The enumerations have int as their type, so that a value no name stands
// for (a hatch code of a stream, say) is a value, checked where it is used.
enum Status : int {
    Ok = 0,
    GenericError = 1,
    InvalidParameter = 2,
    OutOfMemory = 3,
    ObjectBusy = 4,
    InsufficientBuffer = 5,
    NotImplemented = 6,
    Win32Error = 7,
    WrongState = 8,
    Aborted = 9,
    FileNotFound = 10,
    ValueOverflow = 11,
    AccessDenied = 12,
    UnknownImageFormat = 13,
    FontFamilyNotFound = 14,
    FontStyleNotFound = 15,
};
typedef Status GpStatus;

enum Unit : int { UnitWorld = 0, UnitDisplay = 1, UnitPixel = 2, UnitPoint = 3, UnitInch = 4, UnitDocument = 5, UnitMillimeter = 6 };
typedef Unit GpUnit;

enum FontStyle : int {
    FontStyleRegular = 0,
    FontStyleBold = 1,
    FontStyleItalic = 2,
    FontStyleBoldItalic = 3,
    FontStyleUnderline = 4,
    FontStyleStrikeout = 8,
};

enum LineCap : int {
    LineCapFlat = 0,
    LineCapSquare = 1,
    LineCapRound = 2,
    LineCapTriangle = 3,
};
typedef LineCap GpLineCap;

enum DashStyle : int {
    DashStyleSolid = 0,
    DashStyleDash = 1,
    DashStyleDot = 2,
    DashStyleDashDot = 3,
    DashStyleDashDotDot = 4,
    DashStyleCustom = 5,
};
typedef DashStyle GpDashStyle;

// The six line hatches are drawn as 8 by 8 patterns aligned on the device's
// pixel grid; any other value draws as an 8 by 8 checkerboard of the two
// colours.
enum HatchStyle : int {
    HatchStyleHorizontal = 0,
    HatchStyleVertical = 1,
    HatchStyleForwardDiagonal = 2,
    HatchStyleBackwardDiagonal = 3,
    HatchStyleCross = 4,
    HatchStyleDiagonalCross = 5,
};
typedef HatchStyle GpHatchStyle;

enum BrushType : int {
    BrushTypeSolidColor = 0,
    BrushTypeHatchFill = 1,
    BrushTypeTextureFill = 2,
    BrushTypePathGradient = 3,
    BrushTypeLinearGradient = 4,
};
typedef BrushType GpBrushType;

enum WrapMode : int { WrapModeTile = 0, WrapModeTileFlipX = 1, WrapModeTileFlipY = 2, WrapModeTileFlipXY = 3, WrapModeClamp = 4 };
typedef WrapMode GpWrapMode;

enum FillMode : int { FillModeAlternate = 0, FillModeWinding = 1 };
typedef FillMode GpFillMode;

enum CombineMode : int {
    CombineModeReplace = 0,
    CombineModeIntersect = 1,
    CombineModeUnion = 2,
    CombineModeXor = 3,
    CombineModeExclude = 4,
    CombineModeComplement = 5,
};

enum MatrixOrder : int { MatrixOrderPrepend = 0, MatrixOrderAppend = 1 };
typedef MatrixOrder GpMatrixOrder;

// Default, HighSpeed and None draw without antialiasing; the others with.
enum SmoothingMode : int {
    SmoothingModeInvalid = -1,
    SmoothingModeDefault = 0,
    SmoothingModeHighSpeed = 1,
    SmoothingModeHighQuality = 2,
    SmoothingModeNone = 3,
    SmoothingModeAntiAlias = 4,
    SmoothingModeAntiAlias8x4 = 5,
    SmoothingModeAntiAlias8x8 = 6,
};

enum TextRenderingHint : int {
    TextRenderingHintSystemDefault = 0,
    TextRenderingHintSingleBitPerPixelGridFit = 1,
    TextRenderingHintSingleBitPerPixel = 2,
    TextRenderingHintAntiAliasGridFit = 3,
    TextRenderingHintAntiAlias = 4,
    TextRenderingHintClearTypeGridFit = 5,
};

enum InterpolationMode : int {
    InterpolationModeInvalid = -1,
    InterpolationModeDefault = 0,
    InterpolationModeLowQuality = 1,
    InterpolationModeHighQuality = 2,
    InterpolationModeBilinear = 3,
    InterpolationModeBicubic = 4,
    InterpolationModeNearestNeighbor = 5,
    InterpolationModeHighQualityBilinear = 6,
    InterpolationModeHighQualityBicubic = 7,
};

// Default, HighSpeed and None put pixel centres on whole coordinates, so a
// one-pixel line at y = 5 covers row 5; Half and HighQuality put them on
// halves, so a rectangle from (x, y) of w by h covers exactly w by h pixels.
enum PixelOffsetMode : int {
    PixelOffsetModeInvalid = -1,
    PixelOffsetModeDefault = 0,
    PixelOffsetModeHighSpeed = 1,
    PixelOffsetModeHighQuality = 2,
    PixelOffsetModeNone = 3,
    PixelOffsetModeHalf = 4,
};

enum StringAlignment : int { StringAlignmentNear = 0, StringAlignmentCenter = 1, StringAlignmentFar = 2 };

enum ImageLockMode : int { ImageLockModeRead = 1, ImageLockModeWrite = 2, ImageLockModeUserInputBuf = 4 };

// The pixel formats a bitmap can hold: 32 bits blue, green, red, alpha
// (straight or premultiplied), 32 bits with the fourth byte unused, and 24
// bits blue, green, red.
enum : PixelFormat {
    PixelFormat24bppRGB = 0x21808,
    PixelFormat32bppRGB = 0x22009,
    PixelFormat32bppARGB = 0x26200A,
    PixelFormat32bppPARGB = 0xE200B,
};

class Point {
public:
    Point() : X(0), Y(0) {}
    Point(INT x, INT y) : X(x), Y(y) {}
    INT X;
    INT Y;
};
class PointF {
public:
    PointF() : X(0.0f), Y(0.0f) {}
    PointF(REAL x, REAL y) : X(x), Y(y) {}
    REAL X;
    REAL Y;
};
class Rect {
public:
    Rect() : X(0), Y(0), Width(0), Height(0) {}
    Rect(INT x, INT y, INT w, INT h) : X(x), Y(y), Width(w), Height(h) {}
    INT X;
    INT Y;
    INT Width;
    INT Height;
};
class RectF {
public:
    RectF() : X(0.0f), Y(0.0f), Width(0.0f), Height(0.0f) {}
    RectF(REAL x, REAL y, REAL w, REAL h) : X(x), Y(y), Width(w), Height(h) {}
    REAL X;
    REAL Y;
    REAL Width;
    REAL Height;
};
typedef Point GpPoint;
typedef PointF GpPointF;
typedef Rect GpRect;
typedef RectF GpRectF;

// A locked area of a bitmap: Scan0 is its first row, Stride the bytes from
// one row to the next.
struct BitmapData {
    UINT Width;
    UINT Height;
    INT Stride;
    ::Gdiplus::PixelFormat PixelFormat;
    void* Scan0;
    uintptr_t Reserved;
};

// Opaque objects. A solid, hatch or texture brush is a brush, and a bitmap is
// an image: each function checks the kind it needs.
class GpGraphics;
class GpPen;
class GpBrush;
typedef GpBrush GpSolidFill;
typedef GpBrush GpHatch;
typedef GpBrush GpTexture;
class GpPath;
class GpRegion;
class GpMatrix;
class GpFontFamily;
class GpFontCollection;
class GpFont;
class GpStringFormat;
class GpImage;
typedef GpImage GpBitmap;
class GpImageAttributes;
typedef int (*DrawImageAbort)(void*);

// Graphics over a device context's surface, antialiased or not by the
// smoothing mode, with the identity world transform. It does not own the DC.
KVD_API GpStatus GdipCreateFromHDC(HDC hdc, GpGraphics** graphics);
// Graphics: state and transforms.
KVD_API GpStatus GdipDeleteGraphics(GpGraphics* graphics);
KVD_API GpStatus GdipSetSmoothingMode(GpGraphics* graphics, SmoothingMode mode);
KVD_API GpStatus GdipGetSmoothingMode(GpGraphics* graphics, SmoothingMode* mode);
KVD_API GpStatus GdipSetTextRenderingHint(GpGraphics* graphics, TextRenderingHint mode);
KVD_API GpStatus GdipGetTextRenderingHint(GpGraphics* graphics, TextRenderingHint* mode);
KVD_API GpStatus GdipSetInterpolationMode(GpGraphics* graphics, InterpolationMode mode);
KVD_API GpStatus GdipGetInterpolationMode(GpGraphics* graphics, InterpolationMode* mode);
KVD_API GpStatus GdipSetPixelOffsetMode(GpGraphics* graphics, PixelOffsetMode mode);
KVD_API GpStatus GdipGetPixelOffsetMode(GpGraphics* graphics, PixelOffsetMode* mode);
// The rectangle is in world coordinates. Replace and Intersect are the modes
// a rectangle clip can express; the others give InvalidParameter.
KVD_API GpStatus GdipSetClipRectI(GpGraphics* graphics, INT x, INT y, INT width, INT height, CombineMode mode);
KVD_API GpStatus GdipResetClip(GpGraphics* graphics);
KVD_API GpStatus GdipResetWorldTransform(GpGraphics* graphics);
KVD_API GpStatus GdipTranslateWorldTransform(GpGraphics* graphics, REAL dx, REAL dy, GpMatrixOrder order);
// Degrees; positive turns from +x toward +y, clockwise on the screen.
KVD_API GpStatus GdipRotateWorldTransform(GpGraphics* graphics, REAL angle, GpMatrixOrder order);
KVD_API GpStatus GdipScaleWorldTransform(GpGraphics* graphics, REAL sx, REAL sy, GpMatrixOrder order);
KVD_API GpStatus GdipGetWorldTransform(GpGraphics* graphics, GpMatrix* matrix);

// Graphics: shapes.
KVD_API GpStatus GdipDrawLine(GpGraphics* graphics, GpPen* pen, REAL x1, REAL y1, REAL x2, REAL y2);
KVD_API GpStatus GdipDrawLineI(GpGraphics* graphics, GpPen* pen, INT x1, INT y1, INT x2, INT y2);
KVD_API GpStatus GdipDrawLinesI(GpGraphics* graphics, GpPen* pen, const GpPoint* points, INT count);
KVD_API GpStatus GdipDrawPolygonI(GpGraphics* graphics, GpPen* pen, const GpPoint* points, INT count);
KVD_API GpStatus GdipDrawRectangle(GpGraphics* graphics, GpPen* pen, REAL x, REAL y, REAL width, REAL height);
KVD_API GpStatus GdipDrawEllipseI(GpGraphics* graphics, GpPen* pen, INT x, INT y, INT width, INT height);
KVD_API GpStatus GdipDrawPath(GpGraphics* graphics, GpPen* pen, GpPath* path);
KVD_API GpStatus GdipFillEllipseI(GpGraphics* graphics, GpBrush* brush, INT x, INT y, INT width, INT height);
KVD_API GpStatus GdipFillRectangle(GpGraphics* graphics, GpBrush* brush, REAL x, REAL y, REAL width, REAL height);
KVD_API GpStatus GdipFillRectangleI(GpGraphics* graphics, GpBrush* brush, INT x, INT y, INT width, INT height);
KVD_API GpStatus GdipFillPolygonI(GpGraphics* graphics, GpBrush* brush, const GpPoint* points, INT count,
                                  GpFillMode fillMode);
KVD_API GpStatus GdipFillPath(GpGraphics* graphics, GpBrush* brush, GpPath* path);
KVD_API GpStatus GdipFillRegion(GpGraphics* graphics, GpBrush* brush, GpRegion* region);

// Graphics: text. A layout rectangle of zero width and height is a point: the
// format's alignments then place the text's box before, about or after it.
KVD_API GpStatus GdipMeasureString(GpGraphics* graphics, const wchar_t* string, INT length, const GpFont* font,
                                   const GpRectF* layoutRect, const GpStringFormat* stringFormat,
                                   GpRectF* boundingBox, INT* codepointsFitted, INT* linesFilled);
KVD_API GpStatus GdipDrawString(GpGraphics* graphics, const wchar_t* string, INT length, const GpFont* font,
                                const GpRectF* layoutRect, const GpStringFormat* stringFormat, const GpBrush* brush);

// Graphics: images. Only pixel units are known to a bitmap.
KVD_API GpStatus GdipDrawImageRectRectI(GpGraphics* graphics, GpImage* image, INT dstx, INT dsty, INT dstwidth,
                                        INT dstheight, INT srcx, INT srcy, INT srcwidth, INT srcheight,
                                        GpUnit srcUnit, const GpImageAttributes* imageAttributes,
                                        DrawImageAbort callback, void* callbackData);
KVD_API GpStatus GdipDrawImageRect(GpGraphics* graphics, GpImage* image, REAL x, REAL y, REAL width, REAL height);

// Pens. Widths are in world units; 0 draws the thinnest line the device can.
// A dash array is in units of the pen's width.
KVD_API GpStatus GdipCreatePen1(ARGB color, REAL width, GpUnit unit, GpPen** pen);
KVD_API GpStatus GdipDeletePen(GpPen* pen);
KVD_API GpStatus GdipSetPenColor(GpPen* pen, ARGB argb);
KVD_API GpStatus GdipGetPenColor(GpPen* pen, ARGB* argb);
KVD_API GpStatus GdipSetPenWidth(GpPen* pen, REAL width);
KVD_API GpStatus GdipGetPenWidth(GpPen* pen, REAL* width);
KVD_API GpStatus GdipSetPenStartCap(GpPen* pen, GpLineCap startCap);
KVD_API GpStatus GdipGetPenStartCap(GpPen* pen, GpLineCap* startCap);
KVD_API GpStatus GdipSetPenEndCap(GpPen* pen, GpLineCap endCap);
KVD_API GpStatus GdipGetPenEndCap(GpPen* pen, GpLineCap* endCap);
KVD_API GpStatus GdipSetPenDashStyle(GpPen* pen, GpDashStyle dashStyle);
KVD_API GpStatus GdipGetPenDashStyle(GpPen* pen, GpDashStyle* dashStyle);
// Sets the style to DashStyleCustom; every entry must be above 0.
KVD_API GpStatus GdipSetPenDashArray(GpPen* pen, const REAL* dash, INT count);
KVD_API GpStatus GdipGetPenDashCount(GpPen* pen, INT* count);
KVD_API GpStatus GdipGetPenDashArray(GpPen* pen, REAL* dash, INT count);

// Brushes.
KVD_API GpStatus GdipCreateSolidFill(ARGB color, GpSolidFill** brush);
KVD_API GpStatus GdipSetSolidFillColor(GpSolidFill* brush, ARGB color);
KVD_API GpStatus GdipGetSolidFillColor(GpSolidFill* brush, ARGB* color);
KVD_API GpStatus GdipCreateHatchBrush(GpHatchStyle hatchstyle, ARGB forecol, ARGB backcol, GpHatch** brush);
KVD_API GpStatus GdipGetHatchStyle(GpHatch* brush, GpHatchStyle* hatchstyle);
KVD_API GpStatus GdipGetHatchForegroundColor(GpHatch* brush, ARGB* forecol);
KVD_API GpStatus GdipGetHatchBackgroundColor(GpHatch* brush, ARGB* backcol);
// The brush keeps a copy of the image; its tiles start at the world origin.
KVD_API GpStatus GdipCreateTexture(GpImage* image, GpWrapMode wrapmode, GpTexture** texture);
// A copy of the brush's image, which the caller disposes of.
KVD_API GpStatus GdipGetTextureImage(GpTexture* brush, GpImage** image);
KVD_API GpStatus GdipGetBrushType(GpBrush* brush, GpBrushType* type);
KVD_API GpStatus GdipDeleteBrush(GpBrush* brush);

// Paths and regions.
KVD_API GpStatus GdipCreatePath(GpFillMode brushMode, GpPath** path);
KVD_API GpStatus GdipDeletePath(GpPath* path);
KVD_API GpStatus GdipAddPathPolygonI(GpPath* path, const GpPoint* points, INT count);
KVD_API GpStatus GdipAddPathRectangle(GpPath* path, REAL x, REAL y, REAL width, REAL height);
KVD_API GpStatus GdipGetPointCount(GpPath* path, INT* count);
KVD_API GpStatus GdipCreateRegionPath(GpPath* path, GpRegion** region);
KVD_API GpStatus GdipDeleteRegion(GpRegion* region);

// Matrices: m11, m12, m21, m22, dx, dy, a point (x, y) going to
// (x m11 + y m21 + dx, x m12 + y m22 + dy).
KVD_API GpStatus GdipCreateMatrix(GpMatrix** matrix);
KVD_API GpStatus GdipCreateMatrix2(REAL m11, REAL m12, REAL m21, REAL m22, REAL dx, REAL dy, GpMatrix** matrix);
KVD_API GpStatus GdipDeleteMatrix(GpMatrix* matrix);
KVD_API GpStatus GdipGetMatrixElements(const GpMatrix* matrix, REAL* matrixOut);

// Fonts. A family is found by its name through the system's font matching,
// which always offers a family: a name it does not know yields a near one.
KVD_API GpStatus GdipCreateFontFamilyFromName(const wchar_t* name, GpFontCollection* fontCollection,
                                              GpFontFamily** fontFamily);
KVD_API GpStatus GdipDeleteFontFamily(GpFontFamily* fontFamily);
KVD_API GpStatus GdipGetFamilyName(const GpFontFamily* family, wchar_t name[32], LANGID language);
KVD_API GpStatus GdipCreateFont(const GpFontFamily* fontFamily, REAL emSize, INT style, Unit unit, GpFont** font);
KVD_API GpStatus GdipDeleteFont(GpFont* font);
KVD_API GpStatus GdipGetFontSize(GpFont* font, REAL* size);
KVD_API GpStatus GdipGetFontStyle(GpFont* font, INT* style);
KVD_API GpStatus GdipGetFontUnit(GpFont* font, Unit* unit);
KVD_API GpStatus GdipGetFamily(GpFont* font, GpFontFamily** family);

// String formats.
KVD_API GpStatus GdipCreateStringFormat(INT formatAttributes, LANGID language, GpStringFormat** format);
KVD_API GpStatus GdipDeleteStringFormat(GpStringFormat* format);
KVD_API GpStatus GdipSetStringFormatAlign(GpStringFormat* format, StringAlignment align);
KVD_API GpStatus GdipGetStringFormatAlign(GpStringFormat* format, StringAlignment* align);
KVD_API GpStatus GdipSetStringFormatLineAlign(GpStringFormat* format, StringAlignment align);
KVD_API GpStatus GdipGetStringFormatLineAlign(GpStringFormat* format, StringAlignment* align);

// Images and bitmaps. Scan0 of a new bitmap may be the caller's memory, which
// it then draws from and into without owning; with a null Scan0 the bitmap
// owns zeroed pixels.
KVD_API GpStatus GdipCreateBitmapFromScan0(INT width, INT height, INT stride, PixelFormat format, BYTE* scan0,
                                           GpBitmap** bitmap);
// A device-independent bitmap of 24 or 32 bits, bottom-up for a positive
// height; the pixels are copied.
KVD_API GpStatus GdipCreateBitmapFromGdiDib(const BITMAPINFO* gdiBitmapInfo, void* gdiBitmapData,
                                            GpBitmap** bitmap);
KVD_API GpStatus GdipCloneBitmapAreaI(INT x, INT y, INT width, INT height, PixelFormat format, GpBitmap* srcBitmap,
                                      GpBitmap** dstBitmap);
KVD_API GpStatus GdipBitmapSetPixel(GpBitmap* bitmap, INT x, INT y, ARGB color);
KVD_API GpStatus GdipBitmapGetPixel(GpBitmap* bitmap, INT x, INT y, ARGB* color);
// One lock at a time. A format other than the bitmap's own is converted in
// and, for a write lock, back on unlocking.
KVD_API GpStatus GdipBitmapLockBits(GpBitmap* bitmap, const GpRect* rect, UINT flags, PixelFormat format,
                                    BitmapData* lockedBitmapData);
KVD_API GpStatus GdipBitmapUnlockBits(GpBitmap* bitmap, BitmapData* lockedBitmapData);
KVD_API GpStatus GdipGetImageWidth(GpImage* image, UINT* width);
KVD_API GpStatus GdipGetImageHeight(GpImage* image, UINT* height);
KVD_API GpStatus GdipGetImagePixelFormat(GpImage* image, PixelFormat* format);
KVD_API GpStatus GdipGetImageBounds(GpImage* image, GpRectF* srcRect, GpUnit* srcUnit);
KVD_API GpStatus GdipDisposeImage(GpImage* image);

} // namespace Gdiplus
