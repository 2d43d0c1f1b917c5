// The server's settings: built-in defaults, then an optional config file,
// then the command line, each overriding the one before. The config file
// holds "name = value" lines with the long flag names ('#' starts a comment).
#pragma once

#include "KVDbase/platform/Win32Types.h"

#include <string>
#include <vector>

struct tagXRFPSettings {
    std::string strListen = "127.0.0.1";  // IPv4 address to listen on
    int nPort = 5000;                     // 0 picks a free port
    std::string strPortFile;              // where the port in use is written
    std::string strKeyFile = "xrfpd.key"; // the private key text; made on first start
    int nKeyBits = 2048;                  // for a new key: 1024 to 3072
    std::string strUsersFile;             // empty: no users file
    std::vector<std::string> vecUsers;    // NAME:PASSWORD[:ROOT], held in memory
    bool bThrowaway = false;              // temporary root and key, removed at the end
    int nMaxConnections = 64;
    int nMaxHandles = 256;                // open file and find handles per user
    int nIdleSeconds = 300;               // a connection silent this long is closed
    int nLingerSeconds = 60;              // handles outlive a user's last connection
    DWORD nMaxRead = 262144;              // bytes of one read request
    DWORD nMaxBlock = 1048576;            // bytes of one general data block
    int nMaxListItems = 100000;           // entries of one search or file list
    bool bVerbose = false;                // log every request
};

// Sets one setting by its long flag name; false with strError when the name
// is unknown or the value does not fit.
bool XfnRFPApplySetting(tagXRFPSettings& settings, const std::string& strName, const std::string& strValue,
                        std::string& strError);
bool XfnRFPLoadConfig(const std::string& strFile, tagXRFPSettings& settings, std::string& strError);
// Parses "--name value", "--name=value" and the switches --verbose and
// --throwaway; "--config FILE" is read before the other flags apply.
bool XfnRFPParseArguments(const std::vector<std::string>& vecArgs, tagXRFPSettings& settings, std::string& strError);
const char* XfnRFPUsage();
