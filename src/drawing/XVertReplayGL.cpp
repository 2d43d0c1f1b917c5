// The replay of path 2 buffers with immediate-mode OpenGL into the current
// context. World coordinates go to OpenGL as they are (the back buffer's
// SetMatrix put the view into the projection); each shape is drawn relative
// to its first point, so that the large part of a projected map's
// coordinates goes through the matrix in double precision. Image records
// cache their texture; Free deletes it through ReleaseRecord.
#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/drawing/XVertBuffer.h"
#include "KVDbase/text/XSyllable.h"
#include "drawing/XVertRecord.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <GL/glu.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <vector>

using namespace XVertRecord;

namespace {

// The walk's own state; nothing of the buffer's last-recorded fields.
struct GLWalk {
    COLORREF clrLine = 0xFF000000, clrFore = 0xFF000000, clrBack = 0xFFFFFFFF;
    double dLineAlpha = 1.0, dForeAlpha = 1.0, dBackAlpha = 1.0;
    double dLineWidthSeen = 0.0, dTextSizeSeen = 0.0, dTextSize = 0.0;
    tagXLineStyle lineStyle;
    tagXFillStyle fillStyle;
    tagXTextStyle textStyle;
    int nPolyFillMode = 0;
};

// One tessellation pass: vertices where edges cross live until it ends.
std::deque<std::vector<double>>* g_pCombined = nullptr;

void APIENTRY TessCombine(GLdouble coords[3], void*[4], GLfloat[4], void** ppOut)
{
    g_pCombined->push_back({coords[0], coords[1], coords[2]});
    *ppOut = g_pCombined->back().data();
}

void TessellatePass(double* pLocal, int n)
{
    GLUtesselator* tess = gluNewTess();
    if (tess == nullptr)
        return;
    std::deque<std::vector<double>> combined;
    g_pCombined = &combined;
    typedef void(APIENTRY * TessFn)();
    gluTessCallback(tess, GLU_TESS_BEGIN, reinterpret_cast<TessFn>(&glBegin));
    gluTessCallback(tess, GLU_TESS_VERTEX, reinterpret_cast<TessFn>(&glVertex3dv));
    gluTessCallback(tess, GLU_TESS_END, reinterpret_cast<TessFn>(&glEnd));
    // A ring that crosses itself still fills.
    gluTessCallback(tess, GLU_TESS_COMBINE, reinterpret_cast<TessFn>(&TessCombine));
    gluTessBeginPolygon(tess, nullptr);
    gluTessBeginContour(tess);
    gluNextContour(tess, GLU_UNKNOWN);
    for (int i = 0; i < n; ++i)
        gluTessVertex(tess, pLocal + 3 * i, pLocal + 3 * i);
    gluTessEndContour(tess);
    gluTessEndPolygon(tess);
    gluDeleteTess(tess);
    g_pCombined = nullptr;
}

void ColorUB(COLORREF clr, double dAlpha)
{
    glColor4ub(static_cast<GLubyte>(clr & 0xFF), static_cast<GLubyte>((clr >> 8) & 0xFF),
               static_cast<GLubyte>((clr >> 16) & 0xFF), static_cast<GLubyte>(static_cast<int>(dAlpha * 255.0)));
}

// The n points (x, y, z doubles) as one primitive relative to the first,
// with a last vertex at the first when bClose.
void DrawLocal(GLenum nMode, const BYTE* pPoints, int n, bool bClose)
{
    if (n <= 0)
        return;
    double ox = GetF64(pPoints), oy = GetF64(pPoints + 8), oz = GetF64(pPoints + 16);
    glTranslated(ox, oy, oz);
    glBegin(nMode);
    for (int i = 0; i < n; ++i) {
        const BYTE* p = pPoints + i * POINT_BYTES;
        glVertex3d(GetF64(p) - ox, GetF64(p + 8) - oy, GetF64(p + 16) - oz);
    }
    if (bClose)
        glVertex3d(0.0, 0.0, 0.0);
    glEnd();
    glTranslated(-ox, -oy, -oz);
}

// A ring: the background pass in the back colour and the stippled pass in
// the fore colour (neither for a solid or hollow style), then the outline.
void DrawPolygon(const BYTE* pPoints, int n, const GLWalk& w)
{
    if (n <= 0)
        return;
    int nStyle = w.fillStyle.GetStyle();
    if (nStyle == tagXFillStyle::STYLE_HOLLOW) {
        DrawLocal(GL_LINE_STRIP, pPoints, n, true);
        return;
    }
    double ox = GetF64(pPoints), oy = GetF64(pPoints + 8), oz = GetF64(pPoints + 16);
    glTranslated(ox, oy, oz);
    bool bBackPass = w.dBackAlpha != 0.0 && nStyle != tagXFillStyle::STYLE_SOLID;
    bool bForePass = w.dForeAlpha != 0.0 && nStyle != tagXFillStyle::STYLE_SOLID;
    // Culling is off while the passes fill and on after them; a polygon with
    // no pass (a solid one) only needs it on, which spares OpenGL a state
    // change between outlines.
    if (bBackPass || bForePass) {
        double* pLocal = static_cast<double*>(std::malloc(sizeof(double) * 3 * static_cast<size_t>(n)));
        if (pLocal == nullptr) {
            glTranslated(-ox, -oy, -oz);
            return;
        }
        for (int i = 0; i < n; ++i) {
            const BYTE* p = pPoints + i * POINT_BYTES;
            pLocal[3 * i] = GetF64(p) - ox;
            pLocal[3 * i + 1] = GetF64(p + 8) - oy;
            pLocal[3 * i + 2] = GetF64(p + 16) - oz;
        }
        glDisable(GL_CULL_FACE);
        glPolygonMode(GL_FRONT, GL_FILL);
        if (bBackPass) {
            glDisable(GL_POLYGON_STIPPLE);
            ColorUB(w.clrBack, w.dBackAlpha);
            TessellatePass(pLocal, n);
        }
        if (bForePass) {
            glEnable(GL_POLYGON_STIPPLE);
            ColorUB(w.clrFore, w.dForeAlpha);
            TessellatePass(pLocal, n);
        }
        std::free(pLocal);
    } else {
        glPolygonMode(GL_FRONT, GL_FILL);
    }
    glEnable(GL_CULL_FACE);
    if (w.dLineAlpha != 0.0) {
        if (w.clrLine != w.clrFore)
            ColorUB(w.clrLine, w.dLineAlpha);
        glBegin(GL_LINE_STRIP);
        for (int i = 0; i < n; ++i) {
            const BYTE* p = pPoints + i * POINT_BYTES;
            glVertex3d(GetF64(p) - ox, GetF64(p + 8) - oy, GetF64(p + 16) - oz);
        }
        glVertex3d(0.0, 0.0, 0.0);
        glEnd();
    }
    glTranslated(-ox, -oy, -oz);
}

class XVertReplayGL : public XVertReplay {
public:
    XVertReplayGL() { XVertReplay::Install(XVertBuffer::PATH_GL, this); }
    void Draw(XVertBuffer* pBuffer, XBackBuffer* pBack) override;
    void ReleaseRecord(XVertBuffer* pBuffer, void* pRecord) override;

private:
    static void DrawText(XVertBuffer* pBuffer, const BYTE* pRecord, const GLWalk& w);
    static void DrawImage(XVertBuffer* pBuffer, BYTE* pRecord);
    static bool InBox(XVertBuffer* pBuffer, const BYTE* pExtent)
    {
        return IsInClipRegion(pBuffer, GetF64(pExtent), GetF64(pExtent + 8), GetF64(pExtent + 16),
                              GetF64(pExtent + 24));
    }
};

XVertReplayGL g_replayGL;

void XVertReplayGL::Draw(XVertBuffer* pBuffer, XBackBuffer* pBack)
{
    CalcClipRegion(pBuffer, pBack);
    // The scratch of the GDI replay, sized alike: this path does not use it,
    // but a buffer that cannot have it draws on no path.
    int nBytes = pBuffer->GetMaxPoints() * 8 + 8;
    if (PointsBytes(pBuffer) < nBytes) {
        std::free(Points(pBuffer));
        Points(pBuffer) = std::malloc(nBytes);
        PointsBytes(pBuffer) = Points(pBuffer) != nullptr ? nBytes : 0;
        if (Points(pBuffer) == nullptr)
            return;
    }
    GLWalk w;
    for (int i = 0; i < pBuffer->GetRecordCount(); ++i) {
        BYTE* r = static_cast<BYTE*>(pBuffer->GetRecord(i));
        switch (Kind(r)) {
        case XVertBuffer::KIND_LINECOLOR: {
            COLORREF clr = GetU32(r + OFS_VALUE) & 0xFFFFFF;
            if (clr != w.clrLine || w.dLineAlpha != 1.0) {
                w.clrLine = clr;
                w.dLineAlpha = 1.0;
                glEnable(GL_BLEND);
                glColor4f((clr & 0xFF) / 255.0f, ((clr >> 8) & 0xFF) / 255.0f, ((clr >> 16) & 0xFF) / 255.0f, 1.0f);
            }
            break;
        }
        case XVertBuffer::KIND_FORECOLOR:
            w.clrFore = GetU32(r + OFS_VALUE) & 0xFFFFFF;
            w.dForeAlpha = 1.0;
            break;
        case XVertBuffer::KIND_BACKCOLOR:
            w.clrBack = GetU32(r + OFS_VALUE) & 0xFFFFFF;
            w.dBackAlpha = 1.0;
            break;
        case XVertBuffer::KIND_LINESTYLE: {
            tagXLineStyle style;
            style.nPattern = GetU16(r + 4);
            style.nFactor = GetI32(r + 8);
            style.nPenBits = GetU32(r + 12);
            style.nSolidPenBits = GetU32(r + 16);
            if (style != w.lineStyle) {
                w.lineStyle = style;
                if (style.GetStyle() == tagXLineStyle::STYLE_SOLID) {
                    glDisable(GL_LINE_STIPPLE);
                } else {
                    glEnable(GL_LINE_STIPPLE);
                    glLineStipple(style.nFactor, style.nPattern);
                }
            }
            break;
        }
        case XVertBuffer::KIND_LINEWIDTH: {
            double dWidth = GetF64(r + OFS_VALUE);
            if (dWidth != w.dLineWidthSeen) {
                w.dLineWidthSeen = dWidth;
                // A negative width is in pixels; a positive one is a world length.
                double dPixels = -dWidth, dUnused = 0.0;
                if (dWidth >= 0.0) {
                    dPixels = dWidth;
                    if (pBack != nullptr)
                        pBack->ConvWorldToPixelLength(dPixels, dUnused);
                }
                glLineWidth(dPixels > 1.0 ? static_cast<GLfloat>(dPixels) : 1.0f);
            }
            break;
        }
        case XVertBuffer::KIND_FILLSTYLE: {
            tagXFillStyle style;
            std::memcpy(style.Pattern, r + 4, tagXFillStyle::PATTERN_BYTES);
            style.nStyle = GetI32(r + 4 + tagXFillStyle::PATTERN_BYTES);
            if (style != w.fillStyle) {
                w.fillStyle = style;
                if (style.GetStyle() == tagXFillStyle::STYLE_SOLID || style.GetStyle() == tagXFillStyle::STYLE_HOLLOW) {
                    glDisable(GL_POLYGON_STIPPLE);
                } else {
                    glEnable(GL_POLYGON_STIPPLE);
                    glPolygonStipple(style.Pattern);
                }
            }
            break;
        }
        case XVertBuffer::KIND_TEXTSTYLE: {
            tagXTextStyle style;
            style.nAlign = GetI32(r + 4);
            LOGFONTA& lf = style.lf;
            lf.lfHeight = GetI32(r + 8);
            lf.lfWidth = GetI32(r + 12);
            lf.lfEscapement = GetI32(r + 16);
            lf.lfOrientation = GetI32(r + 20);
            lf.lfWeight = GetI32(r + 24);
            BYTE* aBytes[8] = {&lf.lfItalic,       &lf.lfUnderline,     &lf.lfStrikeOut, &lf.lfCharSet,
                               &lf.lfOutPrecision, &lf.lfClipPrecision, &lf.lfQuality,   &lf.lfPitchAndFamily};
            for (int b = 0; b < 8; ++b)
                *aBytes[b] = r[28 + b];
            std::memcpy(lf.lfFaceName, r + 36, sizeof(lf.lfFaceName));
            if (style != w.textStyle)
                w.textStyle = style;
            break;
        }
        case XVertBuffer::KIND_TEXTSIZE: {
            double dSize = GetF64(r + OFS_VALUE);
            if (dSize != w.dTextSizeSeen) {
                w.dTextSizeSeen = dSize;
                w.dTextSize = dSize;
                double dUnused = 0.0;
                if (pBuffer->GetFontSizeFlag() == 0 && pBack != nullptr)
                    pBack->ConvWorldToPixelLength(w.dTextSize, dUnused);
            }
            break;
        }
        case XVertBuffer::KIND_LINE: {
            const BYTE* p = r + 4;
            double x1 = GetF64(p), y1 = GetF64(p + 8), x2 = GetF64(p + 24), y2 = GetF64(p + 32);
            if (IsInClipRegion(pBuffer, std::fmin(x1, x2), std::fmin(y1, y2), std::fmax(x1, x2), std::fmax(y1, y2)))
                DrawLocal(GL_LINE_STRIP, p, 2, false);
            break;
        }
        case XVertBuffer::KIND_POLYLINE:
            if (InBox(pBuffer, r + OFS_EXTENT))
                DrawLocal(GL_LINE_STRIP, r + OFS_POINTS, GetI32(r + OFS_COUNT), false);
            break;
        case XVertBuffer::KIND_POLYPOINT:
            DrawLocal(GL_POINTS, r + OFS_POINTS, GetI32(r + OFS_COUNT), false);
            break;
        case XVertBuffer::KIND_POLYGON:
            if (InBox(pBuffer, r + OFS_EXTENT))
                DrawPolygon(r + OFS_POINTS, GetI32(r + OFS_COUNT), w);
            break;
        case XVertBuffer::KIND_TEXT:
            DrawText(pBuffer, r, w);
            break;
        case XVertBuffer::KIND_DIB:
            DrawImage(pBuffer, r);
            break;
        case XVertBuffer::KIND_POLYFILLMODE:
            w.nPolyFillMode = GetI32(r + OFS_VALUE);
            break;
        case XVertBuffer::KIND_POLYPOLYGON: {
            if (!InBox(pBuffer, r + OFS_EXTENT))
                break;
            // Rings don't cut holes on this path: each is a polygon of its own.
            int nRings = GetI32(r + OFS_COUNT);
            const BYTE* pPoints = r + OFS_POINTS + 4 * nRings;
            for (int k = 0; k < nRings; ++k) {
                int n = GetI32(r + OFS_POINTS + 4 * k);
                DrawPolygon(pPoints, n, w);
                pPoints += static_cast<ptrdiff_t>(n) * POINT_BYTES;
            }
            break;
        }
        default:
            break;
        }
    }
    glFlush();
}

void XVertReplayGL::DrawText(XVertBuffer* pBuffer, const BYTE* r, const GLWalk& w)
{
    double x = GetF64(r + 4), y = GetF64(r + 12), z = GetF64(r + 20);
    int n = GetI32(r + OFS_TEXT_COUNT);
    const char* pszText = reinterpret_cast<const char*>(r + OFS_TEXT_CHARS);
    double s = w.dTextSize;
    bool bStroke = false;
    for (int i = 0; i < n && !bStroke; ++i)
        bStroke = (static_cast<BYTE>(pszText[i]) & 0x80) != 0;

    tagXTextStyle style = w.textStyle;
    int nAlign = style.nAlign;
    double k = 1.0, dWidth = 0.0, dHeight = 0.0, dShiftX = 0.0, dShiftY = 0.0;
    if (bStroke) {
        dWidth = s * 0.5 * n;
        dHeight = s;
    } else {
        double tw = 0.0, th = 0.0;
        if (XBackBuffer::GetTextDimensionGL(XString(pszText, n), &style, tw, th) && th != 0.0) {
            k = s / th;
            dWidth = tw * k;
            dHeight = s;
        }
    }
    // Each bit overrides the one before it on its axis, in this order; the
    // stroke route knows no left and bottom bits, which shift by 0 anyway.
    if (nAlign & tagXTextStyle::ALIGN_HCENTER)
        dShiftX = dWidth / 2;
    if (nAlign & tagXTextStyle::ALIGN_RIGHT)
        dShiftX = dWidth;
    if (!bStroke && (nAlign & tagXTextStyle::ALIGN_LEFT))
        dShiftX = 0.0;
    if (nAlign & tagXTextStyle::ALIGN_VCENTER)
        dShiftY = s / 2;
    if (nAlign & tagXTextStyle::ALIGN_TOP)
        dShiftY = s;
    if (!bStroke && (nAlign & tagXTextStyle::ALIGN_BOTTOM))
        dShiftY = 0.0;

    if (bStroke) {
        double l = x - dShiftX, b = y - dShiftY;
        tagXVector3 corners[4] = {{l, b, z}, {l, b + dHeight, z}, {l + dWidth, b + dHeight, z}, {l + dWidth, b, z}};
        if (style.lf.lfOrientation != 0) {
            float a = -style.lf.lfOrientation * 3.1415927f / 1800.0f;
            double c = std::cos(a), sn = std::sin(a);
            for (tagXVector3& v : corners) {
                double dx = v.x - x, dy = v.y - y;
                v.x = c * dx + sn * dy + x;
                v.y = c * dy - sn * dx + y;
            }
        }
        XfnRenderText(pszText, n, corners);
        return;
    }
    int nBase = XBackBuffer::GetGLFont(&style);
    if (nBase < 0 || !glIsList(static_cast<GLuint>(nBase)))
        return;
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_POLYGON_STIPPLE);
    glPushAttrib(GL_TRANSFORM_BIT | GL_VIEWPORT_BIT);
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    glTranslated(x, y, z);
    // The turn comes from the buffer's own last-recorded text style.
    glRotated(pBuffer->GetTextStyle().lf.lfOrientation / 10.0, 0.0, 0.0, 1.0);
    glTranslated(-dShiftX, -dShiftY, 0.0);
    glScaled(k, k, 1.0);
    glPushAttrib(GL_LIST_BIT);
    glListBase(static_cast<GLuint>(nBase));
    glCallLists(n, GL_UNSIGNED_BYTE, pszText);
    glPopAttrib();
    glMatrixMode(GL_MODELVIEW);
    glPopMatrix();
    glMatrixMode(GL_PROJECTION);
    glPopMatrix();
    glPopAttrib();
}

void XVertReplayGL::DrawImage(XVertBuffer* pBuffer, BYTE* r)
{
    int w = GetI32(r + OFS_DIB_WIDTH), h = GetI32(r + OFS_DIB_HEIGHT);
    const BYTE* d = r + OFS_DIB_DOUBLES;
    double left = GetF64(d), top = GetF64(d + 8), right = GetF64(d + 16), bottom = GetF64(d + 24);
    double z = GetF64(d + 32);
    if (!IsInClipRegion(pBuffer, left, bottom, right, top))
        return;
    GLuint nTexture = GetU32(r + OFS_DIB_TEXTURE);
    if (!glIsTexture(nTexture)) {
        nTexture = 0;
        glGenTextures(1, &nTexture);
        if (nTexture != 0) {
            glBindTexture(GL_TEXTURE_2D, nTexture);
            PutU32(r + OFS_DIB_TEXTURE, nTexture);
            glTexEnvf(GL_TEXTURE_ENV, GL_TEXTURE_ENV_MODE, GL_MODULATE);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP);
            glTexImage2D(GL_TEXTURE_2D, 0, 4, w, h, 0, GL_BGRA_EXT, GL_UNSIGNED_BYTE, r + OFS_DIB_PIXELS);
        }
    }
    glBindTexture(GL_TEXTURE_2D, nTexture);
    glDisable(GL_POLYGON_STIPPLE);
    if (GetI32(r + OFS_DIB_CLASS) == -1) {
        glDisable(GL_BLEND);
    } else {
        glEnable(GL_BLEND);
        glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    }
    glEnable(GL_TEXTURE_2D);
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    glBegin(GL_TRIANGLE_STRIP);
    glTexCoord2d(0.0, 0.0);
    glVertex3d(left, bottom, z);
    glTexCoord2d(1.0, 0.0);
    glVertex3d(right, bottom, z);
    glTexCoord2d(0.0, 1.0);
    glVertex3d(left, top, z);
    glTexCoord2d(1.0, 1.0);
    glVertex3d(right, top, z);
    glEnd();
    glDisable(GL_TEXTURE_2D);
}

void XVertReplayGL::ReleaseRecord(XVertBuffer*, void* pRecord)
{
    if (Kind(pRecord) != XVertBuffer::KIND_DIB)
        return;
    GLuint nTexture = GetU32(At(pRecord, OFS_DIB_TEXTURE));
    if (nTexture != 0 && glIsTexture(nTexture))
        glDeleteTextures(1, &nTexture);
}

} // namespace
