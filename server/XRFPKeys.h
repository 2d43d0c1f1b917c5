// The server's RSA key pair. The key file holds the private key as the
// library's key text (hexadecimal DER), readable by the owner only; it is made
// on first start, and the public key of the greeting is derived from it.
#pragma once

#include <string>

// A new pair of nBits, seeded from the system's random source.
void XfnRFPGenerateKey(int nBits, std::string& strPrivate, std::string& strPublic);
// The public key text of a private key text; throws on a malformed key.
std::string XfnRFPPublicKeyOf(const std::string& strPrivate);
// Reads the key file, or makes it when it does not exist (bCreated). False
// with strError when it cannot be read, written or parsed.
bool XfnRFPLoadOrCreateKey(const std::string& strFile, int nBits, std::string& strPrivate, std::string& strPublic,
                           bool& bCreated, std::string& strError);
