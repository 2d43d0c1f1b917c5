#include "XRFPErrors.h"
#include "XRFPFileSystem.h"
#include "XRFPPath.h"

#include <gtest/gtest.h>

#include <fcntl.h>

#include <filesystem>
#include <fstream>
#include <random>

namespace fs = std::filesystem;

namespace {

std::vector<std::string> Split(const std::string& strPath, bool& bOk)
{
    std::vector<std::string> vecParts;
    bOk = XfnRFPSplitPath(strPath, vecParts);
    return vecParts;
}

} // namespace

TEST(XRFPPath, SplitsRelativePathsAndRefusesThoseThatLeaveTheRoot)
{
    const struct {
        const char* pszPath;
        std::vector<std::string> vecParts;
    } inside[] = {
        {"maps\\north\\a.tif", {"maps", "north", "a.tif"}},
        {"maps/north\\\\a.tif\\", {"maps", "north", "a.tif"}},
        {"a\\.\\b\\..\\c", {"a", "c"}},
        {"", {}},
        {"a\\..", {}},  // back at the root is still inside
        {"...\\x", {"...", "x"}},  // three dots are a name
    };
    for (const auto& c : inside) {
        bool bOk = false;
        EXPECT_EQ(Split(c.pszPath, bOk), c.vecParts) << c.pszPath;
        EXPECT_TRUE(bOk) << c.pszPath;
    }
    for (const char* pszPath : {"..", "..\\x", "a\\..\\..\\x", "\\x", "/x", "\\\\server\\share", "C:\\x", "C:x",
                                "a\\b:stream", "a/../../b"}) {
        bool bOk = true;
        Split(pszPath, bOk);
        EXPECT_FALSE(bOk) << pszPath;
    }
}

TEST(XRFPPath, WildcardsIgnoreCase)
{
    const struct {
        const char* pszPattern;
        const char* pszName;
        bool bMatch;
    } cases[] = {
        {"*.tif", "A.TIF", true}, {"*.*", "noextension", true}, {"*", "", true},       {"a*b*c", "aXXbYYbZc", true},
        {"t?le", "tile", true},   {"t?le", "tle", false},       {"*.tif", "a.tiff", false}, {"a*b", "ab_", false},
        {"**a", "bba", true},
    };
    for (const auto& c : cases)
        EXPECT_EQ(XfnRFPMatchPattern(c.pszPattern, c.pszName), c.bMatch) << c.pszPattern << " " << c.pszName;
}

TEST(XRFPFileSystem, ResolvesBeneathTheRootAndRefusesLinksOut)
{
    fs::path dir = fs::temp_directory_path() / ("kvd_xrfp_path_" + std::to_string(std::random_device{}()));
    fs::create_directories(dir / "root" / "sub");
    fs::create_directories(dir / "other");
    std::ofstream(dir / "other" / "secret") << "s";
    std::ofstream(dir / "root" / "sub" / "f") << "f";
    fs::create_directory_symlink(dir / "other", dir / "root" / "absolute");
    fs::create_directory_symlink("../other", dir / "root" / "relative");
    fs::create_symlink("sub/f", dir / "root" / "in");
    fs::create_symlink("../nowhere", dir / "root" / "dangling");
    XRFPFd fdRoot;
    ASSERT_EQ(XfnRFPOpenRoot((dir / "root").string(), fdRoot), 0);

    const struct {
        const char* pszPath;
        int nFlags;
        int nError;
    } cases[] = {
        {"sub/f", O_RDONLY, 0},
        {"in", O_RDONLY, 0},
        {"", O_RDONLY | O_DIRECTORY, 0},
        {"in", O_RDONLY | O_NOFOLLOW, ELOOP},
        {"absolute/secret", O_RDONLY, EXDEV},
        {"relative/secret", O_RDONLY, EXDEV},
        {"relative/none", O_RDONLY, EXDEV},  // the same answer whether it exists or not
        {"dangling", O_PATH, EXDEV},
        {"../other/secret", O_RDONLY, EXDEV},
        {"none/x", O_RDONLY, ENOENT},
    };
    for (const auto& c : cases) {
        XRFPFd fd;
        EXPECT_EQ(XfnRFPOpenBeneath(fdRoot.Get(), c.pszPath, c.nFlags, fd), c.nError) << c.pszPath;
        EXPECT_EQ(static_cast<bool>(fd), c.nError == 0) << c.pszPath;
    }
    // A tree is removed without following the links inside it.
    fs::create_directories(dir / "root" / "tree" / "deep");
    fs::create_directory_symlink(dir / "other", dir / "root" / "tree" / "deep" / "link");
    EXPECT_EQ(XfnRFPRemoveTree(fdRoot.Get(), "tree", 8), 0);
    EXPECT_FALSE(fs::exists(dir / "root" / "tree"));
    EXPECT_TRUE(fs::exists(dir / "other" / "secret"));
    EXPECT_TRUE(XfnRFPCanonicalDirectory((dir / "root" / "sub" / "f").string()).empty());
    fs::remove_all(dir);
}
