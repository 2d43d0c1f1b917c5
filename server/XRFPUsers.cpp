#include "XRFPUsers.h"

#include "XRFPFileSystem.h"
#include "XRFPLog.h"
#include "XRFPPath.h"

#include <crypto++/hex.h>
#include <crypto++/misc.h>
#include <crypto++/osrng.h>
#include <crypto++/pwdbased.h>
#include <crypto++/sha.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <unistd.h>
#include <vector>

namespace {

// PBKDF2 rounds of a new hash: guessing online is throttled, and this makes
// a stolen users file costly to search too. Stored hashes keep their own.
const unsigned kIterations = 100000;
const size_t kSaltSize = 16;
const size_t kHashSize = 32;
// The users file holds password hashes: others may not read it, nor the
// group change it.
const mode_t kUsersFileForbidden = 0027;

std::string Hex(const CryptoPP::byte* p, size_t n)
{
    std::string strHex;
    CryptoPP::StringSource source(p, n, true, new CryptoPP::HexEncoder(new CryptoPP::StringSink(strHex)));
    return strHex;
}

std::string Unhex(const std::string& strHex)
{
    std::string strBytes;
    CryptoPP::StringSource source(strHex, true, new CryptoPP::HexDecoder(new CryptoPP::StringSink(strBytes)));
    return strBytes;
}

std::string Derive(const std::string& strPassword, const std::string& strSalt, unsigned nIterations)
{
    CryptoPP::byte derived[kHashSize];
    CryptoPP::PKCS5_PBKDF2_HMAC<CryptoPP::SHA256> pbkdf2;
    pbkdf2.DeriveKey(derived, sizeof derived, 0, reinterpret_cast<const CryptoPP::byte*>(strPassword.data()),
                     strPassword.size(), reinterpret_cast<const CryptoPP::byte*>(strSalt.data()), strSalt.size(),
                     nIterations);
    return std::string(reinterpret_cast<const char*>(derived), sizeof derived);
}

std::vector<std::string> SplitFields(const std::string& strLine, char chSeparator)
{
    std::vector<std::string> vecFields;
    std::string strField;
    std::istringstream in(strLine);
    while (std::getline(in, strField, chSeparator))
        vecFields.push_back(strField);
    return vecFields;
}

std::string AbsolutePath(const std::string& strPath)
{
    if (!strPath.empty() && strPath[0] == '/')
        return strPath;
    char szCwd[PATH_MAX];
    if (!getcwd(szCwd, sizeof szCwd))
        return strPath;
    return std::string(szCwd) + "/" + strPath;
}

} // namespace

bool XfnRFPValidUserName(const std::string& strName)
{
    if (strName.empty() || strName.size() > 15)
        return false;
    for (char ch : strName)
        if (!((ch >= '0' && ch <= '9') || (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z')))
            return false;
    return true;
}

bool XfnRFPValidPassword(const std::string& strPassword)
{
    return XfnRFPValidUserName(strPassword);
}

std::string XfnRFPHashPassword(const std::string& strPassword)
{
    CryptoPP::AutoSeededRandomPool rng;
    CryptoPP::byte salt[kSaltSize];
    rng.GenerateBlock(salt, sizeof salt);
    std::string strSalt(reinterpret_cast<const char*>(salt), sizeof salt);
    std::string strDerived = Derive(strPassword, strSalt, kIterations);
    return "pbkdf2-sha256$" + std::to_string(kIterations) + "$" + Hex(salt, sizeof salt) + "$" +
           Hex(reinterpret_cast<const CryptoPP::byte*>(strDerived.data()), strDerived.size());
}

bool XfnRFPVerifyPassword(const std::string& strPassword, const std::string& strHash)
{
    std::vector<std::string> vecParts = SplitFields(strHash, '$');
    if (vecParts.size() != 4 || vecParts[0] != "pbkdf2-sha256")
        return false;
    char* pEnd = nullptr;
    unsigned long nIterations = std::strtoul(vecParts[1].c_str(), &pEnd, 10);
    if (*pEnd || nIterations == 0 || nIterations > 10000000)
        return false;
    std::string strSalt = Unhex(vecParts[2]);
    std::string strExpected = Unhex(vecParts[3]);
    if (strSalt.empty() || strExpected.size() != kHashSize)
        return false;
    std::string strDerived = Derive(strPassword, strSalt, static_cast<unsigned>(nIterations));
    return CryptoPP::VerifyBufsEqual(reinterpret_cast<const CryptoPP::byte*>(strDerived.data()),
                                     reinterpret_cast<const CryptoPP::byte*>(strExpected.data()), kHashSize);
}

bool XRFPUserTable::Load(const std::string& strFile, std::string& strError)
{
    std::string strText;
    if (XfnRFPReadPrivateFile(strFile, kUsersFileForbidden, strText, strError) != 0) {
        strError = "users file: " + strError;
        return false;
    }
    std::istringstream in(strText);
    std::string strLine;
    int nLine = 0;
    while (std::getline(in, strLine)) {
        ++nLine;
        if (!strLine.empty() && strLine.back() == '\r')
            strLine.pop_back();
        if (strLine.empty() || strLine[0] == '#')
            continue;
        std::vector<std::string> vecFields = SplitFields(strLine, '\t');
        if (vecFields.size() != 3 || !XfnRFPValidUserName(vecFields[0]) || vecFields[2].empty()) {
            strError = strFile + ":" + std::to_string(nLine) + ": expected name, hash and root separated by tabs";
            return false;
        }
        tagXRFPUser user{vecFields[0], vecFields[1], XfnRFPCanonicalDirectory(vecFields[2])};
        if (user.strRoot.empty())
            XfnRFPLog("", "user %s: root %s is not a directory (%s); the user cannot log in", user.strName.c_str(),
                      vecFields[2].c_str(), std::strerror(errno));
        mapUsers[user.strName] = user;
    }
    return true;
}

bool XRFPUserTable::Add(const std::string& strName, const std::string& strPassword, const std::string& strRoot,
                        std::string& strError)
{
    if (!XfnRFPValidUserName(strName) || !XfnRFPValidPassword(strPassword)) {
        strError = "a user name and a password are each 1 to 15 letters and digits";
        return false;
    }
    std::string strReal = XfnRFPCanonicalDirectory(strRoot);
    if (strReal.empty()) {
        strError = "root " + strRoot + " is not a directory: " + std::strerror(errno);
        return false;
    }
    mapUsers[strName] = tagXRFPUser{strName, XfnRFPHashPassword(strPassword), strReal};
    return true;
}

const tagXRFPUser* XRFPUserTable::Find(const std::string& strName) const
{
    auto it = mapUsers.find(strName);
    return it == mapUsers.end() ? nullptr : &it->second;
}

bool XfnRFPAddUserToFile(const std::string& strFile, const std::string& strName, const std::string& strPassword,
                         const std::string& strRoot, std::string& strError)
{
    if (!XfnRFPValidUserName(strName)) {
        strError = "a user name is 1 to 15 letters and digits, which is what a client's remote path can carry";
        return false;
    }
    if (!XfnRFPValidPassword(strPassword)) {
        strError = "a password is 1 to 15 letters and digits, which is what a client's remote path can carry";
        return false;
    }
    if (strRoot.empty() || strRoot.find_first_of("\t\r\n") != std::string::npos) {
        strError = "the root must be a directory path without tabs or line ends";
        return false;
    }
    // Keep every line but the user's own, then add the new one. An existing
    // file must pass the checks that the server makes when it loads it.
    std::string strOld, strKept;
    int nRead = XfnRFPReadPrivateFile(strFile, kUsersFileForbidden, strOld, strError);
    if (nRead != 0 && nRead != ENOENT)
        return false;
    std::istringstream in(strOld);
    std::string strLine;
    while (std::getline(in, strLine))
        if (strLine.compare(0, strName.size() + 1, strName + "\t") != 0)
            strKept += strLine + "\n";
    strKept += strName + "\t" + XfnRFPHashPassword(strPassword) + "\t" + AbsolutePath(strRoot) + "\n";
    if (int nError = XfnRFPWriteFileAtomically(strFile, strKept)) {
        strError = "cannot write " + strFile + ": " + std::strerror(nError);
        return false;
    }
    return true;
}
