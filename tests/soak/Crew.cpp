#include "Crew.h"

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <iostream>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace soak {

namespace {

/// What a process says: that it stands at a gate, or that its report follows.
constexpr char waiting = 'w';
constexpr char done = 'd';

int checked(int result, const char* what)
{
    if (result == -1) {
        throw std::system_error(errno, std::generic_category(), what);
    }
    return result;
}

/// Reads all of `size` bytes; false at the end of the pipe.
bool readAll(int from, void* bytes, std::size_t size)
{
    auto* next = static_cast<char*>(bytes);
    while (size > 0) {
        const ssize_t count = read(from, next, size);
        if (count <= 0) {
            return false;
        }
        next += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

void writeAll(int to, const void* bytes, std::size_t size)
{
    // Less than what a pipe holds, so never in pieces.
    if (write(to, bytes, size) != static_cast<ssize_t>(size)) {
        throw std::system_error(errno, std::generic_category(), "cannot write to a pipe");
    }
}

bool isReadable(int end, std::chrono::milliseconds limit)
{
    pollfd item = {end, POLLIN, 0};
    return poll(&item, 1, static_cast<int>(limit.count())) == 1;
}

/// The processes of one exchange. What has not ended is killed at destruction.
class Crew {
public:
    explicit Crew(std::chrono::seconds limit) : mLimit(limit)
    {
        checked(pipe(mCredit), "pipe");
    }

    ~Crew()
    {
        for (const Member& member : mMembers) {
            kill(member.pid, SIGKILL);
            waitpid(member.pid, nullptr, 0);
            close(member.gate);
        }
        close(mCredit[0]);
        close(mCredit[1]);
    }

    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;

    void start(const Role& role)
    {
        int ends[2] = {-1, -1};
        checked(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), "socketpair");
        const pid_t parent = getpid();
        const pid_t pid = checked(fork(), "fork");
        if (pid == 0) {
            // Nobody is left behind when this program is killed.
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (getppid() != parent) {
                _exit(1);
            }
            close(ends[0]);
            for (const Member& other : mMembers) {
                close(other.gate);
            }
            std::exit(play(role, ends[1]));
        }
        close(ends[1]);
        mMembers.push_back({role.name, pid, ends[0]});
    }

    /// Lets all of them on when all of them have come to a gate; false when they report instead.
    bool passGate()
    {
        char word = 0;
        for (const Member& member : mMembers) {
            hear(member, &word, 1);
        }
        if (word == done) {
            return false;
        }
        for (const Member& member : mMembers) {
            writeAll(member.gate, &word, 1);
        }
        return true;
    }

    std::vector<Figures> takeReports()
    {
        std::vector<Figures> all;
        for (const Member& member : mMembers) {
            Figures figures = {};
            hear(member, &figures, sizeof figures);
            all.push_back(figures);
        }
        while (!mMembers.empty()) {
            const Member member = mMembers.back();
            mMembers.pop_back();
            close(member.gate);
            int status = 0;
            waitpid(member.pid, &status, 0);
            if (status != 0) {
                throw std::runtime_error("the " + member.name + " has not ended well");
            }
        }
        return all;
    }

private:
    struct Member {
        std::string name;
        pid_t pid;
        int gate;
    };

    int play(const Role& role, int gate)
    {
        try {
            checked(dup2(checked(open("/dev/null", O_WRONLY), "/dev/null"), STDOUT_FILENO), "dup2");
            Mate mate(gate, mCredit[0], mCredit[1]);
            mate.report(role.run(mate));
            return 0;
        } catch (const std::exception& failure) {
            std::cerr << "soak: the " << role.name << ": " << failure.what() << '\n';
            return 1;
        }
    }

    void hear(const Member& member, void* bytes, std::size_t size)
    {
        if (!isReadable(member.gate, mLimit)) {
            throw std::runtime_error("the " + member.name + " is stuck");
        }
        if (!readAll(member.gate, bytes, size)) {
            throw std::runtime_error("the " + member.name + " has failed");
        }
    }

    std::chrono::seconds mLimit;
    int mCredit[2] = {-1, -1};
    std::vector<Member> mMembers;
};

} // namespace

Mate::Mate(int gate, int creditFrom, int creditTo)
    : mGate(gate), mCreditFrom(creditFrom), mCreditTo(creditTo)
{
}

void Mate::gate()
{
    char word = waiting;
    writeAll(mGate, &word, 1);
    if (!readAll(mGate, &word, 1)) {
        throw std::runtime_error("the others are gone");
    }
}

void Mate::giveCredit()
{
    writeAll(mCreditTo, "c", 1);
}

bool Mate::awaitCredit(std::chrono::milliseconds limit)
{
    char credit = 0;
    return isReadable(mCreditFrom, limit) && readAll(mCreditFrom, &credit, 1);
}

void Mate::report(const Figures& figures)
{
    writeAll(mGate, &done, 1);
    writeAll(mGate, &figures, sizeof figures);
}

std::vector<Figures> runCrew(const std::vector<Role>& roles, std::chrono::seconds limit)
{
    Crew crew(limit);
    for (const Role& role : roles) {
        crew.start(role);
    }
    while (crew.passGate()) {
    }
    return crew.takeReports();
}

} // namespace soak
