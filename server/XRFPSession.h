// One client connection from greeting to close: the greeting with the
// server's public key, the encrypted login, then one request and its reply
// at a time until the client closes, falls idle or sends a malformed packet.
// A session runs on its connection's thread; what it shares with other
// sessions (users, logins and their handles, counters) is thread-safe.
#pragma once

#include "XRFPLogins.h"
#include "XRFPRequest.h"
#include "XRFPSettings.h"
#include "XRFPUsers.h"

#include <atomic>
#include <string>

// What every session of one server shares.
struct tagXRFPContext {
    tagXRFPSettings settings;
    std::string strPublicKey;
    std::string strPrivateKey;
    XRFPUserTable users;
    XRFPLoginTable logins;
    std::atomic<long> nMalformed{0};  // connections ended by a malformed packet
    std::atomic<long> nLogins{0};     // successful logins
};

class XRFPSession {
public:
    // bOverLimit: the connection is one above the limit; it is greeted, and
    // its login is refused with "Max rf server connection Exceeded".
    XRFPSession(tagXRFPContext& context, XRFPStream& stream, std::string strWho, bool bOverLimit)
        : context(context), stream(stream), strWho(std::move(strWho)), bOverLimit(bOverLimit)
    {
    }
    void Run();

private:
    bool Greet();
    // The login's state, or null when the login failed (the reply is sent).
    XRFPLoginPtr Login(const tagXRFPRequest& req);
    // Serves one request; false when the connection is to end.
    bool Serve(class XRFPFiles& files, tagXRFPRequest& req);
    bool Send(const std::vector<BYTE>& vecReply);

    tagXRFPContext& context;
    XRFPStream& stream;
    std::string strWho;
    bool bOverLimit;
    std::vector<BYTE> vecReply;
    std::vector<BYTE> vecData;
};
