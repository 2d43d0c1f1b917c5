#include "KVDbase/crypto/XRSA.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace fs = std::filesystem;

namespace {

// One key pair for the tests that need no particular size; 1024 bits keeps
// generation quick.
struct KeyPair {
    XString strPrivate;
    XString strPublic;
};

const KeyPair& SharedKeys()
{
    static const KeyPair keys = [] {
        KeyPair k;
        XfnGenerateRSAKey(1024, k.strPrivate, k.strPublic, "a seed for the shared test key");
        return k;
    }();
    return keys;
}

bool IsUpperHex(const XString& str)
{
    for (int i = 0; i < str.GetLength(); ++i) {
        char ch = str[i];
        if (!((ch >= '0' && ch <= '9') || (ch >= 'A' && ch <= 'F')))
            return false;
    }
    return str.GetLength() > 0 && str.GetLength() % 2 == 0;
}

std::string ReadFile(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

void WriteFile(const fs::path& path, const std::string& strText)
{
    std::ofstream(path, std::ios::binary) << strText;
}

// Runs the independent peer (Python's cryptography package) in a scratch
// directory of its own.
class RSAPeer : public ::testing::Test {
protected:
    void SetUp() override
    {
        dir = fs::temp_directory_path() / ("kvd_rsa_" + std::to_string(std::rand()) + "_" +
                                           ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::create_directories(dir);
    }
    void TearDown() override { fs::remove_all(dir); }

    // Debian's interpreter, where the distribution's cryptography package is.
    static std::string Python() { return fs::exists("/usr/bin/python3") ? "/usr/bin/python3" : "python3"; }

    std::string Run(const std::string& strOp, const std::string& strArgs)
    {
        fs::path script = fs::path(__FILE__).parent_path() / "rsa_peer.py";
        fs::path out = dir / "out";
        fs::remove(out);
        std::string strCommand =
            Python() + " '" + script.string() + "' " + strOp + " '" + out.string() + "' " + strArgs;
        int nStatus = std::system(strCommand.c_str());
        if (nStatus != 0)
            throw std::runtime_error("peer failed: " + strCommand);
        return ReadFile(out);
    }

    std::string File(const std::string& strName, const std::string& strText)
    {
        fs::path path = dir / strName;
        WriteFile(path, strText);
        return "'" + path.string() + "'";
    }

    std::string PeerEncrypt(const XString& strPublic, const std::string& strText)
    {
        return Run("encrypt", File("pub", std::string(strPublic)) + " " + File("text", strText));
    }

    std::string PeerDecrypt(const XString& strPrivate, const XString& strCipher)
    {
        return Run("decrypt", File("priv", std::string(strPrivate)) + " " + File("cipher", std::string(strCipher)));
    }

    fs::path dir;
};

} // namespace

TEST(XRSA, KeyTextsAreUppercaseHexadecimalDer)
{
    const KeyPair& keys = SharedKeys();
    EXPECT_TRUE(IsUpperHex(keys.strPrivate));
    EXPECT_TRUE(IsUpperHex(keys.strPublic));
    // Both are DER sequences that name the rsaEncryption algorithm: the
    // PKCS #8 and X.509 key forms, not bare RSA keys.
    const char* pszRsaOid = "06092A864886F70D010101";
    EXPECT_EQ(keys.strPrivate.Left(2), XString("30"));
    EXPECT_EQ(keys.strPublic.Left(2), XString("30"));
    EXPECT_GE(keys.strPrivate.Find(pszRsaOid), 0);
    EXPECT_GE(keys.strPublic.Find(pszRsaOid), 0);
    EXPECT_GT(keys.strPrivate.GetLength(), keys.strPublic.GetLength());

    XString strPrivate2, strPublic2;
    XfnGenerateRSAKey(1024, strPrivate2, strPublic2, "a seed for the shared test key");
    EXPECT_NE(strPublic2, keys.strPublic) << "the generator adds its own time to the seed";
}

TEST(XRSA, CipherTextsAreRandomisedAndDecrypt)
{
    const KeyPair& keys = SharedKeys();
    XString strFirst = XfnRSAEncryptStringByKey(keys.strPublic, "password1");
    XString strSecond = XfnRSAEncryptStringByKey(keys.strPublic, "password1");
    EXPECT_EQ(strFirst.GetLength(), 256);
    EXPECT_TRUE(IsUpperHex(strFirst));
    EXPECT_NE(strFirst, strSecond);
    EXPECT_EQ(XfnRSADecryptStringByKey(keys.strPrivate, strFirst), XString("password1"));
    EXPECT_EQ(XfnRSADecryptStringByKey(keys.strPrivate, strSecond), XString("password1"));

    // Lower-case key and cipher texts decode as well.
    XString strLowerPublic = keys.strPublic, strLowerPrivate = keys.strPrivate, strLowerCipher = strFirst;
    strLowerPublic.MakeLower();
    strLowerPrivate.MakeLower();
    strLowerCipher.MakeLower();
    EXPECT_EQ(XfnRSADecryptStringByKey(strLowerPrivate, strLowerCipher), XString("password1"));
    EXPECT_EQ(XfnRSADecryptStringByKey(keys.strPrivate, XfnRSAEncryptStringByKey(strLowerPublic, "x")), XString("x"));

    // The whole length is encrypted; the decrypted text ends at its first NUL.
    XString strWithNul("ab\0cd", 5);
    EXPECT_EQ(XfnRSADecryptStringByKey(keys.strPrivate, XfnRSAEncryptStringByKey(keys.strPublic, strWithNul)),
              XString("ab"));
    EXPECT_EQ(XfnRSADecryptStringByKey(keys.strPrivate, XfnRSAEncryptStringByKey(keys.strPublic, "")), XString(""));
}

TEST(XRSA, FailuresRaiseCryptoExceptions)
{
    const KeyPair& keys = SharedKeys();
    EXPECT_THROW(XfnRSAEncryptStringByKey("3082ABCD", "text"), std::exception);
    EXPECT_THROW(XfnRSAEncryptStringByKey(keys.strPrivate, "text"), std::exception) << "a private key is no public key";
    // OAEP over SHA-1 takes at most 128 - 42 = 86 bytes with a 1024-bit key.
    EXPECT_NO_THROW(XfnRSAEncryptStringByKey(keys.strPublic, XString('x', 86)));
    EXPECT_THROW(XfnRSAEncryptStringByKey(keys.strPublic, XString('x', 87)), std::exception);
    XString strCipher = XfnRSAEncryptStringByKey(keys.strPublic, "text");
    EXPECT_THROW(XfnRSADecryptStringByKey(keys.strPrivate, strCipher.Left(254)), std::exception);
    XString strTampered = strCipher;
    strTampered.SetAt(10, strTampered[10] == '0' ? '1' : '0');
    EXPECT_THROW(XfnRSADecryptStringByKey(keys.strPrivate, strTampered), std::exception);
    EXPECT_THROW(XfnRSAEncryptStringByKeyFile("/nonexistent/kvd.pub", "text"), std::exception);
}

TEST(XRSA, CryptoMethodIsStoredAsGiven)
{
    CRYPTO_METHOD_T old = XfnGetCryptoMethod();
    XfnSetCryptoMethod(static_cast<CRYPTO_METHOD_T>(3));
    EXPECT_EQ(XfnGetCryptoMethod(), static_cast<CRYPTO_METHOD_T>(3));
    EXPECT_EQ(g_cryptoMethod, static_cast<CRYPTO_METHOD_T>(3));
    XfnSetCryptoMethod(old);
}

TEST_F(RSAPeer, KeyFilesHoldTheKeyTexts)
{
    fs::path priv = dir / "key.priv", pub = dir / "key.pub";
    XfnGenerateRSAKeyFile(1024, priv.c_str(), pub.c_str(), "file seed");
    XString strPrivate(ReadFile(priv).c_str()), strPublic(ReadFile(pub).c_str());
    EXPECT_TRUE(IsUpperHex(strPrivate));
    EXPECT_TRUE(IsUpperHex(strPublic));
    EXPECT_EQ(Run("public", "'" + priv.string() + "'"), std::string(strPublic));

    XString strCipher = XfnRSAEncryptStringByKeyFile(pub.c_str(), "by file");
    EXPECT_EQ(strCipher.GetLength(), 256);
    EXPECT_EQ(XfnRSADecryptStringByKeyFile(priv.c_str(), strCipher), XString("by file"));
    EXPECT_EQ(XfnRSADecryptStringByKey(strPrivate, XfnRSAEncryptStringByKey(strPublic, "mixed")), XString("mixed"));
}

TEST_F(RSAPeer, OurKeysAndCipherTextsWorkThere)
{
    const KeyPair& keys = SharedKeys();
    // The peer derives the same public key text from our private key text.
    EXPECT_EQ(Run("public", File("priv", std::string(keys.strPrivate))), std::string(keys.strPublic));
    XString strCipher = XfnRSAEncryptStringByKey(keys.strPublic, "user name");
    EXPECT_EQ(PeerDecrypt(keys.strPrivate, strCipher), "user name");
    std::string strPeerCipher = PeerEncrypt(keys.strPublic, "from the peer");
    EXPECT_EQ(strPeerCipher.size(), 256u);
    EXPECT_EQ(XfnRSADecryptStringByKey(keys.strPrivate, strPeerCipher.c_str()), XString("from the peer"));
}

TEST_F(RSAPeer, TheirKeysLoadHere)
{
    // A 3072-bit key is the largest whose public text fits the greeting's 1024
    // characters; its cipher texts fit the login's 4096-byte fields.
    std::string strPair = Run("generate", "3072");
    size_t nBreak = strPair.find('\n');
    ASSERT_NE(nBreak, std::string::npos);
    XString strPrivate(strPair.substr(0, nBreak).c_str()), strPublic(strPair.substr(nBreak + 1).c_str());
    EXPECT_TRUE(IsUpperHex(strPrivate));
    EXPECT_TRUE(IsUpperHex(strPublic));
    EXPECT_LE(strPublic.GetLength(), 1024);

    XString strCipher = XfnRSAEncryptStringByKey(strPublic, "secret");
    EXPECT_EQ(strCipher.GetLength(), 768);
    EXPECT_EQ(PeerDecrypt(strPrivate, strCipher), "secret");
    EXPECT_EQ(XfnRSADecryptStringByKey(strPrivate, PeerEncrypt(strPublic, "reply").c_str()), XString("reply"));
}
