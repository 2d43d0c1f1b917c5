#include "XRFPKeys.h"

#include "KVDbase/crypto/XRSA.h"

#include <crypto++/filters.h>
#include <crypto++/hex.h>
#include <crypto++/osrng.h>
#include <crypto++/rsa.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sstream>
#include <unistd.h>

void XfnRFPGenerateKey(int nBits, std::string& strPrivate, std::string& strPublic)
{
    CryptoPP::AutoSeededRandomPool rng;
    CryptoPP::byte seed[64];
    rng.GenerateBlock(seed, sizeof seed);
    XString strPrivateKey, strPublicKey;
    XfnGenerateRSAKey(static_cast<DWORD>(nBits), strPrivateKey, strPublicKey,
                      XString(reinterpret_cast<const char*>(seed), static_cast<int>(sizeof seed)));
    strPrivate = static_cast<const char*>(strPrivateKey);
    strPublic = static_cast<const char*>(strPublicKey);
}

std::string XfnRFPPublicKeyOf(const std::string& strPrivate)
{
    CryptoPP::HexDecoder decoder;
    decoder.Put(reinterpret_cast<const CryptoPP::byte*>(strPrivate.data()), strPrivate.size());
    decoder.MessageEnd();
    CryptoPP::RSA::PrivateKey key;
    key.Load(decoder);
    CryptoPP::RSA::PublicKey pub(key);
    std::string strPublic;
    CryptoPP::HexEncoder encoder(new CryptoPP::StringSink(strPublic), true);
    pub.Save(encoder);
    encoder.MessageEnd();
    return strPublic;
}

bool XfnRFPLoadOrCreateKey(const std::string& strFile, int nBits, std::string& strPrivate, std::string& strPublic,
                           bool& bCreated, std::string& strError)
{
    bCreated = false;
    std::ifstream in(strFile);
    if (in) {
        std::ostringstream text;
        text << in.rdbuf();
        strPrivate = text.str();
        while (!strPrivate.empty() && (strPrivate.back() == '\n' || strPrivate.back() == '\r'))
            strPrivate.pop_back();
        try {
            strPublic = XfnRFPPublicKeyOf(strPrivate);
        } catch (const std::exception& e) {
            strError = "key file " + strFile + " holds no private key: " + e.what();
            return false;
        }
        return true;
    }
    if (errno != ENOENT) {
        strError = "cannot read key file " + strFile + ": " + std::strerror(errno);
        return false;
    }
    XfnRFPGenerateKey(nBits, strPrivate, strPublic);
    int fd = open(strFile.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0) {
        strError = "cannot create key file " + strFile + ": " + std::strerror(errno);
        return false;
    }
    std::string strText = strPrivate + "\n";
    bool bWritten = write(fd, strText.data(), strText.size()) == static_cast<ssize_t>(strText.size());
    bWritten = fsync(fd) == 0 && bWritten;
    close(fd);
    if (!bWritten) {
        strError = "cannot write key file " + strFile;
        unlink(strFile.c_str());
        return false;
    }
    bCreated = true;
    return true;
}
