#include "support/Process.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace support {

Process::Process(const std::vector<std::string>& command)
    : mPid(-1), mOutput(memfd_create("child", MFD_CLOEXEC)), mStatus(0), mEnded(false)
{
    std::vector<char*> arguments;
    for (const std::string& word : command) {
        arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    std::fflush(nullptr);
    mPid = fork();
    if (mPid == 0) {
        // A child must not outlive a test that was killed for its limit: ctest would wait for it.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(mOutput, STDOUT_FILENO);
        execv(arguments[0], arguments.data());
        std::perror(arguments[0]);
        _exit(127);
    }
}

Process::~Process()
{
    if (!mEnded && mPid > 0) {
        ::kill(mPid, SIGKILL);
        waitpid(mPid, &mStatus, 0);
    }
    close(mOutput);
}

int Process::wait(int seconds)
{
    if (!mEnded) {
        // A descriptor that becomes readable when the process ends: no polling of waitpid().
        const int ended = static_cast<int>(syscall(SYS_pidfd_open, mPid, 0));
        pollfd item = {ended, POLLIN, 0};
        const int result = poll(&item, 1, seconds * 1000);
        close(ended);
        if (result != 1) {
            return -1;
        }
        waitpid(mPid, &mStatus, 0);
        mEnded = true;
    }
    return WIFEXITED(mStatus) ? WEXITSTATUS(mStatus) : 128 + WTERMSIG(mStatus);
}

void Process::kill(int signal)
{
    if (!mEnded && mPid > 0) {
        ::kill(mPid, signal);
    }
}

std::string Process::output() const
{
    std::string text;
    char buffer[4096];
    ssize_t count = 0;
    while ((count = pread(mOutput, buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0) {
        text.append(buffer, static_cast<std::size_t>(count));
    }
    return text;
}

pid_t Process::pid() const
{
    return mPid;
}

std::string programFolder()
{
    char path[4096];
    const ssize_t size = readlink("/proc/self/exe", path, sizeof path);
    std::string folder(path, size > 0 ? static_cast<std::size_t>(size) : 0);
    return folder.substr(0, folder.rfind('/'));
}

} // namespace support
