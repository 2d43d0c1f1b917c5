#include "KVDbase/core/XException.h"

#include "platform/XSysError.h"

#include <atomic>
#include <cstdio>

XIMPLEMENT_DYNAMIC(XException, XObject)
XIMPLEMENT_DYNAMIC(XFileException, XException)

namespace {

// The catalogue: fixed-width records, as the codes index them.
const char kModules[7][20] = {"Kvbase", "Kvvc", "Kvcg", "Kvip", "Kvmt", "Kveg", "Kvcc"};
const char kGroups[3][20] = {"License", "Remote File", "Generic"};

const char kMessages[39][255] = {
    // 0 to 13: the licence group. Their wording belongs to the licence
    // module, which this library does not contain; each names its number.
    "Licence error 0",
    "Licence error 1",
    "Licence error 2",
    "Licence error 3",
    "Licence error 4",
    "Licence error 5",
    "Licence error 6",
    "Licence error 7",
    "Licence error 8",
    "Licence error 9",
    "Licence error 10",
    "Licence error 11",
    "Licence error 12",
    "Licence error 13",
    // 14 to 38: the remote file group and the generic group.
    "Failed winsock initialization",
    "The user already exists",
    "There is no such user",
    "Incorrect password",
    "Remote access denied",
    "Path not found",
    "Network connection closed",
    "Out of memory",
    "Invalid public key received",
    "DB connection is not established",
    "The file is already in service",
    "The file is not in service",
    "The root is not in service",
    "There is no such group",
    "The group already exists",
    "The remote file connection doesn't exist",
    "The file handle is not valid",
    "The parameter is not valid",
    "Max rf server connection Exceeded",
    "The IP is not authorized",
    "Invalid rf packet parameter",
    "Failed to allocate io context",
    "Invalid rf memory pool",
    "Failed to create io device obj",
    "RF version mismatch",
};

void DefaultReporter(const char* pszText, const char* pszCaption)
{
    std::fprintf(stderr, "%s: %s\n", pszCaption, pszText);
}

std::atomic<XfnErrorReporter> g_pfnReporter{&DefaultReporter};

void Report(const XString& strText)
{
    g_pfnReporter.load()(strText, "Error");
}

} // namespace

XString XfnGetErrorString(DWORD nCode, XString& strModule, XString& strGroup)
{
    char text[512];
    if (XfnSysErrorText(nCode, text, sizeof(text))) {
        strModule = "Win32";
        strGroup = "Win32";
        return XString(text);
    }

    XString strMessage = "Unknown";
    strModule = "Unknown";
    strGroup = "Unknown";
    DWORD nMessage = nCode & 0xFFFF;
    DWORD nGroup = (nCode >> 16) & 0xFF;
    DWORD nModule = (nCode >> 24) & 0x1F;
    if (nModule < 7) {
        strModule = kModules[nModule];
        if (nGroup < 3) {
            strGroup = kGroups[nGroup];
            if (nMessage < 39)
                strMessage = kMessages[nMessage];
        }
    }
    return strMessage;
}

void XfnLastError(XString& strText)
{
    int nError = XfnSysLastError();
    char text[512];
    if (XfnSysErrorText(static_cast<uint32_t>(nError), text, sizeof(text)))
        strText = text;
    else
        strText.Format("Error %d", nError);
}

XfnErrorReporter XfnSetErrorReporter(XfnErrorReporter pfnReporter)
{
    return g_pfnReporter.exchange(pfnReporter == nullptr ? &DefaultReporter : pfnReporter);
}

// ------------------------------------------------------------- XException

XException::XException() : nErrCode(0xFFFFFFFFu) {}

XException::XException(DWORD nCode) : nErrCode(nCode) {}

XException::XException(const XException& src) : XObject(), std::exception(), nErrCode(src.nErrCode) {}

XException& XException::operator=(const XException& src)
{
    nErrCode = src.nErrCode;
    return *this;
}

BOOL XException::GetErrorText(XString& strMessage, XString& strModule, XString& strGroup)
{
    strMessage = XfnGetErrorString(nErrCode, strModule, strGroup);
    return strMessage == "Unknown" || strModule == "Unknown" || strGroup == "Unknown" ? 0 : 1;
}

void XException::ReportError()
{
    Report(GetReportText());
}

XString XException::GetReportText() const
{
    XString strModule, strGroup;
    XString strMessage = XfnGetErrorString(nErrCode, strModule, strGroup);
    return strMessage + " [" + strModule + "]";
}

const char* XException::what() const noexcept
{
    try {
        // The text is kept while it stays the same, so that a pointer handed
        // out earlier stays valid.
        XString strText = GetReportText();
        if (strText != strWhat)
            strWhat = strText;
    } catch (...) {
        return "XException (no memory to decode its code)";
    }
    return strWhat;
}

void XException::ThrowError(DWORD nCode)
{
    XException e;
    e.SetErrCode(nCode);
    throw e;
}

// --------------------------------------------------------- XFileException

XFileException::XFileException() = default;

XFileException::XFileException(DWORD nCode, XString strName) : XException(nCode), strFileName(strName) {}

XFileException::XFileException(const XFileException& src) : XException(src), strFileName(src.strFileName) {}

XFileException& XFileException::operator=(const XFileException& src)
{
    XException::operator=(src);
    strFileName = src.strFileName;
    return *this;
}

XString XFileException::GetReportText() const
{
    XString strText = XException::GetReportText();
    if (!strFileName.IsEmpty())
        strText += " [" + strFileName + "]";
    return strText;
}

void XFileException::ThrowError(DWORD nCode, XString strName)
{
    throw XFileException(nCode, strName);
}
