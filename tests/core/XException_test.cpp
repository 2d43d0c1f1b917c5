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

void CaptureReport(const char* pszText, const char* pszCaption)
{
    g_strReported = std::string(pszCaption) + ": " + pszText;
}

} // namespace

TEST(XfnGetErrorString, CatalogueRangesAndPlatformNumbers)
{
    const struct {
        DWORD nCode;
        std::string strMessage;
        const char* pszModule;
        const char* pszGroup;
    } cases[] = {
        {0x2001001D, "The remote file connection doesn't exist", "Kvbase", "Remote File"},
        {XfnMakeErrorCode(6, 2, 38), "RF version mismatch", "Kvcc", "Generic"},
        // The ranges are checked module first, then group, then message.
        {XfnMakeErrorCode(0, 1, 39), "Unknown", "Kvbase", "Remote File"},
        {XfnMakeErrorCode(1, 3, 20), "Unknown", "Kvvc", "Unknown"},
        {XfnMakeErrorCode(7, 1, 20), "Unknown", "Unknown", "Unknown"},
        // Errno and socket numbers are the platform's.
        {ENOENT, std::strerror(ENOENT), "Win32", "Win32"},
        {10057, "The socket is not connected: the connection is closed.", "Win32", "Win32"},
    };
    for (const auto& c : cases) {
        XString strModule, strGroup;
        EXPECT_EQ(std::string(XfnGetErrorString(c.nCode, strModule, strGroup)), c.strMessage) << std::hex << c.nCode;
        EXPECT_STREQ(strModule, c.pszModule);
        EXPECT_STREQ(strGroup, c.pszGroup);
    }
}

TEST(XException, CodesTextsAndReports)
{
    XException e;
    XString strMessage, strModule, strGroup;
    EXPECT_FALSE(e.GetErrorText(strMessage, strModule, strGroup)); // code 0xFFFFFFFF

    XfnSetErrorReporter(&CaptureReport);
    XFileException(XfnMakeErrorCode(0, 1, 19), "").ReportError();
    EXPECT_EQ(g_strReported, "Error: Path not found [Kvbase]");
    XFileException named;
    named = XFileException(XfnMakeErrorCode(0, 1, 19), "/data/a.img");
    named.ReportError();
    EXPECT_EQ(g_strReported, "Error: Path not found [Kvbase] [/data/a.img]");
    // Without a reporter the text goes to the standard error stream.
    XfnSetErrorReporter(nullptr);
    testing::internal::CaptureStderr();
    named.ReportError();
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Error: Path not found [Kvbase] [/data/a.img]\n");
    // what() is the reported text, and stays put while the exception does.
    const char* pszWhat = named.what();
    EXPECT_EQ(named.what(), pszWhat);
    named.SetErrCode(XfnMakeErrorCode(0, 1, 18));
    EXPECT_STREQ(named.what(), "Remote access denied [Kvbase] [/data/a.img]");
}

TEST(XException, ThrownClassesKeepTheirPlace)
{
    try {
        XFileException::ThrowError(ENOENT, "missing.dat");
    } catch (XObject& o) {
        EXPECT_EQ(o.GetRuntimeClass(), XFileException::GetRuntimeClassStatic());
        EXPECT_TRUE(o.IsKindOf(XException::GetRuntimeClassStatic()));
    }
}

// One handler for std::exception catches a file, an archive and a memory failure, and each says what went wrong.
TEST(XException, EveryFailureIsAStdExceptionThatSaysWhat)
{
    unsigned char abBlock[2] = {1, 2};
    XMemFile block(abBlock, sizeof abBlock, 0);
    XArchive ar(&block, XArchive::load);
    int n = 0;
    const std::pair<std::function<void()>, std::vector<std::string>> failures[] = {
        {[&] { XFile("/dev/null", XFile::flagWrite).Read(&n, 1); }, {std::strerror(EBADF), "[Win32]", "[/dev/null]"}},
        {[&] { ar >> n; }, {"end of the stream"}},
        {[&] { XMemFile(abBlock, sizeof abBlock, 0).Write("abc", 3); }, {"out of memory"}},
        {[] { XArchiveException::Throw(XArchiveException::badClass, "graph.bin"); },
         {"unknown or unexpected class", "graph.bin"}},
        {[] { XFileErrorException::Throw(XFileErrorException::diskFull, 28, "full.bin"); },
         {"disk full", "error 28", "full.bin"}},
        {[] { XNotSupportedException::Throw(); }, {"not supported"}},
    };
    for (const auto& f : failures) {
        std::string strWhat = "nothing thrown";
        try {
            f.first();
        } catch (const std::exception& e) {
            strWhat = e.what();
        }
        for (const std::string& strPart : f.second)
            EXPECT_NE(strWhat.find(strPart), std::string::npos) << strWhat << " lacks " << strPart;
    }
}

TEST(XfnLastError, ReadsTheThreadsError)
{
    XString strText;
    errno = 4000; // a number the platform has no text for
    XfnLastError(strText);
    EXPECT_STREQ(strText, "Error 4000");
}
