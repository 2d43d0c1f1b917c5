// OpenGL drawing, headless (EGL, Mesa's llvmpipe) on a 512 by 512 DC:
//  - the replay of a recorded drawing of 50,000 polygons and 50,000 polylines
//    against drawing the same shapes with plain immediate mode in the same
//    context: line strips for the polygons' outlines (a solid polygon draws
//    only its outline on this path) and for the polylines; and, with a
//    hatched fill, the two tessellated passes against the same passes through
//    the GLU tessellator by hand;
//  - XfnCreateGLTextureFromDIB of a 4096 by 4096 32-bit image (the no-copy
//    route) against a bare glTexImage2D of it.
// Each iteration ends with glFinish, so the rasteriser's work is counted,
// and the times are wall-clock times: llvmpipe rasterises on threads of its
// own.

#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/drawing/XVertBuffer.h"
#include "KVDbase/platform/XGdi.h"
#include "KVDbase/platform/XWGL.h"
#include "KVDbase/text/XGLTexture.h"

#include <GL/gl.h>
#include <GL/glext.h>
#include <GL/glu.h>
#include <benchmark/benchmark.h>

#include <vector>

namespace {

const int kSize = 512;
const int kShapes = 50000;

// A context current on a memory DC over a DIB section, for the whole run.
struct Context {
    HDC dc = nullptr;
    HGLRC rc = nullptr;
    Context()
    {
        dc = CreateCompatibleDC(nullptr);
        BITMAPINFO bmi = {};
        bmi.bmiHeader = {40, kSize, -kSize, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
        void* p = nullptr;
        SelectObject(dc, CreateDIBSection(dc, &bmi, DIB_RGB_COLORS, &p, nullptr, 0));
        PIXELFORMATDESCRIPTOR pfd{};
        pfd.nSize = 40;
        pfd.nVersion = 1;
        pfd.dwFlags = 0x25;
        pfd.cColorBits = 32;
        pfd.cDepthBits = 32;
        SetPixelFormat(dc, ChoosePixelFormat(dc, &pfd), &pfd);
        rc = wglCreateContext(dc);
        wglMakeCurrent(dc, rc);
    }
};

Context& GL()
{
    static Context context;
    return context;
}

// A back buffer whose view is the 512 by 512 world square from the origin.
class BenchBack : public XBackBuffer {
public:
    BenchBack()
    {
        nType = TYPE_OPENGL;
        SetViewSize(kSize, kSize);
        SetWorldToCenter(kSize / 2.0, kSize / 2.0);
    }
};

struct Shapes {
    std::vector<double> x, y; // 4 points a polygon, then 4 a polyline
    Shapes()
    {
        unsigned seed = 7;
        for (int i = 0; i < 2 * kShapes; ++i) {
            seed = seed * 1103515245u + 12345u;
            double cx = 10 + (seed >> 8) % 490, cy = 10 + (seed >> 16) % 490;
            double dx[4] = {0, 8, 8, 0}, dy[4] = {0, 0, 6, 6};
            for (int k = 0; k < 4; ++k) {
                x.push_back(cx + dx[k]);
                y.push_back(cy + dy[k]);
            }
        }
    }
    void Record(XVertBuffer& vb, int nFillStyle, int nShapes) const
    {
        vb.Start();
        tagXFillStyle fill;
        fill.SetStyle(nFillStyle);
        vb.AddFillStyle(&fill, 0x0000FF, 0x00FF00, 1.0);
        vb.AddLineColor(0xFF0000, 1.0);
        for (int i = 0; i < 2 * nShapes; ++i) {
            int j = i < nShapes ? i : kShapes + i - nShapes; // polygons, then polylines
            const double* px = &x[4 * static_cast<size_t>(j)];
            const double* py = &y[4 * static_cast<size_t>(j)];
            double ext[4] = {px[0], py[0], px[1], py[2]};
            if (i < nShapes)
                vb.AddPolygon(px, py, 4, ext);
            else
                vb.AddPolyline(px, py, 4, ext);
        }
        vb.End();
    }
};

const Shapes& TheShapes()
{
    static Shapes shapes;
    return shapes;
}

void Replay(benchmark::State& state, int nFillStyle, int nShapes)
{
    GL();
    BenchBack back;
    XVertBuffer vb(XVertBuffer::PATH_GL);
    TheShapes().Record(vb, nFillStyle, nShapes);
    for (auto _ : state) {
        glClear(GL_COLOR_BUFFER_BIT);
        vb.Draw(&back);
        glFinish();
    }
    state.SetItemsProcessed(state.iterations() * 2 * nShapes);
}

void APIENTRY Vertex(GLdouble* p)
{
    glVertex3dv(p);
}

// The peer: the same shapes straight to OpenGL, each relative to its first
// point as the replay draws them; hatched polygons through the tessellator
// in two passes, as the replay does.
void Immediate(benchmark::State& state, bool bHatched, int nShapes)
{
    GL();
    BenchBack back; // the same projection
    const Shapes& s = TheShapes();
    tagXFillStyle hatch;
    hatch.SetStyle(tagXFillStyle::STYLE_CROSS);
    for (auto _ : state) {
        glClear(GL_COLOR_BUFFER_BIT);
        for (int i = 0; i < 2 * nShapes; ++i) {
            int j = i < nShapes ? i : kShapes + i - nShapes;
            const double* px = &s.x[4 * static_cast<size_t>(j)];
            const double* py = &s.y[4 * static_cast<size_t>(j)];
            glTranslated(px[0], py[0], 0.0);
            if (i < nShapes && bHatched) {
                double local[12];
                for (int k = 0; k < 4; ++k) {
                    local[3 * k] = px[k] - px[0];
                    local[3 * k + 1] = py[k] - py[0];
                    local[3 * k + 2] = 0.0;
                }
                for (int pass = 0; pass < 2; ++pass) {
                    if (pass == 1) {
                        glEnable(GL_POLYGON_STIPPLE);
                        glPolygonStipple(hatch.Pattern);
                    } else {
                        glDisable(GL_POLYGON_STIPPLE);
                    }
                    glColor4ub(0, 255 * (1 - pass), 255 * pass, 255);
                    GLUtesselator* tess = gluNewTess();
                    typedef void(APIENTRY * TessFn)();
                    gluTessCallback(tess, GLU_TESS_BEGIN, reinterpret_cast<TessFn>(&glBegin));
                    gluTessCallback(tess, GLU_TESS_VERTEX, reinterpret_cast<TessFn>(&Vertex));
                    gluTessCallback(tess, GLU_TESS_END, reinterpret_cast<TessFn>(&glEnd));
                    gluTessBeginPolygon(tess, nullptr);
                    gluTessBeginContour(tess);
                    for (int k = 0; k < 4; ++k)
                        gluTessVertex(tess, local + 3 * k, local + 3 * k);
                    gluTessEndContour(tess);
                    gluTessEndPolygon(tess);
                    gluDeleteTess(tess);
                }
                glColor4ub(0, 0, 255, 255);
            }
            glBegin(GL_LINE_STRIP);
            for (int k = 0; k < 4; ++k)
                glVertex3d(px[k] - px[0], py[k] - py[0], 0.0);
            if (i < nShapes)
                glVertex3d(0.0, 0.0, 0.0);
            glEnd();
            glTranslated(-px[0], -py[0], 0.0);
        }
        glFinish();
    }
    state.SetItemsProcessed(state.iterations() * 2 * nShapes);
}

// The hatched drawing is a tenth of the size: the rasteriser's stipple work
// dominates it.
const int kHatchedShapes = kShapes / 10;

void BM_ReplayGL_Outlines(benchmark::State& state)
{
    Replay(state, tagXFillStyle::STYLE_SOLID, kShapes);
}
void BM_ImmediateGL_Outlines(benchmark::State& state)
{
    Immediate(state, false, kShapes);
}
void BM_ReplayGL_Hatched(benchmark::State& state)
{
    Replay(state, tagXFillStyle::STYLE_CROSS, kHatchedShapes);
}
void BM_ImmediateGL_Hatched(benchmark::State& state)
{
    Immediate(state, true, kHatchedShapes);
}

const int kImage = 4096;

std::vector<unsigned char>& Image()
{
    static std::vector<unsigned char> image(static_cast<size_t>(kImage) * kImage * 4, 0x7F);
    return image;
}

void BM_TextureFromDIB(benchmark::State& state)
{
    GL();
    BITMAPINFO bmi = {};
    bmi.bmiHeader = {40, kImage, kImage, 1, 32, BI_RGB, 0, 0, 0, 0, 0};
    for (auto _ : state) {
        GLuint nTexture = XfnCreateGLTextureFromDIB(Image().data(), &bmi, 0);
        glFinish();
        glDeleteTextures(1, &nTexture);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(Image().size()));
}

void BM_TexImage2D(benchmark::State& state)
{
    GL();
    for (auto _ : state) {
        GLuint nTexture = 0;
        glGenTextures(1, &nTexture);
        glBindTexture(GL_TEXTURE_2D, nTexture);
        glTexImage2D(GL_TEXTURE_2D, 0, 4, kImage, kImage, 0, GL_BGRA_EXT, GL_UNSIGNED_BYTE, Image().data());
        glFinish();
        glDeleteTextures(1, &nTexture);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(Image().size()));
}

} // namespace

BENCHMARK(BM_ReplayGL_Outlines)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ImmediateGL_Outlines)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ReplayGL_Hatched)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ImmediateGL_Hatched)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_TextureFromDIB)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_TexImage2D)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
