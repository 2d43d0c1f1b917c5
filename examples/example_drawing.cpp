// Drawing: line and fill styles, a small map recorded into a vertex buffer,
// saved to a file and loaded back in another colour, and the viewport that
// turns world coordinates into pixels and back.
#include "KVDbase/KVDbase.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>

namespace {

int g_nFailures = 0;

void Check(bool bOk, const char* pszWhat)
{
    std::printf("  [%s] %s\n", bOk ? " ok " : "FAIL", pszWhat);
    if (!bOk)
        ++g_nFailures;
}

// Every record starts with its kind; a colour record holds its colour next.
uint32_t Word(const void* pRecord, int nOffset)
{
    uint32_t n;
    std::memcpy(&n, static_cast<const BYTE*>(pRecord) + nOffset, sizeof n);
    return n;
}

} // namespace

int main()
{
    namespace fs = std::filesystem;
    fs::path dir = fs::temp_directory_path() / ("kvd_example_drawing_" + std::to_string(std::random_device{}()));
    fs::create_directories(dir);
    std::string strPath = (dir / "roads.vtx").string();
    std::printf("Drawing\n");

    tagXLineStyle dashed;
    dashed.SetStyle(tagXLineStyle::STYLE_DASH);
    tagXLineStyle custom;
    custom.SetStyle(0xF0F0, 3);
    std::printf("  dash mask %04X, custom style code %d\n", dashed.nPattern, custom.GetStyle());
    Check(dashed.GetStyle() == tagXLineStyle::STYLE_DASH && custom.GetStyle() == tagXLineStyle::STYLE_USER,
          "a table style keeps its code, a factor of 3 makes it a user style");
    tagXFillStyle hatch;
    hatch.SetStyle(tagXFillStyle::STYLE_CROSS);
    Check(hatch != tagXFillStyle() && hatch.GetStyle() == tagXFillStyle::STYLE_CROSS, "a cross hatch differs from solid");

    // Two roads and a lake, in map metres, on the GDI path.
    XVertBuffer roads(XVertBuffer::PATH_GDI);
    roads.Start();
    roads.AddLineStyle(&dashed, 2.0, 0x0000FF, 1.0);
    roads.AddLineColor(0x0000FF, 1.0); // repeats the style's colour: not recorded
    roads.AddLine(0.0, 0.0, 1000.0, 500.0);
    roads.AddLine(0.0, 500.0, 1000.0, 0.0);
    roads.AddFillStyle(&hatch, 0xFF0000, 0xFFFFFF, 1.0);
    const double adLakeX[] = {400, 600, 600, 400}, adLakeY[] = {200, 200, 300, 300};
    const double adExtent[] = {400, 200, 600, 300};
    roads.AddPolygon(adLakeX, adLakeY, 4, adExtent);
    roads.AddText("Lake", 500.0, 250.0, 0.0);
    roads.End();
    std::printf("  recorded %d records\n", roads.GetRecordCount());
    Check(!roads.IsRecording() && Word(roads.GetRecord(roads.GetRecordCount() - 1), 0) == XVertBuffer::KIND_END,
          "End stops recording with an end record");

    {
        XFile file(strPath.c_str(), XFile::flagCreate | XFile::flagWrite);
        XArchive ar(&file, XArchive::store);
        roads.Serialize(ar);
        ar.Close();
    }
    XVertBuffer loaded(XVertBuffer::PATH_GDI);
    loaded.Load(strPath.c_str(), 0x00FF00); // the roads come back green
    int nLineColors = 0, nGreen = 0;
    for (int i = 0; i < loaded.GetRecordCount(); ++i) {
        if (Word(loaded.GetRecord(i), 0) != XVertBuffer::KIND_LINECOLOR)
            continue;
        ++nLineColors;
        nGreen += (Word(loaded.GetRecord(i), 4) & 0xFFFFFF) == 0x00FF00;
    }
    std::printf("  loaded %d records, %d line colour(s), %d green\n", loaded.GetRecordCount(), nLineColors, nGreen);
    Check(loaded.GetRecordCount() == roads.GetRecordCount() && nLineColors == 1 && nGreen == 1,
          "the saved drawing loads, its one line colour replaced");

    // An 800 x 600 view, 2 m a pixel, centred on the lake.
    XBackBuffer view;
    view.SetViewSize(800, 600);
    view.SetWorldPerPixel(2.0, 2.0);
    view.SetWorldToCenter(500.0, 250.0);
    double dX = 500.0, dY = 250.0;
    view.ConvWorldToPixelCoord(dX, dY);
    std::printf("  lake centre at pixel (%.1f, %.1f)\n", dX, dY);
    Check(std::fabs(dX - 400.0) < 1e-6 && std::fabs(dY - 300.0) < 1e-6, "the centre of the world is the centre of the view");
    view.SetRotationAngle(30.0);
    double dPx = 123.0, dPy = 45.0;
    view.ConvPixelToWorldCoord(dPx, dPy);
    view.ConvWorldToPixelCoord(dPx, dPy);
    Check(std::fabs(dPx - 123.0) < 1e-6 && std::fabs(dPy - 45.0) < 1e-6, "pixel to world and back, rotated 30 degrees");
    view.ZoomIn(1.0);
    Check(std::fabs(view.GetWorldPerPixel() - 1.0) < 1e-12, "ZoomIn(1) halves the world per pixel");
    Check(XfnCalcDIBWidthBytes(13, 24) == 40, "a 13-pixel 24-bit row pads to 40 bytes");

    std::error_code ec;
    fs::remove_all(dir, ec);
    std::printf("%s\n", g_nFailures == 0 ? "All checks passed" : "Some checks FAILED");
    return g_nFailures == 0 ? 0 : 1;
}
