// General data blocks: the project's server echoes every block; a fake
// server sends blocks of its own, and a head that is not one.

#include <gtest/gtest.h>

#include "KVDbase/remote/XRFConnectionPool.h"
#include "KVDbase/remote/XRFDataBlock.h"
#include "KVDbase/remote/XRFFile.h"
#include "remote/XRFTestServer.h"

using namespace xrftest;

namespace {

struct tagReceived {
    std::vector<std::vector<BYTE>> vecBlocks;
    XRFDATAHANDLE hHandle = 0;
};

void Collect(XRFDATAHANDLE hHandle, void* pBlock, DWORD nSize, uintptr_t nUser1, uintptr_t nUser2)
{
    tagReceived* pReceived = reinterpret_cast<tagReceived*>(nUser1);
    const BYTE* p = static_cast<const BYTE*>(pBlock);
    pReceived->vecBlocks.emplace_back(p, p + nSize);
    pReceived->hHandle = hHandle;
    EXPECT_EQ(nUser2, 42u);
}

DWORD Receive(XRFDATAHANDLE hHandle, tagReceived& received, DWORD& error)
{
    DWORD nSize = 99;
    return XRFBeginRecvGeneralDataBlock(hHandle, nSize, error, Collect, reinterpret_cast<uintptr_t>(&received), 42)
               ? nSize
               : ~nSize;
}

TEST(XRFDataBlock, TheServerEchoesBlocksAndTheConnectionGoesBackReady)
{
    TestServer server;
    PoolScope pool;
    XRFConnectionOpenParam param = server.Param();
    XString key;
    DWORD error = 1;
    XRFDATAHANDLE hHandle = OpenGeneralDataBlockHandle(param, error, key);
    ASSERT_NE(hHandle, 0u);
    EXPECT_EQ(error, 0u);

    tagReceived received;
    std::vector<std::vector<BYTE>> vecSent = {{}, {1, 2, 3, 4, 5}, std::vector<BYTE>(300000)};
    for (size_t i = 0; i < vecSent.back().size(); ++i)
        vecSent.back()[i] = static_cast<BYTE>(i * 31);
    for (const std::vector<BYTE>& vecBlock : vecSent) {
        ASSERT_EQ(XRFSendGeneralDataBlock(hHandle, vecBlock.data(), static_cast<DWORD>(vecBlock.size()), error), 1);
        EXPECT_EQ(Receive(hHandle, received, error), vecBlock.size());
    }
    EXPECT_EQ(received.vecBlocks, vecSent);
    EXPECT_EQ(received.hHandle, hHandle);

    // Back in the pool, the same connection serves the next file call.
    CloseGeneralDataBlockHandle(hHandle, key);
    int nIdle = 0;
    EXPECT_EQ(XFile::GetRFConnectionPool()->GetConnectionCount(key, &nIdle), 1);
    EXPECT_EQ(nIdle, 1);
    XStringList roots;
    EXPECT_EQ(XRFGetRootDirList(param, roots, error, key), 1);
    EXPECT_EQ(XFile::GetRFConnectionPool()->GetConnectionCount(key), 1);
}

// The client's block, then two of the server's own (an empty one and one of
// 3 bytes), then a head with the wrong length word.
TEST(XRFDataBlock, BlocksFromTheServerAndHeadsThatAreNone)
{
    PoolScope pool;
    std::vector<BYTE> vecOut, vecFromClient;
    XfnRFBuildDataBlockHead(vecOut, tagXRFDataBlockHead{0});
    XfnRFBuildDataBlockHead(vecOut, tagXRFDataBlockHead{3});
    vecOut.insert(vecOut.end(), {7, 8, 9, 22, 0, 0, 0, 16, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0});
    FakeServer fake([&](XSysSocket s) {
        FakeServer::Greet(s, "1.00", FakeServer::PublicKey(), true);
        std::vector<BYTE> vecHead;
        if (RecvAll(s, 16, vecHead) && RecvAll(s, vecHead[8], vecFromClient) && SendAll(s, vecOut))
            RecvAll(s, 1, vecHead);  // until the client has gone
    });
    XRFConnectionOpenParam param = fake.Param();
    XString key;
    DWORD error = 1;
    XRFDATAHANDLE hHandle = OpenGeneralDataBlockHandle(param, error, key);
    ASSERT_NE(hHandle, 0u);
    const BYTE abBlock[] = {10, 20, 30, 40};
    ASSERT_EQ(XRFSendGeneralDataBlock(hHandle, abBlock, sizeof abBlock, error), 1);

    tagReceived received;
    EXPECT_EQ(Receive(hHandle, received, error), 0u);
    EXPECT_EQ(Receive(hHandle, received, error), 3u);
    EXPECT_EQ(received.vecBlocks, (std::vector<std::vector<BYTE>>{{}, {7, 8, 9}}));
    EXPECT_EQ(Receive(hHandle, received, error), ~0u) << "a failure with the size 0";
    EXPECT_EQ(error, 0x20010022u);
    EXPECT_EQ(received.vecBlocks.size(), 2u);
    CloseGeneralDataBlockHandle(hHandle, key);
    XFile::GetRFConnectionPool()->ReleaseAllConnections();
    EXPECT_EQ(vecFromClient, std::vector<BYTE>(abBlock, abBlock + 4));
}

} // namespace
