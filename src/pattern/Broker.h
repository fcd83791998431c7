#ifndef OSTREL_PATTERN_BROKER_H
#define OSTREL_PATTERN_BROKER_H

#include <pthread.h>
#include <string>

namespace ostrel {

class ZMQWrapper;

namespace detail {

/// Binds a broker's two sockets and starts the thread that joins them, which owns them from then
/// on. When anything fails, the sockets made so far are deleted, the clients' one first.
///
/// Throws what the transport throws, or std::runtime_error "Proxy thread creation failed".
pthread_t startBroker(const ZMQWrapper& transport, const std::string& clientEndpoint,
                      const std::string& workerEndpoint);

} // namespace detail
} // namespace ostrel

#endif
