// XException and XFileException: the library's own failures, thrown by value
// with one 32-bit code and caught by reference; nothing is allocated and
// nobody deletes them. A code is either an operating-system error number or a
// library code (message, group and module indexes) that XfnGetErrorString
// decodes from a fixed catalogue. Both are run-time classes under XObject and
// also std::exceptions, so a handler for std::exception catches them with
// every other exception of the library; what() is the text ReportError shows.
#pragma once

#include "KVDbase/core/XObject.h"
#include "KVDbase/core/XString.h"

#include <exception>

class KVD_API XException : public XObject, public std::exception {
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
    // Shows GetReportText() to the user through the error reporter.
    virtual void ReportError();
    // The decoded text, "message [module]", and for a file exception with a
    // name " [file name]" after it. The pointer stays valid while the
    // exception lives and its code and name stay as they are.
    const char* what() const noexcept override;

    [[noreturn]] static void ThrowError(DWORD nCode);

protected:
    virtual XString GetReportText() const;

    DWORD nErrCode;

private:
    mutable XString strWhat;
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

    [[noreturn]] static void ThrowError(DWORD nCode, XString strName);

protected:
    // As XException's, followed by " [file name]" when there is a name.
    XString GetReportText() const override;

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
