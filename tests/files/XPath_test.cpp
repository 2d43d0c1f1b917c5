#include "KVDbase/files/XPath.h"

#include "XFilesTestDir.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <regex>
#include <string>

namespace {

// Runs the body with the current directory set to dir, restoring it after.
template <class F> void InDirectory(const std::filesystem::path& dir, F body)
{
    std::filesystem::path old = std::filesystem::current_path();
    std::filesystem::current_path(dir);
    body();
    std::filesystem::current_path(old);
}

// prefix, eleven digits of the UTC time, ".tmp".
bool IsTempName(const std::string& name, const std::string& prefix)
{
    return std::regex_match(name, std::regex(prefix + "[0-9]{11}\\.tmp"));
}

} // namespace

class XPathTest : public XFilesTest {};

TEST(XfnComparePath, IgnoresCaseOfPlainLettersOnly)
{
    EXPECT_EQ(XfnComparePath("/Data/Scene.TIF", "/data/scene.tif"), 1);
    EXPECT_EQ(XfnComparePath("/data/a", "/data/a/"), 0);
    // Full-width A (U+FF21) and a (U+FF41) differ in case and must match.
    EXPECT_EQ(XfnComparePath("x\xEF\xBC\xA1", "x\xEF\xBD\x81"), 0);
    EXPECT_EQ(XfnComparePath("X\xEF\xBC\xA1", "x\xEF\xBC\xA1"), 1);
}

// The XString forms: name, title, extension, directory and root.
TEST(XPath, PartsOfAPath)
{
    typedef XString (*PartFn)(XString);
    const struct {
        PartFn pfn;
        const char* pszPath;
        const char* pszPart;
    } cases[] = {
        {XfnGetFileName, "C:name", "name"}, {XfnGetFileName, "dir\\sub/file.txt", "file.txt"},
        {XfnGetFileName, "dir/", ""},
        // A trail byte never counts as a separator: the walk is by characters.
        {XfnGetFileName, "d/\xE4\xBD\xA0.txt", "\xE4\xBD\xA0.txt"}, {XfnGetFileTitle, "/data/scene.tif", "scene.tif"},
        {XfnGetFileTitle, "/data/", ""}, {XfnGetFileTitle, "/data/*.tif", "*.tif"}, {XfnGetFileExt, "a.tar.gz", "gz"},
        {XfnGetFileExt, ".profile", "profile"}, {XfnGetFileExt, "file.", ""}, {XfnGetFileExt, "dir.d/file", ""},
        {XfnGetDirName, "name.txt", ""}, {XfnGetDirName, "a/b\\c.txt", "a/b\\"}, {XfnGetDirName, "C:f", "C:"},
        {XfnGetDirName, "/usr/lib/", "/usr/lib/"}, {XfnGetRoot, "C:\\dir\\file", "C:\\"},
        {XfnGetRoot, "\\\\server\\share\\dir", "\\\\server\\share\\"},
        {XfnGetRoot, "//server/share/dir", "//server/share/"}, {XfnGetRoot, "\\\\server\\share", "\\\\server\\share"},
        {XfnGetRoot, "name", "name"}, {XfnGetRoot, "/usr/lib", "/"},
        // The doubled separator is found in the middle; nothing follows the "server" part, so the text stands whole.
        {XfnGetRoot, "C:\\a\\\\b", "C:\\a\\\\b"},
    };
    for (const auto& c : cases)
        EXPECT_STREQ(c.pfn(XString(c.pszPath)), c.pszPart) << c.pszPath;
    // The buffer forms count without a buffer, and cut (giving 0) when the part does not fit.
    EXPECT_EQ(XfnGetFileName("/a/b/name.ext", nullptr, 0), 9u);
    char out[5] = "keep";
    EXPECT_EQ(XfnGetFileName("/a/b/name.ext", out, 0), 0u);
    EXPECT_STREQ(out, "keep");
    EXPECT_EQ(XfnGetFileTitle("/data/scene.tif", out, 4), 0u);
    EXPECT_STREQ(out, "sce");
    EXPECT_EQ(XfnGetFileName("/a/b/name.ext", out, sizeof(out)), 0u);
    EXPECT_STREQ(out, "name");
    // The XString form keeps 255 characters.
    EXPECT_EQ(XfnGetFileName(XString(("/d/" + std::string(300, 'n')).c_str())).GetLength(), 255);
}

TEST_F(XPathTest, ResolvesFromCurrentDirectoryOrGivesACutCopy)
{
    std::filesystem::create_directories(dir.path / "sub");
    const std::string base = std::filesystem::canonical(dir.path).string();
    const std::string longPath = "/" + std::string(300, 'p'), fits = "/" + std::string(258, 'q');
    // Too long or empty: a copy cut to 259 characters, and 0; exactly 259 still fit.
    const struct {
        std::string in;
        int nResult;
        std::string out;
    } cases[] = {{"sub/../sub\\.\\f.txt", 1, base + "/sub/f.txt"}, {"sub/", 1, base + "/sub/"},
                 {"/a//b/../c", 1, "/a/c"}, {"/..", 1, "/"}, {longPath, 0, longPath.substr(0, 259)}, {fits, 1, fits},
                 {"", 0, ""}};
    char out[260];
    InDirectory(base, [&] {
        for (const auto& c : cases) {
            EXPECT_EQ(XfnFullPath(out, c.in.c_str()), c.nResult) << c.in;
            EXPECT_EQ(std::string(out), c.out);
        }
        EXPECT_EQ(std::string(XfnGetFullPath(XString("x"))), base + "/x");
    });
    EXPECT_EQ(XfnFullPath(out, nullptr), 0);
    EXPECT_STREQ(out, "");
}

TEST_F(XPathTest, TimeTailInSetOrCurrentDirectory)
{
    std::string base = std::filesystem::canonical(dir.path).string();
    InDirectory(base, [&] {
        std::string name(XfnGetTempFileName("XMMFileTemp"));
        ASSERT_EQ(name.substr(0, base.size() + 1), base + "/");
        EXPECT_TRUE(IsTempName(name.substr(base.size() + 1), "XMMFileTemp")) << name;
    });
    XfnSetTempPath("/scratch/");
    std::string name(XfnGetTempFileName("XMMFileTemp"));
    EXPECT_EQ(name.substr(0, 9), "/scratch/");
    EXPECT_TRUE(IsTempName(name.substr(9), "XMMFileTemp")) << name;
    // No separator is added to the set path.
    XfnSetTempPath("/scratch");
    EXPECT_EQ(std::string(XfnGetTempFileName("p")).substr(0, 9), "/scratchp");
    XfnSetTempPath("");
    EXPECT_STREQ(XfnGetTempPath(), XfnGetModulePath(nullptr));
}
