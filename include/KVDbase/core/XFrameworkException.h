// The general-purpose exceptions that files, archives and strings throw
// besides XException: an archive fault with its cause, a file fault with its
// cause and operating-system error, memory exhaustion and an operation a class
// does not support. All are thrown by value and caught by reference; none is
// allocated. Each derives from std::exception, so what() gives a short text.
#pragma once

#include "KVDbase/core/XString.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

#include <exception>

class KVD_API XFrameworkException : public std::exception {
public:
    const char* what() const noexcept override;

protected:
    XFrameworkException() = default;
    // The text what() returns, built once at construction.
    XString strWhat;
};

// A fault in an archive stream. The causes are fixed numbers of the format.
class KVD_API XArchiveException : public XFrameworkException {
public:
    enum {
        none = 0,
        genericException = 1,
        readOnly = 2,
        endOfFile = 3,
        writeOnly = 4,
        badIndex = 5,
        badClass = 6,
        badSchema = 7,
    };

    XArchiveException(int nCause, const XString& strFileName);

    int nCause;
    XString strFileName;

    [[noreturn]] static void Throw(int nCause, const XString& strFileName);
};

// A fault of a file operation: the cause, the operating-system error (an
// errno value, or -1 when there is none) and the file's name.
class KVD_API XFileErrorException : public XFrameworkException {
public:
    enum {
        none = 0,
        genericException = 1,
        fileNotFound = 2,
        badPath = 3,
        tooManyOpenFiles = 4,
        accessDenied = 5,
        invalidFile = 6,
        removeCurrentDir = 7,
        directoryFull = 8,
        badSeek = 9,
        hardIO = 10,
        sharingViolation = 11,
        lockViolation = 12,
        diskFull = 13,
        endOfFile = 14,
    };

    XFileErrorException(int nCause, LONG nOsError, const XString& strFileName);

    int nCause;
    LONG nOsError;
    XString strFileName;

    [[noreturn]] static void Throw(int nCause, LONG nOsError, const XString& strFileName);
};

// Memory exhaustion; it allocates nothing itself.
class KVD_API XMemoryException : public XFrameworkException {
public:
    XMemoryException() = default;
    const char* what() const noexcept override;
    [[noreturn]] static void Throw();
};

class KVD_API XNotSupportedException : public XFrameworkException {
public:
    XNotSupportedException() = default;
    const char* what() const noexcept override;
    [[noreturn]] static void Throw();
};
