#include "remote/XRFLease.h"

#include "KVDbase/files/XFile.h"
#include "KVDbase/remote/XRFConnectionPool.h"
#include "KVDbase/remote/XRFWire.h"

#include <cstring>

XRFLease::XRFLease(XRFConnectionOpenParam& param, XString& key)
    : pPool(XFile::GetRFConnectionPool()), key(key), pConnection(nullptr), nError(0)
{
    // Before XRFInit or after the last XRFClean there is no pool at all.
    nError = pPool != nullptr ? pPool->FetchConnection(param, key, pConnection) : XRF_ERROR_NO_CONNECTION;
}

XRFLease::~XRFLease()
{
    if (pConnection != nullptr)
        pPool->ReleaseConnection(key, pConnection);
}

DWORD XRFLease::Send(const std::vector<BYTE>& vecPacket, DWORD nChunk)
{
    if (pConnection == nullptr)
        return XRF_ERROR_NO_CONNECTION;
    DWORD nSize = static_cast<DWORD>(vecPacket.size());
    return pConnection->Send(vecPacket.data(), nSize, nChunk == 0 ? nSize : nChunk);
}

DWORD XRFLease::SendWithData(const std::vector<BYTE>& vecHead, const void* pData, DWORD nData)
{
    if (pConnection == nullptr)
        return XRF_ERROR_NO_CONNECTION;
    return pConnection->SendWithData(vecHead.data(), static_cast<DWORD>(vecHead.size()), pData, nData);
}

DWORD XRFLease::Recv(void* pData, DWORD nSize)
{
    if (pConnection == nullptr)
        return XRF_ERROR_NO_CONNECTION;
    return pConnection->Recv(pData, nSize);
}

DWORD XRFLease::Exchange(const std::vector<BYTE>& vecRequest, void* pReply, DWORD nReplySize)
{
    DWORD nResult = Send(vecRequest);
    if (nResult != 0)
        return nResult;
    std::memset(pReply, 0, nReplySize);
    return Recv(pReply, nReplySize);
}

void XRFLease::Drop()
{
    if (pConnection != nullptr)
        pConnection->CloseConnection();
}
