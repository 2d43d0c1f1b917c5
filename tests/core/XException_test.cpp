#include "KVDbase/core/XException.h"

#include "KVDbase/core/XArchive.h"
#include "KVDbase/core/XFrameworkException.h"
#include "KVDbase/files/XFile.h"
#include "KVDbase/files/XMemFile.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

std::string g_strReported;
std::string g_strCaption;

void CaptureReport(const char* pszText, const char* pszCaption)
{
    g_strReported = pszText;
    g_strCaption = pszCaption;
}

} // namespace

TEST(XfnGetErrorString, CatalogueRangesAndPlatformNumbers)
{
    struct {
        DWORD nCode;
        const char* pszMessage;
        const char* pszModule;
        const char* pszGroup;
    } const cases[] = {
        {0x2001001D, "The remote file connection doesn't exist", "Kvbase", "Remote File"},
        {XfnMakeErrorCode(6, 2, 38), "RF version mismatch", "Kvcc", "Generic"},
        // The ranges are checked module first, then group, then message.
        {XfnMakeErrorCode(0, 1, 39), "Unknown", "Kvbase", "Remote File"},
        {XfnMakeErrorCode(1, 3, 20), "Unknown", "Kvvc", "Unknown"},
        {XfnMakeErrorCode(7, 1, 20), "Unknown", "Unknown", "Unknown"},
        {ENOENT, std::strerror(ENOENT), "Win32", "Win32"},
    };
    for (const auto& c : cases) {
        XString strModule, strGroup;
        EXPECT_STREQ(XfnGetErrorString(c.nCode, strModule, strGroup), c.pszMessage) << std::hex << c.nCode;
        EXPECT_STREQ(strModule, c.pszModule);
        EXPECT_STREQ(strGroup, c.pszGroup);
    }
    // Socket numbers are the platform's too.
    XString strModule, strGroup;
    EXPECT_NE(std::string(XfnGetErrorString(10057, strModule, strGroup)).find("not connected"), std::string::npos);
    EXPECT_NE(std::string(XfnGetErrorString(10061, strModule, strGroup)).find("refused"), std::string::npos);
    EXPECT_STREQ(strModule, "Win32");
}

TEST(XException, CodesTextsAndReports)
{
    XException e;
    EXPECT_EQ(e.GetErrCode(), 0xFFFFFFFFu);
    XString strMessage, strModule, strGroup;
    EXPECT_FALSE(e.GetErrorText(strMessage, strModule, strGroup));
    e.SetErrCode(XfnMakeErrorCode(0, 2, 39));
    EXPECT_FALSE(e.GetErrorText(strMessage, strModule, strGroup));
    e.SetErrCode(ENOENT);
    EXPECT_TRUE(e.GetErrorText(strMessage, strModule, strGroup));
    EXPECT_EQ(XException(e).GetErrCode(), static_cast<DWORD>(ENOENT));

    XfnSetErrorReporter(&CaptureReport);
    XException(XfnMakeErrorCode(0, 1, 18)).ReportError();
    EXPECT_EQ(g_strReported, "Remote access denied [Kvbase]");
    EXPECT_EQ(g_strCaption, "Error");
    XFileException(XfnMakeErrorCode(0, 1, 19), "").ReportError();
    EXPECT_EQ(g_strReported, "Path not found [Kvbase]");
    XFileException named(XfnMakeErrorCode(0, 1, 19), "/data/a.img");
    named.ReportError();
    EXPECT_EQ(g_strReported, "Path not found [Kvbase] [/data/a.img]");
    XfnSetErrorReporter(nullptr);
    // what() is the reported text, and stays put while the exception does.
    const char* pszWhat = named.what();
    EXPECT_STREQ(pszWhat, "Path not found [Kvbase] [/data/a.img]");
    EXPECT_EQ(named.what(), pszWhat);
    named.SetErrCode(XfnMakeErrorCode(0, 1, 18));
    EXPECT_STREQ(named.what(), "Remote access denied [Kvbase] [/data/a.img]");

    try {
        XFileException::ThrowError(ENOENT, "missing.dat");
    } catch (XObject& o) {
        EXPECT_EQ(o.GetRuntimeClass(), XFileException::GetRuntimeClassStatic());
        EXPECT_TRUE(o.IsKindOf(XException::GetRuntimeClassStatic()));
    }
}

// One handler for std::exception catches a file, an archive and a memory
// failure, and each says what went wrong.
TEST(XException, EveryFailureIsAStdExceptionThatSaysWhat)
{
    unsigned char abBlock[2] = {1, 2};
    const std::function<void()> failures[] = {
        [] {
            XFile file("/dev/null", XFile::flagWrite);
            char c;
            file.Read(&c, 1);
        },
        [&] {
            XMemFile file(abBlock, sizeof abBlock, 0);
            XArchive ar(&file, XArchive::load);
            int n = 0;
            ar >> n;
        },
        [&] {
            XMemFile file(abBlock, sizeof abBlock, 0);
            file.Write("abc", 3);
        },
        [] { XArchiveException::Throw(XArchiveException::badClass, "graph.bin"); },
        [] { XFileErrorException::Throw(XFileErrorException::diskFull, 28, "full.bin"); },
    };
    const std::vector<std::string> expected[] = {
        {std::strerror(EBADF), "[Win32]", "[/dev/null]"},
        {"end of the stream"},
        {"out of memory"},
        {"unknown or unexpected class", "graph.bin"},
        {"disk full", "error 28", "full.bin"},
    };
    for (size_t i = 0; i < std::size(failures); ++i) {
        std::string strWhat = "nothing thrown";
        try {
            failures[i]();
        } catch (const std::exception& e) {
            strWhat = e.what();
        }
        for (const std::string& strPart : expected[i])
            EXPECT_NE(strWhat.find(strPart), std::string::npos) << strWhat << " lacks " << strPart;
    }
}

TEST(XfnLastError, ReadsTheThreadsError)
{
    errno = EACCES;
    XString strText;
    XfnLastError(strText);
    EXPECT_STREQ(strText, std::strerror(EACCES));
}
