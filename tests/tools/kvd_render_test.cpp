// kvd_render on saved drawings and on files that are none: exit codes,
// messages and the size of the PNG it writes.
#include "KVDbase/core/XArchive.h"
#include "KVDbase/drawing/XVertBuffer.h"
#include "KVDbase/files/XFile.h"

#include "XReferenceDrawing.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

const std::string kDir = KVD_TEST_OUTPUT_DIR;

void SaveReference(int nPath, const std::string& path)
{
    XVertBuffer vb(nPath);
    XReferenceDrawing::Record(vb);
    XFile file(path.c_str(), XFile::flagCreate | XFile::flagWrite);
    XArchive ar(&file, XArchive::store);
    vb.Serialize(ar);
    ar.Close();
}

struct ToolRun {
    int nExit;
    std::string strOut; // standard output and error together
};

ToolRun Render(const std::string& args)
{
    const std::string cmd = std::string(KVD_RENDER_TOOL) + " " + args + " 2>&1";
    ToolRun r{-1, ""};
    FILE* p = popen(cmd.c_str(), "r");
    if (p == nullptr)
        return r;
    char buf[512];
    while (std::fgets(buf, sizeof(buf), p) != nullptr)
        r.strOut += buf;
    const int nStatus = pclose(p);
    r.nExit = WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : -1;
    return r;
}

// Width and height from a PNG's header; 0, 0 when it is not one.
std::pair<int, int> PngSize(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    unsigned char h[24] = {0};
    in.read(reinterpret_cast<char*>(h), 24);
    if (!in || h[1] != 'P' || h[2] != 'N' || h[3] != 'G')
        return {0, 0};
    auto be = [&h](int i) { return h[i] << 24 | h[i + 1] << 16 | h[i + 2] << 8 | h[i + 3]; };
    return {be(16), be(20)};
}

} // namespace

TEST(KvdRender, RendersSavedDrawingsOnEitherPath)
{
    const std::string aa = kDir + "/render_map_gdip.xvb", raster = kDir + "/render_map_gdi.xvb";
    SaveReference(XVertBuffer::PATH_GDIP, aa);
    SaveReference(XVertBuffer::PATH_GDI, raster);
    struct Case {
        std::string args;
        int w, h;
    };
    const Case cases[] = {
        {aa + " " + kDir + "/render_fit.png", 800, 600},
        {"--size 240x160 --path raster " + aa + " " + kDir + "/render_as_raster.png", 240, 160},
        {"--window 126,35,130,38 --rotate 30 --background 202020 --size 300x300 " + raster + " " + kDir +
             "/render_window.png",
         300, 300},
        {"--path opengl --size 480x320 " + raster + " " + kDir + "/render_as_opengl.png", 480, 320},
        {"--latlong --size 400x200 " + aa + " " + kDir + "/render_latlong.png", 400, 200},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args);
        const ToolRun r = Render(c.args);
        EXPECT_EQ(r.nExit, 0) << r.strOut;
        const size_t nEnd = c.args.rfind(' ');
        EXPECT_EQ(PngSize(c.args.substr(nEnd + 1)), std::make_pair(c.w, c.h));
    }
}

TEST(KvdRender, RefusesWhatIsNoDrawing)
{
    const std::string text = kDir + "/render_not_a_drawing.txt";
    std::ofstream(text) << "this is text, not a drawing\n";
    ToolRun r = Render(text + " " + kDir + "/render_none.png");
    EXPECT_EQ(r.nExit, 2);
    EXPECT_NE(r.strOut.find("not a drawing"), std::string::npos) << r.strOut;

    // The class block of a drawing followed by garbage.
    const std::string cut = kDir + "/render_cut.xvb";
    SaveReference(XVertBuffer::PATH_GDIP, cut);
    std::string bytes;
    {
        std::ifstream in(cut, std::ios::binary);
        bytes.assign(std::istreambuf_iterator<char>(in), {});
    }
    bytes.resize(bytes.size() / 3);
    std::ofstream(cut, std::ios::binary | std::ios::trunc) << bytes;
    r = Render(cut + " " + kDir + "/render_none.png");
    EXPECT_EQ(r.nExit, 2);
    EXPECT_NE(r.strOut.find("cannot read it as a drawing"), std::string::npos) << r.strOut;

    r = Render("--size 0x5 a b");
    EXPECT_EQ(r.nExit, 1);
    EXPECT_NE(r.strOut.find("usage"), std::string::npos);
}
