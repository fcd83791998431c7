#include "timing/Workload.h"

namespace bench {

namespace {

constexpr std::size_t KiB = 1024;
constexpr std::size_t sizes[] = {16, KiB, 64 * KiB, KiB* KiB};

std::string sizeName(std::size_t size)
{
    if (size < KiB) {
        return std::to_string(size) + " B";
    }
    return size < KiB * KiB ? std::to_string(size / KiB) + " KiB"
                            : std::to_string(size / (KiB * KiB)) + " MiB";
}

const char* nameOf(Pattern pattern)
{
    switch (pattern) {
    case Pattern::requestReply:
        return "round trip";
    case Pattern::publishSubscribe:
        return "publish";
    case Pattern::workerPool:
        return "worker pool";
    }
    return "";
}

} // namespace

std::string Workload::name() const
{
    return std::string(nameOf(pattern)) + (transport == Transport::ipc ? " ipc " : " tcp ") +
           sizeName(size) + (output == Output::drainedPipe ? " piped" : "");
}

int Workload::window() const
{
    if (pattern == Pattern::requestReply) {
        return 1;
    }
    // Large ones: so few that memory is not what is measured.
    if (size > 64 * KiB) {
        return 10;
    }
    // Published: with what the publisher does not know yet to be read, at most half a queue of a
    // thousand, they must fit the queue.
    return pattern == Pattern::publishSubscribe && size <= KiB ? 400 : 100;
}

std::vector<Workload> workloads(bool all)
{
    std::vector<Workload> list;
    for (const Pattern pattern :
         {Pattern::requestReply, Pattern::publishSubscribe, Pattern::workerPool}) {
        for (const Transport transport : {Transport::ipc, Transport::tcp}) {
            // A tcp of the loopback tells little that ipc does not, round trips apart.
            if (all || transport == Transport::ipc || pattern == Pattern::requestReply) {
                for (const std::size_t size : sizes) {
                    list.push_back({pattern, transport, size, Output::null});
                }
            }
        }
        list.push_back({pattern, Transport::ipc, sizes[0], Output::drainedPipe});
    }
    return list;
}

} // namespace bench
