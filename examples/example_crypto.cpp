// Crypto: an RSA key pair made in memory and in files, a short secret
// encrypted with the public key and read with the private one, and what a
// wrong key or a damaged cipher text does.
#include "KVDbase/KVDbase.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <random>
#include <string>

namespace {

int g_nFailures = 0;

void Check(bool bOk, const char* pszWhat)
{
    std::printf("  [%s] %s\n", bOk ? " ok " : "FAIL", pszWhat);
    if (!bOk)
        ++g_nFailures;
}

// The generator's entropy is the seed the caller gives: 32 bytes from the
// system's random source, as text.
XString RandomSeed()
{
    std::random_device device;
    XString strSeed;
    for (int i = 0; i < 8; ++i) {
        XString strWord;
        strWord.Format("%08X", static_cast<unsigned int>(device()));
        strSeed += strWord;
    }
    return strSeed;
}

} // namespace

int main()
{
    namespace fs = std::filesystem;
    fs::path dir = fs::temp_directory_path() / ("kvd_example_crypto_" + std::to_string(std::random_device{}()));
    fs::create_directories(dir);
    std::printf("Crypto\n");

    // 1024 bits keeps the example quick; a server's own key would be larger.
    XString strPrivate, strPublic;
    XfnGenerateRSAKey(1024, strPrivate, strPublic, RandomSeed());
    std::printf("  key pair: private %d hex digits, public %d\n", strPrivate.GetLength(), strPublic.GetLength());
    Check(strPublic.GetLength() > 0 && strPrivate.GetLength() > strPublic.GetLength(), "a key pair as hexadecimal text");

    const XString strSecret = "alice:s3cret";
    XString strCipher = XfnRSAEncryptStringByKey(strPublic, strSecret);
    XString strAgain = XfnRSAEncryptStringByKey(strPublic, strSecret);
    std::printf("  cipher text: %d hex digits, starts %.16s...\n", strCipher.GetLength(),
                static_cast<const char*>(strCipher));
    Check(strCipher.GetLength() == 256 && strCipher != strAgain, "256 digits for a 1024-bit key, new padding each time");
    XString strPlain = XfnRSADecryptStringByKey(strPrivate, strCipher);
    Check(strPlain == strSecret && XfnRSADecryptStringByKey(strPrivate, strAgain) == strSecret,
          "both decrypt to the secret");

    // The same through key files.
    std::string strPrivateFile = (dir / "key.private").string(), strPublicFile = (dir / "key.public").string();
    XfnGenerateRSAKeyFile(1024, strPrivateFile.c_str(), strPublicFile.c_str(), RandomSeed());
    XString strFromFile = XfnRSADecryptStringByKeyFile(
        strPrivateFile.c_str(), XfnRSAEncryptStringByKeyFile(strPublicFile.c_str(), "band 4 gain 0.0125"));
    Check(strFromFile == "band 4 gain 0.0125", "a round trip through key files");

    // The functions report faults as exceptions of the cryptography library.
    bool bWrongKeyFails = false;
    try {
        XfnRSADecryptStringByKeyFile(strPrivateFile.c_str(), strCipher); // encrypted for the other key
    } catch (const std::exception& e) {
        bWrongKeyFails = true;
        std::printf("  the other private key: %s\n", e.what());
    }
    Check(bWrongKeyFails, "the wrong private key throws");
    bool bDamagedFails = false;
    try {
        XString strDamaged = strCipher;
        strDamaged.SetAt(10, strDamaged[10] == 'A' ? 'B' : 'A');
        XfnRSADecryptStringByKey(strPrivate, strDamaged);
    } catch (const std::exception& e) {
        bDamagedFails = true;
        std::printf("  one digit changed: %s\n", e.what());
    }
    Check(bDamagedFails, "a damaged cipher text throws");

    std::error_code ec;
    fs::remove_all(dir, ec);
    std::printf("%s\n", g_nFailures == 0 ? "All checks passed" : "Some checks FAILED");
    return g_nFailures == 0 ? 0 : 1;
}
