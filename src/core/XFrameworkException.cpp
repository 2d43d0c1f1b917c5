#include "KVDbase/core/XFrameworkException.h"

namespace {

const char* ArchiveCauseText(int nCause)
{
    static const char* const texts[] = {
        "no error", "unknown error", "tried to write to an archive opened for loading",
        "reached the end of the stream while reading", "tried to read from an archive opened for storing",
        "bad object index or table overflow", "unknown or unexpected class in the stream",
        "unsupported schema of a class in the stream",
    };
    return nCause >= 0 && nCause < 8 ? texts[nCause] : "unknown cause";
}

const char* FileCauseText(int nCause)
{
    static const char* const texts[] = {
        "no error", "unspecified error", "file not found", "bad path", "too many open files",
        "access denied", "invalid file", "cannot remove the current directory", "directory full",
        "bad seek", "hardware I/O error", "sharing violation", "lock violation", "disk full",
        "end of file",
    };
    return nCause >= 0 && nCause < 15 ? texts[nCause] : "unknown cause";
}

} // namespace

const char* XFrameworkException::what() const noexcept
{
    return strWhat;
}

XArchiveException::XArchiveException(int nCause, const XString& strFileName)
    : nCause(nCause), strFileName(strFileName)
{
    strWhat.Format("archive: %s (cause %d)", ArchiveCauseText(nCause), nCause);
    if (!strFileName.IsEmpty())
        strWhat += " [" + strFileName + "]";
}

void XArchiveException::Throw(int nCause, const XString& strFileName)
{
    throw XArchiveException(nCause, strFileName);
}

XFileErrorException::XFileErrorException(int nCause, LONG nOsError, const XString& strFileName)
    : nCause(nCause), nOsError(nOsError), strFileName(strFileName)
{
    strWhat.Format("file: %s (cause %d, error %d)", FileCauseText(nCause), nCause, static_cast<int>(nOsError));
    if (!strFileName.IsEmpty())
        strWhat += " [" + strFileName + "]";
}

void XFileErrorException::Throw(int nCause, LONG nOsError, const XString& strFileName)
{
    throw XFileErrorException(nCause, nOsError, strFileName);
}

const char* XMemoryException::what() const noexcept
{
    return "out of memory";
}

void XMemoryException::Throw()
{
    throw XMemoryException();
}

const char* XNotSupportedException::what() const noexcept
{
    return "operation not supported";
}

void XNotSupportedException::Throw()
{
    throw XNotSupportedException();
}
