#include "drawing/XGLRead.h"
#include "KVDbase/drawing/XDIB.h"
#include "drawing/XDIBConvert.h"

#include <GL/gl.h>
#include <GL/glext.h>

int XfnGLReadDIB(void* pOut, BITMAPINFO* pInfo, int x, int y, int w, int h, int nWidth, int nHeight, int nBits)
{
    if (!XfnCheckDIBRead(pOut, pInfo, x, y, w, h, nWidth, nHeight, nBits))
        return 0;
    BITMAPINFOHEADER& hdr = pInfo->bmiHeader;
    // biSizeImage is left as the caller had it.
    hdr = BITMAPINFOHEADER{40, w, h, 1, static_cast<WORD>(nBits), 0, hdr.biSizeImage, 0, 0, 0, 0};
    XfnGLReadPixels(pOut, x, y, w, h, nHeight, nBits);
    return 1;
}

void XfnGLReadPixels(void* pOut, int x, int y, int w, int h, int nHeight, int nBits)
{
    GLint nAlignment = 4;
    glGetIntegerv(GL_PACK_ALIGNMENT, &nAlignment);
    if (nAlignment != 4)
        glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glReadBuffer(GL_BACK);
    glReadPixels(x, nHeight - y - h, w, h, nBits == 24 ? GL_BGR_EXT : GL_BGRA_EXT, GL_UNSIGNED_BYTE, pOut);
    if (nAlignment != 4)
        glPixelStorei(GL_PACK_ALIGNMENT, nAlignment);
}

void XfnGLClear(COLORREF clr)
{
    glClearColor((clr & 0xFF) / 255.0f, ((clr >> 8) & 0xFF) / 255.0f, ((clr >> 16) & 0xFF) / 255.0f, 1.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
}
