// The built program: its command line, a user added by "xrfpd adduser" and
// served with a key file made on first start, a clean stop on SIGTERM, and
// the throwaway mode that leaves nothing behind.
#include "XRFPTestClient.h"

#include "XRFPKeys.h"

#include <unistd.h>

using namespace xrftest;

TEST(XRFPProgram, CommandLineUsersKeyAndThrowaway)
{
    fs::path dir = ScratchDir("cli");
    const std::string strUsers = (dir / "users").string(), strKey = (dir / "xrfpd.key").string();
    fs::create_directories(dir / "carol");
    // The exit status and what the program printed, for the input given.
    auto run = [&](const std::string& strArgs, const char* pszInput, std::string& strOutput) {
        int nStatus = std::system(("printf '" + std::string(pszInput) + "' | '" XRFPD_PROGRAM "' " + strArgs + " >'" +
                                   (dir / "out").string() + "' 2>&1").c_str());
        strOutput = ReadBytes(dir / "out");
        return nStatus;
    };
    std::string strOutput, strCarol = " --users '" + strUsers + "' carol '" + (dir / "carol").string() + "'";
    EXPECT_EQ(run("--version", "", strOutput), 0);
    EXPECT_EQ(strOutput.rfind("xrfpd ", 0), 0u) << strOutput;
    EXPECT_EQ(run("adduser" + strCarol, "Sup3rSecret\\n", strOutput), 0) << strOutput;
    EXPECT_NE(run("adduser" + strCarol, "not:carried\\n", strOutput), 0);
    EXPECT_NE(strOutput.find("letters and digits"), std::string::npos) << strOutput;
    if (geteuid() == 0) {
        EXPECT_NE(run("--throwaway", "", strOutput), 0);
        EXPECT_NE(strOutput.find("refusing to run as root"), std::string::npos) << strOutput;
    }

    {
        ProgramRun server("", "--users '" + strUsers + "' --key-file '" + strKey + "'");
        PoolScope pool;
        RemoteOps client(LocalParam(server.Port(), "carol", "Sup3rSecret"));
        EXPECT_EQ(client.Write(client.Create("docs\\..\\hello.txt", kCreateNew, kWrite), 0, "hello"), 0u)
            << server.Log();
        EXPECT_EQ(server.Stop(), 0);
    }
    EXPECT_EQ(ReadBytes(dir / "carol" / "hello.txt"), "hello");
    std::string strPrivate, strPublic, strError;
    bool bCreated = true;
    EXPECT_TRUE(XfnRFPLoadOrCreateKey(strKey, 1024, strPrivate, strPublic, bCreated, strError)) << strError;
    EXPECT_FALSE(bCreated) << "the first start made the key file";

    // Nothing configured: a throwaway root, key and user, gone at exit.
    ProgramRun throwaway("", "--throwaway");
    RawClient client;
    ASSERT_TRUE(client.Connect(throwaway.Port())) << throwaway.Log();
    EXPECT_EQ(client.Login("demo", "demo"), 0u);
    EXPECT_EQ(throwaway.Stop(), 0);
    std::string strLog = throwaway.Log();
    size_t nAt = strLog.find("throwaway root ");
    ASSERT_NE(nAt, std::string::npos) << strLog;
    nAt += std::strlen("throwaway root ");
    EXPECT_FALSE(fs::exists(strLog.substr(nAt, strLog.find('\n', nAt) - nAt)));
    fs::remove_all(dir);
}
