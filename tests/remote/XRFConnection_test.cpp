// Connections and the pool against the project's server and against fake
// servers that greet or answer the way the real one never does.

#include <gtest/gtest.h>

#include "KVDbase/remote/XRFConnectionPool.h"
#include "remote/XRFTestServer.h"

#include <chrono>

using namespace xrftest;

namespace {

const std::vector<BYTE> kRootListRequest = {20, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

// The root list exchanged on a connection, its entries read too: the
// reply's first byte, or the error.
DWORD RootListCode(XRFConnection& connection)
{
    BYTE abReply[16] = {0};
    DWORD nError = connection.Send(kRootListRequest.data(), 16, 5);
    if (nError == 0)
        nError = connection.Recv(abReply, sizeof abReply);
    std::vector<BYTE> vecEntries(abReply[8] * XRF_ROOT_ENTRY_SIZE);
    if (nError == 0)
        nError = connection.Recv(vecEntries.data(), static_cast<DWORD>(vecEntries.size()));
    return nError ? nError : abReply[0];
}

TEST(XRFConnection, LogsInExchangesAndReportsClosedAndRefusedConnections)
{
    TestServer server;
    XRFConnection connection;
    ASSERT_EQ(connection.OpenConnection(server.Param(), nullptr, 0), 0u);
    EXPECT_EQ(std::string(connection.GetPublicKey()), server.Server().PublicKey());
    EXPECT_EQ(RootListCode(connection), 43u);

    // A copy, made or assigned, speaks on the same login, and closing one
    // ends the connection for the others too.
    XRFConnection copy(connection), assigned;
    assigned = copy;
    EXPECT_EQ(RootListCode(copy), 43u);
    EXPECT_EQ(RootListCode(assigned), 43u);
    copy.CloseConnection();
    RootListCode(connection);
    EXPECT_EQ(connection.IsConnected(), 0);

    BYTE abReply[4];
    EXPECT_EQ(copy.IsConnected(), 0);
    EXPECT_EQ(copy.Recv(abReply, 4), 10057u);
    EXPECT_EQ(copy.Send(abReply, 4, 4), 10057u);

    // A refused login closes the connection; so do a stopped server (connection
    // refused) and a host name, which is not resolved.
    EXPECT_EQ(connection.OpenConnection(server.Param("carol", "secret1"), nullptr, 0), 0x20010010u);
    EXPECT_EQ(connection.IsConnected(), 0);
    server.Stop();
    EXPECT_EQ(connection.OpenConnection(server.Param(), nullptr, 0), 10061u);
    XRFConnectionOpenParam param = server.Param();
    param.strHost = "localhost";
    EXPECT_EQ(connection.OpenConnection(param, nullptr, 0), 10049u);
    EXPECT_EQ(connection.IsConnected(), 0);
}

// Greetings of fake servers: another version is refused with its bytes in
// the caller's buffer (cut to its size), and an empty key is refused.
TEST(XRFConnection, GreetingsOfFakeServers)
{
    const struct {
        const char* pszName;
        const char* pszVersion;
        std::string strKey;
        int nInfo;
        DWORD nError;
        const char* pszInfo;
    } cases[] = {
        {"another version", "1.01", FakeServer::PublicKey(), 64, 0x20010026u, "31|2e|30|31|"},
        {"info cut to its buffer", "1.01", FakeServer::PublicKey(), 6, 0x20010026u, "31|2e"},
        {"empty key", "1.00", "", 0, 0x20010016u, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.pszName);
        FakeServer fake([&](XSysSocket s) { FakeServer::Greet(s, c.pszVersion, c.strKey, c.nError == 0); });
        XRFConnection connection;
        char szInfo[64] = {0};
        EXPECT_EQ(connection.OpenConnection(fake.Param(), szInfo, c.nInfo), c.nError);
        EXPECT_STREQ(szInfo, c.pszInfo);
        EXPECT_EQ(connection.IsConnected(), c.strKey.empty()) << "an empty key leaves it open";
    }
}

// A server that never answers: the timeout ends the wait. (A peer that closes
// half way is the cut-reply table's matter.)
TEST(XRFConnection, SilentPeers)
{
    BYTE abReply[16];
    // Reads the request, and then waits for a byte that never comes.
    FakeServer silent([](XSysSocket s) {
        FakeServer::Greet(s, "1.00", FakeServer::PublicKey(), true);
        std::vector<BYTE> vecRequest;
        RecvAll(s, 17, vecRequest);
    });
    XRFConnectionOpenParam param = silent.Param();
    param.nTimeout = 200;
    XRFConnection waiting;
    ASSERT_EQ(waiting.OpenConnection(param, nullptr, 0), 0u);
    ASSERT_EQ(waiting.Send(kRootListRequest.data(), 16, 131072), 0u);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(waiting.Recv(abReply, sizeof abReply), 10060u);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
    EXPECT_EQ(waiting.IsConnected(), 0);
}

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
    pool.ReleaseConnection(key, pAgain);

    // Another password, same user, host and port: the idle login is reused.
    XString otherKey;
    XRFConnection* pReused = nullptr;
    XRFConnectionOpenParam other = server.Param("alice", "wrong");
    ASSERT_EQ(pool.FetchConnection(other, otherKey, pReused), 0u);
    EXPECT_EQ(pReused, pSecond);
    pool.ReleaseConnection(otherKey, pReused);

    // A key that is set is used without a look at the parameters.
    XString fixed = "any text";
    XRFConnection* pFixed = nullptr;
    ASSERT_EQ(pool.FetchConnection(param, fixed, pFixed), 0u);
    EXPECT_NE(pFixed, pFirst);
    EXPECT_EQ(pool.GetConnectionCount("any text"), 1);
    pool.ReleaseConnection(fixed, pFixed);
    EXPECT_EQ(pool.GetGroupCount(), 2);
    pool.ReleaseAllConnections();
    EXPECT_EQ(pool.GetGroupCount(), 0);
}

} // namespace
