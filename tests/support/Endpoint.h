#ifndef OSTREL_TESTS_SUPPORT_ENDPOINT_H
#define OSTREL_TESTS_SUPPORT_ENDPOINT_H

#include <string>

namespace support {

/// A path for an ipc endpoint that nobody else has, removed at destruction.
class IpcEndpoint {
public:
    IpcEndpoint();
    ~IpcEndpoint();
    IpcEndpoint(const IpcEndpoint&) = delete;
    IpcEndpoint& operator=(const IpcEndpoint&) = delete;

    /// Such as "ipc:///tmp/ostrel-abc123/0".
    const std::string& text() const;

private:
    std::string mFolder;
    std::string mText;
};

/// A tcp endpoint on a loopback port that was free a moment ago.
std::string freeTcpEndpoint();

} // namespace support

#endif
