// XGLTexture: OpenGL textures from device-independent bitmaps, sized up to
// powers of two for drivers that need them, with 8-bit palette and 16-bit
// 5-5-5 pixels made 24-bit and an optional one-texel border. The texture
// belongs to the caller; the bits stay the caller's. The calling thread needs
// a current OpenGL context. Failure gives texture name 0.
#pragma once

#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

// A texture of the image; sizes that are not powers of two are enlarged by
// nearest-neighbour sampling. With nBorder non-zero both sizes grow by 2 (the
// border texels are black), and OpenGL is told of a border when nBorder is 1.
// A 24- or 32-bit image of power-of-two sizes and unpadded rows goes to the
// driver as it is, with no copy. 0 for a null header, fewer than 8 bits a
// pixel, or no memory.
KVD_API unsigned int XfnCreateGLTextureFromDIB(void* pBits, BITMAPINFO* pInfo, int nBorder);
