// The three-dimensional back buffer: the camera arithmetic over OpenGL's
// matrices, which are read back as row-vector matrices (OpenGL's column
// order is the transpose).
#include "KVDbase/drawing/XBackBuffer3D.h"
#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/geometry/XMatrix.h"
#include "KVDbase/platform/XGdiClasses.h"
#include "KVDbase/platform/XWGL.h"
#include "drawing/XGLRead.h"

#include <GL/gl.h>
#include <GL/glu.h>

#include <algorithm>
#include <cmath>

XIMPLEMENT_DYNAMIC(XBackBuffer3D, XObject)

int XBackBuffer3D::nRefCount = 0;

const PIXELFORMATDESCRIPTOR XBackBuffer3D::pfd = kXGLSurfaceFormat;

namespace {

const double kPi = 3.14159265358979323846;

// Brings an angle difference into -pi to pi by a turn; the correction goes
// to pTarget, which the trackball sets apart from the angle tested.
void CorrectTurn(double dAngle, double& dTarget)
{
    if (dAngle < -kPi)
        dTarget += 2 * kPi;
    else if (dAngle > kPi)
        dTarget -= 2 * kPi;
}

} // namespace

XBackBuffer3D::XBackBuffer3D() : hDC(nullptr), hRC(nullptr), bUpdateNeeded(1)
{
    ++nRefCount;
}

XBackBuffer3D::~XBackBuffer3D()
{
    if (hRC != nullptr)
        wglDeleteContext(hRC);
    --nRefCount;
    XBackBuffer::ReleaseGLFonts();
}

int XBackBuffer3D::Create(HWND hWnd)
{
    return Create(::GetDC(hWnd));
}

int XBackBuffer3D::Create(CDC* pDC)
{
    return Create(pDC == nullptr ? static_cast<HDC>(nullptr) : pDC->GetSafeHdc());
}

int XBackBuffer3D::Create(HDC hdc)
{
    if (hdc == nullptr)
        return 0;
    hDC = hdc;
    if (hRC != nullptr) {
        wglDeleteContext(hRC);
        hRC = nullptr;
    }
    int iFormat = ChoosePixelFormat(hDC, &pfd);
    if (iFormat == 0 || !SetPixelFormat(hDC, iFormat, &pfd))
        return 0;
    hRC = wglCreateContext(hDC);
    if (hRC == nullptr)
        return 0;
    wglMakeCurrent(hDC, hRC);
    glEnable(GL_COLOR_MATERIAL);
    glEnable(GL_DEPTH_TEST);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    return 1;
}

void XBackBuffer3D::Resize(CDC* pDC, int w, int h)
{
    Resize(pDC == nullptr ? static_cast<HDC>(nullptr) : pDC->GetSafeHdc(), w, h);
}

void XBackBuffer3D::Resize(HDC hdc, int w, int h)
{
    if (w == 0 || h == 0)
        return;
    hDC = hdc;
    if (hRC != nullptr) {
        wglMakeCurrent(hDC, hRC);
        glViewport(0, 0, w, h);
    }
}

void XBackBuffer3D::Swap(HDC hdc, unsigned long)
{
    if (hdc == nullptr)
        return;
    glFlush();
    SwapBuffers(hdc);
}

void XBackBuffer3D::Swap(CDC* pDC, unsigned long nUnused)
{
    Swap(pDC == nullptr ? static_cast<HDC>(nullptr) : pDC->GetSafeHdc(), nUnused);
}

void XBackBuffer3D::SetCurrent(HDC hdc)
{
    if (hRC != nullptr)
        wglMakeCurrent(hdc, hRC);
}

void XBackBuffer3D::ShareLists(HGLRC hOther)
{
    if (hRC != nullptr)
        wglShareLists(hOther, hRC);
}

void XBackBuffer3D::Clear(unsigned long clr, tagRECT*)
{
    wglMakeCurrent(hDC, hRC);
    XfnGLClear(clr);
}

int XBackBuffer3D::GetWidth()
{
    GLint viewport[4] = {0, 0, 0, 0};
    glGetIntegerv(GL_VIEWPORT, viewport);
    return viewport[2];
}

int XBackBuffer3D::GetHeight()
{
    GLint viewport[4] = {0, 0, 0, 0};
    glGetIntegerv(GL_VIEWPORT, viewport);
    return viewport[3];
}

void XBackBuffer3D::GetMatrix(unsigned int nWhich, double* pMatrix)
{
    glGetDoublev(nWhich, pMatrix);
}

int XBackBuffer3D::IsParallelProjection()
{
    double m[16];
    GetMatrix(GL_PROJECTION_MATRIX, m);
    return m[8] == 0.0 && m[9] == 0.0 && m[11] == 0.0;
}

int XBackBuffer3D::IsPerspectiveProjection()
{
    return !IsParallelProjection();
}

void XBackBuffer3D::LookAt(double ex, double ey, double ez, double cx, double cy, double cz, double ux, double uy,
                           double uz)
{
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    gluLookAt(ex, ey, ez, cx, cy, cz, ux, uy, uz);
    vEye = tagXVector3(ex, ey, ez);
    vCenter = tagXVector3(cx, cy, cz);
    vUp = tagXVector3(ux, uy, uz);
}

void XBackBuffer3D::LookAt(tagXVector3* pEye, tagXVector3* pCenter, tagXVector3* pUp)
{
    LookAt(pEye->x, pEye->y, pEye->z, pCenter->x, pCenter->y, pCenter->z, pUp->x, pUp->y, pUp->z);
}

void XBackBuffer3D::Ortho(double l, double r, double b, double t, double n, double f)
{
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(l, r, b, t, n, f);
    glTranslated(vEye.x, vEye.y, 0.0);
}

void XBackBuffer3D::PerspectiveFov(double fovy, double aspect, double dNear, double dFar)
{
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    gluPerspective(fovy, aspect, dNear, dFar);
}

void XBackBuffer3D::ZoomIn(double f)
{
    vEye += (vCenter - vEye) * f;
    LookAt(&vEye, &vCenter, &vUp);
}

void XBackBuffer3D::ZoomOut(double f)
{
    vEye += (vEye - vCenter) * f;
    LookAt(&vEye, &vCenter, &vUp);
}

void XBackBuffer3D::TrackballRotate(int x1, int y1, int x2, int y2)
{
    double w = GetWidth(), h = GetHeight();
    double cx = (w - 1) / 2, cy = (h - 1) / 2;
    double r = std::sqrt(cx * cx + cy * cy);
    auto onSphere = [&](int x, int y) {
        tagXVector3 p((x - cx) / r, ((h - 1 - y) - cy) / r, 0.0);
        p.z = std::sqrt(std::max(0.0, 1.0 - p.x * p.x - p.y * p.y));
        return p;
    };
    tagXVector3 p1 = onSphere(x1, y1), p2 = onSphere(x2, y2);

    double az = std::atan2(p2.y, p2.x) - std::atan2(p1.y, p1.x);
    if (az < -kPi)
        az += 2 * kPi;
    else if (az > kPi)
        az -= 2 * kPi;
    az *= 1.0 - std::min(p1.z, p2.z);
    // The turns about x and y are kept as they come; a difference past half
    // a turn corrects the roll instead.
    double ax = std::atan2(p2.z, p2.y) - std::atan2(p1.z, p1.y);
    CorrectTurn(ax, az);
    double ay = -(std::atan2(p2.z, p2.x) - std::atan2(p1.z, p1.x));
    CorrectTurn(ay, az);

    tagXVector3 u = vUp, v = vEye - vCenter, s;
    XfnVector3Cross(&s, &u, &v);
    tagXVector3 u1, v1, e, u2;
    XfnVector3RotateAboutLine(&u1, &u, &s, -ax);
    XfnVector3RotateAboutLine(&v1, &v, &s, -ax);
    XfnVector3RotateAboutLine(&e, &v1, &u1, -ay);
    e += vCenter;
    // The roll turns about the new eye as a direction from the origin: the
    // view axis only when the centre is the origin.
    XfnVector3RotateAboutLine(&u2, &u1, &e, -az);
    LookAt(&e, &vCenter, &u2);
}

void XBackBuffer3D::TrackballTranslate(int x1, int y1, int x2, int y2)
{
    tagXMatrix m, p;
    GetMatrix(GL_MODELVIEW_MATRIX, m.m);
    GetMatrix(GL_PROJECTION_MATRIX, p.m);
    tagXVector3 c = p * (m * vCenter);
    double w = GetWidth(), h = GetHeight();
    double hx = (w - 1) / 2, hy = (h - 1) / 2;
    tagXVector3 a((x1 - hx) / hx, ((h - 1 - y1) - hy) / hy, c.z);
    tagXVector3 b((x2 - hx) / hx, ((h - 1 - y2) - hy) / hy, c.z);
    if (!p.Inverse())
        return;
    tagXVector3 d = p * b - p * a;
    vEye = m * vEye;
    vCenter = m * vCenter;
    vEye.x -= d.x;
    vEye.y -= d.y;
    vCenter.x -= d.x;
    vCenter.y -= d.y;
    if (!m.Inverse())
        return;
    vEye = m * vEye;
    vCenter = m * vCenter;
    LookAt(&vEye, &vCenter, &vUp);
}

int XBackBuffer3D::ReadDIB24(void* pOut, BITMAPINFO* pInfo, int x, int y, int w, int h)
{
    return XfnGLReadDIB(pOut, pInfo, x, y, w, h, GetWidth(), GetHeight(), 24);
}

int XBackBuffer3D::ReadDIB32(void* pOut, BITMAPINFO* pInfo, int x, int y, int w, int h)
{
    return XfnGLReadDIB(pOut, pInfo, x, y, w, h, GetWidth(), GetHeight(), 32);
}

void XBackBuffer3D::AddGLFont(tagXTextStyle* pStyle)
{
    if (hDC == nullptr)
        return;
    wglMakeCurrent(hDC, hRC);
    XBackBuffer::AddGLFontStatic(pStyle, hDC);
}

int XBackBuffer3D::CreateCompositeFont()
{
    return XBackBuffer::CreateCompositeFont();
}

int XBackBuffer3D::GetFontTexture(unsigned int& nTexture)
{
    return XBackBuffer::GetFontTexture(nTexture);
}

int XBackBuffer3D::GetGLFont(tagXTextStyle* pStyle)
{
    return XBackBuffer::GetGLFont(pStyle);
}

_GLYPHMETRICSFLOAT* XBackBuffer3D::GetGLFontGlyph(tagXTextStyle* pStyle)
{
    return XBackBuffer::GetGLFontGlyph(pStyle);
}
