// XBackBuffer3D: an OpenGL context with a camera, for three-dimensional
// drawing on a DC. The camera is three vectors (eye, centre, up); the
// trackball and zoom operations turn mouse movement into a new camera, and
// OpenGL keeps the viewport and the projection, which the queries read back.
// The object owns its context, never the DC. One thread at a time, with the
// context current: LookAt, Ortho and the readers don't make it current;
// Clear, Resize and AddGLFont do. Create and the readers report 0 on failure;
// the rest relies on OpenGL's own handling of a missing context.
#pragma once

#include "KVDbase/core/XObject.h"
#include "KVDbase/drawing/XDrawStyle.h"
#include "KVDbase/geometry/XVector.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

struct PIXELFORMATDESCRIPTOR;
struct _GLYPHMETRICSFLOAT;

class KVD_API XBackBuffer3D : public XObject {
    XDECLARE_DYNAMIC(XBackBuffer3D)
public:
    XBackBuffer3D();
    // Deletes the context; the last back buffer of either kind to go empties
    // the OpenGL font cache.
    ~XBackBuffer3D() override;

    // The window's DC, then the DC form.
    virtual int Create(HWND hWnd);
    // The wrapper's DC (null for a null wrapper), then the DC form.
    virtual int Create(CDC* pDC);
    // A context for the DC with the format of pfd, made current, with colour
    // material, depth test and alpha blending set up. 0 for a null DC or a
    // format or context the platform cannot give.
    virtual int Create(HDC hdc);
    virtual void Resize(CDC* pDC, int w, int h);
    // Makes the context current on the DC and sets the viewport; a zero size
    // does nothing.
    virtual void Resize(HDC hdc, int w, int h);

    // glFlush and SwapBuffers; the second argument is not used.
    void Swap(HDC hdc, unsigned long nUnused);
    void Swap(CDC* pDC, unsigned long nUnused);
    void SetCurrent(HDC hdc);
    void ShareLists(HGLRC hOther);
    // Clears colour and depth; red is the colour's low byte. The rectangle is
    // not used.
    void Clear(unsigned long clr, tagRECT* pRect);

    // The size of the viewport.
    int GetWidth();
    int GetHeight();
    HGLRC GetRC() const { return hRC; }
    HDC GetDC() const { return hDC; }
    tagXVector3 GetEye() const { return vEye; }
    tagXVector3 GetCenter() const { return vCenter; }
    tagXVector3 GetUp() const { return vUp; }
    BOOL IsUpdateNeeded() const { return bUpdateNeeded; }
    void UpdateNeeded() { bUpdateNeeded = 1; }
    void UpdateCompleted() { bUpdateNeeded = 0; }
    static int GetRefCount() { return nRefCount; }

    // 1 when elements 8, 9 and 11 of the projection matrix (OpenGL's order)
    // are all 0.0.
    int IsParallelProjection();
    int IsPerspectiveProjection();

    // Loads the model-view matrix of the camera and keeps the camera.
    void LookAt(double ex, double ey, double ez, double cx, double cy, double cz, double ux, double uy, double uz);
    void LookAt(tagXVector3* pEye, tagXVector3* pCenter, tagXVector3* pUp);
    // Projection matrices; the matrix mode stays on the projection. Ortho
    // also moves by the eye's x and y.
    void Ortho(double l, double r, double b, double t, double n, double f);
    void PerspectiveFov(double fovy, double aspect, double dNear, double dFar);

    // Moves the eye by the fraction f of the way to the centre (in) or away
    // from it (out); nothing stops the eye passing the centre.
    void ZoomIn(double f);
    void ZoomOut(double f);
    // Turns the camera about the centre as a sphere under the drag from pixel
    // (x1, y1) to (x2, y2) would turn. A viewport of one pixel divides by
    // zero.
    void TrackballRotate(int x1, int y1, int x2, int y2);
    // Moves eye and centre so that the point under the first pixel, at the
    // depth of the centre, comes under the second. A projection or model-view
    // matrix that cannot be inverted stops it.
    void TrackballTranslate(int x1, int y1, int x2, int y2);

    // The back buffer's pixels as a bottom-up DIB of 24 or 32 bits; y counts
    // from the top. 1, or 0 for arguments outside the viewport or a header
    // that cannot hold them.
    int ReadDIB24(void* pOut, BITMAPINFO* pInfo, int x, int y, int w, int h);
    int ReadDIB32(void* pOut, BITMAPINFO* pInfo, int x, int y, int w, int h);

    // With a DC, makes the context current and caches the style's outline
    // font (XBackBuffer::AddGLFontStatic).
    void AddGLFont(tagXTextStyle* pStyle);
    // The font cache and the composite font are those of XBackBuffer.
    static int CreateCompositeFont();
    static int GetFontTexture(unsigned int& nTexture);
    static int GetGLFont(tagXTextStyle* pStyle);
    static _GLYPHMETRICSFLOAT* GetGLFontGlyph(tagXTextStyle* pStyle);

protected:
    HDC hDC;
    HGLRC hRC;
    BOOL bUpdateNeeded;
    tagXVector3 vUp;
    tagXVector3 vEye;
    tagXVector3 vCenter;

    static int nRefCount;
    static const PIXELFORMATDESCRIPTOR pfd;

private:
    void GetMatrix(unsigned int nWhich, double* pMatrix);
};
