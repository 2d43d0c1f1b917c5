#include "XRFPKeys.h"
#include "XRFPSettings.h"
#include "XRFPUsers.h"

#include "remote/XRFTestServer.h"

#include <algorithm>
#include <sstream>

using namespace xrftest;

namespace {

class XRFPSettingsFiles : public ::testing::Test {
protected:
    ~XRFPSettingsFiles() override { fs::remove_all(dir); }
    std::string Path(const std::string& strName) const { return (dir / strName).string(); }
    std::string Text(const std::string& strName) const { return ReadBytes(dir / strName); }
    fs::path dir = ScratchDir("settings");
};

} // namespace

TEST_F(XRFPSettingsFiles, FlagsOverrideTheConfigFile)
{
    std::ofstream(dir / "xrfpd.conf") << "# settings\nport = 6000\nmax-connections=3\nverbose\nlisten = 0.0.0.0\n";
    tagXRFPSettings settings;
    std::string strError;
    ASSERT_TRUE(XfnRFPParseArguments({"--port", "7000", "--config", Path("xrfpd.conf"), "--idle-timeout=9",
                                      "--user", "a:/tmp", "--user", "c", "--allow-root"},
                                     settings, strError))
        << strError;
    // Passwords come from standard input (or the password file), a line each.
    std::istringstream shortInput("b\n");
    tagXRFPSettings copy = settings;
    EXPECT_FALSE(XfnRFPTakePasswords(copy, shortInput, strError));
    EXPECT_NE(strError.find("no password for --user c"), std::string::npos) << strError;
    std::istringstream input("b\r\nd\n");
    ASSERT_TRUE(XfnRFPTakePasswords(settings, input, strError)) << strError;
    EXPECT_EQ(settings.nPort, 7000);
    EXPECT_EQ(settings.nMaxConnections, 3);
    EXPECT_EQ(settings.nIdleSeconds, 9);
    EXPECT_TRUE(settings.bVerbose);
    EXPECT_EQ(settings.vecUsers, (std::vector<std::string>{"a:b:/tmp", "c:d"}));

    EXPECT_FALSE(XfnRFPParseArguments({"--port", "70000"}, settings, strError));
    EXPECT_FALSE(XfnRFPParseArguments({"--key-bits", "4096"}, settings, strError)) << "too long for the greeting";
    EXPECT_FALSE(XfnRFPParseArguments({"--no-such-flag"}, settings, strError));
    EXPECT_EQ(strError, "unknown setting no-such-flag");
    std::ofstream(dir / "bad.conf") << "port = 1\nmax-read = lots\n";
    EXPECT_FALSE(XfnRFPParseArguments({"--config", Path("bad.conf")}, settings, strError));
    EXPECT_NE(strError.find("bad.conf:2"), std::string::npos) << strError;
}

TEST_F(XRFPSettingsFiles, UsersFileHoldsSaltedHashesOnly)
{
    fs::create_directories(dir / "root");
    std::string strError;
    ASSERT_TRUE(XfnRFPAddUserToFile(Path("users"), "alice", "passw0rd", Path("root"), strError)) << strError;
    ASSERT_TRUE(XfnRFPAddUserToFile(Path("users"), "bob", "other", Path("missing"), strError)) << strError;
    std::string strFirst = Text("users");
    EXPECT_EQ(strFirst.find("passw0rd"), std::string::npos);
    EXPECT_NE(strFirst.find("alice\tpbkdf2-sha256$"), std::string::npos);
    EXPECT_EQ(fs::status(dir / "users").permissions() & (fs::perms::group_all | fs::perms::others_all),
              fs::perms::none);

    // Adding a user again replaces its line, with a fresh salt.
    ASSERT_TRUE(XfnRFPAddUserToFile(Path("users"), "alice", "new", Path("root"), strError));
    std::string strSecond = Text("users");
    EXPECT_EQ(std::count(strSecond.begin(), strSecond.end(), '\n'), 2);

    XRFPUserTable users;
    ASSERT_TRUE(users.Load(Path("users"), strError)) << strError;
    const tagXRFPUser* pAlice = users.Find("alice");
    ASSERT_NE(pAlice, nullptr);
    EXPECT_TRUE(XfnRFPVerifyPassword("new", pAlice->strHash));
    EXPECT_FALSE(XfnRFPVerifyPassword("passw0rd", pAlice->strHash));
    EXPECT_EQ(pAlice->strRoot, fs::canonical(dir / "root").string());
    ASSERT_NE(users.Find("bob"), nullptr);
    EXPECT_TRUE(users.Find("bob")->strRoot.empty()) << "a missing root keeps the user out";

    // Names and passwords that a client's remote path cannot carry.
    for (auto [pszName, pszPassword] : {std::pair{"bad name", "x"}, {"carol", ""}, {"carol", "a:b"}}) {
        EXPECT_FALSE(XfnRFPAddUserToFile(Path("users"), pszName, pszPassword, Path("root"), strError)) << pszPassword;
        EXPECT_NE(strError.find("letters and digits"), std::string::npos);
    }
    std::ofstream(dir / "broken") << "alice only two\tfields\n";
    fs::permissions(dir / "broken", fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_FALSE(users.Load(Path("broken"), strError));
    EXPECT_FALSE(users.Load(Path("absent"), strError));
}

TEST(XRFPUsers, HashesAreSaltedAndChecked)
{
    std::string strHash = XfnRFPHashPassword("secret");
    EXPECT_NE(strHash, XfnRFPHashPassword("secret"));
    EXPECT_FALSE(XfnRFPVerifyPassword("secret", "pbkdf2-sha256$0$00$00"));
    std::string strTampered = strHash;
    strTampered.back() = strTampered.back() == '0' ? '1' : '0';
    EXPECT_FALSE(XfnRFPVerifyPassword("secret", strTampered));

    // A pool's reconnects skip the slow hash, for the very password only.
    XRFPVerifiedLogins verified;
    tagXRFPUser user{"alice", strHash, "/"};
    EXPECT_FALSE(verified.Known(user, "secret"));
    verified.Remember(user, "secret");
    EXPECT_TRUE(verified.Known(user, "secret"));
    EXPECT_FALSE(verified.Known(user, "Secret"));
    EXPECT_FALSE(verified.Known(tagXRFPUser{"alice", strTampered, "/"}, "secret")) << "a new hash forgets";
}

// The key is made once and kept. Secrets are read only from the owner's own
// regular files, never through a link; one open to others is refused at load.
TEST_F(XRFPSettingsFiles, KeyFileIsMadeOnceAndSecretFilesMustBePrivate)
{
    std::string strPrivate, strPublic, strPrivate2, strPublic2, strError;
    bool bCreated = false;
    ASSERT_TRUE(XfnRFPLoadOrCreateKey(Path("key"), 1024, strPrivate, strPublic, bCreated, strError)) << strError;
    EXPECT_TRUE(bCreated);
    EXPECT_EQ(fs::status(dir / "key").permissions() & (fs::perms::group_all | fs::perms::others_all), fs::perms::none);
    ASSERT_TRUE(XfnRFPLoadOrCreateKey(Path("key"), 1024, strPrivate2, strPublic2, bCreated, strError));
    EXPECT_FALSE(bCreated);
    EXPECT_EQ(strPrivate2 + strPublic2, strPrivate + strPublic);
    std::ofstream(dir / "junk") << "not a key";
    fs::permissions(dir / "junk", fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_FALSE(XfnRFPLoadOrCreateKey(Path("junk"), 1024, strPrivate2, strPublic2, bCreated, strError));
    EXPECT_NE(strError.find("holds no private key"), std::string::npos);
    EXPECT_FALSE(XfnRFPLoadOrCreateKey(Path("nodir/k"), 1024, strPrivate2, strPublic2, bCreated, strError));

    fs::create_directories(dir / "root");
    ASSERT_TRUE(XfnRFPAddUserToFile(Path("users"), "alice", "pw", Path("root"), strError)) << strError;
    for (const char* pszFile : {"key", "users"}) {
        fs::create_symlink(dir / pszFile, dir / (std::string(pszFile) + ".link"));
        fs::copy_file(dir / pszFile, dir / (std::string(pszFile) + ".open"));
    }
    fs::permissions(dir / "key.open", static_cast<fs::perms>(0640));
    fs::permissions(dir / "users.open", static_cast<fs::perms>(0604));
    XRFPUserTable users;
    for (const char* pszKey : {"key.link", "key.open"})
        EXPECT_FALSE(XfnRFPLoadOrCreateKey(Path(pszKey), 1024, strPrivate, strPublic, bCreated, strError)) << pszKey;
    EXPECT_NE(strError.find("chmod 600"), std::string::npos) << strError;
    for (const char* pszUsers : {"users.link", "users.open"})
        EXPECT_FALSE(users.Load(Path(pszUsers), strError)) << pszUsers;
    EXPECT_FALSE(XfnRFPAddUserToFile(Path("users.link"), "bob", "pw", Path("root"), strError));
    EXPECT_NE(strError.find("symbolic link"), std::string::npos) << strError;
}
