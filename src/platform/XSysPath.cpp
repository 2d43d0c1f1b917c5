#include "platform/XSysPath.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <time.h>
#include <unistd.h>

namespace {

bool CopyOut(const char* pszText, char* pBuf, size_t cb)
{
    size_t n = std::strlen(pszText);
    if (n >= cb) {
        errno = ENAMETOOLONG;
        return false;
    }
    std::memcpy(pBuf, pszText, n + 1);
    return true;
}

} // namespace

bool XfnSysGetCurrentDirectory(char* pBuf, size_t cb)
{
    return getcwd(pBuf, cb) != nullptr;
}

bool XfnSysGetProgramFile(char* pBuf, size_t cb)
{
    char szPath[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", szPath, sizeof(szPath) - 1);
    if (n <= 0)
        return false;
    szPath[n] = '\0';
    return CopyOut(szPath, pBuf, cb);
}

bool XfnSysGetModuleFile(const void* pAddress, char* pBuf, size_t cb)
{
    Dl_info info;
    if (dladdr(pAddress, &info) == 0 || info.dli_fname == nullptr || info.dli_fname[0] == '\0') {
        errno = ENOENT;
        return false;
    }
    // The program itself is listed under the name it was started by, which
    // may be relative or bare: its own link is exact.
    void* pProgram = dlopen(nullptr, RTLD_LAZY | RTLD_NOLOAD);
    Dl_info infoProgram;
    bool bProgram = std::strchr(info.dli_fname, '/') == nullptr;
    if (!bProgram && pProgram != nullptr) {
        void* pMain = dlsym(pProgram, "main");
        bProgram = pMain != nullptr && dladdr(pMain, &infoProgram) != 0 && infoProgram.dli_fbase == info.dli_fbase;
    }
    if (pProgram != nullptr)
        dlclose(pProgram);
    if (bProgram)
        return XfnSysGetProgramFile(pBuf, cb);
    char szReal[PATH_MAX];
    if (realpath(info.dli_fname, szReal) == nullptr)
        return CopyOut(info.dli_fname, pBuf, cb);
    return CopyOut(szReal, pBuf, cb);
}

void XfnSysGetUtcTime(_SYSTEMTIME& st)
{
    struct timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    struct tm tmUtc;
    gmtime_r(&ts.tv_sec, &tmUtc);
    st.wYear = static_cast<WORD>(tmUtc.tm_year + 1900);
    st.wMonth = static_cast<WORD>(tmUtc.tm_mon + 1);
    st.wDayOfWeek = static_cast<WORD>(tmUtc.tm_wday);
    st.wDay = static_cast<WORD>(tmUtc.tm_mday);
    st.wHour = static_cast<WORD>(tmUtc.tm_hour);
    st.wMinute = static_cast<WORD>(tmUtc.tm_min);
    st.wSecond = static_cast<WORD>(tmUtc.tm_sec);
    st.wMilliseconds = static_cast<WORD>(ts.tv_nsec / 1000000);
}
