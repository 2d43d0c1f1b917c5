#include "text/XCompositeFont.h"
#include "KVDbase/core/XException.h"
#include "KVDbase/files/XFile.h"

#include <GL/gl.h>

#include <vector>

int XfnLoadCompositeFont(const char* pszFile, unsigned int& nTexture, int& bStarted)
{
    if (bStarted)
        return 1;
    bStarted = 1;
    GLuint nName = 0;
    glGenTextures(1, &nName);
    nTexture = nName;

    XFile file;
    if (!file.Open(pszFile, XFile::flagRead | XFile::flagShareDenyNone, nullptr))
        return 0;
    // On the heap and cleared: 256 KiB is much for a stack, and a short file
    // leaves the rest of the atlas empty.
    std::vector<unsigned char> atlas(XHF_ATLAS_BYTES, 0);
    try {
        file.Read(atlas.data(), XHF_ATLAS_BYTES);
    } catch (const XFileException&) {
        // What was read before the failure stays; the rest is empty.
    }
    file.Close();

    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, nName);
    GLint nAlignment = 4;
    glGetIntegerv(GL_UNPACK_ALIGNMENT, &nAlignment);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_ALPHA, XHF_ATLAS_SIZE, XHF_ATLAS_SIZE, 0, GL_ALPHA, GL_UNSIGNED_BYTE,
                 atlas.data());
    glPixelStorei(GL_UNPACK_ALIGNMENT, nAlignment);
    glDisable(GL_TEXTURE_2D);
    return 1;
}
