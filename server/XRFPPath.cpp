#include "XRFPPath.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <sys/stat.h>

namespace {

bool IsSeparator(char ch)
{
    return ch == '\\' || ch == '/';
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

std::string XfnRFPJoinPath(const std::vector<std::string>& vecParts, size_t nFirst, size_t nEnd, char chSeparator)
{
    std::string strPath;
    for (size_t i = nFirst; i < nEnd && i < vecParts.size(); ++i) {
        if (i > nFirst)
            strPath += chSeparator;
        strPath += vecParts[i];
    }
    return strPath;
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
