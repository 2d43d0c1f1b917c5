// The end-to-end tests of the remote file client start the project's server
// in this program; they need the program linked with the server's object
// library. Say so plainly when it is not, instead of running nothing.

#include <gtest/gtest.h>

#include "remote/XRFTestServer.h"

TEST(XRFTestSetup, TheServerIsLinkedIn)
{
    EXPECT_TRUE(XRF_TEST_WITH_SERVER) << "kvd_remote_tests must link xrfpd_core for its end-to-end tests";
}
