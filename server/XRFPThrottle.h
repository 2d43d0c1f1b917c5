// Slows password guessing: failed logins are counted per client address and
// per user name, and after a few of them every further attempt from that
// address or on that name waits, twice as long each time up to a ceiling.
// A success clears the counts of its address and name; counts fade after a
// quiet spell. The table is bounded. Thread-safe.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>

class XRFPThrottle {
public:
    // How long a login of this address and name waits before it is checked
    // (strUser may be empty when the name is not known yet).
    std::chrono::milliseconds Delay(const std::string& strAddress, const std::string& strUser);
    void Failed(const std::string& strAddress, const std::string& strUser);
    void Succeeded(const std::string& strAddress, const std::string& strUser);

private:
    struct tagRecord {
        int nFailures = 0;
        std::chrono::steady_clock::time_point tLast;
    };
    std::chrono::milliseconds DelayOf(const std::string& strKey, std::chrono::steady_clock::time_point tNow);
    void Prune(std::chrono::steady_clock::time_point tNow);

    std::mutex lock;
    std::map<std::string, tagRecord> mapRecords;
};
