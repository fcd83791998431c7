// The buffers of large parts belong to the process, whichever thread frees them.

#include "ostrel/IpcMsg.h"
#include "threads/Together.h"

#include <gtest/gtest.h>
#include <string>

using namespace threads;
using ostrel::IpcMsg;

TEST(LargeParts, AreNeverThoseOfAnotherThread)
{
    constexpr int threads = 4;
    constexpr int rounds = 500;
    Together all;
    for (int number = 0; number < threads; ++number) {
        all.add([number] {
            std::string bytes(40000, static_cast<char>('a' + number));
            for (int round = 0; round < rounds; ++round) {
                IpcMsg msg(1, &bytes[0], static_cast<int>(bytes.size()), nullptr);
                const IpcMsg copy = msg;
                EXPECT_EQ(std::string(msg.getMsgData(), bytes.size()), bytes);
                EXPECT_EQ(IpcMsg(copy).getMsgData()[bytes.size() - 1], bytes.back());
            }
        });
    }
    all.run();
}
