#include "XRFPSettings.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>

namespace {

bool ParseInt(const std::string& strValue, long nMin, long nMax, long& nOut)
{
    if (strValue.empty())
        return false;
    char* pEnd = nullptr;
    errno = 0;
    long n = std::strtol(strValue.c_str(), &pEnd, 10);
    if (*pEnd || errno || n < nMin || n > nMax)
        return false;
    nOut = n;
    return true;
}

bool ParseBool(const std::string& strValue, bool& bOut)
{
    if (strValue == "1" || strValue == "true" || strValue == "yes" || strValue == "on") {
        bOut = true;
        return true;
    }
    if (strValue == "0" || strValue == "false" || strValue == "no" || strValue == "off") {
        bOut = false;
        return true;
    }
    return false;
}

std::string Trim(const std::string& str)
{
    size_t nFirst = str.find_first_not_of(" \t\r");
    if (nFirst == std::string::npos)
        return std::string();
    return str.substr(nFirst, str.find_last_not_of(" \t\r") - nFirst + 1);
}

bool IsSwitch(const std::string& strName)
{
    return strName == "verbose" || strName == "throwaway" || strName == "allow-root";
}

bool IsKnown(const std::string& strName)
{
    static const char* const kNames[] = {"listen", "port", "port-file", "key-file", "key-bits", "users", "user",
                                         "password-file", "throwaway", "max-connections", "max-unauthenticated",
                                         "max-per-address", "login-timeout", "max-handles", "max-open-handles",
                                         "max-user-memory", "idle-timeout", "handle-linger", "key-uses",
                                         "key-lifetime", "max-read", "max-block", "max-list-items", "verbose",
                                         "allow-root", "config"};
    for (const char* pszName : kNames)
        if (strName == pszName)
            return true;
    return false;
}

} // namespace

bool XfnRFPApplySetting(tagXRFPSettings& settings, const std::string& strName, const std::string& strValue,
                        std::string& strError)
{
    struct tagIntSetting {
        const char* pszName;
        long nMin;
        long nMax;
        int* pValue;
    };
    const tagIntSetting ints[] = {
        {"port", 0, 65535, &settings.nPort},
        {"key-bits", 1024, 3072, &settings.nKeyBits},
        {"max-connections", 1, 100000, &settings.nMaxConnections},
        {"max-unauthenticated", 1, 100000, &settings.nMaxUnauthenticated},
        {"max-per-address", 1, 100000, &settings.nMaxPerAddress},
        {"login-timeout", 1, 3600, &settings.nLoginSeconds},
        {"max-handles", 1, 1000000, &settings.nMaxHandles},
        {"max-open-handles", 0, 10000000, &settings.nMaxOpenHandles},
        {"max-user-memory", 1, 1048576, &settings.nUserMemoryMiB},
        {"idle-timeout", 1, 86400 * 7, &settings.nIdleSeconds},
        {"handle-linger", 0, 86400 * 7, &settings.nLingerSeconds},
        {"key-uses", 0, 1000000, &settings.nKeyUses},
        {"key-lifetime", 1, 86400, &settings.nKeyLifetimeSeconds},
        {"max-list-items", 1, 10000000, &settings.nMaxListItems},
    };
    for (const tagIntSetting& s : ints) {
        if (strName != s.pszName)
            continue;
        long n = 0;
        if (!ParseInt(strValue, s.nMin, s.nMax, n)) {
            strError = "--" + strName + " takes a number from " + std::to_string(s.nMin) + " to " +
                       std::to_string(s.nMax);
            return false;
        }
        *s.pValue = static_cast<int>(n);
        return true;
    }
    if (strName == "max-read" || strName == "max-block") {
        long n = 0;
        if (!ParseInt(strValue, 0, 1L << 30, n)) {
            strError = "--" + strName + " takes a byte count up to 1073741824";
            return false;
        }
        (strName == "max-read" ? settings.nMaxRead : settings.nMaxBlock) = static_cast<DWORD>(n);
        return true;
    }
    if (IsSwitch(strName)) {
        bool b = false;
        if (!ParseBool(strValue, b)) {
            strError = "--" + strName + " is on or off";
            return false;
        }
        (strName == "verbose" ? settings.bVerbose : strName == "throwaway" ? settings.bThrowaway : settings.bAllowRoot) = b;
        return true;
    }
    if (strName == "listen")
        settings.strListen = strValue;
    else if (strName == "port-file")
        settings.strPortFile = strValue;
    else if (strName == "key-file")
        settings.strKeyFile = strValue;
    else if (strName == "users")
        settings.strUsersFile = strValue;
    else if (strName == "user")
        settings.vecUserNames.push_back(strValue);
    else if (strName == "password-file")
        settings.strPasswordFile = strValue;
    else {
        strError = "unknown setting " + strName;
        return false;
    }
    return true;
}

bool XfnRFPLoadConfig(const std::string& strFile, tagXRFPSettings& settings, std::string& strError)
{
    std::ifstream in(strFile);
    if (!in) {
        strError = "cannot read config file " + strFile + ": " + std::strerror(errno);
        return false;
    }
    std::string strLine;
    int nLine = 0;
    while (std::getline(in, strLine)) {
        ++nLine;
        size_t nHash = strLine.find('#');
        if (nHash != std::string::npos)
            strLine.erase(nHash);
        strLine = Trim(strLine);
        if (strLine.empty())
            continue;
        size_t nEquals = strLine.find('=');
        std::string strName = Trim(strLine.substr(0, nEquals));
        std::string strValue = nEquals == std::string::npos ? "on" : Trim(strLine.substr(nEquals + 1));
        if (!XfnRFPApplySetting(settings, strName, strValue, strError)) {
            strError = strFile + ":" + std::to_string(nLine) + ": " + strError;
            return false;
        }
    }
    return true;
}

bool XfnRFPParseArguments(const std::vector<std::string>& vecArgs, tagXRFPSettings& settings, std::string& strError)
{
    std::vector<std::pair<std::string, std::string>> vecFlags;
    for (size_t i = 0; i < vecArgs.size(); ++i) {
        const std::string& strArg = vecArgs[i];
        if (strArg.compare(0, 2, "--") != 0 || strArg.size() == 2) {
            strError = "unexpected argument " + strArg;
            return false;
        }
        std::string strName = strArg.substr(2), strValue;
        size_t nEquals = strName.find('=');
        if (nEquals != std::string::npos) {
            strValue = strName.substr(nEquals + 1);
            strName.erase(nEquals);
        }
        if (!IsKnown(strName)) {
            strError = "unknown setting " + strName;
            return false;
        }
        if (nEquals == std::string::npos) {
            if (IsSwitch(strName)) {
                strValue = "on";
            } else if (i + 1 < vecArgs.size()) {
                strValue = vecArgs[++i];
            } else {
                strError = "--" + strName + " needs a value";
                return false;
            }
        }
        vecFlags.emplace_back(strName, strValue);
    }
    for (const auto& flag : vecFlags)
        if (flag.first == "config" && !XfnRFPLoadConfig(flag.second, settings, strError))
            return false;
    for (const auto& flag : vecFlags)
        if (flag.first != "config" && !XfnRFPApplySetting(settings, flag.first, flag.second, strError))
            return false;
    return true;
}

bool XfnRFPTakePasswords(tagXRFPSettings& settings, std::istream& in, std::string& strError)
{
    if (settings.vecUserNames.empty())
        return true;
    std::ifstream file;
    if (!settings.strPasswordFile.empty()) {
        file.open(settings.strPasswordFile);
        if (!file) {
            strError = "cannot read password file " + settings.strPasswordFile + ": " + std::strerror(errno);
            return false;
        }
    }
    std::istream& source = settings.strPasswordFile.empty() ? in : file;
    for (const std::string& strUser : settings.vecUserNames) {
        size_t nColon = strUser.find(':');
        std::string strPassword;
        if (!std::getline(source, strPassword)) {
            strError = "no password for --user " + strUser.substr(0, nColon) + " in " +
                       (settings.strPasswordFile.empty() ? "standard input" : settings.strPasswordFile);
            return false;
        }
        if (!strPassword.empty() && strPassword.back() == '\r')
            strPassword.pop_back();
        settings.vecUsers.push_back(strUser.substr(0, nColon) + ":" + strPassword +
                                    (nColon == std::string::npos ? "" : strUser.substr(nColon)));
    }
    settings.vecUserNames.clear();
    return true;
}

const char* XfnRFPUsage()
{
    return "usage: xrfpd [--name value ...]           serve files\n"
           "       xrfpd adduser [--users FILE] [--password-file FILE] NAME ROOT\n"
           "                                          add or replace a user; the password is the\n"
           "                                          file's first line, else standard input's\n"
           "       xrfpd --version                    print the version\n"
           "settings (also as 'name = value' lines of a --config FILE):\n"
           "  --listen ADDRESS        IPv4 address to listen on (127.0.0.1)\n"
           "  --port N                TCP port, 0 for any free one (5000)\n"
           "  --port-file FILE        write the port in use to FILE\n"
           "  --key-file FILE         private key text, made on first start (xrfpd.key)\n"
           "  --key-bits N            size of a new key, 1024 to 3072 (2048)\n"
           "  --users FILE            users file (xrfpd.users when no user is given)\n"
           "  --user NAME[:ROOT]      a user held in memory only; its password is the next\n"
           "                          line of the --password-file, else of standard input\n"
           "  --password-file FILE    passwords of the --user flags, one a line\n"
           "  --throwaway             temporary root and key, removed at exit; user demo:demo\n"
           "                          unless --user is given\n"
           "  --max-connections N     users' connections served at once (64)\n"
           "  --max-unauthenticated N connections not logged in yet (16)\n"
           "  --max-per-address N     connections of one client address (32)\n"
           "  --login-timeout SECONDS greeting and login must be done within (15)\n"
           "  --max-handles N         open handles per user (256)\n"
           "  --max-open-handles N    open handles of the whole server (0: from the\n"
           "                          descriptor limit)\n"
           "  --max-user-memory MIB   memory one user's handles and requests may hold (64)\n"
           "  --idle-timeout SECONDS  close a silent connection (300)\n"
           "  --handle-linger SECONDS keep handles after a user's last connection (60)\n"
           "  --key-uses N            greetings per greeting key, 0 for one key (64)\n"
           "  --key-lifetime SECONDS  greeting key replaced at least this often (180)\n"
           "  --max-read BYTES        largest read request; more is refused (1073741824)\n"
           "  --max-block BYTES       largest general data block (1048576)\n"
           "  --max-list-items N      entries one search or file list looks at (100000)\n"
           "  --verbose               log every request\n"
           "  --allow-root            run even as root (not advised)\n"
           "  --config FILE           read settings from FILE first\n";
}
