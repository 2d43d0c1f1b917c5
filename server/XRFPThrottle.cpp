#include "XRFPThrottle.h"

#include <algorithm>

namespace {

// Free attempts, then 0.5 s, 1 s, 2 s ... up to 10 s before each check.
const int kFreeFailures = 3;
const std::chrono::milliseconds kFirstDelay(500);
const std::chrono::milliseconds kMaxDelay(10000);
// Counts are forgotten after this long without a failure.
const std::chrono::minutes kMemory(15);
const size_t kMaxRecords = 65536;

std::string AddressKey(const std::string& strAddress)
{
    return "a " + strAddress;
}

std::string UserKey(const std::string& strUser)
{
    return "u " + strUser;
}

} // namespace

std::chrono::milliseconds XRFPThrottle::DelayOf(const std::string& strKey, std::chrono::steady_clock::time_point tNow)
{
    auto it = mapRecords.find(strKey);
    if (it == mapRecords.end() || tNow - it->second.tLast > kMemory || it->second.nFailures < kFreeFailures)
        return std::chrono::milliseconds(0);
    int nShift = std::min(it->second.nFailures - kFreeFailures, 8);
    return std::min(kFirstDelay * (1 << nShift), kMaxDelay);
}

std::chrono::milliseconds XRFPThrottle::Delay(const std::string& strAddress, const std::string& strUser)
{
    std::lock_guard<std::mutex> guard(lock);
    auto tNow = std::chrono::steady_clock::now();
    std::chrono::milliseconds nDelay = DelayOf(AddressKey(strAddress), tNow);
    if (!strUser.empty())
        nDelay = std::max(nDelay, DelayOf(UserKey(strUser), tNow));
    return nDelay;
}

void XRFPThrottle::Failed(const std::string& strAddress, const std::string& strUser)
{
    std::lock_guard<std::mutex> guard(lock);
    auto tNow = std::chrono::steady_clock::now();
    if (mapRecords.size() >= kMaxRecords)
        Prune(tNow);
    for (const std::string& strKey : {AddressKey(strAddress), strUser.empty() ? std::string() : UserKey(strUser)}) {
        if (strKey.empty() || (mapRecords.size() >= kMaxRecords && !mapRecords.count(strKey)))
            continue;
        tagRecord& record = mapRecords[strKey];
        if (tNow - record.tLast > kMemory)
            record.nFailures = 0;
        ++record.nFailures;
        record.tLast = tNow;
    }
}

void XRFPThrottle::Succeeded(const std::string& strAddress, const std::string& strUser)
{
    std::lock_guard<std::mutex> guard(lock);
    mapRecords.erase(AddressKey(strAddress));
    mapRecords.erase(UserKey(strUser));
}

void XRFPThrottle::Prune(std::chrono::steady_clock::time_point tNow)
{
    for (auto it = mapRecords.begin(); it != mapRecords.end();)
        it = tNow - it->second.tLast > kMemory || it->second.nFailures < kFreeFailures ? mapRecords.erase(it)
                                                                                        : std::next(it);
}
