// XRFPath.cpp: the parser of remote paths. It only says whether a text is
// of the remote form and what its fields are; it never fails otherwise, as a
// text that is not of the form is an ordinary local path.

#include "remote/XRFPath.h"

#include <cstdlib>
#include <cstring>

namespace {

// Longest port text: five digits. A longer one is no port, and the path is
// then local.
const int kMaxPortDigits = 5;

bool IsFieldChar(char ch)
{
    return (ch >= '0' && ch <= '9') || (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z');
}

} // namespace

bool XfnRFParsePath(const char* pszPath, XRFConnectionOpenParam& param, XString& strServerPath)
{
    if (pszPath == nullptr || std::strncmp(pszPath, XRF_PATH_SCHEME, XRF_PATH_SCHEME_LENGTH) != 0)
        return false;
    const char* p = pszPath + XRF_PATH_SCHEME_LENGTH;

    const char* pUser = p;
    while (IsFieldChar(*p))
        ++p;
    if (p == pUser || *p != ':')
        return false;
    XString strUser(pUser, static_cast<int>(p - pUser));

    const char* pPassword = ++p;
    while (IsFieldChar(*p))
        ++p;
    if (p == pPassword || *p != '@')
        return false;
    XString strPassword(pPassword, static_cast<int>(p - pPassword));

    const char* pHost = ++p;
    while (IsFieldChar(*p) || *p == '.')
        ++p;
    if (p == pHost || (*p != ':' && *p != '\\'))
        return false;
    XString strHost(pHost, static_cast<int>(p - pHost));

    WORD nPort = XRFConnectionOpenParam::defaultPort;
    if (*p == ':') {
        const char* pPort = ++p;
        while (*p >= '0' && *p <= '9')
            ++p;
        if (p == pPort || *p != '\\' || p - pPort > kMaxPortDigits)
            return false;
        // Read as a number and cut to 16 bits: "70000" is port 4464.
        nPort = static_cast<WORD>(std::atoi(XString(pPort, static_cast<int>(p - pPort))));
    }

    param.Reset();
    param.strHost = strHost;
    param.nPort = nPort;
    param.strUser = strUser;
    param.strPassword = strPassword;
    strServerPath = p + 1;
    return true;
}
