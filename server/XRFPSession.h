// One client connection from greeting to close: the greeting with the
// current greeting key, the encrypted login under a deadline, then one
// request and its reply at a time until the client closes, falls idle or
// sends a malformed packet. A session runs on its connection's thread; what
// it shares with other sessions (users, logins and their handles, keys,
// admission and throttle, counters) is thread-safe. Run never throws: a
// failure of any kind, a failed allocation among them, ends this connection
// alone.
#pragma once

#include "XRFPAdmission.h"
#include "XRFPKeys.h"
#include "XRFPLogins.h"
#include "XRFPRequest.h"
#include "XRFPSettings.h"
#include "XRFPThrottle.h"
#include "XRFPUsers.h"

#include <atomic>
#include <string>

// What every session of one server shares.
struct tagXRFPContext {
    tagXRFPSettings settings;
    XRFPKeyRing keys;
    XRFPUserTable users;
    XRFPLoginTable logins;
    XRFPAdmission admission;
    XRFPThrottle throttle;
    XRFPBudgetPtr pDescriptors;       // handles of the whole server; null: none
    std::atomic<long> nMalformed{0};  // connections ended by a malformed packet
    std::atomic<long> nLogins{0};     // successful logins
    std::atomic<long> nFailed{0};     // sessions ended by a failure of the server's own
};

class XRFPSession {
public:
    // The connection has been admitted (XRFPAdmission::Admit) for strAddress;
    // the caller calls Leave with LoggedIn() when Run returns.
    XRFPSession(tagXRFPContext& context, XRFPStream& stream, std::string strWho, std::string strAddress)
        : context(context), stream(stream), strWho(std::move(strWho)), strAddress(std::move(strAddress))
    {
    }
    void Run() noexcept;
    bool LoggedIn() const { return bLoggedIn; }

private:
    void Converse();
    bool Greet();
    // The login's state, or null when the login failed (the reply is sent).
    XRFPLoginPtr Login(const tagXRFPRequest& req);
    DWORD CheckLogin(const tagXRFPRequest& req, std::string& strUser, const tagXRFPUser*& pUser);
    // Serves one request; false when the connection is to end.
    bool Serve(class XRFPFiles& files, tagXRFPRequest& req);
    bool Send(const std::vector<BYTE>& vecReply);

    tagXRFPContext& context;
    XRFPStream& stream;
    std::string strWho;
    std::string strAddress;
    XRFPKeyPtr pKey;  // of this connection's greeting
    bool bLoggedIn = false;
    std::vector<BYTE> vecReply;
};
