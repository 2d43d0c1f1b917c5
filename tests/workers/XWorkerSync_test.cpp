// The event and queue rules the workers rely on and that no worker test reaches.
#include "KVDbase/platform/XMessageQueue.h"

#include "platform/XSysEvent.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

// Sets do not count; wait-any takes the lowest set index; wait-all needs all; 64 handles at most,
// and no handles or a null one fail without waiting.
TEST(XSysEvent, AutoResetWaitAnyWaitAllAndBadLists)
{
    std::vector<HANDLE> ah;
    for (int i = 0; i < 65; ++i)
        ah.push_back(XfnSysCreateEvent(i >= 3, i >= 3));
    XfnSysSetEvent(ah[2]);
    XfnSysSetEvent(ah[2]);
    XfnSysSetEvent(ah[1]);
    EXPECT_EQ(XfnSysWaitForEvents(3, ah.data(), false, 0), 1u);
    EXPECT_EQ(XfnSysWaitForEvents(3, ah.data(), false, 0), 2u);
    EXPECT_EQ(XfnSysWaitForEvents(3, ah.data(), false, 0), XSYS_WAIT_TIMEOUT);
    XfnSysSetEvent(ah[0]);
    XfnSysSetEvent(ah[2]);
    EXPECT_EQ(XfnSysWaitForEvents(3, ah.data(), true, 10), XSYS_WAIT_TIMEOUT);
    XfnSysSetEvent(ah[1]);
    EXPECT_EQ(XfnSysWaitForEvents(64, ah.data(), true, 0), XSYS_WAIT_OBJECT_0);
    EXPECT_EQ(XfnSysWaitForEvents(3, ah.data(), false, 0), XSYS_WAIT_TIMEOUT);
    EXPECT_EQ(XfnSysWaitForEvents(65, ah.data(), true, XSYS_WAIT_INFINITE), XSYS_WAIT_FAILED);
    EXPECT_EQ(XfnSysWaitForEvents(0, ah.data(), false, XSYS_WAIT_INFINITE), XSYS_WAIT_FAILED);
    HANDLE ahWithNull[2] = {ah[3], nullptr};
    EXPECT_EQ(XfnSysWaitForEvents(2, ahWithNull, false, XSYS_WAIT_INFINITE), XSYS_WAIT_FAILED);
    for (HANDLE h : ah)
        XfnSysCloseEvent(h);
}

// A closed queue refuses posts but still hands out what it holds, then returns at once.
TEST(XMessageQueue, ClosedQueueDrainsWithoutWaiting)
{
    XMessageQueue queue;
    EXPECT_TRUE(queue.Post(1, 10, 100));
    EXPECT_TRUE(queue.Post(2, 20, 200));
    tagXMessage msg{};
    EXPECT_TRUE(queue.Peek(msg, FALSE));
    EXPECT_EQ(queue.GetCount(), 2);
    queue.Close();
    EXPECT_FALSE(queue.Post(3, 30, 300));
    EXPECT_TRUE(queue.Get(msg));
    EXPECT_TRUE(queue.Get(msg));
    EXPECT_EQ(msg.lParam, 200);
    EXPECT_FALSE(queue.Get(msg));
}

} // namespace
