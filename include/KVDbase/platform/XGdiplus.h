// XGdiplus.h: the classes of the antialiased drawing device in namespace
// Gdiplus, each a thin owner of one flat object of XGdiplusFlat.h. An object
// frees its flat object when destroyed; copying is not allowed. Failures are
// kept as the last status (GetLastStatus) and returned by each call; nothing
// throws. One thread per object at a time.
// This header is not part of KVDbase.h: it is for application code that draws
// with these classes on a back buffer's DC.
#pragma once

#include "KVDbase/platform/XGdiplusFlat.h"

namespace Gdiplus {

// A colour with alpha: alpha, red, green, blue from the high byte down.
class Color {
public:
    Color() : Argb(0xFF000000) {}
    Color(BYTE r, BYTE g, BYTE b) : Argb(MakeARGB(255, r, g, b)) {}
    Color(BYTE a, BYTE r, BYTE g, BYTE b) : Argb(MakeARGB(a, r, g, b)) {}
    Color(ARGB argb) : Argb(argb) {}
    BYTE GetA() const { return static_cast<BYTE>(Argb >> 24); }
    BYTE GetR() const { return static_cast<BYTE>(Argb >> 16); }
    BYTE GetG() const { return static_cast<BYTE>(Argb >> 8); }
    BYTE GetB() const { return static_cast<BYTE>(Argb); }
    BYTE GetAlpha() const { return GetA(); }
    BYTE GetRed() const { return GetR(); }
    BYTE GetGreen() const { return GetG(); }
    BYTE GetBlue() const { return GetB(); }
    ARGB GetValue() const { return Argb; }
    void SetValue(ARGB argb) { Argb = argb; }
    static ARGB MakeARGB(BYTE a, BYTE r, BYTE g, BYTE b)
    {
        return static_cast<ARGB>(a) << 24 | static_cast<ARGB>(r) << 16 | static_cast<ARGB>(g) << 8 | b;
    }

protected:
    ARGB Argb;
};

// Shared by the classes: the last status and no copies.
class GdiplusBase {
public:
    GdiplusBase() = default;
    GdiplusBase(const GdiplusBase&) = delete;
    GdiplusBase& operator=(const GdiplusBase&) = delete;
    Status GetLastStatus()
    {
        Status s = lastResult;
        lastResult = Ok;
        return s;
    }

protected:
    Status SetStatus(Status s) const
    {
        if (s != Ok)
            lastResult = s;
        return s;
    }
    mutable Status lastResult = Ok;
};

class Matrix : public GdiplusBase {
public:
    Matrix() { SetStatus(GdipCreateMatrix(&nativeMatrix)); }
    Matrix(REAL m11, REAL m12, REAL m21, REAL m22, REAL dx, REAL dy)
    {
        SetStatus(GdipCreateMatrix2(m11, m12, m21, m22, dx, dy, &nativeMatrix));
    }
    ~Matrix() { GdipDeleteMatrix(nativeMatrix); }
    // m11, m12, m21, m22, dx, dy.
    Status GetElements(REAL* m) const { return SetStatus(GdipGetMatrixElements(nativeMatrix, m)); }
    REAL OffsetX() const
    {
        REAL m[6] = {0, 0, 0, 0, 0, 0};
        GetElements(m);
        return m[4];
    }
    REAL OffsetY() const
    {
        REAL m[6] = {0, 0, 0, 0, 0, 0};
        GetElements(m);
        return m[5];
    }

private:
    friend class Graphics;
    GpMatrix* nativeMatrix = nullptr;
};

class Pen : public GdiplusBase {
public:
    Pen(const Color& color, REAL width = 1.0f) { SetStatus(GdipCreatePen1(color.GetValue(), width, UnitWorld, &nativePen)); }
    ~Pen() { GdipDeletePen(nativePen); }
    Status SetColor(const Color& color) { return SetStatus(GdipSetPenColor(nativePen, color.GetValue())); }
    Status GetColor(Color* color) const
    {
        ARGB argb = 0;
        Status s = SetStatus(GdipGetPenColor(nativePen, &argb));
        if (color != nullptr)
            color->SetValue(argb);
        return s;
    }
    Status SetWidth(REAL width) { return SetStatus(GdipSetPenWidth(nativePen, width)); }
    REAL GetWidth() const
    {
        REAL w = 0.0f;
        SetStatus(GdipGetPenWidth(nativePen, &w));
        return w;
    }
    Status SetStartCap(LineCap cap) { return SetStatus(GdipSetPenStartCap(nativePen, cap)); }
    Status SetEndCap(LineCap cap) { return SetStatus(GdipSetPenEndCap(nativePen, cap)); }
    LineCap GetStartCap() const
    {
        LineCap c = LineCapFlat;
        SetStatus(GdipGetPenStartCap(nativePen, &c));
        return c;
    }
    LineCap GetEndCap() const
    {
        LineCap c = LineCapFlat;
        SetStatus(GdipGetPenEndCap(nativePen, &c));
        return c;
    }
    Status SetDashStyle(DashStyle style) { return SetStatus(GdipSetPenDashStyle(nativePen, style)); }
    DashStyle GetDashStyle() const
    {
        DashStyle d = DashStyleSolid;
        SetStatus(GdipGetPenDashStyle(nativePen, &d));
        return d;
    }
    Status SetDashPattern(const REAL* dashArray, INT count)
    {
        return SetStatus(GdipSetPenDashArray(nativePen, dashArray, count));
    }
    INT GetDashPatternCount() const
    {
        INT n = 0;
        SetStatus(GdipGetPenDashCount(nativePen, &n));
        return n;
    }
    Status GetDashPattern(REAL* dashArray, INT count) const
    {
        return SetStatus(GdipGetPenDashArray(nativePen, dashArray, count));
    }

private:
    friend class Graphics;
    GpPen* nativePen = nullptr;
};

class Brush : public GdiplusBase {
public:
    virtual ~Brush() { GdipDeleteBrush(nativeBrush); }
    BrushType GetType() const
    {
        BrushType t = static_cast<BrushType>(-1);
        SetStatus(GdipGetBrushType(nativeBrush, &t));
        return t;
    }

protected:
    Brush() = default;
    friend class Graphics;
    GpBrush* nativeBrush = nullptr;
};

class SolidBrush : public Brush {
public:
    SolidBrush(const Color& color) { SetStatus(GdipCreateSolidFill(color.GetValue(), &nativeBrush)); }
    Status GetColor(Color* color) const
    {
        ARGB argb = 0;
        Status s = SetStatus(GdipGetSolidFillColor(nativeBrush, &argb));
        if (color != nullptr)
            color->SetValue(argb);
        return s;
    }
    Status SetColor(const Color& color) { return SetStatus(GdipSetSolidFillColor(nativeBrush, color.GetValue())); }
};

class HatchBrush : public Brush {
public:
    HatchBrush(HatchStyle hatchStyle, const Color& foreColor, const Color& backColor = Color())
    {
        SetStatus(GdipCreateHatchBrush(hatchStyle, foreColor.GetValue(), backColor.GetValue(), &nativeBrush));
    }
    HatchStyle GetHatchStyle() const
    {
        HatchStyle h = HatchStyleHorizontal;
        SetStatus(GdipGetHatchStyle(nativeBrush, &h));
        return h;
    }
    Status GetForegroundColor(Color* color) const
    {
        ARGB argb = 0;
        Status s = SetStatus(GdipGetHatchForegroundColor(nativeBrush, &argb));
        if (color != nullptr)
            color->SetValue(argb);
        return s;
    }
    Status GetBackgroundColor(Color* color) const
    {
        ARGB argb = 0;
        Status s = SetStatus(GdipGetHatchBackgroundColor(nativeBrush, &argb));
        if (color != nullptr)
            color->SetValue(argb);
        return s;
    }
};

class Image : public GdiplusBase {
public:
    virtual ~Image() { GdipDisposeImage(nativeImage); }
    UINT GetWidth()
    {
        UINT n = 0;
        SetStatus(GdipGetImageWidth(nativeImage, &n));
        return n;
    }
    UINT GetHeight()
    {
        UINT n = 0;
        SetStatus(GdipGetImageHeight(nativeImage, &n));
        return n;
    }
    PixelFormat GetPixelFormat()
    {
        PixelFormat f = 0;
        SetStatus(GdipGetImagePixelFormat(nativeImage, &f));
        return f;
    }
    Status GetBounds(RectF* srcRect, Unit* srcUnit) { return SetStatus(GdipGetImageBounds(nativeImage, srcRect, srcUnit)); }

protected:
    Image() = default;
    explicit Image(GpImage* p) : nativeImage(p) {}
    friend class Graphics;
    friend class TextureBrush;
    GpImage* nativeImage = nullptr;
};

class Bitmap : public Image {
public:
    // scan0 null: the bitmap owns zeroed pixels; otherwise it draws the
    // caller's, which must outlive it.
    Bitmap(INT width, INT height, INT stride, PixelFormat format, BYTE* scan0)
    {
        SetStatus(GdipCreateBitmapFromScan0(width, height, stride, format, scan0, &nativeImage));
    }
    Bitmap(INT width, INT height, PixelFormat format = PixelFormat32bppARGB)
    {
        SetStatus(GdipCreateBitmapFromScan0(width, height, 0, format, nullptr, &nativeImage));
    }
    Bitmap(const BITMAPINFO* gdiBitmapInfo, void* gdiBitmapData)
    {
        SetStatus(GdipCreateBitmapFromGdiDib(gdiBitmapInfo, gdiBitmapData, &nativeImage));
    }
    static Bitmap* FromBITMAPINFO(const BITMAPINFO* gdiBitmapInfo, void* gdiBitmapData)
    {
        return new Bitmap(gdiBitmapInfo, gdiBitmapData);
    }
    // A new bitmap of the area in the format; null when it cannot be made.
    Bitmap* Clone(INT x, INT y, INT width, INT height, PixelFormat format)
    {
        GpBitmap* p = nullptr;
        if (SetStatus(GdipCloneBitmapAreaI(x, y, width, height, format, nativeImage, &p)) != Ok)
            return nullptr;
        return new Bitmap(p);
    }
    Status LockBits(const Rect* rect, UINT flags, PixelFormat format, BitmapData* lockedBitmapData)
    {
        return SetStatus(GdipBitmapLockBits(nativeImage, rect, flags, format, lockedBitmapData));
    }
    Status UnlockBits(BitmapData* lockedBitmapData)
    {
        return SetStatus(GdipBitmapUnlockBits(nativeImage, lockedBitmapData));
    }
    Status GetPixel(INT x, INT y, Color* color)
    {
        ARGB argb = 0;
        Status s = SetStatus(GdipBitmapGetPixel(nativeImage, x, y, &argb));
        if (color != nullptr)
            color->SetValue(argb);
        return s;
    }
    Status SetPixel(INT x, INT y, const Color& color) { return SetStatus(GdipBitmapSetPixel(nativeImage, x, y, color.GetValue())); }

private:
    explicit Bitmap(GpBitmap* p) : Image(p) {}
    friend class TextureBrush;
};

class TextureBrush : public Brush {
public:
    TextureBrush(Image* image, WrapMode wrapMode = WrapModeTile)
    {
        SetStatus(GdipCreateTexture(image != nullptr ? image->nativeImage : nullptr, wrapMode, &nativeBrush));
    }
    // A copy of the brush's image, which the caller deletes; null on failure.
    Image* GetImage() const
    {
        GpImage* p = nullptr;
        if (SetStatus(GdipGetTextureImage(nativeBrush, &p)) != Ok)
            return nullptr;
        return new Bitmap(p);
    }
};

class GraphicsPath : public GdiplusBase {
public:
    GraphicsPath(FillMode fillMode = FillModeAlternate) { SetStatus(GdipCreatePath(fillMode, &nativePath)); }
    ~GraphicsPath() { GdipDeletePath(nativePath); }
    Status AddPolygon(const Point* points, INT count) { return SetStatus(GdipAddPathPolygonI(nativePath, points, count)); }
    Status AddRectangle(const RectF& r)
    {
        return SetStatus(GdipAddPathRectangle(nativePath, r.X, r.Y, r.Width, r.Height));
    }
    INT GetPointCount() const
    {
        INT n = 0;
        SetStatus(GdipGetPointCount(nativePath, &n));
        return n;
    }

private:
    friend class Graphics;
    friend class Region;
    GpPath* nativePath = nullptr;
};

class Region : public GdiplusBase {
public:
    Region(const GraphicsPath* path)
    {
        SetStatus(GdipCreateRegionPath(path != nullptr ? path->nativePath : nullptr, &nativeRegion));
    }
    ~Region() { GdipDeleteRegion(nativeRegion); }

private:
    friend class Graphics;
    GpRegion* nativeRegion = nullptr;
};

class FontFamily : public GdiplusBase {
public:
    FontFamily(const wchar_t* name, const GpFontCollection* = nullptr)
    {
        SetStatus(GdipCreateFontFamilyFromName(name, nullptr, &nativeFamily));
    }
    ~FontFamily() { GdipDeleteFontFamily(nativeFamily); }
    Status GetFamilyName(wchar_t name[32], LANGID language = 0) const
    {
        return SetStatus(GdipGetFamilyName(nativeFamily, name, language));
    }

private:
    FontFamily() = default;
    friend class Font;
    GpFontFamily* nativeFamily = nullptr;
};

class Font : public GdiplusBase {
public:
    Font(const FontFamily* family, REAL emSize, INT style = FontStyleRegular, Unit unit = UnitPoint)
    {
        SetStatus(GdipCreateFont(family != nullptr ? family->nativeFamily : nullptr, emSize, style, unit, &nativeFont));
    }
    Font(const wchar_t* familyName, REAL emSize, INT style = FontStyleRegular, Unit unit = UnitPoint)
    {
        FontFamily family(familyName);
        SetStatus(GdipCreateFont(family.nativeFamily, emSize, style, unit, &nativeFont));
    }
    ~Font() { GdipDeleteFont(nativeFont); }
    REAL GetSize() const
    {
        REAL r = 0.0f;
        SetStatus(GdipGetFontSize(nativeFont, &r));
        return r;
    }
    INT GetStyle() const
    {
        INT s = 0;
        SetStatus(GdipGetFontStyle(nativeFont, &s));
        return s;
    }
    Unit GetUnit() const
    {
        Unit u = UnitWorld;
        SetStatus(GdipGetFontUnit(nativeFont, &u));
        return u;
    }
    // The font's family into family, replacing what it held.
    Status GetFamily(FontFamily* family) const
    {
        if (family == nullptr)
            return SetStatus(InvalidParameter);
        GpFontFamily* p = nullptr;
        Status s = SetStatus(GdipGetFamily(nativeFont, &p));
        if (s == Ok) {
            GdipDeleteFontFamily(family->nativeFamily);
            family->nativeFamily = p;
        }
        return s;
    }

private:
    friend class Graphics;
    GpFont* nativeFont = nullptr;
};

class StringFormat : public GdiplusBase {
public:
    StringFormat(INT formatFlags = 0, LANGID language = 0)
    {
        SetStatus(GdipCreateStringFormat(formatFlags, language, &nativeFormat));
    }
    ~StringFormat() { GdipDeleteStringFormat(nativeFormat); }
    Status SetAlignment(StringAlignment align) { return SetStatus(GdipSetStringFormatAlign(nativeFormat, align)); }
    Status SetLineAlignment(StringAlignment align)
    {
        return SetStatus(GdipSetStringFormatLineAlign(nativeFormat, align));
    }
    StringAlignment GetAlignment() const
    {
        StringAlignment a = StringAlignmentNear;
        SetStatus(GdipGetStringFormatAlign(nativeFormat, &a));
        return a;
    }
    StringAlignment GetLineAlignment() const
    {
        StringAlignment a = StringAlignmentNear;
        SetStatus(GdipGetStringFormatLineAlign(nativeFormat, &a));
        return a;
    }

private:
    friend class Graphics;
    GpStringFormat* nativeFormat = nullptr;
};

class Graphics : public GdiplusBase {
public:
    Graphics(HDC hdc) { SetStatus(GdipCreateFromHDC(hdc, &nativeGraphics)); }
    static Graphics* FromHDC(HDC hdc) { return new Graphics(hdc); }
    ~Graphics() { GdipDeleteGraphics(nativeGraphics); }

    Status SetSmoothingMode(SmoothingMode mode) { return SetStatus(GdipSetSmoothingMode(nativeGraphics, mode)); }
    SmoothingMode GetSmoothingMode() const
    {
        SmoothingMode m = SmoothingModeInvalid;
        SetStatus(GdipGetSmoothingMode(nativeGraphics, &m));
        return m;
    }
    Status SetTextRenderingHint(TextRenderingHint hint)
    {
        return SetStatus(GdipSetTextRenderingHint(nativeGraphics, hint));
    }
    Status SetInterpolationMode(InterpolationMode mode)
    {
        return SetStatus(GdipSetInterpolationMode(nativeGraphics, mode));
    }
    Status SetPixelOffsetMode(PixelOffsetMode mode) { return SetStatus(GdipSetPixelOffsetMode(nativeGraphics, mode)); }
    PixelOffsetMode GetPixelOffsetMode() const
    {
        PixelOffsetMode m = PixelOffsetModeInvalid;
        SetStatus(GdipGetPixelOffsetMode(nativeGraphics, &m));
        return m;
    }
    Status SetClip(const Rect& rect, CombineMode mode = CombineModeReplace)
    {
        return SetStatus(GdipSetClipRectI(nativeGraphics, rect.X, rect.Y, rect.Width, rect.Height, mode));
    }
    Status ResetClip() { return SetStatus(GdipResetClip(nativeGraphics)); }

    Status ResetTransform() { return SetStatus(GdipResetWorldTransform(nativeGraphics)); }
    Status TranslateTransform(REAL dx, REAL dy, MatrixOrder order = MatrixOrderPrepend)
    {
        return SetStatus(GdipTranslateWorldTransform(nativeGraphics, dx, dy, order));
    }
    Status RotateTransform(REAL angle, MatrixOrder order = MatrixOrderPrepend)
    {
        return SetStatus(GdipRotateWorldTransform(nativeGraphics, angle, order));
    }
    Status ScaleTransform(REAL sx, REAL sy, MatrixOrder order = MatrixOrderPrepend)
    {
        return SetStatus(GdipScaleWorldTransform(nativeGraphics, sx, sy, order));
    }
    Status GetTransform(Matrix* matrix) const
    {
        return SetStatus(GdipGetWorldTransform(nativeGraphics, matrix != nullptr ? matrix->nativeMatrix : nullptr));
    }

    Status DrawLine(const Pen* pen, REAL x1, REAL y1, REAL x2, REAL y2)
    {
        return SetStatus(GdipDrawLine(nativeGraphics, NativePen(pen), x1, y1, x2, y2));
    }
    Status DrawLine(const Pen* pen, INT x1, INT y1, INT x2, INT y2)
    {
        return SetStatus(GdipDrawLineI(nativeGraphics, NativePen(pen), x1, y1, x2, y2));
    }
    Status DrawLine(const Pen* pen, const Point& p1, const Point& p2) { return DrawLine(pen, p1.X, p1.Y, p2.X, p2.Y); }
    Status DrawLine(const Pen* pen, const PointF& p1, const PointF& p2)
    {
        return DrawLine(pen, p1.X, p1.Y, p2.X, p2.Y);
    }
    Status DrawLines(const Pen* pen, const Point* points, INT count)
    {
        return SetStatus(GdipDrawLinesI(nativeGraphics, NativePen(pen), points, count));
    }
    Status DrawPolygon(const Pen* pen, const Point* points, INT count)
    {
        return SetStatus(GdipDrawPolygonI(nativeGraphics, NativePen(pen), points, count));
    }
    Status DrawRectangle(const Pen* pen, REAL x, REAL y, REAL width, REAL height)
    {
        return SetStatus(GdipDrawRectangle(nativeGraphics, NativePen(pen), x, y, width, height));
    }
    Status DrawEllipse(const Pen* pen, INT x, INT y, INT width, INT height)
    {
        return SetStatus(GdipDrawEllipseI(nativeGraphics, NativePen(pen), x, y, width, height));
    }
    Status DrawPath(const Pen* pen, const GraphicsPath* path)
    {
        return SetStatus(GdipDrawPath(nativeGraphics, NativePen(pen), path != nullptr ? path->nativePath : nullptr));
    }
    Status FillEllipse(const Brush* brush, INT x, INT y, INT width, INT height)
    {
        return SetStatus(GdipFillEllipseI(nativeGraphics, NativeBrush(brush), x, y, width, height));
    }
    Status FillRectangle(const Brush* brush, REAL x, REAL y, REAL width, REAL height)
    {
        return SetStatus(GdipFillRectangle(nativeGraphics, NativeBrush(brush), x, y, width, height));
    }
    Status FillRectangle(const Brush* brush, const RectF& r) { return FillRectangle(brush, r.X, r.Y, r.Width, r.Height); }
    Status FillRectangle(const Brush* brush, INT x, INT y, INT width, INT height)
    {
        return SetStatus(GdipFillRectangleI(nativeGraphics, NativeBrush(brush), x, y, width, height));
    }
    Status FillPolygon(const Brush* brush, const Point* points, INT count, FillMode fillMode = FillModeAlternate)
    {
        return SetStatus(GdipFillPolygonI(nativeGraphics, NativeBrush(brush), points, count, fillMode));
    }
    Status FillPath(const Brush* brush, const GraphicsPath* path)
    {
        return SetStatus(GdipFillPath(nativeGraphics, NativeBrush(brush), path != nullptr ? path->nativePath : nullptr));
    }
    Status FillRegion(const Brush* brush, const Region* region)
    {
        return SetStatus(
            GdipFillRegion(nativeGraphics, NativeBrush(brush), region != nullptr ? region->nativeRegion : nullptr));
    }

    Status MeasureString(const wchar_t* string, INT length, const Font* font, const RectF& layoutRect,
                         const StringFormat* format, RectF* boundingBox, INT* codepointsFitted = nullptr,
                         INT* linesFilled = nullptr) const
    {
        return SetStatus(GdipMeasureString(nativeGraphics, string, length, NativeFont(font), &layoutRect,
                                           NativeFormat(format), boundingBox, codepointsFitted, linesFilled));
    }
    Status MeasureString(const wchar_t* string, INT length, const Font* font, const PointF& origin,
                         const StringFormat* format, RectF* boundingBox) const
    {
        return MeasureString(string, length, font, RectF(origin.X, origin.Y, 0.0f, 0.0f), format, boundingBox);
    }
    Status DrawString(const wchar_t* string, INT length, const Font* font, const RectF& layoutRect,
                      const StringFormat* format, const Brush* brush)
    {
        return SetStatus(GdipDrawString(nativeGraphics, string, length, NativeFont(font), &layoutRect,
                                        NativeFormat(format), NativeBrush(brush)));
    }
    Status DrawString(const wchar_t* string, INT length, const Font* font, const PointF& origin,
                      const StringFormat* format, const Brush* brush)
    {
        return DrawString(string, length, font, RectF(origin.X, origin.Y, 0.0f, 0.0f), format, brush);
    }
    Status DrawString(const wchar_t* string, INT length, const Font* font, const PointF& origin, const Brush* brush)
    {
        return DrawString(string, length, font, origin, nullptr, brush);
    }

    Status DrawImage(Image* image, const Rect& destRect, INT srcx, INT srcy, INT srcwidth, INT srcheight,
                     Unit srcUnit, const GpImageAttributes* imageAttributes = nullptr,
                     DrawImageAbort callback = nullptr, void* callbackData = nullptr)
    {
        return SetStatus(GdipDrawImageRectRectI(nativeGraphics, image != nullptr ? image->nativeImage : nullptr,
                                                destRect.X, destRect.Y, destRect.Width, destRect.Height, srcx, srcy,
                                                srcwidth, srcheight, srcUnit, imageAttributes, callback,
                                                callbackData));
    }
    Status DrawImage(Image* image, REAL x, REAL y, REAL width, REAL height)
    {
        return SetStatus(
            GdipDrawImageRect(nativeGraphics, image != nullptr ? image->nativeImage : nullptr, x, y, width, height));
    }
    Status DrawImage(Image* image, const RectF& rect) { return DrawImage(image, rect.X, rect.Y, rect.Width, rect.Height); }

private:
    static GpPen* NativePen(const Pen* p) { return p != nullptr ? p->nativePen : nullptr; }
    static GpBrush* NativeBrush(const Brush* p) { return p != nullptr ? p->nativeBrush : nullptr; }
    static const GpFont* NativeFont(const Font* p) { return p != nullptr ? p->nativeFont : nullptr; }
    static const GpStringFormat* NativeFormat(const StringFormat* p) { return p != nullptr ? p->nativeFormat : nullptr; }
    GpGraphics* nativeGraphics = nullptr;
};

} // namespace Gdiplus
