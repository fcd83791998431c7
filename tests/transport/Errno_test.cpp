// The precondition of this program: calls that succeed do spoil the error number.

#include "support/RealZmq.h"
#include "support/ZmqSpy.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <zmq.h>

TEST(SpoiltErrno, IsInPlace)
{
    const support::NotWatched notWatched;
    zmq_msg_t msg;
    errno = 0;
    zmq_msg_init(&msg);
    EXPECT_EQ(errno, EXDEV);
    errno = 0;
    zmq_msg_close(&msg);
    EXPECT_EQ(errno, EXDEV);
}
