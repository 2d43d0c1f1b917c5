// XFile: the byte stream over one operating-system file, with 64-bit
// positions; XMemFile and XStdioFile derive from it and XArchive works on it.
// Failures of the file throw XFileException with the system error and the
// path (a short write throws XFileErrorException, cause disk full); Open,
// Close, Abort and GetLength never throw. One object belongs to one thread.
// A path of the remote scheme is routed to the remote file client.
#pragma once

#include "KVDbase/core/XException.h"
#include "KVDbase/core/XObject.h"
#include "KVDbase/core/XString.h"
#include "KVDbase/core/XTime.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"

class XRFConnectionOpenParam;
class XRFConnectionPool;

// What GetStatus reports and SetStatus applies. Zeroing it clears it.
struct XFileStatus {
    XTime timeCreated;
    XTime timeModified;
    XTime timeAccessed;
    int64_t nSize;
    BYTE nAttribute;      // the low byte of the attribute bits
    char szFullPath[260];
};

class KVD_API XFile : public XObject {
    XDECLARE_DYNAMIC(XFile)
public:
    // Open flags; the values are stored by callers and never change.
    enum OpenFlags : unsigned int {
        flagRead = 0x0000,
        flagWrite = 0x0001,
        flagReadWrite = 0x0002,
        flagShareExclusive = 0x0010,
        flagShareDenyWrite = 0x0020,
        flagShareDenyRead = 0x0030,
        flagShareDenyNone = 0x0040,
        flagNoInherit = 0x0080,
        flagCreate = 0x1000,
        flagNoTruncate = 0x2000,
        flagText = 0x4000,
        flagBinary = 0x8000,
    };
    enum SeekPosition : unsigned int { begin = 0, current = 1, end = 2 };

    XFile();
    // Adopts a handle that the destructor will not close.
    explicit XFile(int hFile);
    // Opens, or throws XFileException with the code and name of the failure.
    XFile(const char* pszPath, unsigned int nFlags);
    ~XFile() override;

    operator int() const { return hFile; }

    virtual int64_t GetPosition() const;
    virtual XString GetFileName() const;
    virtual XString GetFileTitle() const;
    virtual XString GetFilePath() const;
    virtual void SetFilePath(const char* pszPath);
    // True on success; on failure the code and a name go to *pError when
    // pError is set. Opening an open object does not close its handle.
    virtual int Open(const char* pszPath, unsigned int nFlags, XFileException* pError = nullptr);
    // A new object on the same open file (the position is shared), owned by
    // the caller.
    virtual XFile* Duplicate() const;
    // nFrom: begin, current or end. The new position.
    virtual int64_t Seek(int64_t nOffset, unsigned int nFrom);
    virtual void SetLength(int64_t nLength);
    virtual int64_t GetLength() const;
    // The bytes read; end of file gives a short count, never an exception.
    virtual unsigned int Read(void* pBuffer, unsigned int nCount);
    virtual void Write(const void* pBuffer, unsigned int nCount);
    // Record locks within the first 4 GiB; no effect on a remote file.
    virtual void LockRange(DWORD nPos, DWORD nCount);
    virtual void UnlockRange(DWORD nPos, DWORD nCount);
    // Closes the handle ignoring the outcome and forgets the path.
    virtual void Abort();
    virtual void Flush();
    virtual void Close();
    // Direct access to the file's own buffer: 0 here, as a file has none.
    virtual unsigned int GetBufferPtr(unsigned int nCommand, unsigned int nCount, void** ppBufStart,
                                      void** ppBufMax);

    int64_t SeekToBegin() { return Seek(0, begin); }
    int64_t SeekToEnd() { return Seek(0, end); }

    // 1 on success. A closed object answers 1 with only the path filled in.
    int GetStatus(XFileStatus& status) const;
    static int GetStatus(const char* pszPath, XFileStatus& status);
    // Throw XFileException on failure; Rename names the new path in it.
    static void Rename(const char* pszOldName, const char* pszNewName);
    static void Remove(const char* pszName);
    static void SetStatus(const char* pszName, const XFileStatus& status);

    // Remote access: XRFInit opens the process's connection pool and
    // XRFClean closes it when the calls pair up (counted atomically, so that
    // several modules may each call both). Nothing in the library calls
    // them. Without a pool every remote operation fails with "The remote file
    // connection doesn't exist".
    static void XRFInit();
    static void XRFClean();
    static XRFConnectionPool* GetRFConnectionPool();

    // The name used in exceptions of a remote file: scheme, host, one
    // backslash and the server path; never the credentials.
    XString GetRFName() const;
    // Copies nothing and answers 0, on a local file and a remote one alike;
    // pParam is left as it was.
    int GetXRFConnectionInfo(XRFConnectionOpenParam* pParam);

    int hFile;         // a file descriptor or a remote handle; -1 when closed
    int bOwnsHandle;   // the destructor closes the handle
    XString strPath;   // full path; a remote path whole

protected:
    int reserved1;
    XString strRFHost;
    WORD nRFPort;
    XString reserved2;
    XString strRFPath;
    XString strRFUser;
    XString strRFPassword;
    int bRemote;
    XRFConnectionOpenParam* pRFParam; // owned; null for a local file
    mutable XString strRFKey; // filled by the first remote call that fetches a connection
    int64_t nRFPosition;
    int64_t nRFLength;

private:
    void InitRemoteMembers();
    // A zero creation or access time takes the time of the last write.
    static void FillTimes(XFileStatus& status, const _FILETIME& ftCreation, const _FILETIME& ftAccess,
                          const _FILETIME& ftWrite);
    // The remote branches of the operations (XFileRemote.cpp).
    int RemoteOpen(const char* pszPath, const XRFConnectionOpenParam& parsed, const XString& strServerPath,
                   DWORD nAccess, DWORD nShare, SECURITY_ATTRIBUTES* pSecurity, DWORD nDisposition,
                   XFileException* pError);
    void CheckRemote() const;
    int64_t RemoteSeek(int64_t nOffset, unsigned int nFrom);
    unsigned int RemoteRead(void* pBuffer, unsigned int nCount);
    DWORD RemoteWrite(const void* pBuffer, unsigned int nCount);
    int64_t RemoteGetLength() const;
    void RemoteSetEndOfFile();
    void RemoteFlush();
    void RemoteCloseHandle();
    XFile* RemoteDuplicate() const;
    int RemoteGetStatus(XFileStatus& status) const;
    static int RemoteGetStatus(XRFConnectionOpenParam& param, const XString& strServerPath, XFileStatus& status);
    static void RemoteRemove(XRFConnectionOpenParam& param, const XString& strServerPath);
    static void RemoteRename(const char* pszOldName, const char* pszNewName);
    static void RemoteSetStatus(XRFConnectionOpenParam& param, const XString& strServerPath,
                                const XFileStatus& status);
};
