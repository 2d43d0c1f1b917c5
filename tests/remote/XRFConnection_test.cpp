// Connections and the pool against the project's server and against fake
// servers that greet or answer the way the real one never does.

#include <gtest/gtest.h>

#include "KVDbase/core/XException.h"
#include "KVDbase/remote/XRFConnectionPool.h"
#include "remote/XRFTestServer.h"

#include <chrono>

#if XRF_TEST_WITH_SERVER

using namespace xrftest;

namespace {

std::vector<BYTE> RootListRequest()
{
    std::vector<BYTE> vecRequest;
    XfnRFBuildRootListRequest(vecRequest);
    return vecRequest;
}

TEST(XRFConnection, LogsInExchangesAndReportsAClosedConnection)
{
    TestServer server;
    XRFConnection connection;
    ASSERT_EQ(connection.OpenConnection(server.Param(), nullptr, 0), 0u);
    EXPECT_EQ(connection.IsConnected(), 1);
    EXPECT_EQ(std::string(connection.GetPublicKey()), server.Server().PublicKey());

    std::vector<BYTE> vecRequest = RootListRequest();
    ASSERT_EQ(connection.Send(vecRequest.data(), static_cast<DWORD>(vecRequest.size()), 5), 0u);
    BYTE abReply[16] = {0};
    ASSERT_EQ(connection.Recv(abReply, sizeof abReply), 0u);
    tagXRFReply reply{};
    XfnRFParseReply(abReply, sizeof abReply, XRF_CMD_GET_ROOT_DIR_LIST, reply);
    EXPECT_EQ(reply.nCode, 43u);
    EXPECT_EQ(reply.nError, 0u);

    connection.CloseConnection();
    EXPECT_EQ(connection.IsConnected(), 0);
    EXPECT_EQ(connection.Recv(abReply, 0), 0u);
    EXPECT_EQ(connection.Recv(abReply, 4), 10057u);
    EXPECT_EQ(connection.Send(abReply, 4, 4), 10057u);
    XString strModule, strGroup;
    EXPECT_NE(std::string(XfnGetErrorString(10057, strModule, strGroup)).find("not connected"), std::string::npos);
}

TEST(XRFConnection, RefusedLoginsCloseTheConnection)
{
    TestServer server;
    XRFConnection connection;
    EXPECT_EQ(connection.OpenConnection(server.Param("alice", "wrong"), nullptr, 0), 0x20010011u);
    EXPECT_EQ(connection.IsConnected(), 0);
    EXPECT_EQ(connection.OpenConnection(server.Param("carol", "secret1"), nullptr, 0), 0x20010010u);
    EXPECT_EQ(connection.IsConnected(), 0);
    XString strModule, strGroup;
    EXPECT_STREQ(XfnGetErrorString(0x20010011, strModule, strGroup), "Incorrect password");
}

TEST(XRFConnection, ConnectFailuresAreSocketNumbers)
{
    uint16_t nPort = 0;
    {
        // A port that was just free and is closed again.
        TestServer server;
        nPort = server.Port();
    }
    XRFConnectionOpenParam param;
    param.strHost = "127.0.0.1";
    param.nPort = nPort;
    XRFConnection connection;
    EXPECT_EQ(connection.OpenConnection(param, nullptr, 0), 10061u);
    XString strModule, strGroup;
    EXPECT_NE(std::string(XfnGetErrorString(10061, strModule, strGroup)).find("refused"), std::string::npos);
    EXPECT_STREQ(strGroup, "Win32");

    // Names are not resolved.
    param.strHost = "localhost";
    EXPECT_EQ(connection.OpenConnection(param, nullptr, 0), 10049u);
    EXPECT_EQ(connection.IsConnected(), 0);
}

TEST(XRFConnection, AnotherVersionIsRefusedWithItsBytes)
{
    FakeServer fake([](XSysSocket s) { FakeServer::Greet(s, "1.01", FakeServer::PublicKey()); });
    XRFConnectionOpenParam param;
    param.strHost = "127.0.0.1";
    param.nPort = fake.Port();
    XRFConnection connection;
    char szInfo[64] = {0};
    EXPECT_EQ(connection.OpenConnection(param, szInfo, sizeof szInfo), 0x20010026u);
    EXPECT_STREQ(szInfo, "31|2e|30|31|");
    EXPECT_EQ(connection.IsConnected(), 0);
}

TEST(XRFConnection, KeyLengthLimitIs1024)
{
    // A real key padded with NULs to exactly 1024 bytes logs in.
    std::string strPadded = FakeServer::PublicKey();
    strPadded.resize(1024, '\0');
    FakeServer good([&](XSysSocket s) { FakeServer::Greet(s, "1.00", strPadded, true, 0); });
    XRFConnectionOpenParam param;
    param.strHost = "127.0.0.1";
    param.nPort = good.Port();
    XRFConnection connection;
    EXPECT_EQ(connection.OpenConnection(param, nullptr, 0), 0u);
    EXPECT_EQ(std::string(connection.GetPublicKey()), FakeServer::PublicKey());

    strPadded.resize(1025, '\0');
    FakeServer bad([&](XSysSocket s) { FakeServer::Greet(s, "1.00", strPadded); });
    param.nPort = bad.Port();
    XRFConnection refused;
    EXPECT_EQ(refused.OpenConnection(param, nullptr, 0), 0x20010016u);
    EXPECT_EQ(refused.IsConnected(), 0);
}

TEST(XRFConnection, PeerClosingHalfWayAndSilentPeers)
{
    // Half a reply, then the end of the stream.
    FakeServer half([](XSysSocket s) {
        FakeServer::Greet(s, "1.00", FakeServer::PublicKey(), true, 0);
        std::vector<BYTE> vecRequest;
        FakeServer::RecvAll(s, 16, vecRequest);
        FakeServer::SendAll(s, {43, 0, 0, 0, 0, 0, 0, 0});
    });
    XRFConnectionOpenParam param;
    param.strHost = "127.0.0.1";
    param.nPort = half.Port();
    XRFConnection connection;
    ASSERT_EQ(connection.OpenConnection(param, nullptr, 0), 0u);
    std::vector<BYTE> vecRequest = RootListRequest();
    ASSERT_EQ(connection.Send(vecRequest.data(), static_cast<DWORD>(vecRequest.size()), 131072), 0u);
    BYTE abReply[16];
    std::memset(abReply, 0xEE, sizeof abReply);
    EXPECT_EQ(connection.Recv(abReply, sizeof abReply), 0u);
    EXPECT_EQ(connection.IsConnected(), 0);
    EXPECT_EQ(abReply[0], 43);
    EXPECT_EQ(abReply[8], 0xEE);

    // A server that never answers: the receive timeout ends the wait.
    FakeServer silent([](XSysSocket s) {
        FakeServer::Greet(s, "1.00", FakeServer::PublicKey(), true, 0);
        std::vector<BYTE> vecRequest;
        FakeServer::RecvAll(s, 16, vecRequest);
        FakeServer::RecvAll(s, 1, vecRequest);  // until the client gives up
    });
    param.nPort = silent.Port();
    param.nTimeout = 200;
    XRFConnection waiting;
    ASSERT_EQ(waiting.OpenConnection(param, nullptr, 0), 0u);
    ASSERT_EQ(waiting.Send(vecRequest.data(), static_cast<DWORD>(vecRequest.size()), 131072), 0u);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(waiting.Recv(abReply, sizeof abReply), 10060u);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    EXPECT_EQ(waiting.IsConnected(), 0);
}

TEST(XRFConnection, CopiesShareTheConnection)
{
    TestServer server;
    XRFConnection connection;
    ASSERT_EQ(connection.OpenConnection(server.Param(), nullptr, 0), 0u);
    XRFConnection copy(connection);
    EXPECT_EQ(copy.IsConnected(), 1);
    EXPECT_STREQ(copy.GetPublicKey(), connection.GetPublicKey());

    // The copy speaks on the same login...
    std::vector<BYTE> vecRequest = RootListRequest();
    BYTE abReply[16] = {0};
    ASSERT_EQ(copy.Send(vecRequest.data(), static_cast<DWORD>(vecRequest.size()), 131072), 0u);
    ASSERT_EQ(copy.Recv(abReply, sizeof abReply), 0u);
    EXPECT_EQ(abReply[0], 43);
    // ...and closing it ends the connection for the original too.
    copy.CloseConnection();
    DWORD nSend = connection.Send(vecRequest.data(), static_cast<DWORD>(vecRequest.size()), 131072);
    DWORD nRecv = connection.Recv(abReply, sizeof abReply);
    EXPECT_TRUE(nSend != 0 || nRecv == 0);
    EXPECT_EQ(connection.IsConnected(), 0);
}

// ---- Pool -------------------------------------------------------------------------

TEST(XRFConnectionPool, GroupsAreMadeByTheFirstGoodConnection)
{
    TestServer server;
    XRFConnectionPool pool;
    XRFConnectionOpenParam param = server.Param("alice", "wrong");
    XString key;
    XRFConnection* pConnection = reinterpret_cast<XRFConnection*>(1);
    EXPECT_EQ(pool.FetchConnection(param, key, pConnection), 0x20010011u);
    EXPECT_EQ(pConnection, nullptr);
    EXPECT_EQ(std::string(key), "alice@127.0.0.1:" + std::to_string(server.Port()));
    EXPECT_EQ(pool.GetGroupCount(), 0);

    // Two fetches without a release: two connections, both in the group.
    param.strPassword = "secret1";
    XRFConnection *pFirst = nullptr, *pSecond = nullptr;
    ASSERT_EQ(pool.FetchConnection(param, key, pFirst), 0u);
    ASSERT_EQ(pool.FetchConnection(param, key, pSecond), 0u);
    EXPECT_NE(pFirst, pSecond);
    int nIdle = -1;
    EXPECT_EQ(pool.GetConnectionCount(key, &nIdle), 2);
    EXPECT_EQ(nIdle, 0);

    // Given back, the last one released is the first lent again.
    pool.ReleaseConnection(key, pFirst);
    pool.ReleaseConnection(key, pSecond);
    EXPECT_EQ(pool.GetConnectionCount(key, &nIdle), 2);
    EXPECT_EQ(nIdle, 2);
    XRFConnection* pAgain = nullptr;
    ASSERT_EQ(pool.FetchConnection(param, key, pAgain), 0u);
    EXPECT_EQ(pAgain, pSecond);

    // A closed connection is deleted at release; the group stays.
    pAgain->CloseConnection();
    pool.ReleaseConnection(key, pAgain);
    EXPECT_EQ(pool.GetConnectionCount(key, &nIdle), 1);
    EXPECT_EQ(nIdle, 1);

    pool.ReleaseAllConnections();
    EXPECT_EQ(pool.GetGroupCount(), 0);
}

TEST(XRFConnectionPool, TheKeyIgnoresThePasswordAndATextKeyIsTakenAsItIs)
{
    TestServer server;
    XRFConnectionPool pool;
    XRFConnectionOpenParam param = server.Param();
    XString key;
    XRFConnection* pConnection = nullptr;
    ASSERT_EQ(pool.FetchConnection(param, key, pConnection), 0u);
    pool.ReleaseConnection(key, pConnection);

    // Another password, same user, host and port: the idle login is reused.
    XRFConnectionOpenParam other = server.Param("alice", "wrong");
    XString otherKey;
    XRFConnection* pReused = nullptr;
    ASSERT_EQ(pool.FetchConnection(other, otherKey, pReused), 0u);
    EXPECT_EQ(pReused, pConnection);
    EXPECT_EQ(pool.GetConnectionCount(otherKey), 1);
    pool.ReleaseConnection(otherKey, pReused);

    // A key that is set is used without a look at the parameters.
    XString fixed = "any text";
    XRFConnection* pFixed = nullptr;
    ASSERT_EQ(pool.FetchConnection(param, fixed, pFixed), 0u);
    EXPECT_NE(pFixed, pConnection);
    EXPECT_EQ(pool.GetConnectionCount("any text"), 1);
    pool.ReleaseConnection(fixed, pFixed);
    EXPECT_EQ(pool.GetGroupCount(), 2);

    // Keys have no length limit.
    XRFConnectionOpenParam longer;
    longer.strUser = "u123456789012345678901234567890";
    longer.strHost = "255.255.255.255";
    longer.nPort = 65535;
    EXPECT_EQ(std::string(XRFConnectionPool::MakeConnectionKey(longer)),
              "u123456789012345678901234567890@255.255.255.255:65535");
}

} // namespace

#endif // XRF_TEST_WITH_SERVER
