// The platform pieces the workers stand on: events and the message queue.
#include "KVDbase/platform/XMessageQueue.h"

#include "platform/XSysEvent.h"
#include "platform/XSysThread.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(XSysEvent, AutoResetReleasesOneWaitPerSetManualResetStays)
{
    HANDLE hEvent = XfnSysCreateEvent(false, false);
    ASSERT_NE(hEvent, nullptr);
    EXPECT_EQ(XfnSysWaitForEvent(hEvent, 0), XSYS_WAIT_TIMEOUT);
    XfnSysSetEvent(hEvent);
    XfnSysSetEvent(hEvent); // a set event stays set once, it does not count
    EXPECT_EQ(XfnSysWaitForEvent(hEvent, 0), XSYS_WAIT_OBJECT_0);
    EXPECT_EQ(XfnSysWaitForEvent(hEvent, 10), XSYS_WAIT_TIMEOUT);
    XfnSysCloseEvent(hEvent);

    HANDLE hManual = XfnSysCreateEvent(true, true);
    EXPECT_EQ(XfnSysWaitForEvent(hManual, 0), XSYS_WAIT_OBJECT_0);
    EXPECT_EQ(XfnSysWaitForEvent(hManual, 0), XSYS_WAIT_OBJECT_0);
    XfnSysResetEvent(hManual);
    EXPECT_EQ(XfnSysWaitForEvent(hManual, 0), XSYS_WAIT_TIMEOUT);
    XfnSysCloseEvent(hManual);
}

TEST(XSysEvent, WaitAnyTakesTheLowestSetIndexWaitAllTakesAllBadListsFail)
{
    std::vector<HANDLE> ah;
    for (int i = 0; i < 65; ++i)
        ah.push_back(XfnSysCreateEvent(i >= 3, i >= 3));
    XfnSysSetEvent(ah[2]);
    XfnSysSetEvent(ah[1]);
    EXPECT_EQ(XfnSysWaitForEvents(3, ah.data(), false, 0), 1u);
    EXPECT_EQ(XfnSysWaitForEvents(3, ah.data(), false, 0), 2u);
    EXPECT_EQ(XfnSysWaitForEvents(3, ah.data(), false, 0), XSYS_WAIT_TIMEOUT);
    XfnSysSetEvent(ah[0]);
    XfnSysSetEvent(ah[2]);
    EXPECT_EQ(XfnSysWaitForEvents(3, ah.data(), true, 10), XSYS_WAIT_TIMEOUT);
    XfnSysSetEvent(ah[1]);
    EXPECT_EQ(XfnSysWaitForEvents(3, ah.data(), true, 0), XSYS_WAIT_OBJECT_0);
    EXPECT_EQ(XfnSysWaitForEvents(3, ah.data(), false, 0), XSYS_WAIT_TIMEOUT);

    // 64 handles is the limit; more, none, or a null handle fail without waiting.
    XfnSysSetEvent(ah[1]);
    XfnSysSetEvent(ah[2]);
    EXPECT_EQ(XfnSysWaitForEvents(64, ah.data() + 1, true, 0), XSYS_WAIT_OBJECT_0);
    EXPECT_EQ(XfnSysWaitForEvents(65, ah.data(), true, XSYS_WAIT_INFINITE), XSYS_WAIT_FAILED);
    EXPECT_EQ(XfnSysWaitForEvents(0, ah.data(), false, XSYS_WAIT_INFINITE), XSYS_WAIT_FAILED);
    EXPECT_EQ(XfnSysWaitForEvents(-1, nullptr, false, XSYS_WAIT_INFINITE), XSYS_WAIT_FAILED);
    HANDLE ahWithNull[2] = {ah[3], nullptr};
    EXPECT_EQ(XfnSysWaitForEvents(2, ahWithNull, false, XSYS_WAIT_INFINITE), XSYS_WAIT_FAILED);
    for (HANDLE h : ah)
        XfnSysCloseEvent(h);
}

TEST(XMessageQueue, MessagesArriveInPostOrderAcrossThreads)
{
    XMessageQueue queue;
    auto poster = [](void* p) -> DWORD {
        for (int i = 0; i < 10000; ++i)
            static_cast<XMessageQueue*>(p)->Post(0x7E8, static_cast<uintptr_t>(i), -i);
        return 0;
    };
    HANDLE hThread = XfnSysCreateThread(poster, &queue, false, nullptr);
    ASSERT_NE(hThread, nullptr);
    tagXMessage msg{};
    for (int i = 0; i < 10000; ++i) {
        ASSERT_TRUE(queue.Get(msg, 5000));
        ASSERT_EQ(msg.wParam, static_cast<uintptr_t>(i));
        ASSERT_EQ(msg.lParam, -i);
    }
    XfnSysCloseThread(hThread);
    EXPECT_FALSE(queue.Get(msg, 10));
}

TEST(XMessageQueue, PeekAndCloseBehaveLikeAWindowThatWentAway)
{
    XMessageQueue queue;
    EXPECT_TRUE(queue.Post(1, 10, 100));
    EXPECT_TRUE(queue.Post(2, 20, 200));
    tagXMessage msg{};
    EXPECT_TRUE(queue.Peek(msg, FALSE));
    EXPECT_EQ(msg.nMessage, 1u);
    EXPECT_EQ(queue.GetCount(), 2);
    queue.Close();
    EXPECT_TRUE(queue.IsClosed());
    EXPECT_FALSE(queue.Post(3, 30, 300));
    EXPECT_TRUE(queue.Get(msg));
    EXPECT_TRUE(queue.Get(msg));
    EXPECT_EQ(msg.lParam, 200);
    EXPECT_FALSE(queue.Get(msg)); // closed and drained: no wait
    EXPECT_FALSE(queue.Peek(msg));
}

} // namespace
