#include "KVDbase/drawing/XBackBuffer.h"

#include "KVDbase/platform/XGdi.h"

#include <cmath>
#include <cstdlib>

XIMPLEMENT_DYNAMIC(XBackBuffer, XObject)

int XBackBuffer::nRefCount = 0;
XMapStringToPtr XBackBuffer::mapGLFont;
unsigned int XBackBuffer::nFontTexture = 0;
int XBackBuffer::bUseCompositeFont = 0;


XBackBuffer::XBackBuffer()
{
    SetDefaults();
    nType = TYPE_DDB;
    ++nRefCount;
}

XBackBuffer::XBackBuffer(int nTypeArg)
{
    SetDefaults();
    nType = nTypeArg;
}

XBackBuffer::~XBackBuffer()
{
    Delete();
    if (--nRefCount == 0)
        ReleaseGLFonts();
    FreeTemp();
}

void XBackBuffer::SetDefaults()
{
    clrLine = RGB(0, 0, 0);
    clrFore = RGB(0, 0, 0);
    clrBack = RGB(255, 255, 255);
    bWorldSize = false;
    dLineWidth = 0.0;
    dTextHeight = 0.0;
    nType = TYPE_DDB;
    nWidth = nHeight = 0;
    nBitsPixel = 0;
    nDIBWidthBytes = 0;
    pBits = nullptr;
    hDC = nullptr;
    bOwnDC = 0;
    hBitmap = hOldBitmap = nullptr;
    hRC = nullptr;
    dFarDistance = 2000000.0;
    dWorldToCenter[0] = dWorldToCenter[1] = 0.0;
    dWorldPerPixel[0] = dWorldPerPixel[1] = 1.0;
    dWorldPerPixelBase[0] = dWorldPerPixelBase[1] = 1.0;
    dRotationAngle = 0.0;
    bUpdateNeeded = 1;
    bLatLongRounding = false;
    pTemp = nullptr;
    nTempSize = 0;
}

void XBackBuffer::SetViewSize(int nWidthArg, int nHeightArg)
{
    nWidth = nWidthArg;
    nHeight = nHeightArg;
    if (bLatLongRounding)
        AutoFitForLLRounding();
}

void XBackBuffer::SetWorldPerPixelBase(double x, double y)
{
    dWorldPerPixelBase[0] = x;
    dWorldPerPixelBase[1] = y;
}

void XBackBuffer::GetWorldPerPixelBase(double& x, double& y) const
{
    x = dWorldPerPixelBase[0];
    y = dWorldPerPixelBase[1];
}

void XBackBuffer::GetWorldPerPixel(double& x, double& y) const
{
    x = dWorldPerPixel[0];
    y = dWorldPerPixel[1];
}

void XBackBuffer::GetWorldToCenter(double& x, double& y) const
{
    x = dWorldToCenter[0];
    y = dWorldToCenter[1];
}

void XBackBuffer::GetZoomFactor(double& x, double& y) const
{
    x = dWorldPerPixel[0] / dWorldPerPixelBase[0];
    y = dWorldPerPixel[1] / dWorldPerPixelBase[1];
}

// ---------------------------------------------------------------------------
// Viewport setters

void XBackBuffer::ApplyViewport()
{
    if (bLatLongRounding)
        AutoFitForLLRounding();
    if (nType == TYPE_OPENGL)
        SetMatrix();
    CalcWarpCoeff();
}

void XBackBuffer::SetWorldToCenter(double x, double y)
{
    dWorldToCenter[0] = x;
    dWorldToCenter[1] = y;
    ApplyViewport();
}

void XBackBuffer::SetWorldPerPixel(double x, double y)
{
    dWorldPerPixel[0] = x;
    dWorldPerPixel[1] = y;
    ApplyViewport();
}

void XBackBuffer::SetRotationAngle(double dDegrees)
{
    dRotationAngle = dDegrees;
    ApplyViewport();
}

void XBackBuffer::SetZoomFactor(double zx, double zy)
{
    dWorldPerPixel[0] = zx * dWorldPerPixelBase[0];
    dWorldPerPixel[1] = zy * dWorldPerPixelBase[1];
    ApplyViewport();
}

void XBackBuffer::PanWorld(double dx, double dy)
{
    dWorldToCenter[0] += dx;
    dWorldToCenter[1] += dy;
    ApplyViewport();
}

void XBackBuffer::PanPixel(double dx, double dy)
{
    double x0 = 0.0, y0 = 0.0;
    double x1 = dx, y1 = dy;
    ConvPixelToWorldCoord(x0, y0);
    ConvPixelToWorldCoord(x1, y1);
    PanWorld(x0 - x1, y0 - y1);
}

void XBackBuffer::ZoomIn(double f)
{
    if (!(f > 0.0))
        return;
    const double k = 1.0 / (f + 1.0);
    dWorldPerPixel[0] *= k;
    dWorldPerPixel[1] *= k;
    ApplyViewport();
}

void XBackBuffer::ZoomOut(double f)
{
    if (!(f > 0.0))
        return;
    const double k = f + 1.0;
    dWorldPerPixel[0] *= k;
    dWorldPerPixel[1] *= k;
    ApplyViewport();
}

void XBackBuffer::ZoomFit(double x1, double y1, double x2, double y2)
{
    dWorldToCenter[0] = (x1 + x2) / 2.0;
    dWorldToCenter[1] = (y1 + y2) / 2.0;
    const double sx = (x2 - x1) / nWidth;
    const double sy = (y2 - y1) / nHeight;
    dWorldPerPixel[0] = dWorldPerPixel[1] = sx > sy ? sx : sy;
    ApplyViewport();
}

void XBackBuffer::ZoomRectWorld(double cx, double cy, double w, double h)
{
    dWorldToCenter[0] = cx;
    dWorldToCenter[1] = cy;
    const double sx = std::fabs(w / nWidth);
    const double sy = std::fabs(h / nHeight);
    dWorldPerPixel[0] = dWorldPerPixel[1] = sx < sy ? sx : sy;
    ApplyViewport();
}

void XBackBuffer::ZoomRectPixel(double x, double y, double, double)
{
    double cx = x, cy = y;
    ConvPixelToWorldCoord(cx, cy);
    double lx = 1.0, ly = 1.0;
    ConvPixelToWorldLength(lx, ly);
    dWorldToCenter[0] = cx;
    dWorldToCenter[1] = cy;
    dWorldPerPixel[0] = dWorldPerPixel[1] = lx < ly ? lx : ly;
    ApplyViewport();
}

// ---------------------------------------------------------------------------
// Transforms

void XBackBuffer::CalcWarpCoeff()
{
    const double wx = dWorldPerPixel[0];
    const double wy = dWorldPerPixel[1];
    const double cx = dWorldToCenter[0];
    const double cy = dWorldToCenter[1];

    // Pixel to world; pixel rows run down, world y up.
    double a[3] = {wx, 0.0, cx - nWidth * wx / 2};
    double b[3] = {0.0, -wy, nHeight * wy / 2 + cy};

    if (dRotationAngle != 0.0) {
        const double dRad = -dRotationAngle * 0.017453292519943295;
        const double c = std::cos(dRad);
        const double s = std::sin(dRad);
        const double ra[3] = {a[0] * c, -b[1] * s, (a[2] - cx) * c - (b[2] - cy) * s + cx};
        const double rb[3] = {a[0] * s, b[1] * c, (a[2] - cx) * s + (b[2] - cy) * c + cy};
        for (int i = 0; i < 3; ++i) {
            a[i] = ra[i];
            b[i] = rb[i];
        }
    }

    // World to pixel is the exact inverse of the affine map.
    const double d = 1.0 / (a[0] * b[1] - a[1] * b[0]);
    const double c[3] = {d * b[1], -d * a[1], -d * (a[2] * b[1] - a[1] * b[2])};
    const double e[3] = {-d * b[0], d * a[0], d * (a[2] * b[0] - a[0] * b[2])};

    SetAffineWarp(warpPixelToWorld, a, b);
    SetAffineWarp(warpWorldToPixel, c, e);
}

void XBackBuffer::SetAffineWarp(XWarp2D& warp, const double* a, const double* b)
{
    // x' = a0 x + a1 y + a2 and y' = b0 x + b1 y + b2.
    for (int i = 0; i < XWarpCoeff::MAX_COEFFS; ++i) {
        warp.coeffX[i] = i < 3 ? a[i] : 0.0;
        warp.coeffY[i] = i < 3 ? b[i] : 0.0;
    }
    warp.order = XWarpCoeff::ORDER_AFFINE;
}

void XBackBuffer::AutoFitForLLRounding()
{
    double& cx = dWorldToCenter[0];
    double& cy = dWorldToCenter[1];
    double& wx = dWorldPerPixel[0];
    double& wy = dWorldPerPixel[1];

    if (cx > 180.0)
        cx -= 360.0;
    else if (cx < -180.0)
        cx += 360.0;

    if (nHeight * wy > 180.0) {
        wy = 180.0 / nHeight;
        wx = wy;
    } else if (nWidth * wx > 360.0) {
        wx = 360.0 / nWidth;
        wy = wx;
    }

    const double h = nHeight * wy / 2;
    if (h + cy > 90.0)
        cy = 90.0 - h;
    else if (cy - h < -90.0)
        cy = h - 90.0;
}

void XBackBuffer::ConvPixelToWorldCoord(double& x, double& y)
{
    warpPixelToWorld.WarpPoint(x, y);
}

void XBackBuffer::ConvWorldToPixelCoord(double& x, double& y)
{
    warpWorldToPixel.WarpPoint(x, y);
}

void XBackBuffer::ConvPixelToWorldLength(double& x, double& y)
{
    double x0 = 0.0, y0 = 0.0;
    warpPixelToWorld.WarpPoint(x0, y0);
    warpPixelToWorld.WarpPoint(x, y);
    x = std::fabs(x - x0);
    y = std::fabs(y - y0);
}

void XBackBuffer::ConvWorldToPixelLength(double& x, double& y)
{
    double x0 = 0.0, y0 = 0.0;
    warpWorldToPixel.WarpPoint(x0, y0);
    warpWorldToPixel.WarpPoint(x, y);
    x = std::fabs(x - x0);
    y = std::fabs(y - y0);
}

// ---------------------------------------------------------------------------
// Scratch

int XBackBuffer::AllocTemp(int nSize)
{
    if (nSize <= nTempSize)
        return 1;
    FreeTemp();
    pTemp = std::malloc(static_cast<size_t>(nSize));
    if (pTemp == nullptr)
        return 0;
    nTempSize = nSize;
    return 1;
}

void XBackBuffer::FreeTemp()
{
    std::free(pTemp);
    pTemp = nullptr;
    nTempSize = 0;
}
