// Outline glyphs as display lists: fontconfig picks the face for a LOGFONTA,
// FreeType gives its unscaled outlines, curves are flattened within the asked
// deviation, and the GLU tessellator fills them by the outline's own fill
// rule. FreeType is entered under one lock; the lists go to the calling
// thread's current context.
#include "KVDbase/platform/XWGL.h"

#include <GL/gl.h>
#include <GL/glu.h>
#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H
#include FT_OUTLINE_H

#include <array>
#include <cstring>
#include <cmath>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace {

typedef std::array<double, 3> Vertex;
typedef std::vector<Vertex> Contour;

std::mutex g_ftLock;

FT_Library Library()
{
    static FT_Library library = [] {
        FT_Library lib = nullptr;
        if (FT_Init_FreeType(&lib) != 0)
            lib = nullptr;
        return lib;
    }();
    return library;
}

// The Unicode character of a byte of the ANSI code page (1252): Latin-1 but
// for the printable characters it puts in 0x80 to 0x9F.
unsigned long AnsiToUnicode(unsigned nCode)
{
    static const unsigned short table[32] = {
        0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
        0x2039, 0x0152, 0x008D, 0x017D, 0x008F, 0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
        0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};
    return nCode >= 0x80 && nCode < 0xA0 ? table[nCode - 0x80] : nCode;
}

// The face file fontconfig picks; an empty face name asks for the default
// sans-serif face. False when nothing scalable is found.
bool FindFace(const LOGFONTA& lf, std::string& strFile, int& nIndex)
{
    if (!FcInit())
        return false;
    FcPattern* pattern = FcPatternCreate();
    char szName[sizeof(lf.lfFaceName) + 1] = {};
    std::memcpy(szName, lf.lfFaceName, sizeof(lf.lfFaceName));
    FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(szName[0] ? szName : "sans-serif"));
    int nWeight = lf.lfWeight > 0 ? (lf.lfWeight > 1000 ? 1000 : lf.lfWeight) : 400;
    FcPatternAddInteger(pattern, FC_WEIGHT, FcWeightFromOpenType(nWeight));
    FcPatternAddInteger(pattern, FC_SLANT, lf.lfItalic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
    FcPatternAddBool(pattern, FC_SCALABLE, FcTrue);
    FcConfigSubstitute(nullptr, pattern, FcMatchPattern);
    FcDefaultSubstitute(pattern);
    FcResult result = FcResultNoMatch;
    FcPattern* match = FcFontMatch(nullptr, pattern, &result);
    FcPatternDestroy(pattern);
    bool bFound = false;
    if (match != nullptr) {
        FcChar8* pszFile = nullptr;
        int nFaceIndex = 0;
        if (FcPatternGetString(match, FC_FILE, 0, &pszFile) == FcResultMatch) {
            FcPatternGetInteger(match, FC_INDEX, 0, &nFaceIndex);
            strFile = reinterpret_cast<const char*>(pszFile);
            nIndex = nFaceIndex;
            bFound = true;
        }
        FcPatternDestroy(match);
    }
    return bFound;
}

// Flattens an outline into closed contours, in em units.
class Flattener {
public:
    Flattener(double dScale, double dTolerance) : dScale(dScale), dTolerance(dTolerance) {}

    std::vector<Contour> contours;

    bool Run(FT_Outline* pOutline)
    {
        FT_Outline_Funcs funcs = {};
        funcs.move_to = &MoveTo;
        funcs.line_to = &LineTo;
        funcs.conic_to = &ConicTo;
        funcs.cubic_to = &CubicTo;
        bool bOk = FT_Outline_Decompose(pOutline, &funcs, this) == 0;
        Close();
        return bOk;
    }

private:
    double dScale;
    double dTolerance; // in font units
    double cx = 0, cy = 0;

    void Close()
    {
        if (!contours.empty()) {
            Contour& c = contours.back();
            if (c.size() > 1 && c.front()[0] == c.back()[0] && c.front()[1] == c.back()[1])
                c.pop_back();
            if (c.size() < 3)
                contours.pop_back();
        }
    }
    void Add(double x, double y)
    {
        contours.back().push_back(Vertex{x * dScale, y * dScale, 0.0});
        cx = x;
        cy = y;
    }
    // Segments for a curve whose second differences reach dSecond: the chord
    // of each stays within the tolerance.
    int Segments(double dSecond) const
    {
        int n = static_cast<int>(std::ceil(std::sqrt(dSecond / (4.0 * dTolerance))));
        return n < 1 ? 1 : (n > 64 ? 64 : n);
    }
    static Flattener* Self(void* p) { return static_cast<Flattener*>(p); }
    static int MoveTo(const FT_Vector* to, void* p)
    {
        Self(p)->Close();
        Self(p)->contours.emplace_back();
        Self(p)->Add(to->x, to->y);
        return 0;
    }
    static int LineTo(const FT_Vector* to, void* p)
    {
        Self(p)->Add(to->x, to->y);
        return 0;
    }
    static int ConicTo(const FT_Vector* c, const FT_Vector* to, void* p)
    {
        Flattener* f = Self(p);
        double x0 = f->cx, y0 = f->cy;
        int n = f->Segments(std::hypot(x0 - 2.0 * c->x + to->x, y0 - 2.0 * c->y + to->y));
        for (int i = 1; i <= n; ++i) {
            double t = static_cast<double>(i) / n, u = 1.0 - t;
            f->Add(u * u * x0 + 2 * u * t * c->x + t * t * to->x, u * u * y0 + 2 * u * t * c->y + t * t * to->y);
        }
        return 0;
    }
    static int CubicTo(const FT_Vector* c1, const FT_Vector* c2, const FT_Vector* to, void* p)
    {
        Flattener* f = Self(p);
        double x0 = f->cx, y0 = f->cy;
        double d1 = std::hypot(x0 - 2.0 * c1->x + c2->x, y0 - 2.0 * c1->y + c2->y);
        double d2 = std::hypot(c1->x - 2.0 * c2->x + to->x, c1->y - 2.0 * c2->y + to->y);
        int n = f->Segments(3.0 * (d1 > d2 ? d1 : d2));
        for (int i = 1; i <= n; ++i) {
            double t = static_cast<double>(i) / n, u = 1.0 - t;
            double a = u * u * u, b = 3 * u * u * t, cc = 3 * u * t * t, d = t * t * t;
            f->Add(a * x0 + b * c1->x + cc * c2->x + d * to->x, a * y0 + b * c1->y + cc * c2->y + d * to->y);
        }
        return 0;
    }
};

// Vertices the tessellator makes where contours cross live until the
// polygon ends.
std::deque<Vertex>* g_pCombined = nullptr;

void APIENTRY TessCombine(GLdouble coords[3], void*[4], GLfloat[4], void** ppOut)
{
    g_pCombined->push_back(Vertex{coords[0], coords[1], coords[2]});
    *ppOut = g_pCombined->back().data();
}

void FillContours(std::vector<Contour>& contours, bool bEvenOdd)
{
    GLUtesselator* tess = gluNewTess();
    if (tess == nullptr)
        return;
    std::deque<Vertex> combined;
    g_pCombined = &combined;
    typedef void(APIENTRY * TessFn)();
    gluTessCallback(tess, GLU_TESS_BEGIN, reinterpret_cast<TessFn>(&glBegin));
    gluTessCallback(tess, GLU_TESS_VERTEX, reinterpret_cast<TessFn>(&glVertex3dv));
    gluTessCallback(tess, GLU_TESS_END, reinterpret_cast<TessFn>(&glEnd));
    gluTessCallback(tess, GLU_TESS_COMBINE, reinterpret_cast<TessFn>(&TessCombine));
    gluTessProperty(tess, GLU_TESS_WINDING_RULE, bEvenOdd ? GLU_TESS_WINDING_ODD : GLU_TESS_WINDING_NONZERO);
    gluTessNormal(tess, 0.0, 0.0, 1.0);
    gluTessBeginPolygon(tess, nullptr);
    for (Contour& c : contours) {
        gluTessBeginContour(tess);
        for (Vertex& v : c)
            gluTessVertex(tess, v.data(), v.data());
        gluTessEndContour(tess);
    }
    gluTessEndPolygon(tess);
    gluDeleteTess(tess);
    g_pCombined = nullptr;
}

} // namespace

BOOL XfnUseFontOutlines(const LOGFONTA* plf, DWORD nFirst, DWORD nCount, DWORD nListBase, FLOAT fDeviation, FLOAT,
                        int nFormat, GLYPHMETRICSFLOAT* pMetrics)
{
    if (plf == nullptr || wglGetCurrentContext() == nullptr)
        return FALSE;
    std::lock_guard<std::mutex> guard(g_ftLock);
    std::string strFile;
    int nIndex = 0;
    FT_Face face = nullptr;
    if (Library() == nullptr || !FindFace(*plf, strFile, nIndex) ||
        FT_New_Face(Library(), strFile.c_str(), nIndex, &face) != 0)
        return FALSE;
    if (!FT_IS_SCALABLE(face) || face->units_per_EM == 0) {
        FT_Done_Face(face);
        return FALSE;
    }
    FT_Select_Charmap(face, FT_ENCODING_UNICODE);
    double dEm = face->units_per_EM;
    double dTolerance = (fDeviation > 0.0f ? fDeviation : 1.0 / 1024.0) * dEm;
    glNormal3f(0.0f, 0.0f, 1.0f);
    for (DWORD i = 0; i < nCount; ++i) {
        FT_UInt nGlyph = FT_Get_Char_Index(face, AnsiToUnicode((nFirst + i) & 0xFF));
        GLYPHMETRICSFLOAT gm{};
        Flattener flat(1.0 / dEm, dTolerance);
        if (FT_Load_Glyph(face, nGlyph, FT_LOAD_NO_SCALE | FT_LOAD_NO_BITMAP | FT_LOAD_NO_HINTING) == 0) {
            const FT_Glyph_Metrics& m = face->glyph->metrics;
            gm.gmfBlackBoxX = static_cast<FLOAT>(m.width / dEm);
            gm.gmfBlackBoxY = static_cast<FLOAT>(m.height / dEm);
            gm.gmfptGlyphOrigin.x = static_cast<FLOAT>(m.horiBearingX / dEm);
            gm.gmfptGlyphOrigin.y = static_cast<FLOAT>(m.horiBearingY / dEm);
            gm.gmfCellIncX = static_cast<FLOAT>(m.horiAdvance / dEm);
            if (face->glyph->format == FT_GLYPH_FORMAT_OUTLINE)
                flat.Run(&face->glyph->outline);
        }
        glNewList(nListBase + i, GL_COMPILE);
        if (nFormat == WGL_FONT_POLYGONS) {
            FillContours(flat.contours, (face->glyph->outline.flags & FT_OUTLINE_EVEN_ODD_FILL) != 0);
        } else {
            for (const Contour& c : flat.contours) {
                glBegin(GL_LINE_LOOP);
                for (const Vertex& v : c)
                    glVertex3dv(v.data());
                glEnd();
            }
        }
        glTranslated(gm.gmfCellIncX, 0.0, 0.0);
        glEndList();
        if (pMetrics != nullptr)
            pMetrics[i] = gm;
    }
    FT_Done_Face(face);
    return TRUE;
}
