// The server's settings: built-in defaults, then an optional config file,
// then the command line, each overriding the one before. The config file
// holds "name = value" lines with the long flag names ('#' starts a comment).
#pragma once

#include "KVDbase/platform/Win32Types.h"

#include <istream>
#include <string>
#include <vector>

struct tagXRFPSettings {
    std::string strListen = "127.0.0.1";  // IPv4 address to listen on
    int nPort = 5000;                     // 0 picks a free port
    std::string strPortFile;              // where the port in use is written
    std::string strKeyFile = "xrfpd.key"; // the private key text; made on first start
    int nKeyBits = 2048;                  // for a new key: 1024 to 3072
    std::string strUsersFile;             // empty: no users file
    // Users held in memory, NAME:PASSWORD[:ROOT], as a program embedding the
    // server gives them; the command line gives NAME[:ROOT] in vecUserNames
    // and the passwords in a file or on standard input, never as arguments.
    std::vector<std::string> vecUsers;
    std::vector<std::string> vecUserNames;
    std::string strPasswordFile;          // one password a line, for vecUserNames
    bool bThrowaway = false;              // temporary root and key, removed at the end
    int nMaxConnections = 64;             // logged in at once
    int nMaxUnauthenticated = 16;         // connected and not logged in yet
    int nMaxPerAddress = 32;              // connections of one client address
    int nLoginSeconds = 15;               // greeting and login must be done by then
    int nMaxHandles = 256;                // open file and find handles per user
    int nMaxOpenHandles = 0;              // handles of the whole server; 0: from the descriptor limit
    int nUserMemoryMiB = 64;              // memory one user's handles and requests may hold
    int nIdleSeconds = 300;               // a connection silent this long is closed
    int nLingerSeconds = 60;              // handles outlive a user's last connection
    int nKeyUses = 64;                    // greetings per key; 0: one key for ever
    int nKeyLifetimeSeconds = 180;        // a greeting key is replaced at least this often
    DWORD nMaxRead = 1u << 30;            // bytes of one read request; more is refused
    DWORD nMaxBlock = 1048576;            // bytes of one general data block
    int nMaxListItems = 100000;           // entries one search or file list looks at
    bool bVerbose = false;                // log every request
    bool bAllowRoot = false;              // the program may run as root
};

// Sets one setting by its long flag name; false with strError when the name
// is unknown or the value does not fit.
bool XfnRFPApplySetting(tagXRFPSettings& settings, const std::string& strName, const std::string& strValue,
                        std::string& strError);
bool XfnRFPLoadConfig(const std::string& strFile, tagXRFPSettings& settings, std::string& strError);
// Parses "--name value", "--name=value" and the switches --verbose,
// --throwaway and --allow-root; "--config FILE" is read before the other
// flags apply.
bool XfnRFPParseArguments(const std::vector<std::string>& vecArgs, tagXRFPSettings& settings, std::string& strError);
const char* XfnRFPUsage();
// Moves the users of vecUserNames into vecUsers with their passwords, one
// line each from the password file or else from pIn (standard input).
bool XfnRFPTakePasswords(tagXRFPSettings& settings, std::istream& in, std::string& strError);
