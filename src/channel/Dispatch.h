#ifndef OSTREL_CHANNEL_DISPATCH_H
#define OSTREL_CHANNEL_DISPATCH_H

#include "ostrel/IpcMsg.h"

#include <atomic>

namespace ostrel::detail {

/// The receive loop of the serving channels: while `running`, receives into `working` with
/// `receive()` and hands what arrived to the callback of its type through `call(callback)`.
///
/// `working` is never emptied, and receives append to it: callbacks see the first part of the first
/// message with the type of the newest. Kept: applications rely on it. The flag is relaxed because
/// nothing is handed over with it.
template <typename Callbacks, typename Receive, typename Call>
void dispatch(std::atomic<bool>& running, const Callbacks& callbacks, IpcMsg& working,
              Receive receive, Call call)
{
    running.store(true, std::memory_order_relaxed);
    while (running.load(std::memory_order_relaxed)) {
        if (receive(working) < 1) {
            continue;
        }
        const auto entry = callbacks.find(working.getMsgType());
        if (entry != callbacks.end() && entry->second != nullptr) {
            call(entry->second);
        }
    }
}

} // namespace ostrel::detail

#endif
