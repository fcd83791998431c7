#ifndef OSTREL_TESTS_CHANNEL_SEEN_H
#define OSTREL_TESTS_CHANNEL_SEEN_H

#include "ostrel/MsgReplyServerChannel.h"

#include <string>
#include <thread>
#include <vector>

/// Callbacks that note what they are called with. They are plain functions, so there is one list
/// for all of a test program.
namespace channel {

struct Seen {
    int callback;
    const char* data;
    std::string bytes;
    int size;
    ostrel::MsgReplyServerChannel* channel;
    std::thread::id thread;
};

inline std::vector<Seen> seen;

/// Runs in every callback when set, after it was noted.
inline void (*whileHandling)(ostrel::MsgReplyServerChannel& channel) = nullptr;

template <int callback>
void handle(const char* data, int size, ostrel::MsgReplyServerChannel* server)
{
    const std::string bytes(data == nullptr ? "" : data, static_cast<std::size_t>(size));
    seen.push_back({callback, data, bytes, size, server, std::this_thread::get_id()});
    if (whileHandling != nullptr) {
        whileHandling(*server);
    }
}

} // namespace channel

#endif
