#include "XRFPSession.h"

#include "XRFPErrors.h"
#include "XRFPFiles.h"
#include "XRFPLog.h"

#include "KVDbase/crypto/XRSA.h"

#include <cstring>

namespace {

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

} // namespace

void XRFPSession::Run()
{
    if (!Greet())
        return;
    tagXRFPLimits limits;
    limits.nMaxRead = context.settings.nMaxRead;
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
            XfnRFPLog(strWho, "malformed packet: %s; closing", strWhy.c_str());
        } else {
            XfnRFPLogDetail(strWho, "closed before login");
        }
        return;
    }
    XRFPLoginPtr pLogin = Login(req);
    if (!pLogin)
        return;
    strWho += " " + pLogin->User();
    XRFPFiles files(*pLogin, static_cast<size_t>(context.settings.nMaxHandles),
                    static_cast<size_t>(context.settings.nMaxListItems));
    for (;;) {
        result = XfnRFPReadRequest(stream, limits, req, strWhy);
        if (result == XRFP_READ_MALFORMED) {
            ++context.nMalformed;
            XfnRFPLog(strWho, "malformed packet: %s; closing", strWhy.c_str());
            break;
        }
        if (result == XRFP_READ_CLOSED) {
            XfnRFPLogDetail(strWho, "closed by the client or idle");
            break;
        }
        if (!Serve(files, req))
            break;
    }
    context.logins.Leave(pLogin);
}

bool XRFPSession::Greet()
{
    tagXRFGreeting greeting{};
    std::memcpy(greeting.szVersion, XRF_VERSION, 5);
    greeting.strPublicKey = context.strPublicKey;
    vecReply.clear();
    XfnRFBuildGreeting(vecReply, greeting);
    return Send(vecReply);
}

XRFPLoginPtr XRFPSession::Login(const tagXRFPRequest& req)
{
    DWORD nError = 0;
    std::string strUser, strPassword;
    try {
        strUser = Decrypt(context.strPrivateKey, req.login.strUser);
        strPassword = Decrypt(context.strPrivateKey, req.login.strPassword);
    } catch (const std::exception& e) {
        nError = XRFP_ERROR_INVALID_PACKET;
        XfnRFPLog(strWho, "login fields do not decrypt (%s)", e.what());
    }
    const tagXRFPUser* pUser = nError ? nullptr : context.users.Find(strUser);
    if (!nError && bOverLimit) {
        nError = XRFP_ERROR_TOO_MANY_CONNECTIONS;
        XfnRFPLog(strWho, "login of %s refused: too many connections", LogName(strUser).c_str());
    } else if (!nError && !pUser) {
        XfnRFPVerifyPassword(strPassword, DummyHash());
        nError = XRFP_ERROR_NO_SUCH_USER;
        XfnRFPLog(strWho, "login refused: no user %s", LogName(strUser).c_str());
    } else if (!nError && !XfnRFPVerifyPassword(strPassword, pUser->strHash)) {
        nError = XRFP_ERROR_BAD_PASSWORD;
        XfnRFPLog(strWho, "login of %s refused: incorrect password", strUser.c_str());
    } else if (!nError && pUser->strRoot.empty()) {
        nError = XRFP_ERROR_ROOT_NOT_IN_SERVICE;
        XfnRFPLog(strWho, "login of %s refused: the user's root is missing", strUser.c_str());
    }
    vecReply.clear();
    XfnRFBuildReply(vecReply, XRF_CMD_LOGIN, SmallReply(XRF_CMD_LOGIN, nError));
    if (nError) {
        Send(vecReply);
        return nullptr;
    }
    XRFPLoginPtr pLogin = context.logins.Enter(pUser->strName, pUser->strRoot);
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
    case XRF_CMD_READ_FILE:
        nError = files.ReadFile(req.transfer.hFile, req.transfer.nPosition, req.transfer.nCount, vecData);
        XfnRFBuildReply(vecReply, nCommand, SmallReply(nCommand, nError, static_cast<DWORD>(vecData.size())));
        vecReply.insert(vecReply.end(), vecData.begin(), vecData.end());
        break;
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
        std::vector<XRFPFileInfoItem> vecItems;
        nError = files.FindFileList(req.path.strPath, req.path.nArgument, vecItems);
        for (const XRFPFileInfoItem& item : vecItems) {
            XfnRFBuildFileListHead(vecReply, tagXRFFileListHead{XRF_FILE_LIST_CODE, 0, XRF_FILE_INFO_ITEM_SIZE});
            vecReply.insert(vecReply.end(), item.begin(), item.end());
        }
        XfnRFBuildFileListHead(vecReply, tagXRFFileListHead{XRF_FILE_LIST_CODE, nError, 0});
        break;
    }
    case XRF_CMD_DATA_BLOCK:
        // The server has no application of its own for blocks: it echoes each.
        XfnRFBuildDataBlockHead(vecReply, tagXRFDataBlockHead{static_cast<DWORD>(req.vecBlock.size())});
        vecReply.insert(vecReply.end(), req.vecBlock.begin(), req.vecBlock.end());
        break;
    default:
        // A second login: the exchange is out of order.
        ++context.nMalformed;
        XfnRFPLog(strWho, "malformed packet: command %u after login; closing", static_cast<unsigned>(nCommand));
        return false;
    }
    XfnRFPLogDetail(strWho, "command %u: error 0x%X", static_cast<unsigned>(nCommand), static_cast<unsigned>(nError));
    return Send(vecReply);
}
