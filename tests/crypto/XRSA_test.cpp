#include "KVDbase/crypto/XRSA.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>

namespace fs = std::filesystem;

namespace {

// One 1024-bit key pair, quick to make, for the tests that need no particular size.
const std::pair<XString, XString>& SharedKeys()
{
    static const std::pair<XString, XString> keys = [] {
        std::pair<XString, XString> k;
        XfnGenerateRSAKey(1024, k.first, k.second, "a seed for the shared test key");
        return k;
    }();
    return keys;
}

bool IsUpperHex(const XString& str)
{
    std::string s(str);
    return !s.empty() && s.size() % 2 == 0 && s.find_first_not_of("0123456789ABCDEF") == std::string::npos;
}

std::string ReadFile(const fs::path& path)
{
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

// Runs the independent peer (Python's cryptography package) on files of a scratch directory.
class RSAPeer : public ::testing::Test {
protected:
    void SetUp() override { fs::create_directories(dir); }
    void TearDown() override { fs::remove_all(dir); }

    // A text in a file of the scratch directory, as a quoted argument.
    std::string File(const char* pszName, const std::string& strText)
    {
        std::ofstream(dir / pszName, std::ios::binary) << strText;
        return "'" + (dir / pszName).string() + "'";
    }

    // The output of an operation; Debian's interpreter is where the distribution's package is.
    std::string Run(const std::string& strOp, const std::string& strArgs)
    {
        std::string strCommand = (fs::exists("/usr/bin/python3") ? "/usr/bin/python3 '" : "python3 '") +
                                 (fs::path(__FILE__).parent_path() / "rsa_peer.py").string() + "' " + strOp + " '" +
                                 (dir / "out").string() + "' " + strArgs;
        if (std::system(strCommand.c_str()) != 0)
            throw std::runtime_error("peer failed: " + strCommand);
        return ReadFile(dir / "out");
    }

    fs::path dir = fs::temp_directory_path() / ("kvd_rsa_" + std::to_string(std::random_device()()));
};

} // namespace

TEST(XRSA, KeyTextsAreUppercaseHexadecimalDer)
{
    const auto& keys = SharedKeys();
    // Both are DER sequences that name the rsaEncryption algorithm: the PKCS #8 and X.509 key forms, not bare RSA keys.
    for (const XString& strKey : {keys.first, keys.second}) {
        EXPECT_TRUE(IsUpperHex(strKey));
        EXPECT_GE(strKey.Find("06092A864886F70D010101"), 0);
    }
    XString strPrivate2, strPublic2;
    XfnGenerateRSAKey(1024, strPrivate2, strPublic2, "a seed for the shared test key");
    EXPECT_NE(strPublic2, keys.second) << "the generator adds its own time to the seed";
}

TEST(XRSA, CipherTextsAreRandomisedAndDecrypt)
{
    const auto& keys = SharedKeys();
    XString strFirst = XfnRSAEncryptStringByKey(keys.second, "password1");
    XString strSecond = XfnRSAEncryptStringByKey(keys.second, "password1");
    EXPECT_EQ(strFirst.GetLength(), 256);
    EXPECT_TRUE(IsUpperHex(strFirst));
    EXPECT_NE(strFirst, strSecond);
    EXPECT_EQ(XfnRSADecryptStringByKey(keys.first, strFirst), XString("password1"));
    // Lower-case key and cipher texts decode as well.
    XString strLowerPublic = keys.second, strLowerPrivate = keys.first, strLowerCipher = strFirst;
    for (XString* p : {&strLowerPublic, &strLowerPrivate, &strLowerCipher})
        p->MakeLower();
    EXPECT_EQ(XfnRSADecryptStringByKey(strLowerPrivate, strLowerCipher), XString("password1"));
    EXPECT_EQ(XfnRSADecryptStringByKey(keys.first, XfnRSAEncryptStringByKey(strLowerPublic, "x")), XString("x"));
    // The whole length is encrypted; the decrypted text ends at its first NUL.
    EXPECT_EQ(XfnRSADecryptStringByKey(keys.first, XfnRSAEncryptStringByKey(keys.second, XString("ab\0cd", 5))),
              XString("ab"));
    EXPECT_EQ(XfnRSADecryptStringByKey(keys.first, XfnRSAEncryptStringByKey(keys.second, "")), XString(""));
}

TEST(XRSA, FailuresRaiseCryptoExceptions)
{
    const auto& keys = SharedKeys();
    EXPECT_THROW(XfnRSAEncryptStringByKey("3082ABCD", "text"), std::exception);
    EXPECT_THROW(XfnRSAEncryptStringByKey(keys.first, "text"), std::exception) << "a private key is no public key";
    // OAEP over SHA-1 takes at most 128 - 42 = 86 bytes with a 1024-bit key.
    EXPECT_NO_THROW(XfnRSAEncryptStringByKey(keys.second, XString('x', 86)));
    EXPECT_THROW(XfnRSAEncryptStringByKey(keys.second, XString('x', 87)), std::exception);
    XString strCipher = XfnRSAEncryptStringByKey(keys.second, "text");
    EXPECT_THROW(XfnRSADecryptStringByKey(keys.first, strCipher.Left(254)), std::exception);
    strCipher.SetAt(10, strCipher[10] == '0' ? '1' : '0');
    EXPECT_THROW(XfnRSADecryptStringByKey(keys.first, strCipher), std::exception);
    EXPECT_THROW(XfnRSAEncryptStringByKeyFile("/nonexistent/kvd.pub", "text"), std::exception);
    // The crypto method is stored as given.
    const CRYPTO_METHOD_T old = XfnGetCryptoMethod();
    XfnSetCryptoMethod(static_cast<CRYPTO_METHOD_T>(3));
    EXPECT_EQ(XfnGetCryptoMethod(), static_cast<CRYPTO_METHOD_T>(3));
    XfnSetCryptoMethod(old);
}

// Key files hold the key texts, and our keys and cipher texts work in the peer and back.
TEST_F(RSAPeer, KeyFilesAndCipherTextsWorkBothWays)
{
    fs::path priv = dir / "key.priv", pub = dir / "key.pub";
    XfnGenerateRSAKeyFile(1024, priv.c_str(), pub.c_str(), "file seed");
    const std::string strPrivate = "'" + priv.string() + "'";
    EXPECT_EQ(Run("public", strPrivate), ReadFile(pub));
    XString strCipher = XfnRSAEncryptStringByKeyFile(pub.c_str(), "user name");
    EXPECT_EQ(Run("decrypt", strPrivate + " " + File("cipher", std::string(strCipher))), "user name");
    std::string strPeerCipher = Run("encrypt", "'" + pub.string() + "' " + File("text", "from the peer"));
    EXPECT_EQ(strPeerCipher.size(), 256u);
    EXPECT_EQ(XfnRSADecryptStringByKeyFile(priv.c_str(), strPeerCipher.c_str()), XString("from the peer"));
}
