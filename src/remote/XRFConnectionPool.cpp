// XRFConnectionPool.cpp: groups of connections by key under one lock. The
// lock is held while a new connection connects and logs in, so a slow server
// holds up every other fetch; in exchange no second lock exists and no lock
// order can go wrong. Connections that are lent out are never touched under
// the lock, save by ReleaseAllConnections.

#include "KVDbase/remote/XRFConnectionPool.h"

#include <new>

XRFConnectionPool::RFConnectionGroup::~RFConnectionGroup()
{
    while (!listAll.IsEmpty())
        delete listAll.RemoveTail();
}

DWORD XRFConnectionPool::RFConnectionGroup::GetConnection(XRFConnectionOpenParam param, XRFConnection*& pConnection)
{
    pConnection = nullptr;
    if (!stackIdle.IsEmpty()) {
        // Not tested here: a connection the server dropped meanwhile fails
        // in the call that uses it, and is deleted when it comes back.
        pConnection = stackIdle.Pop();
        return 0;
    }
    XRFConnection* pNew = new (std::nothrow) XRFConnection;
    if (pNew == nullptr)
        return 0x20010015;  // "Out of memory"
    DWORD nError = pNew->OpenConnection(param, nullptr, 0);
    if (nError != 0) {
        delete pNew;
        return nError;
    }
    listAll.AddTail(pNew);
    pConnection = pNew;
    return 0;
}

void XRFConnectionPool::RFConnectionGroup::PutConnection(XRFConnection* pConnection)
{
    POSITION pos = listAll.Find(pConnection);
    if (pos == nullptr)
        return;
    if (!pConnection->IsConnected()) {
        listAll.RemoveAt(pos);
        delete pConnection;
        return;
    }
    stackIdle.Push(pConnection);
}

XRFConnectionPool::XRFConnectionPool() : mapGroups(10)
{
    // The sockets layer of this platform needs no start-up call.
}

XRFConnectionPool::~XRFConnectionPool()
{
    ReleaseAllConnections();
}

XString XRFConnectionPool::MakeConnectionKey(const XRFConnectionOpenParam& param)
{
    XString key;
    key.Format("%s@%s:%u", static_cast<const char*>(param.strUser), static_cast<const char*>(param.strHost),
               static_cast<unsigned int>(param.nPort));
    return key;
}

DWORD XRFConnectionPool::FetchConnection(XRFConnectionOpenParam& param, XString& key, XRFConnection*& pConnection)
{
    if (key.IsEmpty())
        key = MakeConnectionKey(param);
    pConnection = nullptr;
    XCriticalSectionLock lock(csPool);
    void* pGroup = nullptr;
    if (mapGroups.Lookup(key, pGroup))
        return static_cast<RFConnectionGroup*>(pGroup)->GetConnection(param, pConnection);
    // A key enters the map only with its first good connection.
    RFConnectionGroup* pNewGroup = new (std::nothrow) RFConnectionGroup;
    if (pNewGroup == nullptr)
        return 0x20010015;
    DWORD nError = pNewGroup->GetConnection(param, pConnection);
    if (nError != 0) {
        delete pNewGroup;
        return nError;
    }
    mapGroups.SetAt(key, pNewGroup);
    return 0;
}

void XRFConnectionPool::ReleaseConnection(XString key, XRFConnection* pConnection)
{
    XCriticalSectionLock lock(csPool);
    void* pGroup = nullptr;
    if (mapGroups.Lookup(key, pGroup))
        static_cast<RFConnectionGroup*>(pGroup)->PutConnection(pConnection);
}

void XRFConnectionPool::ReleaseAllConnections()
{
    XCriticalSectionLock lock(csPool);
    POSITION pos = mapGroups.GetStartPosition();
    while (pos != nullptr) {
        XString key;
        void* pGroup = nullptr;
        mapGroups.GetNextAssoc(pos, key, pGroup);
        delete static_cast<RFConnectionGroup*>(pGroup);
    }
    mapGroups.RemoveAll();
}

int XRFConnectionPool::GetGroupCount()
{
    XCriticalSectionLock lock(csPool);
    return mapGroups.GetCount();
}

int XRFConnectionPool::GetConnectionCount(const XString& key, int* pIdle)
{
    XCriticalSectionLock lock(csPool);
    void* pGroup = nullptr;
    int nAll = 0, nIdle = 0;
    if (mapGroups.Lookup(key, pGroup)) {
        nAll = static_cast<RFConnectionGroup*>(pGroup)->listAll.GetCount();
        nIdle = static_cast<RFConnectionGroup*>(pGroup)->stackIdle.GetIdleCount();
    }
    if (pIdle != nullptr)
        *pIdle = nIdle;
    return nAll;
}
