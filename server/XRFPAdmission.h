// Who may hold a connection: a count of the connections of each client
// address and of those not logged in yet, with their ceilings. An anonymous
// client can then hold only a few slots, each for the login deadline, and
// never the slots of logged-in users. Thread-safe.
#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <string>

struct tagXRFPAdmissionLimits {
    size_t nMaxConnections = 64;      // logged in at once
    size_t nMaxUnauthenticated = 16;  // greeted, not logged in yet
    size_t nMaxPerAddress = 32;       // of one client address, in either state
};

enum XRFPAdmit {
    XRFP_ADMIT_OK = 0,
    XRFP_ADMIT_ADDRESS_FULL,  // the address holds its share
    XRFP_ADMIT_PENDING_FULL,  // too many connections wait for their login
};

class XRFPAdmission {
public:
    explicit XRFPAdmission(const tagXRFPAdmissionLimits& limits = tagXRFPAdmissionLimits()) : limits(limits) {}
    void SetLimits(const tagXRFPAdmissionLimits& limitsNew);

    // A new connection from strAddress; counted when the answer is OK.
    XRFPAdmit Admit(const std::string& strAddress);
    // True when a login could be counted now; checked before any costly
    // work on a login.
    bool HasRoom();
    // The connection's login passed its checks: false (state unchanged) when
    // the logged-in connections are at their ceiling.
    bool LogIn();
    // The connection ended; bLoggedIn tells which count it was in.
    void Leave(const std::string& strAddress, bool bLoggedIn);

    size_t LoggedIn();
    size_t Pending();

private:
    tagXRFPAdmissionLimits limits;
    std::mutex lock;
    std::map<std::string, size_t> mapAddresses;
    size_t nPending = 0;
    size_t nLoggedIn = 0;
};
