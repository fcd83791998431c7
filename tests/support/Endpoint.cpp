#include "support/Endpoint.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace support {

IpcEndpoint::IpcEndpoint()
{
    char folder[] = "/tmp/ostrel-XXXXXX";
    if (mkdtemp(folder) == nullptr) {
        std::perror("mkdtemp");
        std::abort();
    }
    mFolder = folder;
    mText = "ipc://" + mFolder + "/0";
}

IpcEndpoint::~IpcEndpoint()
{
    unlink((mFolder + "/0").c_str());
    rmdir(mFolder.c_str());
}

const std::string& IpcEndpoint::text() const
{
    return mText;
}

std::string freeTcpEndpoint()
{
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    if (fd == -1 || bind(fd, reinterpret_cast<sockaddr*>(&address), size) != 0 ||
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        std::perror("free port");
        std::abort();
    }
    close(fd);
    return "tcp://127.0.0.1:" + std::to_string(ntohs(address.sin_port));
}

} // namespace support
