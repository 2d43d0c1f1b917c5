// XRFConnectionPool: logged-in connections kept by key (user, host, port) and
// lent to one remote call at a time. The pool owns its groups and they own
// their connections; a borrower gives the connection back with its key. One
// lock guards everything and is held across connect and login. Failures are
// returned as numbers; nothing throws.
#pragma once

#include "KVDbase/collections/XList.h"
#include "KVDbase/collections/XMap.h"
#include "KVDbase/core/XString.h"
#include "KVDbase/platform/Export.h"
#include "KVDbase/platform/Win32Types.h"
#include "KVDbase/platform/XCriticalSection.h"
#include "KVDbase/remote/XRFConnection.h"

class KVD_API XRFConnectionPool {
public:
    XRFConnectionPool();
    XRFConnectionPool(const XRFConnectionPool&) = delete;
    XRFConnectionPool& operator=(const XRFConnectionPool&) = delete;
    virtual ~XRFConnectionPool();

    // An idle connection of the key, or a new one opened with param. An
    // empty key is first set from param; a key that is set is used as it
    // stands. 0 and the connection, or the error and null.
    DWORD FetchConnection(XRFConnectionOpenParam& param, XString& key, XRFConnection*& pConnection);
    // Gives a connection back: kept for reuse while connected, deleted when
    // closed. A key the pool does not know leaves the connection alone.
    void ReleaseConnection(XString key, XRFConnection* pConnection);
    // Deletes every group with its connections, lent ones included.
    void ReleaseAllConnections();

    // What the pool holds: keys with a group, and the connections of one key
    // (with how many of them are idle).
    int GetGroupCount();
    int GetConnectionCount(const XString& key, int* pIdle = nullptr);

    // "user@host:port".
    static XString MakeConnectionKey(const XRFConnectionOpenParam& param);

private:
    class IdleStack : public XStack<XRFConnection*> {
    public:
        IdleStack() : XStack(10) {}
        int GetIdleCount() const { return nUsed; }
    };

    // The connections of one key: all of them, and the idle ones among them.
    class RFConnectionGroup {
    public:
        RFConnectionGroup() : listAll(10) {}
        virtual ~RFConnectionGroup();
        // The newest idle connection, or a new one; 0 or the open's error.
        DWORD GetConnection(XRFConnectionOpenParam param, XRFConnection*& pConnection);
        void PutConnection(XRFConnection* pConnection);

        IdleStack stackIdle;
        XList<XRFConnection*, XRFConnection*> listAll;
    };

    XMapStringToPtr mapGroups;
    XCriticalSection csPool;
};
