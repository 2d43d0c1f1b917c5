// XWGL.h: OpenGL contexts on device contexts, with the Win32 names the
// drawing layer speaks. Contexts come from EGL (Mesa, compatibility profile)
// and draw off screen, with no window system and no GPU needed: a device
// context hosts a GL surface of its own size, and SwapBuffers copies the
// finished frame into the DC's pixels, rows the right way up. A DC whose
// pixels the platform does not know still takes a context, which then draws
// nowhere. Contexts belong to the caller (wglDeleteContext); GL objects belong
// to the context current on the calling thread. Failures return 0 or FALSE.
// This header is for applications that draw with OpenGL on a back buffer's DC
// and is not part of KVDbase.h.
#pragma once

#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

typedef float FLOAT;

// A pixel format request or description, 40 bytes.
struct PIXELFORMATDESCRIPTOR {
    WORD nSize;
    WORD nVersion;
    DWORD dwFlags;
    BYTE iPixelType;
    BYTE cColorBits;
    BYTE cRedBits;
    BYTE cRedShift;
    BYTE cGreenBits;
    BYTE cGreenShift;
    BYTE cBlueBits;
    BYTE cBlueShift;
    BYTE cAlphaBits;
    BYTE cAlphaShift;
    BYTE cAccumBits;
    BYTE cAccumRedBits;
    BYTE cAccumGreenBits;
    BYTE cAccumBlueBits;
    BYTE cAccumAlphaBits;
    BYTE cDepthBits;
    BYTE cStencilBits;
    BYTE cAuxBuffers;
    BYTE iLayerType;
    BYTE bReserved;
    DWORD dwLayerMask;
    DWORD dwVisibleMask;
    DWORD dwDamageMask;
};

enum : DWORD {
    PFD_DOUBLEBUFFER = 0x01,
    PFD_DRAW_TO_WINDOW = 0x04,
    PFD_SUPPORT_OPENGL = 0x20,
};
enum : BYTE { PFD_TYPE_RGBA = 0, PFD_MAIN_PLANE = 0 };

struct POINTFLOAT {
    FLOAT x;
    FLOAT y;
};

// The measures of one outline glyph, in em units (the em is 1.0).
struct _GLYPHMETRICSFLOAT {
    FLOAT gmfBlackBoxX;
    FLOAT gmfBlackBoxY;
    POINTFLOAT gmfptGlyphOrigin;
    FLOAT gmfCellIncX;
    FLOAT gmfCellIncY;
};
typedef _GLYPHMETRICSFLOAT GLYPHMETRICSFLOAT;

enum { WGL_FONT_LINES = 0, WGL_FONT_POLYGONS = 1 };

static_assert(sizeof(PIXELFORMATDESCRIPTOR) == 40, "PIXELFORMATDESCRIPTOR is 40 bytes");
static_assert(sizeof(GLYPHMETRICSFLOAT) == 24, "GLYPHMETRICSFLOAT is 24 bytes");

// The 1-based number of the format closest to the request: RGBA, 8 bits a
// channel, the deepest depth buffer up to cDepthBits. 0 without OpenGL.
KVD_API int ChoosePixelFormat(HDC hdc, const PIXELFORMATDESCRIPTOR* ppfd);
// Fills *ppfd (when not null, nBytes at least 40) and returns the number of
// formats; 0 for a format that does not exist.
KVD_API int DescribePixelFormat(HDC hdc, int iFormat, UINT nBytes, PIXELFORMATDESCRIPTOR* ppfd);
// Gives the DC its format. A DC's format is set once: a second call with
// another format fails, as on a window.
KVD_API BOOL SetPixelFormat(HDC hdc, int iFormat, const PIXELFORMATDESCRIPTOR* ppfd);
KVD_API int GetPixelFormat(HDC hdc);

// A context for DCs of the format of hdc, in the process's one share group;
// null when the DC has no format.
KVD_API HGLRC wglCreateContext(HDC hdc);
// Releases it first if it is current on this thread.
KVD_API BOOL wglDeleteContext(HGLRC hglrc);
// Binds the context to the DC's surface on this thread; a null context
// releases the current one. The DC must have the context's format.
KVD_API BOOL wglMakeCurrent(HDC hdc, HGLRC hglrc);
KVD_API HGLRC wglGetCurrentContext();
KVD_API HDC wglGetCurrentDC();
// hglrcDst joins the lists and textures of hglrcSrc. The contexts of this
// platform all share one group from the start (display lists and textures
// outlive the context that made them until they are deleted), so this
// succeeds at once; a context the driver kept apart is made anew inside the
// source's group, losing its state, as WGL expects of a destination that
// holds no objects yet.
KVD_API BOOL wglShareLists(HGLRC hglrcSrc, HGLRC hglrcDst);
// Finishes the frame of the context current on hdc and copies it into the
// DC's pixels. FALSE when hdc is not the current DC or has no known pixels.
KVD_API BOOL SwapBuffers(HDC hdc);

// Outline glyphs of the face that fontconfig picks for *plf (face name,
// weight, italic; height and orientation don't matter: outlines scale):
// characters nFirst to nFirst + nCount - 1 of the ANSI code page become
// display lists nListBase + i, each drawing its glyph in em units with the
// origin at the base line and ending with a move by its advance, and
// pMetrics (when not null) receives nCount records. Format
// WGL_FONT_POLYGONS fills the glyphs (tessellated), WGL_FONT_LINES draws
// their contours. fDeviation bounds the distance of a flattened curve from
// the outline in em units; 0 takes a fine default. Extrusion is not made:
// the glyphs are flat at z 0. Needs a current context; FALSE when no face
// is found.
KVD_API BOOL XfnUseFontOutlines(const LOGFONTA* plf, DWORD nFirst, DWORD nCount, DWORD nListBase, FLOAT fDeviation,
                                FLOAT fExtrusion, int nFormat, GLYPHMETRICSFLOAT* pMetrics);
