// The glyph atlas of the composite font: 512 rows of 512 coverage bytes, no
// header, read from a file and made an alpha texture. The load is started
// once: the texture name is taken before anything can fail, so a failed load
// is never tried again and later text draws with an empty texture. The
// caller holds the two values (XBackBuffer keeps them class-wide); a current
// OpenGL context is needed.
#pragma once

enum { XHF_ATLAS_SIZE = 512, XHF_ATLAS_BYTES = 512 * 512 };

// 1 when the font is loaded or its load was started before, 0 when this
// first attempt fails (the file is missing). A short file is accepted; the
// texels it does not reach are 0.
int XfnLoadCompositeFont(const char* pszFile, unsigned int& nTexture, int& bStarted);
