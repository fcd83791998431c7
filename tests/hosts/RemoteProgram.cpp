#include "hosts/RemoteProgram.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sstream>
#include <sys/socket.h>
#include <unistd.h>

namespace hosts {

using std::chrono::milliseconds;
using std::chrono::seconds;

RemoteProgram::RemoteProgram(const Host& host, std::vector<std::string> command)
    : mName(command.at(0)), mLine(-1), mKilled(false), mBegun(false), mCalls{0, 0}
{
    int ends[2] = {-1, -1};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0 ||
        fcntl(ends[1], F_SETFD, 0) != 0) {
        throw std::runtime_error("no line to a program");
    }
    mLine = ends[0];
    command[0] = support::programFolder() + '/' + command[0];
    command.insert(command.begin() + 1, std::to_string(ends[1]));
    mProcess = std::make_unique<support::Process>(host.inside(command));
    close(ends[1]);
}

RemoteProgram::~RemoteProgram()
{
    close(mLine);
}

std::string RemoteProgram::tell(const std::string& command)
{
    send(mLine, command.data(), command.size(), MSG_NOSIGNAL);
    mBegun = true;
    return answer();
}

void RemoteProgram::begin(const std::string& command)
{
    noteCalls();
    send(mLine, command.data(), command.size(), MSG_NOSIGNAL);
    mBegun = true;
}

bool RemoteProgram::lasts(milliseconds limit)
{
    pollfd item = {mLine, POLLIN, 0};
    return poll(&item, 1, static_cast<int>(limit.count())) == 0;
}

std::string RemoteProgram::answer()
{
    if (lasts(seconds(60))) {
        return "no answer within a minute";
    }
    mBegun = false;
    std::array<char, 65536> buffer{};
    const ssize_t size = recv(mLine, buffer.data(), buffer.size(), 0);
    return size <= 0 ? "ended" : std::string(buffer.data(), static_cast<std::size_t>(size));
}

void RemoteProgram::kill()
{
    noteCalls();
    mKilled = true;
    mProcess->kill(SIGKILL);
    mProcess->wait();
}

int RemoteProgram::end()
{
    if (!listens()) {
        return 0;
    }
    noteCalls();
    shutdown(mLine, SHUT_RDWR);
    return mProcess->wait();
}

RemoteProgram::Calls RemoteProgram::calls()
{
    return mCalls;
}

const std::string& RemoteProgram::name() const
{
    return mName;
}

bool RemoteProgram::listens() const
{
    return !mKilled && !mBegun;
}

void RemoteProgram::noteCalls()
{
    if (!listens()) {
        return;
    }
    std::istringstream text(tell("calls"));
    long microseconds = 0;
    text >> mCalls.count >> microseconds;
    mCalls.slowest = static_cast<double>(microseconds) / 1e6;
}

} // namespace hosts
