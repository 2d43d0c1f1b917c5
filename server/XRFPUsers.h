// The server's users: name, salted password hash and root directory. The
// users file holds one user a line, the three fields separated by tabs, with
// '#' comment lines; the clear password is never stored. Hashes are
// PBKDF2-HMAC-SHA256 over a random salt, written
// "pbkdf2-sha256$<iterations>$<salt hex>$<hash hex>". A loaded table is only
// read, so it may be shared by every connection thread.
#pragma once

#include <map>
#include <string>

struct tagXRFPUser {
    std::string strName;
    std::string strHash;
    std::string strRoot;  // canonical absolute directory once loaded
};

// Names and passwords are what the client's remote path form can carry: 1
// to 15 letters and digits each.
bool XfnRFPValidUserName(const std::string& strName);
bool XfnRFPValidPassword(const std::string& strPassword);

std::string XfnRFPHashPassword(const std::string& strPassword);
// Constant-time in the hash's bytes; false for a malformed hash text.
bool XfnRFPVerifyPassword(const std::string& strPassword, const std::string& strHash);

class XRFPUserTable {
public:
    // Reads a users file. Users whose root is missing are kept with an empty
    // root and logged: they cannot log in. False with strError on a file
    // that cannot be read, is a link, is open to others or belongs to
    // another user, or holds a malformed line.
    bool Load(const std::string& strFile, std::string& strError);
    // Adds or replaces a user held in memory only; the root must exist.
    bool Add(const std::string& strName, const std::string& strPassword, const std::string& strRoot,
             std::string& strError);
    const tagXRFPUser* Find(const std::string& strName) const;
    size_t Size() const { return mapUsers.size(); }

private:
    std::map<std::string, tagXRFPUser> mapUsers;
};

// Appends a user to a users file, or replaces the line of a user of that
// name; the file is written whole beside the old one with owner-only access
// and renamed over it. The root is stored as an absolute path. False with
// strError when the name, password or file fails.
bool XfnRFPAddUserToFile(const std::string& strFile, const std::string& strName, const std::string& strPassword,
                         const std::string& strRoot, std::string& strError);
