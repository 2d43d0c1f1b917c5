#include "XRFPPath.h"

#include "XRFPErrors.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <sys/stat.h>

namespace {

bool IsSeparator(char ch)
{
    return ch == '\\' || ch == '/';
}

bool Inside(const std::string& strRoot, const std::string& strPath)
{
    if (strPath.compare(0, strRoot.size(), strRoot) != 0)
        return false;
    return strPath.size() == strRoot.size() || strPath[strRoot.size()] == '/' || strRoot == "/";
}

// realpath, with the reason for a failure.
bool RealPath(const std::string& strPath, std::string& strReal, int& nErrno)
{
    char szReal[PATH_MAX];
    if (!realpath(strPath.c_str(), szReal)) {
        nErrno = errno;
        return false;
    }
    strReal = szReal;
    return true;
}

char Lower(char ch)
{
    return ch >= 'A' && ch <= 'Z' ? static_cast<char>(ch - 'A' + 'a') : ch;
}

bool Match(const char* pPattern, const char* pName)
{
    // Iterative matching with one backtrack point for the last '*'.
    const char* pStar = nullptr;
    const char* pResume = nullptr;
    while (*pName) {
        if (*pPattern == '*') {
            pStar = pPattern++;
            pResume = pName;
        } else if (*pPattern && (*pPattern == '?' || Lower(*pPattern) == Lower(*pName))) {
            ++pPattern;
            ++pName;
        } else if (pStar) {
            pPattern = pStar + 1;
            pName = ++pResume;
        } else {
            return false;
        }
    }
    while (*pPattern == '*')
        ++pPattern;
    return *pPattern == 0;
}

} // namespace

bool XfnRFPSplitPath(const std::string& strPath, std::vector<std::string>& vecParts)
{
    vecParts.clear();
    if (!strPath.empty() && IsSeparator(strPath[0]))
        return false;
    size_t nStart = 0;
    while (nStart <= strPath.size()) {
        size_t nEnd = nStart;
        while (nEnd < strPath.size() && !IsSeparator(strPath[nEnd]))
            ++nEnd;
        std::string strPart = strPath.substr(nStart, nEnd - nStart);
        nStart = nEnd + 1;
        if (strPart.empty() || strPart == ".")
            continue;
        // A colon makes a drive ("C:") or a stream name on the clients' systems.
        if (strPart.find(':') != std::string::npos)
            return false;
        if (strPart == "..") {
            if (vecParts.empty())
                return false;
            vecParts.pop_back();
            continue;
        }
        vecParts.push_back(strPart);
    }
    return true;
}

bool XfnRFPHasWildcards(const std::string& strName)
{
    return strName.find_first_of("*?") != std::string::npos;
}

bool XfnRFPMatchPattern(const std::string& strPattern, const std::string& strName)
{
    if (strPattern == "*.*")
        return true;
    return Match(strPattern.c_str(), strName.c_str());
}

DWORD XfnRFPResolve(const std::string& strRoot, const std::vector<std::string>& vecParts, XRFPFollow follow,
                    std::string& strHostPath)
{
    if (vecParts.empty()) {
        strHostPath = strRoot;
        return 0;
    }
    std::string strParent = strRoot;
    for (size_t i = 0; i + 1 < vecParts.size(); ++i)
        strParent += "/" + vecParts[i];
    std::string strRealParent;
    int nErrno = 0;
    if (!RealPath(strParent, strRealParent, nErrno))
        return nErrno == ENOENT || nErrno == ENOTDIR ? XRFP_ERROR_PATH_NOT_FOUND : static_cast<DWORD>(nErrno);
    if (!Inside(strRoot, strRealParent))
        return XRFP_ERROR_ACCESS_DENIED;
    struct stat st {};
    if (stat(strRealParent.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
        return XRFP_ERROR_PATH_NOT_FOUND;

    strHostPath = (strRealParent == "/" ? "" : strRealParent) + "/" + vecParts.back();
    if (follow == XRFP_NO_FOLLOW_LAST)
        return 0;
    if (lstat(strHostPath.c_str(), &st) != 0 || !S_ISLNK(st.st_mode))
        return 0;
    // A link: where it leads must exist and stay inside; a dangling link
    // cannot be checked and is refused.
    std::string strTarget;
    if (!RealPath(strHostPath, strTarget, nErrno) || !Inside(strRoot, strTarget))
        return XRFP_ERROR_ACCESS_DENIED;
    strHostPath = strTarget;
    return 0;
}

std::string XfnRFPCanonicalDirectory(const std::string& strPath)
{
    std::string strReal;
    int nErrno = 0;
    if (!RealPath(strPath, strReal, nErrno)) {
        errno = nErrno;
        return std::string();
    }
    struct stat st {};
    if (stat(strReal.c_str(), &st) != 0 || !S_ISDIR(st.st_mode)) {
        errno = ENOTDIR;
        return std::string();
    }
    return strReal;
}
