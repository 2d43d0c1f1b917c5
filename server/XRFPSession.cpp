#include "XRFPSession.h"

#include "XRFPErrors.h"
#include "XRFPFiles.h"
#include "XRFPLog.h"

#include "KVDbase/crypto/XRSA.h"

#include <cstring>
#include <new>

namespace {

// Replies of streamed commands go out in sends of about this size.
const size_t kSendChunk = 64 * 1024;

// Checked against when a user is unknown, so that a wrong name costs the
// same time as a wrong password.
const std::string& DummyHash()
{
    static const std::string strHash = XfnRFPHashPassword("no user has this password");
    return strHash;
}

std::string Decrypt(const std::string& strPrivateKey, const std::string& strCipher)
{
    return static_cast<const char*>(XfnRSADecryptStringByKey(strPrivateKey.c_str(), strCipher.c_str()));
}

// A user name as the log may show it: a name that no user could have is
// not copied into the log, which keeps log lines whole.
std::string LogName(const std::string& strUser)
{
    return XfnRFPValidUserName(strUser) ? strUser : "(" + std::to_string(strUser.size()) + "-byte name)";
}

tagXRFReply SmallReply(DWORD nCommand, DWORD nError, DWORD nValue = 0, DWORD nValueHigh = 0)
{
    return tagXRFReply{XfnRFReplyCode(nCommand), nValue, nValueHigh, nError};
}

XRFPStream::Deadline After(int nSeconds)
{
    return std::chrono::steady_clock::now() + std::chrono::seconds(nSeconds);
}

// The streamed replies (a read's data, a file list's items) gathered into
// sends of a bounded size: the reply is never held whole.
class XRFPStreamedReply : public XRFPReplySink {
public:
    XRFPStreamedReply(XRFPStream& stream, std::vector<BYTE>& vecBuffer) : stream(stream), vecBuffer(vecBuffer)
    {
        vecBuffer.clear();
    }
    bool ReadHead(DWORD nCount, DWORD nError) override
    {
        return XfnRFBuildReply(vecBuffer, XRF_CMD_READ_FILE, SmallReply(XRF_CMD_READ_FILE, nError, nCount)) ==
               XRF_WIRE_OK;
    }
    bool ReadData(const BYTE* pData, size_t nSize) override
    {
        if (vecBuffer.size() + nSize <= kSendChunk) {
            vecBuffer.insert(vecBuffer.end(), pData, pData + nSize);
            return true;
        }
        // What is gathered (the head) goes out with the first of the data,
        // not in a segment of its own that would wake the client for sixteen
        // bytes; the rest goes straight from the caller's piece.
        size_t nFill = vecBuffer.empty() || vecBuffer.size() >= kSendChunk ? 0 : kSendChunk - vecBuffer.size();
        vecBuffer.insert(vecBuffer.end(), pData, pData + nFill);
        return Flush() && stream.WriteAll(pData + nFill, nSize - nFill);
    }
    bool TakesFiles() const override { return stream.SendsFiles(); }
    bool ReadDataFromFile(int fd, int64_t nPosition, size_t nSize, size_t& nSent) override
    {
        bool bSent = stream.WriteThenFile(vecBuffer.data(), vecBuffer.size(), fd, nPosition, nSize, nSent);
        vecBuffer.clear();
        return bSent;
    }
    bool ListItem(const XRFPFileInfoItem& item) override
    {
        XfnRFBuildFileListHead(vecBuffer, tagXRFFileListHead{XRF_FILE_LIST_CODE, 0, XRF_FILE_INFO_ITEM_SIZE});
        vecBuffer.insert(vecBuffer.end(), item.begin(), item.end());
        return vecBuffer.size() < kSendChunk || Flush();
    }
    bool Flush()
    {
        bool bSent = vecBuffer.empty() || stream.WriteAll(vecBuffer.data(), vecBuffer.size());
        vecBuffer.clear();
        return bSent;
    }

private:
    XRFPStream& stream;
    std::vector<BYTE>& vecBuffer;
};

} // namespace

void XRFPSession::Run() noexcept
{
    try {
        Converse();
    } catch (const std::bad_alloc&) {
        ++context.nFailed;
        XfnRFPLogLimited("failure", strWho, "out of memory; closing this connection");
    } catch (const std::exception& e) {
        ++context.nFailed;
        XfnRFPLogLimited("failure", strWho, "request failed (%s); closing this connection", e.what());
    } catch (...) {
        ++context.nFailed;
        XfnRFPLogLimited("failure", strWho, "request failed; closing this connection");
    }
}

void XRFPSession::Converse()
{
    // The greeting and the login share one deadline, however the client
    // trickles its bytes.
    stream.SetDeadline(After(context.settings.nLoginSeconds));
    if (!Greet())
        return;
    tagXRFPLimits limits;
    limits.nMaxBlock = context.settings.nMaxBlock;
    tagXRFPRequest req;
    std::string strWhy;

    XRFPReadResult result = XfnRFPReadRequest(stream, limits, req, strWhy);
    if (result == XRFP_READ_OK && req.nCommand != XRF_CMD_LOGIN) {
        result = XRFP_READ_MALFORMED;
        strWhy = "command " + std::to_string(req.nCommand) + " before login";
    }
    if (result != XRFP_READ_OK) {
        if (result == XRFP_READ_MALFORMED) {
            ++context.nMalformed;
            XfnRFPLogLimited("malformed", strWho, "malformed packet: %s; closing", strWhy.c_str());
        } else {
            XfnRFPLogDetail(strWho, "closed before login");
        }
        return;
    }
    XRFPLoginPtr pLogin = Login(req);
    if (!pLogin)
        return;
    stream.SetDeadline(XRFPStream::Deadline::max());
    struct tagLeave {
        XRFPLoginTable& logins;
        XRFPLoginPtr& pLogin;
        ~tagLeave() { logins.Leave(pLogin); }
    } leave{context.logins, pLogin};
    strWho += " " + pLogin->User();
    limits.pMemory = pLogin->Memory();
    tagXRFPFileLimits fileLimits;
    fileLimits.nMaxHandles = static_cast<size_t>(context.settings.nMaxHandles);
    fileLimits.nMaxListItems = static_cast<size_t>(context.settings.nMaxListItems);
    fileLimits.nMaxRead = context.settings.nMaxRead;
    fileLimits.pDescriptors = context.pDescriptors;
    XRFPFiles files(*pLogin, fileLimits);
    for (;;) {
        result = XfnRFPReadRequest(stream, limits, req, strWhy);
        if (result == XRFP_READ_MALFORMED) {
            ++context.nMalformed;
            XfnRFPLogLimited("malformed", strWho, "malformed packet: %s; closing", strWhy.c_str());
            break;
        }
        if (result == XRFP_READ_CLOSED) {
            XfnRFPLogDetail(strWho, "closed by the client or idle");
            break;
        }
        if (!Serve(files, req))
            break;
    }
}

bool XRFPSession::Greet()
{
    pKey = context.keys.ForGreeting();
    tagXRFGreeting greeting{};
    std::memcpy(greeting.szVersion, XRF_VERSION, 5);
    greeting.strPublicKey = pKey->strPublic;
    vecReply.clear();
    XfnRFBuildGreeting(vecReply, greeting);
    return Send(vecReply);
}

DWORD XRFPSession::CheckLogin(const tagXRFPRequest& req, std::string& strUser, const tagXRFPUser*& pUser)
{
    // The limits cost nothing to check; the private-key work comes after.
    if (!context.admission.HasRoom()) {
        XfnRFPLogLimited("login", strWho, "login refused: too many connections");
        return XRFP_ERROR_TOO_MANY_CONNECTIONS;
    }
    std::string strPassword;
    try {
        strUser = Decrypt(pKey->strPrivate, req.login.strUser);
        strPassword = Decrypt(pKey->strPrivate, req.login.strPassword);
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& e) {
        // Also what a login recorded under an earlier greeting key gets.
        context.throttle.Failed(strAddress, std::string());
        XfnRFPLogLimited("login", strWho, "login fields do not decrypt under this greeting's key (%s)", e.what());
        return XRFP_ERROR_INVALID_PACKET;
    }
    std::string strKnownName = XfnRFPValidUserName(strUser) ? strUser : std::string();
    // Repeated failures of this address or name wait before the check; a
    // wait that would pass the login deadline ends the connection.
    std::chrono::milliseconds nDelay = context.throttle.Delay(strAddress, strKnownName);
    if (nDelay.count() > 0 && !stream.Pause(nDelay))
        return ~0u;
    pUser = context.users.Find(strUser);
    DWORD nError = 0;
    if (!pUser) {
        XfnRFPVerifyPassword(strPassword, DummyHash());
        nError = XRFP_ERROR_NO_SUCH_USER;
        XfnRFPLogLimited("login", strWho, "login refused: no user %s", LogName(strUser).c_str());
    } else if (!context.verified.Known(*pUser, strPassword) && !XfnRFPVerifyPassword(strPassword, pUser->strHash)) {
        nError = XRFP_ERROR_BAD_PASSWORD;
        XfnRFPLogLimited("login", strWho, "login of %s refused: incorrect password", strUser.c_str());
    }
    if (nError) {
        context.throttle.Failed(strAddress, strKnownName);
        return nError;
    }
    context.throttle.Succeeded(strAddress, strUser);
    context.verified.Remember(*pUser, strPassword);
    if (pUser->strRoot.empty()) {
        XfnRFPLog(strWho, "login of %s refused: the user's root is missing", strUser.c_str());
        return XRFP_ERROR_ROOT_NOT_IN_SERVICE;
    }
    if (!context.admission.LogIn()) {
        XfnRFPLogLimited("login", strWho, "login of %s refused: too many connections", strUser.c_str());
        return XRFP_ERROR_TOO_MANY_CONNECTIONS;
    }
    bLoggedIn = true;
    return 0;
}

XRFPLoginPtr XRFPSession::Login(const tagXRFPRequest& req)
{
    std::string strUser;
    const tagXRFPUser* pUser = nullptr;
    DWORD nError = CheckLogin(req, strUser, pUser);
    if (nError == ~0u)
        return nullptr;
    XRFPLoginPtr pLogin;
    if (!nError) {
        pLogin = context.logins.Enter(pUser->strName, pUser->strRoot,
                                      static_cast<size_t>(context.settings.nUserMemoryMiB) << 20);
        if (!pLogin) {
            XfnRFPLog(strWho, "login of %s refused: its root %s cannot be opened (%s)", strUser.c_str(),
                      pUser->strRoot.c_str(), std::strerror(errno));
            nError = XRFP_ERROR_ROOT_NOT_IN_SERVICE;
        }
    }
    vecReply.clear();
    XfnRFBuildReply(vecReply, XRF_CMD_LOGIN, SmallReply(XRF_CMD_LOGIN, nError));
    if (nError) {
        Send(vecReply);
        return nullptr;
    }
    if (!Send(vecReply)) {
        context.logins.Leave(pLogin);
        return nullptr;
    }
    ++context.nLogins;
    XfnRFPLog(strWho, "%s logged in", pUser->strName.c_str());
    return pLogin;
}

bool XRFPSession::Send(const std::vector<BYTE>& vecBytes)
{
    return stream.WriteAll(vecBytes.data(), vecBytes.size());
}

bool XRFPSession::Serve(XRFPFiles& files, tagXRFPRequest& req)
{
    DWORD nCommand = req.nCommand;
    DWORD nError = 0;
    vecReply.clear();
    switch (nCommand) {
    case XRF_CMD_CREATE_FILE: {
        DWORD hFile = 0xFFFFFFFFu;
        int64_t nSize = 0;
        nError = files.CreateFile(req.create, hFile, nSize);
        XfnRFBuildCreateFileReply(vecReply, tagXRFCreateFileReply{XfnRFReplyCode(nCommand),
                                                                  nError ? 0xFFFFFFFFu : hFile, nError, nSize});
        break;
    }
    case XRF_CMD_READ_FILE: {
        // Streamed replies must be taken by the client within the idle time,
        // however slowly it reads.
        stream.SetDeadline(After(context.settings.nIdleSeconds));
        XRFPStreamedReply reply(stream, vecReply);
        bool bSent = files.ReadFile(req.transfer.hFile, req.transfer.nPosition, req.transfer.nCount, reply) &&
                     reply.Flush();
        stream.SetDeadline(XRFPStream::Deadline::max());
        XfnRFPLogDetail(strWho, "command %u", static_cast<unsigned>(nCommand));
        return bSent;
    }
    case XRF_CMD_WRITE_DATA: {
        DWORD nWritten = 0;
        int64_t nLength = 0;
        if (req.transfer.hFile != req.write.hFile)
            nError = XRFP_ERROR_INVALID_PARAMETER;
        else
            nError = files.WriteFile(req.write.hFile, req.transfer.nPosition, req.write.pData, req.write.nDataSize,
                                     nWritten, nLength);
        XfnRFBuildWriteReply(vecReply, tagXRFWriteReply{XfnRFReplyCode(nCommand), nLength, nWritten, nError});
        break;
    }
    case XRF_CMD_CLOSE_HANDLE:
        nError = files.CloseHandle(req.handle.hFile);
        XfnRFBuildReply(vecReply, nCommand, SmallReply(nCommand, nError));
        break;
    case XRF_CMD_FIND_CLOSE:
        nError = files.FindClose(req.handle.hFile);
        XfnRFBuildReply(vecReply, nCommand, SmallReply(nCommand, nError));
        break;
    case XRF_CMD_SET_END_OF_FILE:
        nError = files.SetEndOfFile(req.handle.hFile);
        XfnRFBuildReply(vecReply, nCommand, SmallReply(nCommand, nError));
        break;
    case XRF_CMD_FLUSH_FILE_BUFFERS:
        nError = files.FlushFileBuffers(req.handle.hFile);
        XfnRFBuildReply(vecReply, nCommand, SmallReply(nCommand, nError));
        break;
    case XRF_CMD_SET_FILE_POINTER: {
        int64_t nPosition = 0;
        nError = files.SetFilePointer(req.seek, nPosition);
        uint64_t n = static_cast<uint64_t>(nPosition);
        XfnRFBuildReply(vecReply, nCommand,
                        SmallReply(nCommand, nError, static_cast<DWORD>(n), static_cast<DWORD>(n >> 32)));
        break;
    }
    case XRF_CMD_GET_FILE_SIZE: {
        int64_t nSize = 0;
        nError = files.GetFileSize(req.handle.hFile, nSize);
        uint64_t n = nError ? 0xFFFFFFFFu : static_cast<uint64_t>(nSize);
        XfnRFBuildReply(vecReply, nCommand,
                        SmallReply(nCommand, nError, static_cast<DWORD>(n), static_cast<DWORD>(n >> 32)));
        break;
    }
    case XRF_CMD_GET_FILE_TIME: {
        tagXRFFileTimeReply reply{XfnRFReplyCode(nCommand), {}, {}, {}, 0};
        reply.nError = files.GetFileTime(req.handle.hFile, reply.ftCreation, reply.ftLastAccess, reply.ftLastWrite);
        nError = reply.nError;
        XfnRFBuildFileTimeReply(vecReply, reply);
        break;
    }
    case XRF_CMD_SET_FILE_TIME:
        nError = files.SetFileTime(req.times);
        XfnRFBuildReply(vecReply, nCommand, SmallReply(nCommand, nError));
        break;
    case XRF_CMD_GET_FILE_ATTRIBUTES: {
        DWORD nAttributes = 0xFFFFFFFFu;
        nError = files.GetFileAttributes(req.path.strPath, nAttributes);
        XfnRFBuildReply(vecReply, nCommand, SmallReply(nCommand, nError, nError ? 0xFFFFFFFFu : nAttributes));
        break;
    }
    case XRF_CMD_SET_FILE_ATTRIBUTES:
        nError = files.SetFileAttributes(req.path.strPath, req.path.nArgument);
        XfnRFBuildReply(vecReply, nCommand, SmallReply(nCommand, nError));
        break;
    case XRF_CMD_DELETE_FILE:
        nError = files.DeleteFile(req.path.strPath);
        XfnRFBuildReply(vecReply, nCommand, SmallReply(nCommand, nError));
        break;
    case XRF_CMD_MOVE_FILE:
        nError = files.MoveFile(req.move.strOldPath, req.move.strNewPath);
        XfnRFBuildReply(vecReply, nCommand, SmallReply(nCommand, nError));
        break;
    case XRF_CMD_CREATE_DIRECTORY:
        nError = files.CreateDirectory(req.path.strPath);
        XfnRFBuildReply(vecReply, nCommand, SmallReply(nCommand, nError));
        break;
    case XRF_CMD_REMOVE_DIRECTORY:
        nError = files.RemoveDirectory(req.path.strPath, req.path.nArgument);
        XfnRFBuildReply(vecReply, nCommand, SmallReply(nCommand, nError));
        break;
    case XRF_CMD_FIND_FIRST_FILE: {
        tagXRFFindReply reply{XfnRFReplyCode(nCommand), 0xFFFFFFFFu, 0, {}};
        DWORD hFind = 0;
        nError = reply.nError = files.FindFirstFile(req.path.strPath, hFind, reply.data);
        if (!nError)
            reply.hFind = hFind;
        XfnRFBuildFindFirstReply(vecReply, reply);
        break;
    }
    case XRF_CMD_FIND_NEXT_FILE: {
        tagXRFFindReply reply{XfnRFReplyCode(nCommand), 0, 0, {}};
        nError = reply.nError = files.FindNextFile(req.handle.hFile, reply.data);
        XfnRFBuildFindNextReply(vecReply, reply);
        break;
    }
    case XRF_CMD_GET_ROOT_DIR_LIST: {
        std::vector<std::string> vecRoots;
        nError = files.GetRootList(vecRoots);
        if (nError)
            vecRoots.clear();
        XfnRFBuildReply(vecReply, nCommand, SmallReply(nCommand, nError, static_cast<DWORD>(vecRoots.size())));
        for (const std::string& strRoot : vecRoots)
            XfnRFBuildRootEntry(vecReply, strRoot);
        break;
    }
    case XRF_CMD_FIND_FILE_LIST: {
        stream.SetDeadline(After(context.settings.nIdleSeconds));
        XRFPStreamedReply reply(stream, vecReply);
        bool bSent = false;
        nError = files.FindFileList(req.path.strPath, req.path.nArgument, reply, bSent);
        if (bSent) {
            XfnRFBuildFileListHead(vecReply, tagXRFFileListHead{XRF_FILE_LIST_CODE, nError, 0});
            bSent = reply.Flush();
        }
        stream.SetDeadline(XRFPStream::Deadline::max());
        XfnRFPLogDetail(strWho, "command %u: error 0x%X", static_cast<unsigned>(nCommand),
                        static_cast<unsigned>(nError));
        return bSent;
    }
    case XRF_CMD_DATA_BLOCK: {
        // The server has no application of its own for blocks: it echoes
        // each. A large one goes out from where it was read, and its memory
        // goes back at once, not at the next block.
        XfnRFBuildDataBlockHead(vecReply, tagXRFDataBlockHead{static_cast<DWORD>(req.vecBlock.size())});
        if (req.vecBlock.size() <= kSendChunk) {
            vecReply.insert(vecReply.end(), req.vecBlock.begin(), req.vecBlock.end());
            break;
        }
        stream.SetDeadline(After(context.settings.nIdleSeconds));
        bool bSent = Send(vecReply) && stream.WriteAll(req.vecBlock.data(), req.vecBlock.size());
        stream.SetDeadline(XRFPStream::Deadline::max());
        std::vector<BYTE>().swap(req.vecBlock);
        req.blockCharge.Release();
        return bSent;
    }
    default:
        // A second login: the exchange is out of order.
        ++context.nMalformed;
        XfnRFPLogLimited("malformed", strWho, "malformed packet: command %u after login; closing",
                         static_cast<unsigned>(nCommand));
        return false;
    }
    XfnRFPLogDetail(strWho, "command %u: error 0x%X", static_cast<unsigned>(nCommand), static_cast<unsigned>(nError));
    return Send(vecReply);
}
