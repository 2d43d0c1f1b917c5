#include "KVDbase/core/XException.h"
#include "KVDbase/core/XFrameworkException.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace {

std::string g_strReported;
std::string g_strCaption;

void CaptureReport(const char* pszText, const char* pszCaption)
{
    g_strReported = pszText;
    g_strCaption = pszCaption;
}

struct ReporterScope {
    ReporterScope() { XfnSetErrorReporter(&CaptureReport); }
    ~ReporterScope() { XfnSetErrorReporter(nullptr); }
};

} // namespace

TEST(XfnGetErrorString, DecodesLibraryCodes)
{
    XString strModule, strGroup;
    XString strMessage = XfnGetErrorString(0x2001001D, strModule, strGroup);
    EXPECT_STREQ(strMessage, "The remote file connection doesn't exist");
    EXPECT_STREQ(strModule, "Kvbase");
    EXPECT_STREQ(strGroup, "Remote File");

    strMessage = XfnGetErrorString(XfnMakeErrorCode(6, 2, 38), strModule, strGroup);
    EXPECT_STREQ(strMessage, "RF version mismatch");
    EXPECT_STREQ(strModule, "Kvcc");
    EXPECT_STREQ(strGroup, "Generic");
}

TEST(XfnGetErrorString, NestedRangeChecks)
{
    XString strModule, strGroup, strMessage;
    // Message index 39: module and group known, message not.
    strMessage = XfnGetErrorString(XfnMakeErrorCode(0, 1, 39), strModule, strGroup);
    EXPECT_STREQ(strMessage, "Unknown");
    EXPECT_STREQ(strModule, "Kvbase");
    EXPECT_STREQ(strGroup, "Remote File");
    // Bad group: the message stays unknown although its index is valid.
    strMessage = XfnGetErrorString(XfnMakeErrorCode(1, 3, 20), strModule, strGroup);
    EXPECT_STREQ(strMessage, "Unknown");
    EXPECT_STREQ(strModule, "Kvvc");
    EXPECT_STREQ(strGroup, "Unknown");
    // Bad module: all three unknown.
    strMessage = XfnGetErrorString(XfnMakeErrorCode(7, 1, 20), strModule, strGroup);
    EXPECT_STREQ(strMessage, "Unknown");
    EXPECT_STREQ(strModule, "Unknown");
    EXPECT_STREQ(strGroup, "Unknown");
}

TEST(XfnGetErrorString, PlatformNumbersWin)
{
    XString strModule, strGroup;
    XString strMessage = XfnGetErrorString(ENOENT, strModule, strGroup);
    EXPECT_STREQ(strMessage, std::strerror(ENOENT));
    EXPECT_STREQ(strModule, "Win32");
    EXPECT_STREQ(strGroup, "Win32");
    strMessage = XfnGetErrorString(10057, strModule, strGroup);
    EXPECT_NE(std::string(strMessage).find("not connected"), std::string::npos);
    EXPECT_STREQ(strModule, "Win32");
    strMessage = XfnGetErrorString(10061, strModule, strGroup);
    EXPECT_NE(std::string(strMessage).find("refused"), std::string::npos);
}

TEST(XException, CodesAndText)
{
    XException e;
    EXPECT_EQ(e.GetErrCode(), 0xFFFFFFFFu);
    XString strMessage, strModule, strGroup;
    EXPECT_FALSE(e.GetErrorText(strMessage, strModule, strGroup));
    EXPECT_STREQ(strMessage, "Unknown");

    e.SetErrCode(XfnMakeErrorCode(0, 2, 39));
    EXPECT_FALSE(e.GetErrorText(strMessage, strModule, strGroup));
    e.SetErrCode(ENOENT);
    EXPECT_TRUE(e.GetErrorText(strMessage, strModule, strGroup));
    XException copy(e);
    EXPECT_EQ(copy.GetErrCode(), static_cast<DWORD>(ENOENT));
}

TEST(XException, ThrownByValue)
{
    try {
        XException::ThrowError(XfnMakeErrorCode(0, 1, 17));
        FAIL() << "nothing thrown";
    } catch (XException& e) {
        EXPECT_EQ(e.GetErrCode(), XfnMakeErrorCode(0, 1, 17));
    }
    try {
        XFileException::ThrowError(ENOENT, "missing.dat");
        FAIL() << "nothing thrown";
    } catch (XException& e) {
        XFileException* pFile = dynamic_cast<XFileException*>(&e);
        ASSERT_NE(pFile, nullptr);
        EXPECT_STREQ(pFile->GetFileName(), "missing.dat");
        EXPECT_EQ(pFile->GetRuntimeClass(), XFileException::GetRuntimeClassStatic());
    }
}

TEST(XException, ReportTextAndCaption)
{
    ReporterScope scope;
    XException(XfnMakeErrorCode(0, 1, 18)).ReportError();
    EXPECT_EQ(g_strReported, "Remote access denied [Kvbase]");
    EXPECT_EQ(g_strCaption, "Error");
    XFileException(XfnMakeErrorCode(0, 1, 19), "").ReportError();
    EXPECT_EQ(g_strReported, "Path not found [Kvbase]");
    XFileException(XfnMakeErrorCode(0, 1, 19), "/data/a.img").ReportError();
    EXPECT_EQ(g_strReported, "Path not found [Kvbase] [/data/a.img]");
}

TEST(XfnLastError, ReadsTheThreadsError)
{
    errno = EACCES;
    XString strText;
    XfnLastError(strText);
    EXPECT_STREQ(strText, std::strerror(EACCES));
}

TEST(XFrameworkException, CarryCauseErrorAndName)
{
    try {
        XArchiveException::Throw(XArchiveException::endOfFile, "graph.bin");
    } catch (const XArchiveException& e) {
        EXPECT_EQ(e.nCause, 3);
        EXPECT_STREQ(e.strFileName, "graph.bin");
        EXPECT_NE(std::string(e.what()).find("graph.bin"), std::string::npos);
    }
    try {
        XFileErrorException::Throw(XFileErrorException::diskFull, -1, "full.bin");
    } catch (const std::exception& e) {
        const auto* p = dynamic_cast<const XFileErrorException*>(&e);
        ASSERT_NE(p, nullptr);
        EXPECT_EQ(p->nCause, 13);
        EXPECT_EQ(p->nOsError, -1);
    }
    EXPECT_THROW(XMemoryException::Throw(), XFrameworkException);
    EXPECT_THROW(XNotSupportedException::Throw(), XNotSupportedException);
}
