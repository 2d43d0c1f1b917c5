// The OpenGL surface of XBackBuffer (type 3): its context on the caller's DC,
// the projection of the viewport, clearing, buffer swap and reading; and the
// OpenGL text of the back buffers: the outline font cache and the composite
// font's atlas, both class-wide.
#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/drawing/XBackBuffer3D.h"
#include "KVDbase/files/XPath.h"
#include "KVDbase/platform/XWGL.h"
#include "drawing/XGLRead.h"
#include "text/XCompositeFont.h"

#include <GL/gl.h>
#include <GL/glu.h>

#include <cstdlib>
#include <cstring>

namespace {

// A cache entry: the list base, then one record for each character code.
struct GLFontEntry {
    int nBase;
    GLYPHMETRICSFLOAT glyphs[256];
};
static_assert(sizeof(GLFontEntry) == 6148, "a font cache entry is 6,148 bytes");

// Face name, weight, italic, underline, strike-out: what an outline font is
// made of. Size and orientation scale and stay out of the key.
XString FontKey(const tagXTextStyle* pStyle)
{
    const LOGFONTA& lf = pStyle->lf;
    char szFace[sizeof(lf.lfFaceName) + 1] = {};
    std::memcpy(szFace, lf.lfFaceName, sizeof(lf.lfFaceName));
    XString strKey;
    strKey.Format("%s-%d-%d-%d-%d", szFace, static_cast<int>(lf.lfWeight), lf.lfItalic, lf.lfUnderline,
                  lf.lfStrikeOut);
    return strKey;
}

} // namespace

int XBackBuffer::CreateGL()
{
    DeleteGL();
    int iFormat = ChoosePixelFormat(hDC, &kXGLSurfaceFormat);
    if (iFormat == 0 || !SetPixelFormat(hDC, iFormat, &kXGLSurfaceFormat))
        return 0;
    hRC = wglCreateContext(hDC);
    if (hRC == nullptr)
        return 0;
    wglMakeCurrent(hDC, hRC);
    glEnable(GL_COLOR_MATERIAL);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    return 1;
}

void XBackBuffer::DeleteGL()
{
    if (hRC == nullptr)
        return;
    wglDeleteContext(hRC);
    hRC = nullptr;
}

int XBackBuffer::ResizeGL(int w, int h)
{
    if (hRC == nullptr)
        return 0;
    wglMakeCurrent(hDC, hRC);
    glViewport(0, 0, w, h);
    return 1;
}

void XBackBuffer::ClearGL(COLORREF clr)
{
    wglMakeCurrent(hDC, hRC);
    XfnGLClear(clr);
}

void XBackBuffer::SwapGL()
{
    SwapBuffers(hDC);
}

int XBackBuffer::ReadDIBGL(void* pOut, int x, int y, int w, int h, int nBits)
{
    if (hRC == nullptr)
        return 0;
    XfnGLReadPixels(pOut, x, y, w, h, nHeight, nBits);
    return 1;
}

void XBackBuffer::SetMatrix()
{
    if (nType != TYPE_OPENGL)
        return;
    double w = nWidth * dWorldPerPixel[0] / 2, h = nHeight * dWorldPerPixel[1] / 2;
    double cx = dWorldToCenter[0], cy = dWorldToCenter[1];
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(cx - w, cx + w, cy - h, cy + h, 0.1, dFarDistance);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    gluLookAt(0, 0, dFarDistance / 2, 0, 0, 0, 0, 1, 0);
}

void XBackBuffer::SetFarDistance(double dDistance)
{
    dFarDistance = dDistance;
    if (bLatLongRounding)
        AutoFitForLLRounding();
    SetMatrix();
}

void XBackBuffer::SetCurrent(HDC hdc)
{
    if (hRC != nullptr)
        wglMakeCurrent(hdc, hRC);
}

void XBackBuffer::ShareLists(HGLRC hOther)
{
    if (hRC != nullptr)
        wglShareLists(hOther, hRC);
}

void XBackBuffer::AddGLFont(tagXTextStyle* pStyle)
{
    if (nType != TYPE_OPENGL || hDC == nullptr)
        return;
    wglMakeCurrent(hDC, hRC);
    AddGLFontStatic(pStyle, hDC);
}

void XBackBuffer::AddGLFontStatic(tagXTextStyle* pStyle, HDC)
{
    if (pStyle == nullptr || GetGLFontGlyph(pStyle) != nullptr)
        return;
    GLFontEntry* pEntry = static_cast<GLFontEntry*>(std::calloc(1, sizeof(GLFontEntry)));
    if (pEntry == nullptr)
        return;
    pEntry->nBase = static_cast<int>(glGenLists(256));
    // The outlines are made upright and in the ANSI character set.
    LOGFONTA& lf = pStyle->lf;
    LONG nEscapement = lf.lfEscapement, nOrientation = lf.lfOrientation;
    BYTE nCharSet = lf.lfCharSet;
    lf.lfEscapement = 0;
    lf.lfOrientation = 0;
    lf.lfCharSet = 0;
    BOOL bMade = pEntry->nBase != 0 && XfnUseFontOutlines(&lf, 0, 255, static_cast<DWORD>(pEntry->nBase), 0.0f,
                                                          0.0f, WGL_FONT_POLYGONS, pEntry->glyphs);
    lf.lfEscapement = nEscapement;
    lf.lfOrientation = nOrientation;
    lf.lfCharSet = nCharSet;
    if (bMade) {
        mapGLFont.SetAt(FontKey(pStyle), pEntry);
    } else {
        if (pEntry->nBase != 0)
            glDeleteLists(static_cast<GLuint>(pEntry->nBase), 256);
        std::free(pEntry);
    }
}

_GLYPHMETRICSFLOAT* XBackBuffer::GetGLFontGlyph(tagXTextStyle* pStyle)
{
    void* pEntry = nullptr;
    if (pStyle == nullptr || !mapGLFont.Lookup(FontKey(pStyle), pEntry))
        return nullptr;
    return static_cast<GLFontEntry*>(pEntry)->glyphs;
}

int XBackBuffer::GetGLFont(tagXTextStyle* pStyle)
{
    void* pEntry = nullptr;
    if (pStyle == nullptr || !mapGLFont.Lookup(FontKey(pStyle), pEntry))
        return -1;
    return static_cast<GLFontEntry*>(pEntry)->nBase;
}

int XBackBuffer::GetTextDimensionGL(XString strText, tagXTextStyle* pStyle, double& dWidth, double& dHeight)
{
    const GLYPHMETRICSFLOAT* pGlyphs = GetGLFontGlyph(pStyle);
    if (pGlyphs == nullptr)
        return 0;
    dWidth = 0.0;
    const char* psz = strText;
    for (int i = 0; i < strText.GetLength(); ++i) {
        int c = static_cast<signed char>(psz[i]);
        if (c < 0 || c > 254)
            c = 'A';
        dWidth += pGlyphs[c].gmfCellIncX;
    }
    dHeight = 0.0;
    for (int c = 0; c < 255; ++c) {
        if (pGlyphs[c].gmfBlackBoxY > dHeight)
            dHeight = pGlyphs[c].gmfBlackBoxY;
    }
    return 1;
}

int XBackBuffer::CreateCompositeFont()
{
    // A library that cannot find its own file opens the empty path, which
    // fails like a missing atlas.
    XString strDir = XfnGetModulePath(XfnGetLibraryModule());
    XString strFile = strDir.IsEmpty() ? strDir : strDir + "dotum.xhf";
    return XfnLoadCompositeFont(strFile, nFontTexture, bUseCompositeFont);
}

int XBackBuffer::GetFontTexture(unsigned int& nTexture)
{
    nTexture = nFontTexture;
    return bUseCompositeFont;
}

void XBackBuffer::ReleaseGLFonts()
{
    if (nRefCount != 0 || XBackBuffer3D::GetRefCount() != 0)
        return;
    POSITION pos = mapGLFont.GetStartPosition();
    while (pos != nullptr) {
        XString strKey;
        void* pEntry = nullptr;
        mapGLFont.GetNextAssoc(pos, strKey, pEntry);
        glDeleteLists(static_cast<GLuint>(static_cast<GLFontEntry*>(pEntry)->nBase), 256);
        std::free(pEntry);
    }
    mapGLFont.RemoveAll();
    if (bUseCompositeFont) {
        GLuint nName = nFontTexture;
        glDeleteTextures(1, &nName);
    }
}
