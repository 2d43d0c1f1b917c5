#include "platform/XSysMemory.h"

#include <cstdio>
#include <cstring>
#include <sys/statvfs.h>
#include <unistd.h>

namespace {

// A value of /proc/meminfo in bytes, or 0.
uint64_t MemInfoValue(const char* pszKey)
{
    FILE* pInfo = std::fopen("/proc/meminfo", "r");
    if (pInfo == nullptr)
        return 0;
    char szLine[256];
    uint64_t nValue = 0;
    const size_t nKey = std::strlen(pszKey);
    while (std::fgets(szLine, sizeof(szLine), pInfo) != nullptr) {
        unsigned long long nKiB;
        if (std::strncmp(szLine, pszKey, nKey) == 0 && szLine[nKey] == ':' &&
            std::sscanf(szLine + nKey + 1, "%llu", &nKiB) == 1) {
            nValue = static_cast<uint64_t>(nKiB) * 1024;
            break;
        }
    }
    std::fclose(pInfo);
    return nValue;
}

} // namespace

uint64_t XfnSysTotalPhysicalMemory()
{
    long nPages = sysconf(_SC_PHYS_PAGES);
    long nPageSize = sysconf(_SC_PAGESIZE);
    return nPages > 0 && nPageSize > 0 ? static_cast<uint64_t>(nPages) * static_cast<uint64_t>(nPageSize) : 0;
}

uint64_t XfnSysAvailablePhysicalMemory()
{
    uint64_t n = MemInfoValue("MemAvailable");
    if (n != 0)
        return n;
    long nPages = sysconf(_SC_AVPHYS_PAGES);
    long nPageSize = sysconf(_SC_PAGESIZE);
    return nPages > 0 && nPageSize > 0 ? static_cast<uint64_t>(nPages) * static_cast<uint64_t>(nPageSize) : 0;
}

bool XfnSysDiskFreeBytes(const char* pszDirectory, uint64_t& nBytes)
{
    struct statvfs st;
    if (statvfs(pszDirectory[0] != '\0' ? pszDirectory : ".", &st) != 0)
        return false;
    nBytes = static_cast<uint64_t>(st.f_bavail) * static_cast<uint64_t>(st.f_frsize);
    return true;
}

size_t XfnSysAccessibleSpan(const void* p, size_t nMax, bool bWritable)
{
    FILE* pMaps = std::fopen("/proc/self/maps", "r");
    if (pMaps == nullptr)
        return 0;
    const uintptr_t nStart = reinterpret_cast<uintptr_t>(p);
    uintptr_t nReached = nStart;
    char szLine[4096];
    // The mappings are listed in address order: follow adjacent ones on from
    // the one that holds p.
    while (std::fgets(szLine, sizeof(szLine), pMaps) != nullptr) {
        unsigned long long nLow, nHigh;
        char szPerms[8];
        if (std::sscanf(szLine, "%llx-%llx %7s", &nLow, &nHigh, szPerms) != 3)
            continue;
        if (nHigh <= nReached)
            continue;
        if (nLow > nReached)
            break;
        if (szPerms[0] != 'r' || (bWritable && szPerms[1] != 'w'))
            break;
        nReached = static_cast<uintptr_t>(nHigh);
        if (nReached - nStart >= nMax)
            break;
    }
    std::fclose(pMaps);
    size_t nSpan = nReached - nStart;
    return nSpan < nMax ? nSpan : nMax;
}
