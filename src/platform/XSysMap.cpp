#include "platform/XSysMap.h"

#include "platform/XSysFile.h"

#include <cerrno>
#include <fcntl.h>
#include <mutex>
#include <sys/mman.h>
#include <unistd.h>
#include <unordered_map>

namespace {

std::mutex g_viewLock;
std::unordered_map<void*, size_t> g_viewSizes;

// The length of a live view, or 0 when the address starts none.
size_t ViewSize(void* pView)
{
    std::lock_guard<std::mutex> guard(g_viewLock);
    auto it = g_viewSizes.find(pView);
    return it == g_viewSizes.end() ? 0 : it->second;
}

} // namespace

int XfnSysCreateMapping(int fd)
{
    if (XfnSysFaultDue(XSysCall::Map))
        return -1;
    // Above the standard streams, so that a mapping is never number 0, which
    // callers keep as "none".
    return fcntl(fd, F_DUPFD_CLOEXEC, 3);
}

bool XfnSysCloseMapping(int hMapping)
{
    return close(hMapping) == 0;
}

void* XfnSysMapView(int hMapping, uint64_t nOffset, size_t nSize, bool bWritable)
{
    if (XfnSysFaultDue(XSysCall::Map))
        return nullptr;
    if (nSize == 0 || nOffset % kSysAllocationGranularity != 0) {
        errno = EINVAL;
        return nullptr;
    }
    void* p = mmap(nullptr, nSize, bWritable ? PROT_READ | PROT_WRITE : PROT_READ, MAP_SHARED, hMapping,
                   static_cast<off_t>(nOffset));
    if (p == MAP_FAILED)
        return nullptr;
    std::lock_guard<std::mutex> guard(g_viewLock);
    g_viewSizes[p] = nSize;
    return p;
}

bool XfnSysUnmapView(void* pView)
{
    size_t nSize;
    {
        std::lock_guard<std::mutex> guard(g_viewLock);
        auto it = g_viewSizes.find(pView);
        if (it == g_viewSizes.end()) {
            errno = EINVAL;
            return false;
        }
        nSize = it->second;
        g_viewSizes.erase(it);
    }
    return munmap(pView, nSize) == 0;
}

bool XfnSysFlushView(void* pAddress, size_t nSize)
{
    if (nSize == 0) {
        nSize = ViewSize(pAddress);
        if (nSize == 0) {
            errno = EINVAL;
            return false;
        }
    }
    // msync wants a page-aligned start; a part of a view may begin anywhere.
    const uintptr_t nPage = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    uintptr_t nStart = reinterpret_cast<uintptr_t>(pAddress);
    uintptr_t nAligned = nStart & ~(nPage - 1);
    return msync(reinterpret_cast<void*>(nAligned), nSize + (nStart - nAligned), MS_SYNC) == 0;
}
