// XRFDataBlock.cpp: the general data block channel. The handle is the
// pooled connection's address; nothing else is kept.

#include "KVDbase/remote/XRFDataBlock.h"

#include "KVDbase/files/XFile.h"
#include "KVDbase/remote/XRFConnectionPool.h"
#include "KVDbase/remote/XRFWire.h"
#include "remote/XRFLease.h"

#include <new>
#include <vector>

namespace {

XRFConnection* ConnectionOf(XRFDATAHANDLE hHandle)
{
    return reinterpret_cast<XRFConnection*>(hHandle);
}

} // namespace

XRFDATAHANDLE OpenGeneralDataBlockHandle(XRFConnectionOpenParam& param, DWORD& error, XString& key)
{
    XRFConnectionPool* pPool = XFile::GetRFConnectionPool();
    if (pPool == nullptr) {
        error = XRF_ERROR_NO_CONNECTION;
        return 0;
    }
    XRFConnection* pConnection = nullptr;
    error = pPool->FetchConnection(param, key, pConnection);
    return error == 0 ? reinterpret_cast<XRFDATAHANDLE>(pConnection) : 0;
}

void CloseGeneralDataBlockHandle(XRFDATAHANDLE hHandle, XString& key)
{
    XRFConnectionPool* pPool = XFile::GetRFConnectionPool();
    if (hHandle != 0 && pPool != nullptr)
        pPool->ReleaseConnection(XString(key), ConnectionOf(hHandle));
}

int XRFSendGeneralDataBlock(XRFDATAHANDLE hHandle, const void* pData, DWORD nSize, DWORD& error)
{
    XRFConnection* pConnection = ConnectionOf(hHandle);
    if (pConnection == nullptr) {
        error = XRF_ERROR_NO_CONNECTION;
        return 0;
    }
    std::vector<BYTE> vecHead;
    XfnRFBuildDataBlockHead(vecHead, tagXRFDataBlockHead{nSize});
    error = pConnection->Send(vecHead.data(), XRF_DATA_BLOCK_HEAD_SIZE, XRF_SEND_CHUNK);
    if (error != 0)
        return 0;
    error = pConnection->Send(pData, nSize, XRF_SEND_CHUNK);
    return error == 0 ? 1 : 0;
}

int XRFBeginRecvGeneralDataBlock(XRFDATAHANDLE hHandle, DWORD& nSize, DWORD& error, XfnRFDataBlockCallback pfnCallback,
                                 uintptr_t nUser1, uintptr_t nUser2)
{
    error = 0;
    nSize = 0;
    XRFConnection* pConnection = ConnectionOf(hHandle);
    if (pConnection == nullptr) {
        error = XRF_ERROR_NO_CONNECTION;
        return 0;
    }
    BYTE abHead[XRF_DATA_BLOCK_HEAD_SIZE] = {0};
    // A peer that closes inside the head leaves zeros, which fail as a
    // wrong head below; one that closes inside the block delivers it with
    // the rest cleared. Either way the connection is closed from then on.
    error = pConnection->Recv(abHead, sizeof abHead);
    if (error != 0)
        return 0;
    // Any size is taken: the block's meaning, and so its limit, is the
    // application's.
    tagXRFDataBlockHead head{};
    if (XfnRFParseDataBlockHead(abHead, sizeof abHead, 0xFFFFFFFFu, head) != XRF_WIRE_OK) {
        error = XRF_ERROR_INVALID_PACKET;
        return 0;
    }
    std::vector<BYTE> vecBlock;
    try {
        vecBlock.resize(head.nBlockSize > 0 ? head.nBlockSize : 1);  // an empty block still has an address
    } catch (const std::bad_alloc&) {
        // The block stays unread in the stream, which is thus out of step.
        pConnection->CloseConnection();
        error = XRF_ERROR_OUT_OF_MEMORY;
        return 0;
    }
    error = pConnection->Recv(vecBlock.data(), head.nBlockSize);
    if (error != 0)
        return 0;
    if (pfnCallback != nullptr)
        pfnCallback(hHandle, vecBlock.data(), head.nBlockSize, nUser1, nUser2);
    nSize = head.nBlockSize;
    return 1;
}
