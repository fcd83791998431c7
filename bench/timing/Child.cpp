#include "timing/Child.h"

#include "contender/ZmqSocket.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {

namespace {

void pinTo(int core)
{
    cpu_set_t available;
    demand(sched_getaffinity(0, sizeof available, &available) == 0, "sched_getaffinity");
    // The core'th of those that we may use, counted round.
    int left = core % CPU_COUNT(&available);
    for (int i = 0; i < CPU_SETSIZE; ++i) {
        if (CPU_ISSET(i, &available) && left-- == 0) {
            cpu_set_t chosen;
            CPU_ZERO(&chosen);
            CPU_SET(i, &chosen);
            demand(sched_setaffinity(0, sizeof chosen, &chosen) == 0, "sched_setaffinity");
            return;
        }
    }
}

} // namespace

bool readValue(int fd, void* value, std::size_t size)
{
    return read(fd, value, size) == static_cast<ssize_t>(size);
}

void writeValue(int fd, const void* value, std::size_t size)
{
    demand(write(fd, value, size) == static_cast<ssize_t>(size), "write");
}

Pipe::Pipe() : mEnds()
{
    demand(pipe2(mEnds, O_CLOEXEC) == 0, "pipe");
}

Pipe::~Pipe()
{
    close(mEnds[0]);
    close(mEnds[1]);
}

int Pipe::readEnd() const
{
    return mEnds[0];
}

int Pipe::writeEnd() const
{
    return mEnds[1];
}

Child::Child(int core, int output, const std::function<void()>& body) : mPid(-1)
{
    std::fflush(stdout);
    mPid = fork();
    demand(mPid != -1, "fork");
    if (mPid != 0) {
        return;
    }
    try {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        demand(dup2(output, STDOUT_FILENO) != -1, "dup2");
        pinTo(core);
        body();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "bench: %s\n", failure.what());
        _exit(1);
    }
    _exit(0);
}

Child::~Child()
{
    kill(mPid, SIGKILL);
    waitpid(mPid, nullptr, 0);
}

} // namespace bench
