// The platform pieces the workers stand on: events and the message queue.
#include "KVDbase/platform/XMessageQueue.h"

#include "platform/XSysEvent.h"
#include "platform/XSysThread.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(XSysEvent, AutoResetReleasesOneWaitPerSet)
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

TEST(XSysEvent, WaitAnyTakesTheLowestSetIndexAndWaitAllTakesAll)
{
    HANDLE ah[3] = {XfnSysCreateEvent(false, false), XfnSysCreateEvent(false, false),
                    XfnSysCreateEvent(false, false)};
    XfnSysSetEvent(ah[2]);
    XfnSysSetEvent(ah[1]);
    EXPECT_EQ(XfnSysWaitForEvents(3, ah, false, 0), 1u);
    EXPECT_EQ(XfnSysWaitForEvents(3, ah, false, 0), 2u);
    EXPECT_EQ(XfnSysWaitForEvents(3, ah, false, 0), XSYS_WAIT_TIMEOUT);

    XfnSysSetEvent(ah[0]);
    XfnSysSetEvent(ah[2]);
    EXPECT_EQ(XfnSysWaitForEvents(3, ah, true, 10), XSYS_WAIT_TIMEOUT);
    XfnSysSetEvent(ah[1]);
    EXPECT_EQ(XfnSysWaitForEvents(3, ah, true, 0), XSYS_WAIT_OBJECT_0);
    EXPECT_EQ(XfnSysWaitForEvents(3, ah, false, 0), XSYS_WAIT_TIMEOUT);
    for (HANDLE h : ah)
        XfnSysCloseEvent(h);
}

TEST(XSysEvent, BadListsFailAtOnce)
{
    std::vector<HANDLE> events;
    for (int i = 0; i < 65; ++i)
        events.push_back(XfnSysCreateEvent(true, true));
    EXPECT_EQ(XfnSysWaitForEvents(64, events.data(), true, 0), XSYS_WAIT_OBJECT_0);
    EXPECT_EQ(XfnSysWaitForEvents(65, events.data(), true, XSYS_WAIT_INFINITE), XSYS_WAIT_FAILED);
    EXPECT_EQ(XfnSysWaitForEvents(0, events.data(), false, XSYS_WAIT_INFINITE), XSYS_WAIT_FAILED);
    EXPECT_EQ(XfnSysWaitForEvents(-1, nullptr, false, XSYS_WAIT_INFINITE), XSYS_WAIT_FAILED);
    HANDLE ahWithNull[2] = {events[0], nullptr};
    EXPECT_EQ(XfnSysWaitForEvents(2, ahWithNull, false, XSYS_WAIT_INFINITE), XSYS_WAIT_FAILED);
    for (HANDLE h : events)
        XfnSysCloseEvent(h);
}

struct XPingPong {
    HANDLE hPing;
    HANDLE hPong;
    int nRounds;
};

DWORD Ponger(void* p)
{
    XPingPong* pState = static_cast<XPingPong*>(p);
    for (int i = 0; i < pState->nRounds; ++i) {
        if (XfnSysWaitForEvent(pState->hPing, XSYS_WAIT_INFINITE) != XSYS_WAIT_OBJECT_0)
            return 1;
        XfnSysSetEvent(pState->hPong);
    }
    return 0;
}

TEST(XSysEvent, EventsWakeWaitersOnOtherThreads)
{
    XPingPong state{XfnSysCreateEvent(false, false), XfnSysCreateEvent(false, false), 2000};
    HANDLE hThread = XfnSysCreateThread(Ponger, &state, false, nullptr);
    ASSERT_NE(hThread, nullptr);
    for (int i = 0; i < state.nRounds; ++i) {
        XfnSysSetEvent(state.hPing);
        ASSERT_EQ(XfnSysWaitForEvent(state.hPong, 5000), XSYS_WAIT_OBJECT_0) << "round " << i;
    }
    EXPECT_TRUE(XfnSysWaitThread(hThread));
    EXPECT_EQ(XfnSysGetThreadExitCode(hThread), 0u);
    XfnSysCloseThread(hThread);
    XfnSysCloseEvent(state.hPing);
    XfnSysCloseEvent(state.hPong);
}

DWORD PostNumbers(void* p)
{
    XMessageQueue* pQueue = static_cast<XMessageQueue*>(p);
    for (int i = 0; i < 10000; ++i)
        pQueue->Post(0x7E8, static_cast<uintptr_t>(i), -i);
    return 0;
}

TEST(XMessageQueue, MessagesArriveInPostOrderAcrossThreads)
{
    XMessageQueue queue;
    HANDLE hThread = XfnSysCreateThread(PostNumbers, &queue, false, nullptr);
    ASSERT_NE(hThread, nullptr);
    for (int i = 0; i < 10000; ++i) {
        tagXMessage msg{};
        ASSERT_TRUE(queue.Get(msg, 5000));
        ASSERT_EQ(msg.wParam, static_cast<uintptr_t>(i));
        ASSERT_EQ(msg.lParam, -i);
    }
    XfnSysCloseThread(hThread);
    tagXMessage msg{};
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
