// OpenGL contexts over EGL. One EGL display serves the process: Mesa's
// surfaceless platform when it is there (no display server, no GPU: llvmpipe
// renders), else the first EGL device, else the default display. A DC's GL
// surface is a pbuffer of the DC's size, made when a context is first bound
// to it and made anew when the DC's size changes; SwapBuffers reads the back
// buffer into the DC's pixels. A DC's drawable rides on the DC (its GL
// attachment), so it goes when the DC is deleted. The table of drawables is
// guarded by one lock; which context is current is per thread, as in EGL.
#include "KVDbase/platform/XWGL.h"
#include "platform/XSysDC.h"

// Buffer binding is past OpenGL 1.1: its prototype comes from glext.h.
#define GL_GLEXT_PROTOTYPES 1
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GL/gl.h>
#include <GL/glext.h>

#include <cstring>
#include <mutex>
#include <unordered_map>
#include <vector>

struct HGLRC__ {
    EGLContext ctx;
    int nFormat;
    bool bInCommonGroup; // shares with every other context of the process
};

namespace {

struct Display {
    EGLDisplay dpy = EGL_NO_DISPLAY;
    std::vector<EGLConfig> formats;
};

struct Drawable {
    HDC hdc = nullptr;
    int nFormat = 0;
    EGLSurface surf = EGL_NO_SURFACE;
    int nWidth = 0;
    int nHeight = 0;
};

std::mutex g_lock;
std::unordered_map<HDC, Drawable*> g_dcs;
thread_local HGLRC t_rc = nullptr;
thread_local HDC t_dc = nullptr;

bool HasExtension(const char* pszList, const char* pszName)
{
    if (pszList == nullptr)
        return false;
    size_t n = std::strlen(pszName);
    for (const char* p = std::strstr(pszList, pszName); p != nullptr; p = std::strstr(p + n, pszName)) {
        if ((p == pszList || p[-1] == ' ') && (p[n] == ' ' || p[n] == '\0'))
            return true;
    }
    return false;
}

EGLDisplay OpenDisplay()
{
    const char* pszClient = eglQueryString(EGL_NO_DISPLAY, EGL_EXTENSIONS);
    auto pfnGetPlatformDisplay =
        reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(eglGetProcAddress("eglGetPlatformDisplayEXT"));
    EGLint nMajor = 0, nMinor = 0;
    if (pfnGetPlatformDisplay != nullptr && HasExtension(pszClient, "EGL_MESA_platform_surfaceless")) {
        EGLDisplay dpy = pfnGetPlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, EGL_DEFAULT_DISPLAY, nullptr);
        if (dpy != EGL_NO_DISPLAY && eglInitialize(dpy, &nMajor, &nMinor))
            return dpy;
    }
    auto pfnQueryDevices = reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
    if (pfnGetPlatformDisplay != nullptr && pfnQueryDevices != nullptr &&
        HasExtension(pszClient, "EGL_EXT_platform_device")) {
        EGLDeviceEXT devices[8];
        EGLint nDevices = 0;
        if (pfnQueryDevices(8, devices, &nDevices)) {
            for (EGLint i = 0; i < nDevices; ++i) {
                EGLDisplay dpy = pfnGetPlatformDisplay(EGL_PLATFORM_DEVICE_EXT, devices[i], nullptr);
                if (dpy != EGL_NO_DISPLAY && eglInitialize(dpy, &nMajor, &nMinor))
                    return dpy;
            }
        }
    }
    EGLDisplay dpy = eglGetDisplay(EGL_DEFAULT_DISPLAY);
    if (dpy != EGL_NO_DISPLAY && eglInitialize(dpy, &nMajor, &nMinor))
        return dpy;
    return EGL_NO_DISPLAY;
}

// The formats on offer: 8 bits of red, green and blue, with or without
// alpha, drawable to a pbuffer with desktop OpenGL, in EGL's own order.
const Display& GetDisplay()
{
    static const Display display = [] {
        Display d;
        d.dpy = OpenDisplay();
        if (d.dpy == EGL_NO_DISPLAY || !eglBindAPI(EGL_OPENGL_API))
            return d;
        const EGLint attribs[] = {EGL_RED_SIZE,     8, EGL_GREEN_SIZE,      8,
                                  EGL_BLUE_SIZE,    8, EGL_SURFACE_TYPE,    EGL_PBUFFER_BIT,
                                  EGL_RENDERABLE_TYPE, EGL_OPENGL_BIT, EGL_NONE};
        EGLint n = 0;
        if (!eglChooseConfig(d.dpy, attribs, nullptr, 0, &n) || n <= 0)
            return d;
        std::vector<EGLConfig> all(n);
        eglChooseConfig(d.dpy, attribs, all.data(), n, &n);
        for (EGLint i = 0; i < n; ++i) {
            EGLint r = 0, g = 0, b = 0, a = 0;
            eglGetConfigAttrib(d.dpy, all[i], EGL_RED_SIZE, &r);
            eglGetConfigAttrib(d.dpy, all[i], EGL_GREEN_SIZE, &g);
            eglGetConfigAttrib(d.dpy, all[i], EGL_BLUE_SIZE, &b);
            eglGetConfigAttrib(d.dpy, all[i], EGL_ALPHA_SIZE, &a);
            if (r == 8 && g == 8 && b == 8 && (a == 0 || a == 8))
                d.formats.push_back(all[i]);
        }
        return d;
    }();
    return display;
}

EGLint ConfigValue(EGLConfig cfg, EGLint nAttrib)
{
    EGLint v = 0;
    eglGetConfigAttrib(GetDisplay().dpy, cfg, nAttrib, &v);
    return v;
}

bool ValidFormat(int iFormat)
{
    return iFormat >= 1 && iFormat <= static_cast<int>(GetDisplay().formats.size());
}

EGLContext NewContext(int nFormat, EGLContext share)
{
    const Display& d = GetDisplay();
    eglBindAPI(EGL_OPENGL_API);
    EGLConfig cfg = d.formats[nFormat - 1];
    const EGLint compat[] = {EGL_CONTEXT_OPENGL_PROFILE_MASK, EGL_CONTEXT_OPENGL_COMPATIBILITY_PROFILE_BIT,
                             EGL_NONE};
    EGLContext ctx = eglCreateContext(d.dpy, cfg, share, compat);
    if (ctx == EGL_NO_CONTEXT) // an EGL before 1.5 knows no profile: its desktop contexts are compatible ones
        ctx = eglCreateContext(d.dpy, cfg, share, nullptr);
    return ctx;
}

// The DC's surface at the DC's present size: kept, or made (anew). Under the
// lock. EGL_NO_SURFACE for a DC with no known pixels.
EGLSurface SurfaceFor(HDC hdc, Drawable& dr)
{
    XSysPixels px{};
    if (!XfnSysBeginPixels(hdc, px) || px.nWidth <= 0 || px.nHeight <= 0)
        return EGL_NO_SURFACE;
    if (dr.surf != EGL_NO_SURFACE && dr.nWidth == px.nWidth && dr.nHeight == px.nHeight)
        return dr.surf;
    const Display& d = GetDisplay();
    const EGLint attribs[] = {EGL_WIDTH, px.nWidth, EGL_HEIGHT, px.nHeight, EGL_NONE};
    EGLSurface surf = eglCreatePbufferSurface(d.dpy, d.formats[dr.nFormat - 1], attribs);
    if (surf == EGL_NO_SURFACE)
        return dr.surf;
    if (dr.surf != EGL_NO_SURFACE)
        eglDestroySurface(d.dpy, dr.surf); // deferred by EGL while a thread still draws on it
    dr.surf = surf;
    dr.nWidth = px.nWidth;
    dr.nHeight = px.nHeight;
    return surf;
}

// Copies the bound surface's back buffer into the DC's pixels.
void CopyFrame(const Drawable& dr, const XSysPixels& px)
{
    int w = px.nWidth < dr.nWidth ? px.nWidth : dr.nWidth;
    int h = px.nHeight < dr.nHeight ? px.nHeight : dr.nHeight;
    if (w <= 0 || h <= 0)
        return;
    GLint nReadBuffer = 0, nPackBuffer = 0;
    glGetIntegerv(GL_READ_BUFFER, &nReadBuffer);
    glGetIntegerv(GL_PIXEL_PACK_BUFFER_BINDING, &nPackBuffer);
    glPushClientAttrib(GL_CLIENT_PIXEL_STORE_BIT);
    glBindBuffer(GL_PIXEL_PACK_BUFFER, 0);
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glPixelStorei(GL_PACK_ROW_LENGTH, 0);
    glPixelStorei(GL_PACK_SKIP_ROWS, 0);
    glPixelStorei(GL_PACK_SKIP_PIXELS, 0);
    glReadBuffer(GL_BACK);
    // GL counts rows from the bottom, and the frame's top row is GL row
    // dr.nHeight - 1: a DC smaller than the surface keeps the frame's top
    // part. A bottom-up DC of exactly the width takes the rows as they come,
    // anything else goes row by row through a scratch.
    if (px.nStride == -static_cast<ptrdiff_t>(w) * 4) {
        glReadPixels(0, dr.nHeight - h, w, h, GL_BGRA, GL_UNSIGNED_BYTE, px.Row(h - 1));
    } else {
        static thread_local std::vector<BYTE> scratch;
        scratch.resize(static_cast<size_t>(w) * h * 4);
        glReadPixels(0, dr.nHeight - h, w, h, GL_BGRA, GL_UNSIGNED_BYTE, scratch.data());
        for (int r = 0; r < h; ++r)
            std::memcpy(px.Row(h - 1 - r), scratch.data() + static_cast<size_t>(r) * w * 4, static_cast<size_t>(w) * 4);
    }
    glReadBuffer(nReadBuffer);
    glPopClientAttrib();
    glBindBuffer(GL_PIXEL_PACK_BUFFER, nPackBuffer);
}

// Runs when the DC is deleted (or its attachment replaced).
void FreeDrawable(void* p)
{
    Drawable* dr = static_cast<Drawable*>(p);
    {
        std::lock_guard<std::mutex> guard(g_lock);
        auto it = g_dcs.find(dr->hdc);
        if (it != g_dcs.end() && it->second == dr)
            g_dcs.erase(it);
    }
    if (dr->surf != EGL_NO_SURFACE)
        eglDestroySurface(GetDisplay().dpy, dr->surf); // deferred by EGL while a thread still draws on it
    delete dr;
}

Drawable* FindDrawable(HDC hdc)
{
    auto it = g_dcs.find(hdc);
    return it == g_dcs.end() ? nullptr : it->second;
}

} // namespace

int ChoosePixelFormat(HDC, const PIXELFORMATDESCRIPTOR* ppfd)
{
    const Display& d = GetDisplay();
    if (ppfd == nullptr || d.formats.empty())
        return 0;
    bool bAlpha = ppfd->cColorBits >= 32 || ppfd->cAlphaBits > 0;
    int nBest = 0;
    long nBestScore = -1;
    for (size_t i = 0; i < d.formats.size(); ++i) {
        EGLint nAlpha = ConfigValue(d.formats[i], EGL_ALPHA_SIZE);
        EGLint nDepth = ConfigValue(d.formats[i], EGL_DEPTH_SIZE);
        EGLint nStencil = ConfigValue(d.formats[i], EGL_STENCIL_SIZE);
        // Alpha as asked first, then the deepest depth buffer not beyond the
        // request (a deeper one only when nothing fits), then the stencil
        // nearest the request.
        long nScore = ((nAlpha > 0) == bAlpha) ? 1L << 24 : 0;
        nScore += nDepth <= ppfd->cDepthBits ? (64 + nDepth) << 8 : (64 - nDepth) << 8;
        EGLint nWant = ppfd->cStencilBits;
        nScore += 255 - (nStencil > nWant ? nStencil - nWant : 2 * (nWant - nStencil));
        if (nScore > nBestScore) {
            nBestScore = nScore;
            nBest = static_cast<int>(i) + 1;
        }
    }
    return nBest;
}

int DescribePixelFormat(HDC, int iFormat, UINT nBytes, PIXELFORMATDESCRIPTOR* ppfd)
{
    if (!ValidFormat(iFormat))
        return 0;
    if (ppfd != nullptr && nBytes >= sizeof(PIXELFORMATDESCRIPTOR)) {
        EGLConfig cfg = GetDisplay().formats[iFormat - 1];
        PIXELFORMATDESCRIPTOR pfd{};
        pfd.nSize = sizeof(pfd);
        pfd.nVersion = 1;
        pfd.dwFlags = PFD_DRAW_TO_WINDOW | PFD_SUPPORT_OPENGL | PFD_DOUBLEBUFFER;
        pfd.iPixelType = PFD_TYPE_RGBA;
        pfd.cRedBits = pfd.cGreenBits = pfd.cBlueBits = 8;
        pfd.cBlueShift = 0;
        pfd.cGreenShift = 8;
        pfd.cRedShift = 16;
        pfd.cAlphaBits = static_cast<BYTE>(ConfigValue(cfg, EGL_ALPHA_SIZE));
        pfd.cAlphaShift = pfd.cAlphaBits ? 24 : 0;
        pfd.cColorBits = static_cast<BYTE>(24 + pfd.cAlphaBits);
        pfd.cDepthBits = static_cast<BYTE>(ConfigValue(cfg, EGL_DEPTH_SIZE));
        pfd.cStencilBits = static_cast<BYTE>(ConfigValue(cfg, EGL_STENCIL_SIZE));
        pfd.iLayerType = PFD_MAIN_PLANE;
        *ppfd = pfd;
    }
    return static_cast<int>(GetDisplay().formats.size());
}

BOOL SetPixelFormat(HDC hdc, int iFormat, const PIXELFORMATDESCRIPTOR*)
{
    if (hdc == nullptr || !ValidFormat(iFormat))
        return FALSE;
    Drawable* dr = nullptr;
    {
        std::lock_guard<std::mutex> guard(g_lock);
        if (Drawable* old = FindDrawable(hdc))
            return old->nFormat == iFormat;
        dr = new Drawable;
        dr->hdc = hdc;
        dr->nFormat = iFormat;
        g_dcs[hdc] = dr;
    }
    // Outside the lock: replacing an attachment frees the old one, which
    // takes the lock. A DC the device layer does not know keeps its drawable
    // for the life of the process.
    XfnSysSetDCAttachment(hdc, XSYS_DC_SLOT_GL, dr, &FreeDrawable);
    return TRUE;
}

int GetPixelFormat(HDC hdc)
{
    std::lock_guard<std::mutex> guard(g_lock);
    Drawable* dr = FindDrawable(hdc);
    return dr == nullptr ? 0 : dr->nFormat;
}

HGLRC wglCreateContext(HDC hdc)
{
    int nFormat = GetPixelFormat(hdc);
    if (nFormat == 0)
        return nullptr;
    // Every context joins one share group, held by a context that lives as
    // long as the process: display lists and textures outlive the context
    // that made them and are seen by every other, as the class-wide font
    // cache and the atlas texture need, and wglShareLists has nothing left
    // to do. A driver that refuses the group gets a context of its own.
    static const EGLContext root = NewContext(1, EGL_NO_CONTEXT);
    EGLContext ctx = root == EGL_NO_CONTEXT ? EGL_NO_CONTEXT : NewContext(nFormat, root);
    bool bShared = ctx != EGL_NO_CONTEXT;
    if (!bShared)
        ctx = NewContext(nFormat, EGL_NO_CONTEXT);
    if (ctx == EGL_NO_CONTEXT)
        return nullptr;
    return new HGLRC__{ctx, nFormat, bShared};
}

BOOL wglDeleteContext(HGLRC hglrc)
{
    if (hglrc == nullptr)
        return FALSE;
    if (t_rc == hglrc)
        wglMakeCurrent(nullptr, nullptr);
    eglDestroyContext(GetDisplay().dpy, hglrc->ctx);
    delete hglrc;
    return TRUE;
}

BOOL wglMakeCurrent(HDC hdc, HGLRC hglrc)
{
    const Display& d = GetDisplay();
    if (d.dpy == EGL_NO_DISPLAY)
        return FALSE;
    eglBindAPI(EGL_OPENGL_API);
    if (hglrc == nullptr) {
        eglMakeCurrent(d.dpy, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        t_rc = nullptr;
        t_dc = nullptr;
        return TRUE;
    }
    if (hdc == nullptr)
        return FALSE;
    EGLSurface surf;
    {
        std::lock_guard<std::mutex> guard(g_lock);
        Drawable* dr = FindDrawable(hdc);
        if (dr == nullptr || dr->nFormat != hglrc->nFormat)
            return FALSE;
        surf = SurfaceFor(hdc, *dr);
    }
    if (!eglMakeCurrent(d.dpy, surf, surf, hglrc->ctx))
        return FALSE;
    t_rc = hglrc;
    t_dc = hdc;
    return TRUE;
}

HGLRC wglGetCurrentContext()
{
    return t_rc;
}

HDC wglGetCurrentDC()
{
    return t_dc;
}

BOOL wglShareLists(HGLRC hglrcSrc, HGLRC hglrcDst)
{
    if (hglrcSrc == nullptr || hglrcDst == nullptr || hglrcSrc == hglrcDst)
        return FALSE;
    if (hglrcSrc->bInCommonGroup && hglrcDst->bInCommonGroup)
        return TRUE;
    // EGL groups contexts only when one is made: the destination is made
    // anew inside the source's group.
    EGLContext ctx = NewContext(hglrcDst->nFormat, hglrcSrc->ctx);
    if (ctx == EGL_NO_CONTEXT)
        return FALSE;
    EGLContext old = hglrcDst->ctx;
    hglrcDst->ctx = ctx;
    hglrcDst->bInCommonGroup = hglrcSrc->bInCommonGroup;
    if (t_rc == hglrcDst) {
        const Display& d = GetDisplay();
        EGLSurface surf = eglGetCurrentSurface(EGL_DRAW);
        eglMakeCurrent(d.dpy, surf, surf, ctx);
    }
    eglDestroyContext(GetDisplay().dpy, old);
    return TRUE;
}

BOOL SwapBuffers(HDC hdc)
{
    if (hdc == nullptr || t_dc != hdc || t_rc == nullptr)
        return FALSE;
    Drawable dr;
    {
        std::lock_guard<std::mutex> guard(g_lock);
        Drawable* p = FindDrawable(hdc);
        if (p == nullptr || p->surf == EGL_NO_SURFACE || eglGetCurrentSurface(EGL_DRAW) != p->surf)
            return FALSE;
        dr = *p;
    }
    XSysPixels px{};
    if (!XfnSysBeginPixels(hdc, px))
        return FALSE;
    glFinish();
    CopyFrame(dr, px);
    XfnSysEndPixels(hdc);
    return TRUE;
}
