// What a plain implementation of our contract cannot do without: the calls to ZeroMQ, the trace
// lines, by puts() and printf(), and a malloc() buffer for each part. No message objects.

#include "contender/PlainContender.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

namespace bench {

namespace {

struct PrintedFrames {
    static void attempt()
    {
        std::puts("ZMQWrapper::receive: about to receive the msg");
    }

    static void identity(int size)
    {
        std::printf("get the identity size %d\n", size);
    }

    static void header(int size)
    {
        std::printf("get the msg hdr size %d\n", size);
    }

    static void part(int size)
    {
        std::printf("get the msg size %d\n", size);
    }
};

struct PrintedRequestReply : SilentRole {
    static void beforeReceive()
    {
        std::puts("in RequestReplayMsgPattern receive");
        std::puts("in the receive ...");
    }
};

struct PrintedClient : SilentRole {
    static void beforeSend()
    {
        std::printf("MsgDealerClientPattern::%s\n", "send");
    }

    static void afterReceive(int parts)
    {
        std::printf("MsgDealerClientPattern:%s ret=%d\n", "receive", parts);
    }
};

struct PrintedWorker {
    static void beforeReceive()
    {
        std::printf("MsgDealerWorkerPattern:%s before receive\n", "receive");
    }

    static void afterReceive(int parts, int type, Bytes identity)
    {
        std::printf("MsgDealerWorkerPattern:%s ret=%d type=%d\n", "receive", parts, type);
        std::printf("MsgDealerWorkerPattern:%s numParts=%d\n", "receive", parts);
        std::printf("===> identity = %.*s \n", static_cast<int>(identity.size), identity.data);
    }

    static void beforeReply(Bytes identity)
    {
        const int size = static_cast<int>(identity.size);
        std::printf("MsgDealerWorkerPattern::%s insert the identity\n", "send");
        std::printf("MsgDealerWorkerPattern::%s %.*s - %d\n", "send", size, identity.data, size);
        std::printf("MsgDealerWorkerPattern::%s sending to worker ???\n", "send");
    }
};

struct PrintedRoles {
    using Requester = PrintedRequestReply;
    using Replier = PrintedRequestReply;
    using Publisher = SilentRole;
    using Subscriber = SilentRole;
    using Client = PrintedClient;
    using Worker = PrintedWorker;
};

/// A buffer of its own for each part.
class MallocBuffers {
public:
    MallocBuffers() = default;
    MallocBuffers(const MallocBuffers&) = delete;
    MallocBuffers& operator=(const MallocBuffers&) = delete;

    ~MallocBuffers()
    {
        clear();
    }

    void clear()
    {
        for (char* buffer : mBuffers) {
            std::free(buffer);
        }
        mBuffers.clear();
    }

    Bytes add(const void* bytes, std::size_t size)
    {
        auto* copy = static_cast<char*>(std::malloc(size));
        demand(copy != nullptr, "malloc");
        std::memcpy(copy, bytes, size);
        mBuffers.push_back(copy);
        return {copy, size};
    }

private:
    std::vector<char*> mBuffers; // Emptied, never shrunk.
};

} // namespace

std::unique_ptr<Contender> makeFloor()
{
    return std::make_unique<PlainContender<PrintedFrames, MallocBuffers, PrintedRoles>>();
}

} // namespace bench
