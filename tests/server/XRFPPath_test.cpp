#include "XRFPErrors.h"
#include "XRFPPath.h"

#include <gtest/gtest.h>

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

TEST(XRFPPath, ResolvesOnDiskAndRefusesLinksOut)
{
    fs::path dir = fs::temp_directory_path() / ("kvd_xrfp_path_" + std::to_string(std::random_device{}()));
    fs::create_directories(dir / "root" / "sub");
    fs::create_directories(dir / "other");
    std::ofstream(dir / "root" / "sub" / "f") << "f";
    fs::create_directory_symlink(dir / "other", dir / "root" / "out");
    fs::create_symlink("sub/f", dir / "root" / "in");
    fs::create_symlink(dir / "nowhere", dir / "root" / "dangling");
    std::string strRoot = XfnRFPCanonicalDirectory((dir / "root").string());
    ASSERT_FALSE(strRoot.empty());

    std::string strHost;
    EXPECT_EQ(XfnRFPResolve(strRoot, {"sub", "f"}, XRFP_FOLLOW_LAST, strHost), 0u);
    EXPECT_EQ(strHost, strRoot + "/sub/f");
    EXPECT_EQ(XfnRFPResolve(strRoot, {"sub", "new"}, XRFP_FOLLOW_LAST, strHost), 0u) << "the last part may be new";
    EXPECT_EQ(XfnRFPResolve(strRoot, {"in"}, XRFP_FOLLOW_LAST, strHost), 0u);
    EXPECT_EQ(strHost, strRoot + "/sub/f");
    EXPECT_EQ(XfnRFPResolve(strRoot, {"in"}, XRFP_NO_FOLLOW_LAST, strHost), 0u);
    EXPECT_EQ(strHost, strRoot + "/in");
    EXPECT_EQ(XfnRFPResolve(strRoot, {"out"}, XRFP_FOLLOW_LAST, strHost), XRFP_ERROR_ACCESS_DENIED);
    EXPECT_EQ(XfnRFPResolve(strRoot, {"out"}, XRFP_NO_FOLLOW_LAST, strHost), 0u) << "the link itself is inside";
    EXPECT_EQ(XfnRFPResolve(strRoot, {"out", "x"}, XRFP_NO_FOLLOW_LAST, strHost), XRFP_ERROR_ACCESS_DENIED);
    EXPECT_EQ(XfnRFPResolve(strRoot, {"dangling"}, XRFP_FOLLOW_LAST, strHost), XRFP_ERROR_ACCESS_DENIED);
    EXPECT_EQ(XfnRFPResolve(strRoot, {"none", "x"}, XRFP_FOLLOW_LAST, strHost), XRFP_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(XfnRFPResolve(strRoot, {"sub", "f", "x"}, XRFP_FOLLOW_LAST, strHost), XRFP_ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(XfnRFPResolve(strRoot, {}, XRFP_FOLLOW_LAST, strHost), 0u);
    EXPECT_EQ(strHost, strRoot);
    EXPECT_TRUE(XfnRFPCanonicalDirectory((dir / "root" / "sub" / "f").string()).empty());
    fs::remove_all(dir);
}
