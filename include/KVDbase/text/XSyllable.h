// XSyllable: text drawn as textured quads from the glyph atlas of the
// composite font (XBackBuffer::CreateCompositeFont). A Hangul syllable is up
// to three pieces of the atlas (initial consonant, vowel, final consonant),
// each in the shape that fits its neighbours, drawn over one another in one
// quad; an ASCII character is one piece. Stateless; the calling thread needs
// a current OpenGL context. Nothing is reported: what cannot be drawn is
// left out.
#pragma once

#include "KVDbase/geometry/XVector.h"
#include "KVDbase/platform/Export.h"

// The atlas cells of a character: initial (or the one piece of an ASCII or
// stand-alone jamo character), vowel and final, each -1 when absent. Blanks,
// control characters and characters of no range give three -1.
KVD_API void XfnGetSyllableGlyphs(wchar_t ch, int* pGlyphs);

// Emits the quads of one character: x, y of four corners in pQuad, the
// texture's top left at corner 0, bottom left at 1, bottom right at 2. The
// caller is between glBegin(GL_QUADS) and glEnd with the atlas bound.
KVD_API void XfnDrawSyllable(wchar_t ch, double* pQuad);

// Draws nLength bytes of UTF-8 text along the base line from corner 0 to
// corner 3 of pCorners, with the glyph tops along corner 1; every character
// takes the same width. Draws nothing without a composite font. Colour comes
// from the current OpenGL colour; blending is left enabled.
KVD_API void XfnRenderText(const char* pszText, int nLength, tagXVector3* pCorners);
