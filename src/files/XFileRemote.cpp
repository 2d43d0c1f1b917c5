// The remote branches of XFile. A file is remote once Open has taken a path
// of the remote scheme apart; its position and length are kept here, on the
// client. The operations that need the server report, through the check that
// opens every remote branch, that no connection exists: this build of the
// library carries no remote file client, so no remote file can be open.
#include "KVDbase/files/XFile.h"

#include "KVDbase/files/XPath.h"

namespace {

// The scheme of remote paths, seven bytes.
const char kRemoteScheme[] = "xrfp:\\\\";
const DWORD kNoConnection = XfnMakeErrorCode(0, 1, 29);

} // namespace

XString XFile::GetRFName() const
{
    return XString(kRemoteScheme) + strRFHost + "\\" + strRFPath;
}

int XFile::GetXRFConnectionInfo(XRFConnectionOpenParam*)
{
    // A file with connection parameters answers 0 without copying them, and
    // a local file has none to copy.
    return 0;
}

int64_t XFile::RemoteSeek(int64_t nOffset, unsigned int nFrom)
{
    if (pRFParam == nullptr)
        XFileException::ThrowError(kNoConnection, GetRFName());
    // From the end, a positive offset moves back towards the start.
    if (nFrom == begin)
        nRFPosition = nOffset;
    else if (nFrom == current)
        nRFPosition += nOffset;
    else if (nFrom == end)
        nRFPosition = nRFLength - nOffset;
    return nRFPosition;
}

unsigned int XFile::RemoteRead(void*, unsigned int)
{
    XFileException::ThrowError(kNoConnection, GetRFName());
}

DWORD XFile::RemoteWrite(const void*, unsigned int)
{
    XFileException::ThrowError(kNoConnection, GetRFName());
}

int64_t XFile::RemoteGetLength() const
{
    XFileException::ThrowError(kNoConnection, GetRFName());
}

void XFile::RemoteSetEndOfFile()
{
    XFileException::ThrowError(kNoConnection, GetRFName());
}

void XFile::RemoteFlush()
{
    XFileException::ThrowError(kNoConnection, GetRFName());
}

void XFile::RemoteCloseHandle()
{
    // Closing never reports; without a connection there is no server handle
    // to give back.
}

XFile* XFile::RemoteDuplicate() const
{
    XFileException::ThrowError(kNoConnection, GetRFName());
}

int XFile::RemoteGetStatus(XFileStatus&) const
{
    XFileException::ThrowError(kNoConnection, GetRFName());
}
