// XBackBuffer: a drawing surface tied to a world coordinate system. This part
// holds the viewport (world centre, world units per pixel, rotation) and the
// two affine transforms between world and pixel that follow from it, with the
// lat/long fitting of geographic views and a grow-only scratch block. The
// object owns its scratch block; one thread at a time; nothing is reported but
// the 0 of a failed AllocTemp.
#pragma once

#include "KVDbase/collections/XMap.h"
#include "KVDbase/core/XObject.h"
#include "KVDbase/core/XString.h"
#include "KVDbase/drawing/XDrawStyle.h"
#include "KVDbase/geometry/XWarp2D.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

struct _GLYPHMETRICSFLOAT;

class KVD_API XBackBuffer : public XObject {
    XDECLARE_DYNAMIC(XBackBuffer)
    // The last 3D back buffer to go empties the common font cache too.
    friend class XBackBuffer3D;
public:
    // Surface types.
    enum { TYPE_DDB = 1, TYPE_DIB = 2, TYPE_OPENGL = 3, TYPE_DC = 4 };

    // Every default, surface type 1; counts the instance.
    XBackBuffer();
    // The defaults with the surface type given. This form does not count the
    // instance, while the destructor still takes one off, as the type-less
    // form's temporary always did.
    explicit XBackBuffer(int nType);
    ~XBackBuffer() override;

    int GetType() const { return nType; }
    int GetWidth() const { return nWidth; }
    int GetHeight() const { return nHeight; }
    // Live instances, as the constructors and the destructor count them.
    static int GetRefCount() { return nRefCount; }

    // The surface size in pixels, without touching a surface: it stores the
    // size and refits a lat/long view, but, like a resize, leaves the
    // transforms to the next viewport setter.
    void SetViewSize(int nWidthArg, int nHeightArg);

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

    // Viewport setters. Each ends by refitting a lat/long view and deriving
    // the transforms anew.
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

    // A grow-only scratch block: 1 when it holds nSize bytes, 0 (and no block)
    // when a larger one cannot be had.
    int AllocTemp(int nSize);
    void FreeTemp();
    void* GetTemp() const { return pTemp; }
    int GetTempSize() const { return nTempSize; }

    HDC GetDC() const { return hDC; }
    HGLRC GetRC() const { return hRC; }

    // The OpenGL projection and view of a type 3 surface for the viewport:
    // an orthographic box of the view with the far distance, looked at from
    // half of it. The rotation is left to the replay.
    void SetMatrix();
    // Stores the far clip distance, refits a lat/long view and sets the
    // matrix.
    void SetFarDistance(double dDistance);
    // With a context: makes it current on the DC, or shares the lists and
    // textures of another context.
    void SetCurrent(HDC hdc);
    void ShareLists(HGLRC hOther);
    // On a type 3 surface with a DC: makes the context current and caches the
    // style's outline font.
    void AddGLFont(tagXTextStyle* pStyle);

    // OpenGL text, shared by every back buffer of the process (and by
    // XBackBuffer3D): outline fonts in display lists, cached by face, weight,
    // italic, underline and strike-out (size and orientation scale), and the
    // glyph atlas of the composite font. Class-wide, unlocked: one drawing
    // thread at a time, with a current context.

    // Makes the outline font of the style (lists of character codes 0 to 254
    // and their measures) unless the cache has it. hdc is where the font would
    // be selected; the outlines come from the font files themselves.
    static void AddGLFontStatic(tagXTextStyle* pStyle, HDC hdc);
    // The display list base of the style's cached font, or -1.
    static int GetGLFont(tagXTextStyle* pStyle);
    // Its 256 glyph records (em units), or null.
    static _GLYPHMETRICSFLOAT* GetGLFontGlyph(tagXTextStyle* pStyle);
    // Width (sum of the advances; a byte above 254 counts as "A") and height
    // (the tallest glyph of the font) of the text in em units; 0 when the
    // style's font is not cached.
    static int GetTextDimensionGL(XString strText, tagXTextStyle* pStyle, double& dWidth, double& dHeight);
    // Loads the glyph atlas "dotum.xhf" from the library's own directory,
    // once per process: 1 when loaded or tried before, 0 when the first try
    // fails.
    static int CreateCompositeFont();
    // Stores the atlas texture name and returns whether the composite font
    // was started.
    static int GetFontTexture(unsigned int& nTexture);

protected:
    int nType;
    int nWidth;
    int nHeight;
    HDC hDC;
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
    static XMapStringToPtr mapGLFont;
    static unsigned int nFontTexture;
    static int bUseCompositeFont;

private:
    // Writes a view transform: affine, with a the x row and b the y row.
    static void SetAffineWarp(XWarp2D& warp, const double* a, const double* b);

    void SetDefaults();

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
    // The common end of the viewport setters.
    void ApplyViewport();
};
