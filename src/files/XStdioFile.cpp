#include "KVDbase/files/XStdioFile.h"

#include "KVDbase/core/XFrameworkException.h"
#include "platform/XSysError.h"
#include "platform/XSysFile.h"

#include <cerrno>
#include <cstring>

XIMPLEMENT_DYNAMIC(XStdioFile, XFile)

namespace {

// The piece in which lines are read.
const int kLineStep = 128;

[[noreturn]] void ThrowCause(int nCause, const XString& strName)
{
    XFileErrorException::Throw(nCause, static_cast<LONG>(XfnSysLastError()), strName);
}

// A closed object has no stream to pass the call to: the call fails as the
// runtime fails on a bad handle.
void RequireStream(FILE* pStream, int nCause, const XString& strName)
{
    if (pStream == nullptr) {
        XfnSysSetLastError(EBADF);
        ThrowCause(nCause, strName);
    }
}

} // namespace

XStdioFile::XStdioFile() : pStream(nullptr)
{
}

XStdioFile::XStdioFile(FILE* pOpenStream) : XFile(XfnSysStreamHandle(pOpenStream)), pStream(pOpenStream)
{
}

XStdioFile::XStdioFile(const char* pszPath, unsigned int nFlags) : pStream(nullptr)
{
    XFileException error;
    if (!Open(pszPath, nFlags, &error))
        XFileException::ThrowError(error.GetErrCode(), error.GetFileName());
}

XStdioFile::~XStdioFile()
{
    if (pStream != nullptr && bOwnsHandle) {
        // A destructor cannot report: a failed close is dropped here.
        try {
            Close();
        } catch (const XFileErrorException&) {
        }
    }
}

void XStdioFile::GetModeString(unsigned int nFlags, char* pszMode)
{
    int n = 0;
    if (nFlags & flagCreate)
        pszMode[n++] = (nFlags & flagNoTruncate) ? 'a' : 'w';
    else
        pszMode[n++] = (nFlags & flagWrite) ? 'a' : 'r';
    if ((pszMode[0] == 'r' && (nFlags & flagReadWrite)) || (pszMode[0] != 'r' && !(nFlags & flagWrite)))
        pszMode[n++] = '+';
    pszMode[n++] = (nFlags & flagBinary) ? 'b' : 't';
    pszMode[n] = '\0';
}

int XStdioFile::Open(const char* pszPath, unsigned int nFlags, XFileException* pError)
{
    pStream = nullptr;
    if (!XFile::Open(pszPath, nFlags & ~static_cast<unsigned int>(flagText), pError))
        return 0;
    // Text and binary streams read alike on this platform; the letter is
    // kept in the mode all the same.
    char szMode[4];
    GetModeString(nFlags, szMode);
    pStream = XfnSysStreamOpen(hFile, szMode);
    if (pStream == nullptr) {
        if (pError != nullptr)
            pError->SetErrCode(static_cast<DWORD>(XfnSysLastError()));
        XFile::Abort();
        return 0;
    }
    return 1;
}

unsigned int XStdioFile::Read(void* pBuffer, unsigned int nCount)
{
    if (nCount == 0)
        return 0;
    RequireStream(pStream, XFileErrorException::genericException, strPath);
    size_t nRead = std::fread(pBuffer, 1, nCount, pStream);
    if (nRead == 0 && !std::feof(pStream))
        ThrowCause(XFileErrorException::genericException, strPath);
    if (std::ferror(pStream)) {
        std::clearerr(pStream);
        ThrowCause(XFileErrorException::genericException, strPath);
    }
    return static_cast<unsigned int>(nRead);
}

void XStdioFile::Write(const void* pBuffer, unsigned int nCount)
{
    RequireStream(pStream, XFileErrorException::genericException, strPath);
    if (std::fwrite(pBuffer, 1, nCount, pStream) != nCount)
        ThrowCause(XFileErrorException::genericException, strPath);
}

void XStdioFile::WriteString(const char* pszText)
{
    RequireStream(pStream, XFileErrorException::diskFull, strPath);
    if (std::fputs(pszText, pStream) == EOF)
        ThrowCause(XFileErrorException::diskFull, strPath);
}

char* XStdioFile::ReadString(char* pszBuffer, unsigned int nSize)
{
    RequireStream(pStream, XFileErrorException::genericException, strPath);
    char* pszResult = std::fgets(pszBuffer, static_cast<int>(nSize), pStream);
    if (pszResult == nullptr && !std::feof(pStream)) {
        std::clearerr(pStream);
        ThrowCause(XFileErrorException::genericException, strPath);
    }
    return pszResult;
}

int XStdioFile::ReadString(XString& strText)
{
    RequireStream(pStream, XFileErrorException::genericException, strPath);
    strText.Empty();
    int nLength = 0;
    char* pszResult;
    for (;;) {
        char* pBuf = strText.GetBuffer(nLength + kLineStep);
        pBuf[nLength] = '\0';
        pszResult = std::fgets(pBuf + nLength, kLineStep + 1, pStream);
        strText.ReleaseBuffer();
        if (pszResult == nullptr && !std::feof(pStream)) {
            std::clearerr(pStream);
            ThrowCause(XFileErrorException::genericException, strPath);
        }
        if (pszResult == nullptr)
            break;
        int nPiece = strText.GetLength() - nLength;
        nLength = strText.GetLength();
        if (nPiece < kLineStep || strText[nLength - 1] == '\n')
            break;
    }
    // Text mode has taken any carriage return away already.
    if (nLength > 0 && strText[nLength - 1] == '\n')
        strText = strText.Left(nLength - 1);
    return pszResult != nullptr ? 1 : 0;
}

int64_t XStdioFile::Seek(int64_t nOffset, unsigned int nFrom)
{
    RequireStream(pStream, XFileErrorException::badSeek, strPath);
    if (XfnSysStreamSeek(pStream, nOffset, static_cast<int>(nFrom)) != 0)
        ThrowCause(XFileErrorException::badSeek, strPath);
    return XfnSysStreamTell(pStream);
}

int64_t XStdioFile::GetPosition() const
{
    RequireStream(pStream, XFileErrorException::invalidFile, strPath);
    int64_t nPos = XfnSysStreamTell(pStream);
    if (nPos == -1)
        ThrowCause(XFileErrorException::invalidFile, strPath);
    return nPos;
}

void XStdioFile::Flush()
{
    if (pStream != nullptr && std::fflush(pStream) != 0)
        ThrowCause(XFileErrorException::diskFull, strPath);
}

void XStdioFile::Close()
{
    int nResult = 0;
    if (pStream != nullptr)
        nResult = XfnSysStreamClose(pStream);
    hFile = -1;
    bOwnsHandle = 0;
    pStream = nullptr;
    if (nResult != 0)
        ThrowCause(XFileErrorException::diskFull, strPath);
}

void XStdioFile::Abort()
{
    if (pStream != nullptr && bOwnsHandle)
        XfnSysStreamClose(pStream);
    hFile = -1;
    pStream = nullptr;
    bOwnsHandle = 0;
}

XFile* XStdioFile::Duplicate() const
{
    XNotSupportedException::Throw();
}

void XStdioFile::LockRange(DWORD, DWORD)
{
    XNotSupportedException::Throw();
}

void XStdioFile::UnlockRange(DWORD, DWORD)
{
    XNotSupportedException::Throw();
}
