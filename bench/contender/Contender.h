#ifndef OSTREL_BENCH_CONTENDER_CONTENDER_H
#define OSTREL_BENCH_CONTENDER_CONTENDER_H

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace bench {

struct Bytes {
    const char* data = nullptr;
    std::size_t size = 0;
};

using Parts = std::vector<Bytes>;

/// The type of every message; the subtype is 0.
constexpr int messageType = 7;

class Sender {
public:
    virtual ~Sender() = default;

    /// Sends a message of one part, without waiting.
    virtual void send(Bytes bytes) = 0;
};

class Receiver {
public:
    virtual ~Receiver() = default;

    /// Waits for a message of one part. Its bytes stay good until the next call.
    virtual Bytes receive() = 0;
};

class Asker : public Sender, public Receiver {};

class Answerer {
public:
    virtual ~Answerer() = default;

    /// Waits for a request, which stays until the next one.
    virtual void accept() = 0;

    /// Sends the bytes of the request back.
    virtual void reply() = 0;

    void answer()
    {
        accept();
        reply();
    }
};

/// Two connected DEALER sockets of this process: messages of any number of parts go in at one and
/// come out at the other.
class Link {
public:
    virtual ~Link() = default;

    /// Makes the message that send() sends. It refers to the bytes or copies them.
    virtual void prepare(const Parts& parts) = 0;
    virtual void send() = 0;

    /// Makes a message of one part, sends it and drops it.
    virtual void makeAndSend(Bytes bytes) = 0;

    /// Waits until what was sent can be received without waiting.
    virtual void awaitArrival() = 0;

    /// Receives a message into a fresh place, and drops the one before it.
    virtual void receive() = 0;

    /// What receive() received last.
    virtual Parts received() const = 0;
};

enum class Pattern { requestReply, publishSubscribe, workerPool };

/// Where the answering side listens. The second one is for the workers of a pool.
struct Endpoints {
    std::string service;
    std::string workers;
};

/// A way to move messages. All contenders do the same work, and those over ZeroMQ put the same
/// frames on the wire.
class Contender {
public:
    virtual ~Contender() = default;

    /// For Pattern::requestReply and, with many requests under way at a time, workerPool.
    virtual std::unique_ptr<Asker> asker(Pattern pattern, const Endpoints& endpoints) = 0;

    /// The other side; of a workerPool, a worker and the broker that it starts.
    virtual std::unique_ptr<Answerer> answerer(Pattern pattern, const Endpoints& endpoints) = 0;

    virtual std::unique_ptr<Sender> publisher(const std::string& endpoint) = 0;
    virtual std::unique_ptr<Receiver> subscriber(const std::string& endpoint) = 0;

    /// Null where messages have no parts.
    virtual std::unique_ptr<Link> link() = 0;
};

std::unique_ptr<Contender> makeOstrel();
std::unique_ptr<Contender> makeRaw();
std::unique_ptr<Contender> makeFloor();
std::unique_ptr<Contender> makeCppzmq();
std::unique_ptr<Contender> makeCzmq();
std::unique_ptr<Contender> makeNng();

/// Those that have `pattern`, ours first.
std::vector<std::string> contendersFor(Pattern pattern);

/// Throws std::invalid_argument for a name that is not among them.
std::unique_ptr<Contender> makeContender(const std::string& name);

} // namespace bench

#endif
