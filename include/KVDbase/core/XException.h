// XException and XFileException: the library's own failures, thrown by value
// with one 32-bit code and caught by reference; nothing is allocated and
// nobody deletes them. A code is either an operating-system error number or a
// library code (message, group and module indexes) that XfnGetErrorString
// decodes from a fixed catalogue.
#pragma once

#include "KVDbase/core/XObject.h"
#include "KVDbase/core/XString.h"

class KVD_API XException : public XObject {
    XDECLARE_DYNAMIC(XException)
public:
    // The default code has all bits set.
    XException();
    explicit XException(DWORD nCode);
    XException(const XException& src);
    XException& operator=(const XException& src);

    DWORD GetErrCode() const { return nErrCode; }
    void SetErrCode(DWORD nCode) { nErrCode = nCode; }

    // Decodes the code into its message, module and group; 0 if any of the
    // three is "Unknown", else 1.
    virtual BOOL GetErrorText(XString& strMessage, XString& strModule, XString& strGroup);
    // Shows "message [module]" to the user through the error reporter.
    virtual void ReportError();

    [[noreturn]] static void ThrowError(DWORD nCode);

protected:
    DWORD nErrCode;
};

class KVD_API XFileException : public XException {
    XDECLARE_DYNAMIC(XFileException)
public:
    XFileException();
    XFileException(DWORD nCode, XString strName);
    XFileException(const XFileException& src);
    XFileException& operator=(const XFileException& src);

    const XString& GetFileName() const { return strFileName; }
    void SetFileName(XString strName) { strFileName = strName; }

    // As XException's, followed by " [file name]" when there is a name.
    void ReportError() override;

    [[noreturn]] static void ThrowError(DWORD nCode, XString strName);

protected:
    XString strFileName;
};

// Message, module and group of a code. Numbers the platform knows (errno
// values and the socket error numbers) give the platform's text and "Win32"
// twice; library codes are decoded from the catalogue; anything else, or any
// part out of range, reads "Unknown".
KVD_API XString XfnGetErrorString(DWORD nCode, XString& strModule, XString& strGroup);

// The text of the calling thread's last system error.
KVD_API void XfnLastError(XString& strText);

// Where ReportError shows its text. The default writes "caption: text" and a
// line end to standard error. Returns the reporter it replaces; null restores
// the default.
typedef void (*XfnErrorReporter)(const char* pszText, const char* pszCaption);
KVD_API XfnErrorReporter XfnSetErrorReporter(XfnErrorReporter pfnReporter);

// Library codes: module 0 ("Kvbase"), with the group and message index.
constexpr DWORD XfnMakeErrorCode(DWORD nModule, DWORD nGroup, DWORD nMessage)
{
    return (nModule << 24) | (nGroup << 16) | nMessage;
}
