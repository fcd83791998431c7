#ifndef OSTREL_CHANNEL_DISPATCH_H
#define OSTREL_CHANNEL_DISPATCH_H

#include "ostrel/IpcMsg.h"

#include <atomic>

namespace ostrel::detail {

/// A loop that prints nothing.
struct SilentTrace {
    void beforeReceive() const {}
    void afterReceive(int /*result*/) const {}
    template <typename Callbacks>
    void beforeLookup(int /*result*/, int /*type*/, const Callbacks& /*callbacks*/) const
    {
    }
    void found() const {}
    void notFound() const {}
};

/// The receive loop of the serving channels: while `running`, receives into `working` with
/// `receive()` and hands what arrived to the callback of its type through `call(callback)`. `trace`
/// says what is printed on the way.
///
/// `working` is never emptied, and receives append to it: callbacks see what earlier messages left
/// in front, with the type of the newest. Kept: applications rely on it. The caller has set
/// `running` before it made `working`; the flag is relaxed because nothing is handed over with it.
template <typename Callbacks, typename Trace, typename Receive, typename Call>
void dispatch(const std::atomic<bool>& running, const Callbacks& callbacks, IpcMsg& working,
              Trace&& trace, Receive receive, Call call)
{
    while (running.load(std::memory_order_relaxed)) {
        trace.beforeReceive();
        const int result = receive(working);
        trace.afterReceive(result);
        if (result < 1) {
            continue;
        }
        const int type = working.getMsgType();
        trace.beforeLookup(result, type, callbacks);
        const auto entry = callbacks.find(type);
        if (entry == callbacks.end()) {
            trace.notFound();
            continue;
        }
        trace.found();
        if (entry->second != nullptr) {
            call(entry->second);
        }
    }
}

} // namespace ostrel::detail

#endif
