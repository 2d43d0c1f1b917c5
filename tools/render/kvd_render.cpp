// kvd_render: renders a saved drawing (the stream form of XVertBuffer, on a
// local path or a remote xrfp:\\ path) to a PNG file, on the raster, the
// antialiased or the OpenGL path (headless, into an image window's pixels),
// at a size, over a world window or fitted to the drawing, turned, with
// lat/long rounding and a background colour.
//
//   kvd_render [options] DRAWING OUTPUT.png
//
// Exit status: 0 done, 1 bad arguments, 2 the file cannot be read or is not a
// drawing, 3 the picture cannot be made or written.

#include "KVDbase/core/XArchive.h"
#include "KVDbase/core/XException.h"
#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/drawing/XBackBuffer.h"
#include "KVDbase/drawing/XDIB.h"
#include "KVDbase/drawing/XVertBuffer.h"
#include "KVDbase/files/XFile.h"
#include "KVDbase/platform/XGdi.h"

#include "drawing/XVertRecord.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <string>
#include <strings.h>

using namespace XVertRecord;

namespace {

const char kUsage[] =
    "usage: kvd_render [options] DRAWING OUTPUT.png\n"
    "  DRAWING is a file saved by XVertBuffer, local or xrfp:\\\\user:password@host:port\\path\n"
    "  --path raster|antialiased|opengl\n"
    "                              the replay (default: the one the drawing was recorded for)\n"
    "  --size WxH                  picture size in pixels (default 800x600)\n"
    "  --window X1,Y1,X2,Y2        world rectangle to show (default: fit the drawing)\n"
    "  --rotate DEGREES            turn the view\n"
    "  --latlong                   world x is longitude, y latitude: keep the view on the globe\n"
    "  --background RRGGBB         background colour (default FFFFFF)\n";

struct Options {
    int nPath = 0; // 0: the drawing's own
    int w = 800, h = 600;
    bool bWindow = false;
    double window[4] = {0, 0, 0, 0};
    double dRotate = 0.0;
    bool bLatLong = false;
    COLORREF clrBack = RGB(255, 255, 255);
    const char* pszIn = nullptr;
    const char* pszOut = nullptr;
};

bool ParseArgs(int argc, char** argv, Options& o)
{
    for (int i = 1; i < argc; ++i) {
        const char* a = argv[i];
        const bool bHasValue = i + 1 < argc;
        if (std::strcmp(a, "--path") == 0 && bHasValue) {
            const char* v = argv[++i];
            if (std::strcmp(v, "raster") == 0)
                o.nPath = XVertBuffer::PATH_GDI;
            else if (std::strcmp(v, "antialiased") == 0)
                o.nPath = XVertBuffer::PATH_GDIP;
            else if (std::strcmp(v, "opengl") == 0)
                o.nPath = XVertBuffer::PATH_GL;
            else
                return false;
        } else if (std::strcmp(a, "--size") == 0 && bHasValue) {
            if (std::sscanf(argv[++i], "%dx%d", &o.w, &o.h) != 2 || o.w < 1 || o.h < 1 || o.w > 16384 ||
                o.h > 16384)
                return false;
        } else if (std::strcmp(a, "--window") == 0 && bHasValue) {
            double* v = o.window;
            if (std::sscanf(argv[++i], "%lf,%lf,%lf,%lf", &v[0], &v[1], &v[2], &v[3]) != 4 || !(v[2] > v[0]) ||
                !(v[3] > v[1]))
                return false;
            o.bWindow = true;
        } else if (std::strcmp(a, "--rotate") == 0 && bHasValue) {
            char* pEnd = nullptr;
            o.dRotate = std::strtod(argv[++i], &pEnd);
            if (*pEnd != '\0' || !std::isfinite(o.dRotate))
                return false;
        } else if (std::strcmp(a, "--latlong") == 0) {
            o.bLatLong = true;
        } else if (std::strcmp(a, "--background") == 0 && bHasValue) {
            unsigned rgb = 0;
            char tail = 0;
            if (std::sscanf(argv[++i], "%6x%c", &rgb, &tail) != 1)
                return false;
            o.clrBack = RGB(rgb >> 16, (rgb >> 8) & 0xFF, rgb & 0xFF);
        } else if (a[0] == '-' && a[1] == '-') {
            return false;
        } else if (o.pszIn == nullptr) {
            o.pszIn = a;
        } else if (o.pszOut == nullptr) {
            o.pszOut = a;
        } else {
            return false;
        }
    }
    return o.pszIn != nullptr && o.pszOut != nullptr;
}

// Reads the drawing; false with a message for a file that cannot be read or
// holds no drawing.
bool LoadDrawing(const char* pszPath, XVertBuffer& vb, std::string& strError)
{
    try {
        XFile file(pszPath, XFile::flagRead | XFile::flagShareDenyNone);
        // A saved drawing opens with the class hierarchy block.
        BYTE magic[4] = {0, 0, 0, 0};
        if (file.Read(magic, 4) != 4 || magic[0] != 0xFA || magic[1] != 0x2D || magic[2] != 0x48 ||
            magic[3] != 0x1C) {
            strError = "not a drawing (no class hierarchy at its start)";
            return false;
        }
        file.SeekToBegin();
        XArchive ar(&file, XArchive::load);
        vb.Serialize(ar);
        ar.Close();
    } catch (XException& e) {
        XString strMessage, strModule, strGroup;
        e.GetErrorText(strMessage, strModule, strGroup);
        strError = std::string("cannot read it: ") + static_cast<const char*>(strMessage);
        return false;
    } catch (std::exception& e) {
        // The archive's faults and a failed allocation.
        strError = std::string("cannot read it as a drawing: ") + e.what();
        return false;
    }
    if (vb.GetType() < XVertBuffer::PATH_GDI || vb.GetType() > XVertBuffer::PATH_GDIP) {
        strError = "not a drawing (unknown render path)";
        return false;
    }
    return true;
}

// The world box of everything the drawing places; false when it places
// nothing.
bool Extent(const XVertBuffer& vb, double* e)
{
    e[0] = e[1] = HUGE_VAL;
    e[2] = e[3] = -HUGE_VAL;
    auto add = [e](double x, double y) {
        if (!std::isfinite(x) || !std::isfinite(y))
            return;
        e[0] = std::fmin(e[0], x), e[1] = std::fmin(e[1], y);
        e[2] = std::fmax(e[2], x), e[3] = std::fmax(e[3], y);
    };
    for (int i = 0; i < vb.GetRecordCount(); ++i) {
        const BYTE* r = static_cast<const BYTE*>(vb.GetRecord(i));
        switch (Kind(r)) {
        case XVertBuffer::KIND_LINE:
            add(GetF64(At(r, 4)), GetF64(At(r, 12)));
            add(GetF64(At(r, 28)), GetF64(At(r, 36)));
            break;
        case XVertBuffer::KIND_POLYLINE:
        case XVertBuffer::KIND_POLYPOINT:
        case XVertBuffer::KIND_POLYGON:
        case XVertBuffer::KIND_POLYPOLYGON:
            add(GetF64(At(r, OFS_EXTENT)), GetF64(At(r, OFS_EXTENT + 8)));
            add(GetF64(At(r, OFS_EXTENT + 16)), GetF64(At(r, OFS_EXTENT + 24)));
            break;
        case XVertBuffer::KIND_TEXT:
            add(GetF64(At(r, 4)), GetF64(At(r, 12)));
            break;
        case XVertBuffer::KIND_DIB:
            add(GetF64(At(r, OFS_DIB_DOUBLES)), GetF64(At(r, OFS_DIB_DOUBLES + 8)));
            add(GetF64(At(r, OFS_DIB_DOUBLES + 16)), GetF64(At(r, OFS_DIB_DOUBLES + 24)));
            break;
        case XVertBuffer::KIND_ELLIPSE: {
            const double x = GetF64(At(r, 4)), y = GetF64(At(r, 12)), rx = GetF64(At(r, 28)),
                         ry = GetF64(At(r, 36));
            add(x - rx, y - ry);
            add(x + rx, y + ry);
            break;
        }
        default:
            break;
        }
    }
    return e[0] <= e[2] && e[1] <= e[3];
}

// The size of a record block of vb, from its counts.
int RecordBytes(const XVertBuffer& vb, const BYTE* r)
{
    const int nKind = Kind(r);
    switch (nKind) {
    case XVertBuffer::KIND_POLYLINE:
    case XVertBuffer::KIND_POLYPOINT:
    case XVertBuffer::KIND_POLYGON:
        return vb.GetClassSizeBytes(nKind, GetI32(At(r, OFS_COUNT)), nullptr, 0);
    case XVertBuffer::KIND_TEXT:
        return vb.GetClassSizeBytes(nKind, GetI32(At(r, OFS_TEXT_COUNT)), nullptr, 0);
    case XVertBuffer::KIND_DIB: {
        BITMAPINFO bi = {};
        bi.bmiHeader.biWidth = GetI32(At(r, OFS_DIB_WIDTH));
        bi.bmiHeader.biHeight = GetI32(At(r, OFS_DIB_HEIGHT));
        return vb.GetClassSizeBytes(nKind, 0, &bi, 0);
    }
    case XVertBuffer::KIND_POLYPOLYGON: {
        const int nRings = GetI32(At(r, OFS_COUNT));
        int nPoints = 0;
        for (int k = 0; k < nRings; ++k)
            nPoints += GetI32(At(r, OFS_POINTS + 4 * k));
        return vb.GetClassSizeBytes(nKind, nPoints, nullptr, nRings);
    }
    case XVertBuffer::KIND_EMF:
        return XVertBuffer::EMF_FIXED_BYTES; // all that a stream keeps of it
    default:
        return vb.GetClassSizeBytes(nKind, 0, nullptr, 0);
    }
}

// An image record's pixels as top-down blue, green, red, alpha.
void DecodePixels(int nPath, const BYTE* p, int w, int h, BYTE* out)
{
    const int nRow24 = XfnCalcDIBWidthBytes(w, 24), nRow8 = XfnCalcDIBWidthBytes(w, 8);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            BYTE* o = out + (static_cast<size_t>(y) * w + x) * 4;
            if (nPath == XVertBuffer::PATH_GDI) {
                const size_t nRow = static_cast<size_t>(h - 1 - y);
                std::memcpy(o, p + nRow * nRow24 + 3 * x, 3);
                o[3] = static_cast<BYTE>(255 - p[static_cast<size_t>(nRow24) * h + nRow * nRow8 + x]);
            } else {
                const size_t nRow = nPath == XVertBuffer::PATH_GL ? h - 1 - y : y;
                std::memcpy(o, p + (nRow * w + x) * 4, 4);
            }
        }
}

void EncodePixels(int nPath, const BYTE* in, int w, int h, BYTE* p)
{
    const int nRow24 = XfnCalcDIBWidthBytes(w, 24), nRow8 = XfnCalcDIBWidthBytes(w, 8);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const BYTE* i = in + (static_cast<size_t>(y) * w + x) * 4;
            if (nPath == XVertBuffer::PATH_GDI) {
                const size_t nRow = static_cast<size_t>(h - 1 - y);
                std::memcpy(p + nRow * nRow24 + 3 * x, i, 3);
                p[static_cast<size_t>(nRow24) * h + nRow * nRow8 + x] = static_cast<BYTE>(255 - i[3]);
            } else {
                const size_t nRow = nPath == XVertBuffer::PATH_GL ? h - 1 - y : y;
                std::memcpy(p + (nRow * w + x) * 4, i, 4);
            }
        }
}

// Copies the drawing into dst, a buffer of another path: colours and images
// go into that path's form. A colour recorded for OpenGL has no opacity of
// its own and becomes opaque. False when memory runs out.
bool ConvertDrawing(const XVertBuffer& src, XVertBuffer& dst)
{
    const int nFrom = src.GetType(), nTo = dst.GetType();
    // Flag 0 sizes labels in world units. OpenGL draws text in world units
    // already, so there the same meaning is flag 1.
    const bool bToGL = nTo == XVertBuffer::PATH_GL && nFrom != XVertBuffer::PATH_GL;
    dst.SetFontSizeFlag(bToGL && src.GetFontSizeFlag() == 0 ? 1 : src.GetFontSizeFlag());
    for (int i = 0; i < src.GetRecordCount(); ++i) {
        const BYTE* r = static_cast<const BYTE*>(src.GetRecord(i));
        const int nKind = Kind(r);
        BYTE* pCopy = nullptr;
        if (nKind == XVertBuffer::KIND_DIB) {
            const int w = GetI32(At(r, OFS_DIB_WIDTH)), h = GetI32(At(r, OFS_DIB_HEIGHT));
            const int nBytes = RecordBytes(dst, r);
            std::string rgba(static_cast<size_t>(w) * h * 4, '\0');
            pCopy = static_cast<BYTE*>(std::calloc(1, static_cast<size_t>(nBytes)));
            if (pCopy == nullptr)
                return false;
            std::memcpy(pCopy, r, OFS_DIB_PIXELS);
            DecodePixels(nFrom, At(r, OFS_DIB_PIXELS), w, h, reinterpret_cast<BYTE*>(&rgba[0]));
            EncodePixels(nTo, reinterpret_cast<const BYTE*>(rgba.data()), w, h, pCopy + OFS_DIB_PIXELS);
            // The opacity class as recording gives it on each path.
            bool bZero = false, bPartial = false;
            for (size_t k = 3; k < rgba.size(); k += 4) {
                const BYTE a = static_cast<BYTE>(rgba[k]);
                bZero |= a == 0;
                bPartial |= a != 0 && a != 255;
            }
            PutI32(At(pCopy, OFS_DIB_CLASS), nTo == XVertBuffer::PATH_GDIP ? -1 : bPartial ? 1 : bZero ? 0 : -1);
            PutI32(At(pCopy, OFS_DIB_TEXTURE), 0);
        } else {
            const int nBytes = RecordBytes(src, r);
            if (nBytes <= 0)
                continue;
            pCopy = static_cast<BYTE*>(std::malloc(static_cast<size_t>(nBytes)));
            if (pCopy == nullptr)
                return false;
            std::memcpy(pCopy, r, static_cast<size_t>(nBytes));
            const bool bColour = nKind == XVertBuffer::KIND_LINECOLOR || nKind == XVertBuffer::KIND_FORECOLOR ||
                                 nKind == XVertBuffer::KIND_BACKCOLOR;
            if (bColour && nFrom == XVertBuffer::PATH_GL)
                PutU32(At(pCopy, OFS_VALUE), GetU32(At(r, OFS_VALUE)) | 0xFF000000u);
        }
        dst.AddRawBuffer(pCopy);
    }
    return true;
}

// OpenGL text needs the outline font of each text style cached before the
// replay, and the glyph atlas for the characters beyond them.
void AddGLFonts(const XVertBuffer& vb, XBackBuffer& bb)
{
    XBackBuffer::CreateCompositeFont();
    for (int i = 0; i < vb.GetRecordCount(); ++i) {
        const BYTE* r = static_cast<const BYTE*>(vb.GetRecord(i));
        if (Kind(r) != XVertBuffer::KIND_TEXTSTYLE)
            continue;
        tagXTextStyle style;
        ReadTextStyle(r, style);
        if (XBackBuffer::GetGLFont(&style) < 0)
            bb.AddGLFont(&style);
    }
}

// The surface of the picture: a back buffer over an image window, a DIB one
// for the raster and antialiased paths, and for OpenGL a type 3 one drawing
// headless into the window's pixels, where the swap lands the frame.
class Surface {
public:
    bool Make(int nPath, int w, int h)
    {
        bGL = nPath == XVertBuffer::PATH_GL;
        hWnd = XfnCreateImageWindow(w, h);
        if (hWnd == nullptr)
            return false;
        if (!bGL)
            return bb.Create(hWnd, XBackBuffer::TYPE_DIB);
        return bb.Create(hWnd, XBackBuffer::TYPE_OPENGL) && bb.Resize(GetDC(hWnd), w, h);
    }
    // Replays the drawing and writes the picture.
    bool Render(XVertBuffer& vb, const char* pszPng)
    {
        if (bGL)
            AddGLFonts(vb, bb);
        vb.Draw(&bb);
        if (bGL)
            bb.Swap(static_cast<HDC>(nullptr), SRCCOPY);
        return XfnWritePNG(bb.GetDC(), pszPng) != 0;
    }
    ~Surface()
    {
        bb.Delete();
        if (hWnd != nullptr)
            DestroyWindow(hWnd);
    }
    XBackBuffer bb;

private:
    bool bGL = false;
    HWND hWnd = nullptr;
};

bool IsRemote(const char* pszPath) { return strncasecmp(pszPath, "xrfp:", 5) == 0; }

} // namespace

int main(int argc, char** argv)
{
    Options o;
    if (!ParseArgs(argc, argv, o)) {
        std::fputs(kUsage, stderr);
        return 1;
    }
    const bool bRemote = IsRemote(o.pszIn);
    if (bRemote)
        XFile::XRFInit();
    XVertBuffer vb;
    std::string strError;
    const bool bLoaded = LoadDrawing(o.pszIn, vb, strError);
    if (bRemote)
        XFile::XRFClean();
    if (!bLoaded) {
        std::fprintf(stderr, "kvd_render: %s: %s\n", o.pszIn, strError.c_str());
        return 2;
    }
    XVertBuffer converted(o.nPath);
    XVertBuffer* pDrawing = &vb;
    if (o.nPath != 0 && o.nPath != vb.GetType()) {
        if (!ConvertDrawing(vb, converted)) {
            std::fprintf(stderr, "kvd_render: out of memory\n");
            return 3;
        }
        pDrawing = &converted;
    }

    Surface surface;
    XBackBuffer& bb = surface.bb;
    if (!surface.Make(pDrawing->GetType(), o.w, o.h)) {
        std::fprintf(stderr, "kvd_render: cannot make a %dx%d surface\n", o.w, o.h);
        return 3;
    }
    bb.Clear(o.clrBack, nullptr);
    bb.SetLatLongRounding(o.bLatLong);
    double e[4];
    if (o.bWindow)
        std::memcpy(e, o.window, sizeof(e));
    else if (!Extent(vb, e))
        e[0] = e[1] = -1.0, e[2] = e[3] = 1.0;
    // A margin of a twentieth on each side, and a box of no size grows to one.
    const double mx = std::fmax((e[2] - e[0]) / 20, 1e-9), my = std::fmax((e[3] - e[1]) / 20, 1e-9);
    if (!o.bWindow)
        e[0] -= mx, e[1] -= my, e[2] += mx, e[3] += my;
    bb.ZoomFit(e[0], e[1], e[2], e[3]);
    bb.SetRotationAngle(o.dRotate);
    const bool bWritten = surface.Render(*pDrawing, o.pszOut);
    if (!bWritten) {
        std::fprintf(stderr, "kvd_render: cannot write %s\n", o.pszOut);
        return 3;
    }
    std::printf("%s: %d records, %dx%d, world %g,%g to %g,%g\n", o.pszOut, vb.GetRecordCount(), o.w, o.h, e[0], e[1],
                e[2], e[3]);
    return 0;
}
