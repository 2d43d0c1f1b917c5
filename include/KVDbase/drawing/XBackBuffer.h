// XBackBuffer: a drawing surface tied to a world coordinate system. It owns
// an off-screen surface on a device context (or an OpenGL context), keeps the
// viewport (world centre, world units per pixel, rotation) with the two affine
// transforms between world and pixel that follow from it, draws world-space
// primitives and images, and presents the finished picture to a window's DC,
// including the cheap panned and zoomed previews used while the user drags.
//
// Ownership: the DC and bitmap made by Create (types 1 and 2) belong to the
// object and go with Delete or the destructor; a DC handed to a type 4 buffer
// stays the caller's. The scratch block is the object's. Threads: one at a
// time; the class-wide count and OpenGL font cache are not locked. Failures:
// Create, Resize, the readers and AllocTemp return 0; drawing reports nothing
// and leaves failures on a bad DC to the device.
#pragma once

#include "KVDbase/collections/XMap.h"
#include "KVDbase/core/XObject.h"
#include "KVDbase/core/XString.h"
#include "KVDbase/drawing/XDrawStyle.h"
#include "KVDbase/geometry/XVector.h"
#include "KVDbase/geometry/XWarp2D.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

class KVD_API XBackBuffer : public XObject {
    XDECLARE_DYNAMIC(XBackBuffer)
public:
    // Surface types.
    enum { TYPE_DDB = 1, TYPE_DIB = 2, TYPE_OPENGL = 3, TYPE_DC = 4 };

    // Every default, surface type 1; counts the instance.
    XBackBuffer();
    // The defaults with the surface type given. This form does not count the
    // instance, while the destructor still takes one off, as the type-less
    // form's temporary always did.
    explicit XBackBuffer(int nType);
    // Deletes the surface, counts the instance out and, with the last back
    // buffer gone, releases the OpenGL font cache.
    ~XBackBuffer() override;

    // ----------------------------------------------------------- surface

    // GetDC of the window, then the HDC form.
    virtual int Create(HWND hWnd, int nType);
    // The HDC form on the wrapper's handle.
    virtual int Create(CDC* pDC, int nType);
    // Types 1 and 2 make a memory DC compatible with hDCArg and a surface on
    // it (type 1 a 10 by 10 placeholder bitmap until Resize, type 2 a DIB
    // section whose pixels GetDIBits gives); type 3 an OpenGL context on
    // hDCArg; any other type draws straight on hDCArg. The size is the
    // device's. 1 on success; 0, with no surface left, on failure.
    virtual int Create(HDC hDCArg, int nType);
    virtual int Resize(CDC* pDC, int w, int h);
    // Makes the surface w by h (creating it on hDCArg first if there is
    // none). A zero or negative size returns 0 and changes nothing; the same
    // size returns 1 at once. A surface that cannot be had leaves the object
    // without one and returns 0. The transforms wait for the next viewport
    // setter.
    virtual int Resize(HDC hDCArg, int w, int h);
    // Releases the surface: an owned DC with its bitmap, and the OpenGL
    // context. A DC that was handed in stays in place. Safe at any time.
    void Delete();
    // Fills rect (or, with null, the whole surface) with the colour.
    void Clear(COLORREF clr, tagRECT* pRect);

    int GetType() const { return nType; }
    int GetWidth() const { return nWidth; }
    int GetHeight() const { return nHeight; }
    int GetBitsPixel() const { return nBitsPixel; }
    int GetDIBWidthBytes() const { return nDIBWidthBytes; }
    HDC GetDC() const { return hDC; }
    HGLRC GetRC() const { return hRC; }
    // Live instances, as the constructors and the destructor count them.
    static int GetRefCount() { return nRefCount; }

    // The surface size in pixels, without touching a surface: it stores the
    // size and refits a lat/long view, but, like a resize, leaves the
    // transforms to the next viewport setter.
    void SetViewSize(int nWidthArg, int nHeightArg);

    // ----------------------------------------------------------- styles

    // Each setter makes the matching GDI object, selects it into the DC and
    // deletes the object it pushed out. A width or height in world units
    // (bWorld) goes through ConvWorldToPixelLength and is truncated. The
    // trailing alpha is taken and not used here.
    void SetLineStyle(tagXLineStyle* pStyle, bool bWorld, double dWidth, COLORREF clr, double dAlpha);
    void SetLineColor(COLORREF clr, double dAlpha);
    void SetFillStyle(tagXFillStyle* pStyle, COLORREF clrForeArg, COLORREF clrBackArg, double dAlpha);
    void SetForeColor(COLORREF clr, double dAlpha);
    void SetBackColor(COLORREF clr, double dAlpha);
    // The font from the style at the height given, then the line colour; the
    // second colour is not used.
    void SetTextStyle(tagXTextStyle* pStyle, bool bWorld, double dHeight, COLORREF clr, COLORREF clrBackArg,
                      double dAlpha);
    void SetPolyFillMode(int nMode);

    const tagXLineStyle& GetLineStyle() const { return LineStyle; }
    const tagXFillStyle& GetFillStyle() const { return FillStyle; }
    const tagXTextStyle& GetTextStyle() const { return TextStyle; }
    COLORREF GetLineColor() const { return clrLine; }
    COLORREF GetForeColor() const { return clrFore; }
    COLORREF GetBackColor() const { return clrBack; }

    // ----------------------------------------------------------- presenting

    // Each form first swaps an OpenGL surface's buffers, then does nothing
    // more when dst is null or the surface's own DC. rop is the raster
    // operation of the blit; fill a colour for the uncovered parts of a
    // preview, or 0xFFFFFFFF to leave them as the window had them.
    void Swap(HDC dst, DWORD rop);
    // The picture shifted by (dx, dy).
    void SwapPan(HDC dst, int dx, int dy, COLORREF fill, DWORD rop);
    // The part 1 / (f + 1) of the surface about pixel (cx, cy), stretched to
    // the window; the centre forms use the surface's centre. f of 0 or less
    // does nothing.
    void SwapZoomIn(HDC dst, double f, int cx, int cy, COLORREF fill, DWORD rop);
    void SwapZoomIn(HDC dst, double f, COLORREF fill, DWORD rop);
    // The whole surface shrunk by 1 / (f + 1) about pixel (cx, cy).
    void SwapZoomOut(HDC dst, double f, int cx, int cy, COLORREF fill, DWORD rop);
    void SwapZoomOut(HDC dst, double f, COLORREF fill, DWORD rop);
    // The Copy forms then copy the window back into the surface, so that
    // repeated previews accumulate.
    void SwapPanCopy(HDC dst, int dx, int dy, COLORREF fill, DWORD rop);
    void SwapZoomInCopy(HDC dst, double f, COLORREF fill, DWORD rop);
    void SwapZoomOutCopy(HDC dst, double f, COLORREF fill, DWORD rop);

    void Swap(CDC* pDst, DWORD rop);
    void SwapPan(CDC* pDst, int dx, int dy, COLORREF fill, DWORD rop);
    void SwapZoomIn(CDC* pDst, double f, int cx, int cy, COLORREF fill, DWORD rop);
    void SwapZoomIn(CDC* pDst, double f, COLORREF fill, DWORD rop);
    void SwapZoomOut(CDC* pDst, double f, int cx, int cy, COLORREF fill, DWORD rop);
    void SwapZoomOut(CDC* pDst, double f, COLORREF fill, DWORD rop);
    void SwapPanCopy(CDC* pDst, int dx, int dy, COLORREF fill, DWORD rop);
    void SwapZoomInCopy(CDC* pDst, double f, COLORREF fill, DWORD rop);
    void SwapZoomOutCopy(CDC* pDst, double f, COLORREF fill, DWORD rop);

    // ----------------------------------------------------------- primitives

    // World coordinates in, pixels (rounded half away from zero) out on the
    // DC with the selected pen, brush and font. The 3D forms ignore z. The
    // extent (minimum x, minimum y, maximum x, maximum y) is read only to bound
    // a style 8 fill; nothing here culls or keeps anything.
    void DrawLine(double x1, double y1, double x2, double y2);
    void DrawLine(double x1, double y1, double z1, double x2, double y2, double z2);
    void DrawLine(tagXVector2 p1, tagXVector2 p2);
    void DrawLine(tagXVector3 p1, tagXVector3 p2);
    void DrawPolyline(double* x, double* y, int n, double* const pExtent);
    void DrawPolyline(double* x, double* y, double* z, int n, double* const pExtent);
    void DrawPolyline(tagXVector2* pPoints, int n, double* const pExtent);
    void DrawPolyline(tagXVector3* pPoints, int n, double* const pExtent);
    // Each point is a one-pixel diagonal stroke of the line pen.
    void DrawPolypoint(double* x, double* y, int n, double* const pExtent);
    void DrawPolypoint(double* x, double* y, double* z, int n, double* const pExtent);
    void DrawPolypoint(tagXVector2* pPoints, int n, double* const pExtent);
    void DrawPolypoint(tagXVector3* pPoints, int n, double* const pExtent);
    // The ring is closed by repeating its first point; filled by the fill
    // style (hollow: not at all; style 8: the mask's set bits in the fore
    // colour, gaps untouched) and outlined with the pen.
    void DrawPolygon(double* x, double* y, int n, double* const pExtent);
    void DrawPolygon(double* x, double* y, double* z, int n, double* const pExtent);
    void DrawPolygon(tagXVector2* pPoints, int n, double* const pExtent);
    void DrawPolygon(tagXVector3* pPoints, int n, double* const pExtent);
    // Rings of pCounts[0 .. nRings - 1] points, filled in the DC's fill mode.
    void DrawPolyPolygon(double* x, double* y, int* pCounts, int nRings, double* const pExtent);
    void DrawPolyPolygon(double* x, double* y, double* z, int* pCounts, int nRings, double* const pExtent);
    void DrawPolyPolygon(tagXVector2* pPoints, int* pCounts, int nRings, double* const pExtent);
    void DrawPolyPolygon(tagXVector3* pPoints, int* pCounts, int nRings, double* const pExtent);
    // The text in the line colour on a transparent background, its box placed
    // on (x, y) by the text style's anchor bits and turned with the font.
    void DrawTextA(XString strText, double x, double y, double z);
    // The unrotated box of the text in the style's font, in pixels. 0 (and
    // both 0.0) when no DC can be had to measure on.
    static int GetTextDimensionGDI(HDC hDCArg, XString strText, tagXTextStyle* pStyle, double& w, double& h);
    static int GetTextDimensionGDI(HDC hDCArg, const char* pszText, int nLength, tagXTextStyle* pStyle, double& w,
                                   double& h);

    // ----------------------------------------------------------- images

    // A DIB placed on a world rectangle. nClass -1 is opaque, 0 opaque or
    // fully transparent pixels, 1 partial opacity; pMask holds 255 minus each
    // pixel's opacity, rows like the image's, and classes 0 and 1 need it.
    // Under a rotated view the image is resampled bilinearly.
    void DrawDIB(unsigned char* pBits, BITMAPINFO* pInfo, double left, double top, double right, double bottom,
                 int nClass, unsigned char* pMask);
    // Any source of 8, 16, 24 or 32 bits with one opacity and a colour key
    // (bytes enable, red, green, blue), converted in the scratch block to 24
    // bits and a mask. The header goes on unchanged: give this form 24-bit
    // sources.
    void DrawDIB(char* pBits, BITMAPINFO* pInfo, double left, double top, double right, double bottom, double z,
                 double dAlpha, DWORD dwKey);
    // Type 2: fills the header of the surface and returns its pixels; other
    // types return null and leave the header.
    void* GetDIBits(BITMAPINFO& info);
    // Rows of the surface bitmap out of and into DIB rows of the surface's
    // header; the lines moved, 0 on failure.
    int GetDIBFromDDB(unsigned int nStart, unsigned int nLines, void* pOut);
    int SetDIBToDDB(unsigned int nStart, unsigned int nLines, const void* pIn);
    // The w by h pixels from (x, y), counted from the top, as 24- or 32-bit
    // DIB rows; w or h of 0 means the surface's. 0 for a null output, a
    // rectangle off the surface or larger than the header, or a header of
    // fewer bits; pInfo is rewritten to describe the rows.
    int ReadDIB24(void* pOut, BITMAPINFO* pInfo, int x, int y, int w, int h);
    int ReadDIB32(void* pOut, BITMAPINFO* pInfo, int x, int y, int w, int h);

    // ----------------------------------------------------------- viewport

    double GetRotationAngle() const { return dRotationAngle; }
    BOOL IsLatLongRounding() const { return bLatLongRounding; }
    void SetLatLongRounding(bool bOn) { bLatLongRounding = bOn; }
    void SetWorldPerPixelBase(double x, double y);
    void GetWorldPerPixelBase(double& x, double& y) const;
    void GetWorldPerPixel(double& x, double& y) const;
    double GetWorldPerPixel() const { return dWorldPerPixel[0]; }
    void GetWorldToCenter(double& x, double& y) const;
    // dWorldPerPixel over dWorldPerPixelBase, per axis.
    void GetZoomFactor(double& x, double& y) const;
    XWarp2D* GetWarpCoeffPixelToWorld() { return &warpPixelToWorld; }
    XWarp2D* GetWarpCoeffWorldToPixel() { return &warpWorldToPixel; }

    // A mark between the application's invalidation and its paint code;
    // nothing here reads or sets it.
    BOOL IsUpdateNeeded() const { return bUpdateNeeded; }
    void UpdateNeeded() { bUpdateNeeded = 1; }
    void UpdateCompleted() { bUpdateNeeded = 0; }

    // Viewport setters. Each ends by refitting a lat/long view, setting the
    // OpenGL matrix of a type 3 surface, and deriving the transforms anew.
    void SetWorldToCenter(double x, double y);
    void SetWorldPerPixel(double x, double y);
    void SetRotationAngle(double dDegrees);
    // dWorldPerPixel becomes z times dWorldPerPixelBase, per axis.
    void SetZoomFactor(double zx, double zy);
    void PanWorld(double dx, double dy);
    // Moves the picture with the mouse: by the world offset between pixel
    // (0, 0) and pixel (dx, dy).
    void PanPixel(double dx, double dy);
    // Scales by 1 / (f + 1) (in) or f + 1 (out); an f of 0 or less does
    // nothing at all.
    void ZoomIn(double f);
    void ZoomOut(double f);
    // Shows all of the rectangle: the larger of the two ratios. The sizes are
    // not checked: a zero size divides by zero.
    void ZoomFit(double x1, double y1, double x2, double y2);
    // Fills the surface with the rectangle: the smaller of the two ratios.
    void ZoomRectWorld(double cx, double cy, double w, double h);
    // Centres on pixel (x, y) at the scale of one pixel's smaller world
    // length; a and b are taken and not read.
    void ZoomRectPixel(double x, double y, double a, double b);

    // Derives both transforms from the viewport; both become order 2.
    void CalcWarpCoeff();
    // Keeps a view of longitude x and latitude y on the globe: centre x within
    // one turn, at most 180 degrees high or 360 wide, and no higher than the
    // poles.
    void AutoFitForLLRounding();

    void ConvPixelToWorldCoord(double& x, double& y);
    void ConvWorldToPixelCoord(double& x, double& y);
    // The absolute per-axis differences of the images of (0, 0) and (x, y).
    void ConvPixelToWorldLength(double& x, double& y);
    void ConvWorldToPixelLength(double& x, double& y);

    // The OpenGL projection and view of a type 3 surface for the viewport.
    void SetMatrix();

    // A grow-only scratch block: 1 when it holds nSize bytes, 0 (and no block)
    // when a larger one cannot be had.
    int AllocTemp(int nSize);
    void FreeTemp();
    void* GetTemp() const { return pTemp; }
    int GetTempSize() const { return nTempSize; }

protected:
    tagXLineStyle LineStyle;
    tagXFillStyle FillStyle;
    tagXTextStyle TextStyle;
    COLORREF clrLine;
    COLORREF clrFore;
    COLORREF clrBack;
    // Line widths and text heights are world lengths; the last SetLineStyle
    // or SetTextStyle decides it for both.
    bool bWorldSize;
    double dLineWidth;
    double dTextHeight;
    int nType;
    int nWidth;
    int nHeight;
    int nBitsPixel;
    int nDIBWidthBytes;
    void* pBits;
    HDC hDC;
    BOOL bOwnDC;
    HBITMAP hBitmap;
    HBITMAP hOldBitmap;
    HGLRC hRC;
    double dFarDistance;
    double dWorldToCenter[2];
    double dWorldPerPixel[2];
    double dWorldPerPixelBase[2];
    double dRotationAngle;
    XWarp2D warpPixelToWorld;
    XWarp2D warpWorldToPixel;
    BOOL bUpdateNeeded;
    bool bLatLongRounding;
    void* pTemp;
    int nTempSize;

    static int nRefCount;
    // The OpenGL font cache, keyed by face and weight, shared by every back
    // buffer of the process; the atlas texture of the composite font.
    static XMapStringToPtr mapGLFont;
    static unsigned int nFontTexture;
    static int bUseCompositeFont;

private:
    // Writes a view transform: affine, with a the x row and b the y row.
    static void SetAffineWarp(XWarp2D& warp, const double* a, const double* b);

    void SetDefaults();
    // The common end of the viewport setters.
    void ApplyViewport();

    // The bitmap of a type 1 or 2 surface of w by h on hDC (pBits for type
    // 2); null when it cannot be made.
    HBITMAP CreateSurfaceBitmap(int w, int h);
    // The failure path of Create and Resize: no DC of ours, no bitmap.
    void DropSurface();
    // Selects a new pen, brush or font into the DC and deletes the object it
    // pushed out.
    void SelectAndDelete(void* hObject);
    void MakePen();
    void MakeBrush();
    // The pixel of a world point, rounded half away from zero.
    tagPOINT ToPixel(double x, double y);

    // The OpenGL surface, type 3 (XBackBufferGL.cpp). CreateGL makes and
    // selects the context on hDC; ResizeGL sets the viewport (0 without a
    // context); SwapGL swaps the buffers of hDC; ReadDIBGL reads the back
    // buffer into DIB rows of nBits with y counted from the top;
    // ReleaseGLFonts empties the font cache when the last back buffer goes.
    int CreateGL();
    void DeleteGL();
    int ResizeGL(int w, int h);
    void ClearGL(COLORREF clr);
    void SwapGL();
    int ReadDIBGL(void* pOut, int x, int y, int w, int h, int nBits);
    static void ReleaseGLFonts();

    // Shared by the four coordinate shapes of each primitive family.
    struct PointSource;
    // Points nFirst to nFirst + n - 1 of src as pixels.
    void ToPixels(const PointSource& src, int nFirst, int n, tagPOINT* pOut);
    void PolylineFrom(const PointSource& src, int n);
    void PolypointFrom(const PointSource& src, int n);
    void PolygonFrom(const PointSource& src, int n, const double* pExtent);
    void PolyPolygonFrom(const PointSource& src, const int* pCounts, int nRings, const double* pExtent);
    // The blended and rotated routes of DrawDIB.
    void BlendDIB(const BYTE* pBits, const BITMAPINFO* pInfo, tagPOINT topLeft, int tw, int th, const BYTE* pMask);
    void ResampleDIB(const BYTE* pBits, const BITMAPINFO* pInfo, double left, double top, double right,
                     double bottom, int nClass, const BYTE* pMask);
    int ReadDIB(void* pOut, BITMAPINFO* pInfo, int x, int y, int w, int h, int nBits);
};
