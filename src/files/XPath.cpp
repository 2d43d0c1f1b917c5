#include "KVDbase/files/XPath.h"

#include "platform/XMbText.h"
#include "platform/XSysPath.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

const int kMaxPath = 260;

// The temporary directory; empty until XfnSetTempPath.
XString g_strTempPath;

inline bool IsSeparator(char c)
{
    return c == '\\' || c == '/';
}

// lstrcpyn: at most nSize - 1 bytes and a terminator.
void CopyCut(char* pszOut, const char* pszIn, size_t nSize)
{
    if (nSize == 0)
        return;
    size_t n = std::strlen(pszIn);
    if (n > nSize - 1)
        n = nSize - 1;
    std::memcpy(pszOut, pszIn, n);
    pszOut[n] = '\0';
}

// The parts of a path: drive ("C:"), directory up to and with the last
// separator, name, and extension from the last dot of the name on.
struct XPathParts {
    std::string strDrive;
    std::string strDir;
    std::string strName;
    std::string strExt;
};

XPathParts SplitPath(const char* pszPath)
{
    XPathParts parts;
    const char* p = pszPath;
    if (p[0] != '\0' && p[1] == ':') {
        parts.strDrive.assign(p, 2);
        p += 2;
    }
    const char* pszNameStart = p;
    const char* pszDot = nullptr;
    for (const char* q = p; *q; q = XMbText::Inc(q)) {
        if (IsSeparator(*q)) {
            pszNameStart = q + 1;
            pszDot = nullptr;
        } else if (*q == '.') {
            pszDot = q;
        }
    }
    parts.strDir.assign(p, static_cast<size_t>(pszNameStart - p));
    if (pszDot != nullptr) {
        parts.strName.assign(pszNameStart, static_cast<size_t>(pszDot - pszNameStart));
        parts.strExt = pszDot;
    } else {
        parts.strName = pszNameStart;
    }
    return parts;
}

// The start of the name: the character after the last backslash, slash or colon.
const char* NameStart(const char* pszPath)
{
    const char* pszStart = pszPath;
    for (const char* p = pszPath; *p; p = XMbText::Inc(p))
        if (IsSeparator(*p) || *p == ':')
            pszStart = p + 1;
    return pszStart;
}

// The next separator at or after p, or null.
const char* NextSeparator(const char* p)
{
    for (; *p; p = XMbText::Inc(p))
        if (IsSeparator(*p))
            return p;
    return nullptr;
}

// Joins pszPath to the current directory and resolves "." and ".." and
// repeated separators; the text keeps a trailing separator.
bool BuildFullPath(const char* pszPath, std::string& strOut)
{
    if (pszPath[0] == '\0')
        return false;
    std::string strWhole;
    if (!IsSeparator(pszPath[0])) {
        char szCwd[4096];
        if (!XfnSysGetCurrentDirectory(szCwd, sizeof(szCwd)))
            return false;
        strWhole = szCwd;
        strWhole += '/';
    }
    strWhole += pszPath;

    std::vector<std::string> parts;
    std::string strPart;
    auto flush = [&]() {
        if (strPart == "..") {
            if (!parts.empty())
                parts.pop_back();
        } else if (!strPart.empty() && strPart != ".") {
            parts.push_back(strPart);
        }
        strPart.clear();
    };
    for (const char* p = strWhole.c_str(); *p;) {
        if (IsSeparator(*p)) {
            flush();
            ++p;
        } else {
            const char* q = XMbText::Inc(p);
            strPart.append(p, static_cast<size_t>(q - p));
            p = q;
        }
    }
    const bool bTrailing = IsSeparator(strWhole.back()) && !parts.empty();
    flush();
    strOut.clear();
    for (const std::string& s : parts) {
        strOut += '/';
        strOut += s;
    }
    if (strOut.empty() || bTrailing)
        strOut += '/';
    return true;
}

} // namespace

int XfnComparePath(const char* pszA, const char* pszB)
{
    // Case folding covers the plain letters only, so full-width letters,
    // like every other character, must match byte for byte.
    return XMbText::CompareNoCase(pszA, pszB) == 0 ? 1 : 0;
}

int XfnFullPath(char* pszOut, const char* pszPath)
{
    if (pszPath == nullptr)
        pszPath = "";
    std::string strFull;
    if (!BuildFullPath(pszPath, strFull) || strFull.size() >= static_cast<size_t>(kMaxPath)) {
        CopyCut(pszOut, pszPath, kMaxPath);
        return 0;
    }
    // The file systems of this platform keep the case and spelling of names
    // as given, so the text needs no correction from the disk.
    std::memcpy(pszOut, strFull.c_str(), strFull.size() + 1);
    return 1;
}

XString XfnGetFullPath(XString strPath)
{
    char szFull[kMaxPath];
    XfnFullPath(szFull, strPath);
    return XString(szFull);
}

XString XfnGetDirName(XString strPath)
{
    XPathParts parts = SplitPath(strPath);
    return XString((parts.strDrive + parts.strDir).c_str());
}

XString XfnGetFileExt(XString strPath)
{
    XPathParts parts = SplitPath(strPath);
    if (parts.strExt.size() <= 1)
        return XString();
    return XString(parts.strExt.c_str() + 1);
}

unsigned int XfnGetFileName(const char* pszPath, char* pszOut, unsigned int nSize)
{
    const char* pszStart = NameStart(pszPath);
    if (pszOut == nullptr)
        return static_cast<unsigned int>(std::strlen(pszStart)) + 1;
    CopyCut(pszOut, pszStart, nSize);
    return 0;
}

XString XfnGetFileName(XString strPath)
{
    char szName[256];
    XfnGetFileName(strPath, szName, sizeof(szName));
    return XString(szName);
}

unsigned int XfnGetFileTitle(const char* pszPath, char* pszOut, unsigned int nSize)
{
    char szPrivate[kMaxPath];
    char* pszTitle = pszOut != nullptr ? pszOut : szPrivate;
    unsigned int nTitleSize = pszOut != nullptr ? nSize : sizeof(szPrivate);
    // The title is the name with its extension. As with the platform's own
    // rule, an empty name or one with wildcard or reserved characters has
    // no title, nor has one that does not fit; the name is the answer then.
    const char* pszName = NameStart(pszPath);
    size_t nLength = std::strlen(pszName);
    if (nLength == 0 || std::strpbrk(pszName, "*?\"<>|") != nullptr || nLength + 1 > nTitleSize)
        return XfnGetFileName(pszPath, pszOut, nSize);
    std::memcpy(pszTitle, pszName, nLength + 1);
    return pszOut != nullptr ? 0 : static_cast<unsigned int>(nLength) + 1;
}

XString XfnGetFileTitle(XString strPath)
{
    char szTitle[256];
    XfnGetFileTitle(strPath, szTitle, sizeof(szTitle));
    return XString(szTitle);
}

void XfnGetRoot(const char* pszPath, XString& strRoot)
{
    char* pszRoot = strRoot.GetBuffer(kMaxPath);
    std::memset(pszRoot, 0, kMaxPath);
    CopyCut(pszRoot, pszPath, kMaxPath);

    // A doubled separator anywhere marks a network path: the scan starts
    // after the server name that follows it.
    char* pScan = pszRoot;
    for (char* p = pszRoot; *p; p = XMbText::Inc(p)) {
        if (IsSeparator(p[0]) && IsSeparator(p[1])) {
            const char* pszServerEnd = NextSeparator(p + 2);
            pScan = pszServerEnd != nullptr ? pszRoot + (pszServerEnd - pszRoot) + 1 : p + std::strlen(p);
            break;
        }
    }
    const char* pszSep = NextSeparator(pScan);
    if (pszSep != nullptr)
        pszRoot[pszSep - pszRoot + 1] = '\0';
    strRoot.ReleaseBuffer();
}

XString XfnGetRoot(XString strPath)
{
    XString strRoot;
    XfnGetRoot(strPath, strRoot);
    return strRoot;
}

XString XfnGetModuleFileName(HINSTANCE hModule)
{
    char szFile[4096];
    bool bFound = hModule == nullptr ? XfnSysGetProgramFile(szFile, sizeof(szFile))
                                     : XfnSysGetModuleFile(hModule, szFile, sizeof(szFile));
    if (!bFound)
        return XString();
    szFile[kMaxPath - 1] = '\0';
    return XString(szFile);
}

XString XfnGetModulePath(HINSTANCE hModule)
{
    return XfnGetDirName(XfnGetModuleFileName(hModule));
}

XString XfnGetModulePathUpper(HINSTANCE hModule)
{
    XString strPath = XfnGetModulePath(hModule);
    if (strPath.IsEmpty())
        return strPath;
    return XfnGetDirName(strPath.Left(strPath.GetLength() - 1));
}

void XfnGetModuleShortFileName(HINSTANCE hModule, XString& strName)
{
    strName = XfnGetModuleFileName(hModule);
}

HINSTANCE XfnGetLibraryModule()
{
    return reinterpret_cast<HINSTANCE>(&XfnGetLibraryModule);
}

XString XfnGetTempFileName(XString strPrefix)
{
    _SYSTEMTIME st;
    XfnSysGetUtcTime(st);
    char szTail[32];
    std::snprintf(szTail, sizeof(szTail), "%02d%02d%02d%02d%03d.tmp", st.wDay, st.wHour, st.wMinute, st.wSecond,
                  st.wMilliseconds);
    if (g_strTempPath.IsEmpty()) {
        char szCwd[4096];
        if (!XfnSysGetCurrentDirectory(szCwd, sizeof(szCwd)))
            std::strcpy(szCwd, ".");
        return XString(szCwd) + "/" + strPrefix + szTail;
    }
    return g_strTempPath + strPrefix + szTail;
}

XString XfnGetTempPath()
{
    if (!g_strTempPath.IsEmpty())
        return g_strTempPath;
    return XfnGetModulePath(nullptr);
}

void XfnSetTempPath(XString strPath)
{
    g_strTempPath = strPath;
}
