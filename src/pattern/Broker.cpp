#include "pattern/Broker.h"

#include "ostrel/MsgDealerWorkerPattern.h"
#include "ostrel/ZMQWrapper.h"

#include <cstdlib>
#include <new>
#include <stdexcept>
#include <zmq.h>

namespace ostrel {

namespace {

/// What the starting thread hands to the broker's: a malloc()ed block that the latter frees.
struct ProxySockets {
    void* frontend; // ROUTER, for clients
    void* backend;  // DEALER, for workers
};

/// The sockets of a broker that does not run yet.
class BrokerSockets {
public:
    explicit BrokerSockets(const ZMQWrapper& transport)
        : mTransport(transport), mSockets{nullptr, nullptr}
    {
    }

    ~BrokerSockets()
    {
        mTransport.deleteEndpt(mSockets.frontend);
        mTransport.deleteEndpt(mSockets.backend);
    }

    BrokerSockets(const BrokerSockets&) = delete;
    BrokerSockets& operator=(const BrokerSockets&) = delete;

    void bind(const std::string& clientEndpoint, const std::string& workerEndpoint)
    {
        mSockets.frontend = mTransport.createEndpt(ZMQ_ROUTER);
        mSockets.backend = mTransport.createEndpt(ZMQ_DEALER);
        mTransport.registerSender(mSockets.frontend, clientEndpoint);
        mTransport.registerSender(mSockets.backend, workerEndpoint);
    }

    pthread_t run()
    {
        auto* handedOver = static_cast<ProxySockets*>(std::malloc(sizeof(ProxySockets)));
        if (handedOver == nullptr) {
            throw std::bad_alloc();
        }
        *handedOver = mSockets;
        pthread_t thread{};
        if (pthread_create(&thread, nullptr, proxyThreadMain, handedOver) != 0) {
            // The block is not freed here. Kept, as it is counted among what is never given back.
            throw std::runtime_error("Proxy thread creation failed");
        }
        mSockets = {nullptr, nullptr};
        return thread;
    }

private:
    const ZMQWrapper& mTransport;
    ProxySockets mSockets;
};

} // namespace

pthread_t detail::startBroker(const ZMQWrapper& transport, const std::string& clientEndpoint,
                              const std::string& workerEndpoint)
{
    BrokerSockets sockets(transport);
    sockets.bind(clientEndpoint, workerEndpoint);
    return sockets.run();
}

void* proxyThreadMain(void* arg)
{
    if (arg == nullptr) {
        return nullptr;
    }
    const ProxySockets sockets = *static_cast<ProxySockets*>(arg);
    std::free(arg);
    zmq_proxy(sockets.frontend, sockets.backend, nullptr);
    return nullptr;
}

} // namespace ostrel
