#include "XRFPErrors.h"
#include "XRFPFileSystem.h"
#include "XRFPPath.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

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

TEST(XRFPPath, SplitsRelativePathsWithEitherSeparator)
{
    bool bOk = false;
    EXPECT_EQ(Split("maps\\north\\a.tif", bOk), (std::vector<std::string>{"maps", "north", "a.tif"}));
    EXPECT_TRUE(bOk);
    EXPECT_EQ(Split("maps/north\\\\a.tif\\", bOk), (std::vector<std::string>{"maps", "north", "a.tif"}));
    EXPECT_EQ(Split("a\\.\\b\\..\\c", bOk), (std::vector<std::string>{"a", "c"}));
    EXPECT_TRUE(bOk);
    EXPECT_TRUE(Split("", bOk).empty());
    EXPECT_TRUE(bOk);
    EXPECT_TRUE(Split("a\\..", bOk).empty());
    EXPECT_TRUE(bOk) << "back at the root is still inside";
    EXPECT_EQ(Split("...\\x", bOk), (std::vector<std::string>{"...", "x"})) << "three dots are a name";
}

TEST(XRFPPath, RefusesPathsThatLeaveTheRoot)
{
    for (const char* pszPath : {"..", "..\\x", "a\\..\\..\\x", "\\x", "/x", "\\\\server\\share", "C:\\x", "C:x",
                                "a\\b:stream", "a/../../b"}) {
        bool bOk = true;
        Split(pszPath, bOk);
        EXPECT_FALSE(bOk) << pszPath;
    }
}

TEST(XRFPPath, WildcardsIgnoreCase)
{
    EXPECT_TRUE(XfnRFPHasWildcards("*.tif"));
    EXPECT_TRUE(XfnRFPHasWildcards("a?c"));
    EXPECT_FALSE(XfnRFPHasWildcards("abc.tif"));
    EXPECT_TRUE(XfnRFPMatchPattern("*.tif", "A.TIF"));
    EXPECT_TRUE(XfnRFPMatchPattern("*.*", "noextension"));
    EXPECT_TRUE(XfnRFPMatchPattern("*", ""));
    EXPECT_TRUE(XfnRFPMatchPattern("a*b*c", "aXXbYYbZc"));
    EXPECT_TRUE(XfnRFPMatchPattern("t?le", "tile"));
    EXPECT_FALSE(XfnRFPMatchPattern("t?le", "tle"));
    EXPECT_FALSE(XfnRFPMatchPattern("*.tif", "a.tiff"));
    EXPECT_FALSE(XfnRFPMatchPattern("a*b", "ab_"));
    EXPECT_TRUE(XfnRFPMatchPattern("**a", "bba"));
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
    fs::create_symlink("../sub/f", dir / "root" / "sub" / "up");
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
        {"sub/up", O_RDONLY, 0},
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
    // Made files and directories get their modes whatever the umask.
    mode_t nOld = umask(077);
    XRFPFd fdNew, fdSub;
    EXPECT_EQ(XfnRFPCreateBeneath(fdRoot.Get(), "new", O_WRONLY, fdNew), 0);
    EXPECT_EQ(XfnRFPCreateBeneath(fdRoot.Get(), "new", O_WRONLY, fdNew), EEXIST);
    EXPECT_EQ(XfnRFPMakeDirectory(fdRoot.Get(), "made"), 0);
    umask(nOld);
    EXPECT_EQ(fs::status(dir / "root" / "new").permissions(), static_cast<fs::perms>(0644));
    EXPECT_EQ(fs::status(dir / "root" / "made").permissions(), static_cast<fs::perms>(0755));

    // A tree is removed without following the links inside it.
    fs::create_directories(dir / "root" / "tree" / "deep");
    fs::create_directory_symlink(dir / "other", dir / "root" / "tree" / "deep" / "link");
    EXPECT_EQ(XfnRFPRemoveTree(fdRoot.Get(), "tree", 8), 0);
    EXPECT_FALSE(fs::exists(dir / "root" / "tree"));
    EXPECT_TRUE(fs::exists(dir / "other" / "secret"));
    EXPECT_TRUE(XfnRFPCanonicalDirectory((dir / "root" / "sub" / "f").string()).empty());
    fs::remove_all(dir);
}
