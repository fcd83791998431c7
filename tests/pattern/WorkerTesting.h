#ifndef OSTREL_TESTS_PATTERN_WORKERTESTING_H
#define OSTREL_TESTS_PATTERN_WORKERTESTING_H

#include "ostrel/MsgDealerWorkerHandle.h"
#include "ostrel/MsgDealerWorkerPattern.h"
#include "pattern/Watch.h"
#include "support/Endpoint.h"
#include "support/LostOnPurpose.h"
#include "support/RawSocket.h"
#include "support/ZmqSpy.h"

#include <gtest/gtest.h>
#include <memory>
#include <pthread.h>
#include <string>
#include <utility>
#include <vector>
#include <zmq.h>

/// What the tests of workers and their brokers share. They look at private members: what a failure
/// leaves behind has no public way.
namespace workertest {

using support::Frames;
using support::LostOnPurpose;
using watch::Lines;

/// The client that a handle names; "no handle" for null.
inline std::string clientOf(const ostrel::MsgHandle* handle)
{
    const auto* worker = dynamic_cast<const ostrel::MsgDealerWorkerHandle*>(handle);
    return worker == nullptr ? "no handle" : worker->getIdentity();
}

/// `msg` with a handle that names `client`.
template <typename Msg> Msg addressed(Msg msg, const std::string& client)
{
    ostrel::MsgDealerWorkerHandle handle;
    handle.setIdentity(client);
    msg.setHandle(&handle);
    return msg;
}

/// Bytes that may be zero.
template <std::size_t size> std::string bytes(const char (&literal)[size])
{
    return {literal, size - 1};
}

// What a binary receive of the worker pattern prints.

inline const std::string beforeLine = "MsgDealerWorkerPattern:receive before receive\n";
inline const std::string attemptLine = "ZMQWrapper::receive: about to receive the msg\n";

inline std::string resultLine(int result)
{
    return "MsgDealerWorkerPattern:receive ret=" + std::to_string(result) + "\n";
}

inline std::string resultLine(int result, int type)
{
    return "MsgDealerWorkerPattern:receive ret=" + std::to_string(result) +
           " type=" + std::to_string(type) + "\n";
}

inline std::string partsLine(int parts)
{
    return "MsgDealerWorkerPattern:receive numParts=" + std::to_string(parts) + "\n";
}

inline std::string frameLine(const std::string& what, std::size_t size)
{
    return attemptLine + "get the " + what + " size " + std::to_string(size) + "\n";
}

inline bool mutexIsFree()
{
    if (pthread_mutex_trylock(&ostrel::MsgDealerWorkerPattern::mProxyMutex) != 0) {
        return false;
    }
    pthread_mutex_unlock(&ostrel::MsgDealerWorkerPattern::mProxyMutex);
    return true;
}

inline bool isRecorded(const std::string& name)
{
    return ostrel::MsgDealerWorkerPattern::mProxyThreads.count(name) == 1;
}

/// Which of the library's sockets has something to read within `milliseconds`; -1 for none.
inline int readableOf(const std::vector<void*>& sockets, long milliseconds)
{
    const support::NotWatched notWatched;
    std::vector<zmq_pollitem_t> items;
    items.reserve(sockets.size());
    for (void* socket : sockets) {
        items.push_back({socket, 0, ZMQ_POLLIN, 0});
    }
    zmq_poll(items.data(), static_cast<int>(items.size()), milliseconds);
    for (std::size_t i = 0; i < items.size(); ++i) {
        if ((items[i].revents & ZMQ_POLLIN) != 0) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

/// The two endpoints of a broker.
struct Endpoints {
    support::IpcEndpoint clients;
    support::IpcEndpoint workers;
};

/// An unconnected worker pattern of a broker.
inline std::unique_ptr<ostrel::MsgDealerWorkerPattern>
makeWorker(const std::string& name, const std::string& clients, const std::string& workers)
{
    auto worker = std::make_unique<ostrel::MsgDealerWorkerPattern>(name);
    EXPECT_EQ(worker->setProperty(ostrel::PROP_DEALER_SERVER_ENDPOINT, clients), 0);
    EXPECT_EQ(worker->setProperty(ostrel::PROP_DEALER_WORKER_ENDPOINT, workers), 0);
    return worker;
}

inline std::unique_ptr<ostrel::MsgDealerWorkerPattern> makeWorker(const std::string& name,
                                                                  const Endpoints& endpoints)
{
    return makeWorker(name, endpoints.clients.text(), endpoints.workers.text());
}

/// A raw client with an identity of its own.
class NamedClient : public support::RawSocket {
public:
    NamedClient(const std::string& identity, const std::string& endpoint) : RawSocket(ZMQ_DEALER)
    {
        setOption(ZMQ_ROUTING_ID, identity);
        connect(endpoint);
    }
};

/// A raw socket in the place of a broker's backend, and a name whose broker stands somewhere else:
/// workers of that name start none and connect to the raw socket.
class RawBroker : public support::RawSocket {
public:
    RawBroker() : RawSocket(ZMQ_DEALER)
    {
        bind(mEndpoint.text());
        if (!isRecorded(name)) {
            const support::NotWatched notWatched;
            const Endpoints elsewhere;
            makeWorker(name, elsewhere)->connectEndpoint();
        }
    }

    const std::string& endpoint() const
    {
        return mEndpoint.text();
    }

    static constexpr const char* name = "pool";

private:
    support::IpcEndpoint mEndpoint;
};

/// A handle that counts how many of its kind there are, clones included.
class CountedHandle : public ostrel::MsgDealerWorkerHandle {
public:
    explicit CountedHandle(const std::string& client)
    {
        setIdentity(client);
        ++alive();
    }

    ~CountedHandle() override
    {
        --alive();
    }

    ostrel::MsgHandle* clone() const override
    {
        return new CountedHandle(getIdentity());
    }

    static int& alive()
    {
        static int count = 0;
        return count;
    }
};

} // namespace workertest

#endif
