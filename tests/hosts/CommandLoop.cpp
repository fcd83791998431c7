#include "hosts/CommandLoop.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <poll.h>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>

namespace hosts {

CallTimes::Stopwatch::~Stopwatch()
{
    const auto time = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now() - mStart);
    ++mTimes.mCalls;
    mTimes.mSlowest = std::max(mTimes.mSlowest, time);
}

std::string CallTimes::text() const
{
    return std::to_string(mCalls) + ' ' + std::to_string(mSlowest.count());
}

CommandLoop::CommandLoop(const std::string& line) : mLine(std::stoi(line))
{
    if (std::freopen("/dev/null", "w", stdout) == nullptr) {
        throw std::runtime_error("no /dev/null");
    }
    on("calls", [this](const Words&) { return mTimes.text(); });
}

void CommandLoop::on(const std::string& word, const Action& action)
{
    mActions[word] = action;
}

int CommandLoop::run(const std::function<bool()>& turn)
{
    bool busy = true;
    for (;;) {
        pollfd item = {mLine, POLLIN, 0};
        const int nap = busy ? 0 : 1;
        if (poll(&item, 1, turn ? nap : -1) > 0 && !obey()) {
            return 0;
        }
        busy = turn && turn();
    }
}

CallTimes& CommandLoop::times()
{
    return mTimes;
}

bool CommandLoop::obey()
{
    std::array<char, 65536> buffer{};
    const ssize_t size = recv(mLine, buffer.data(), buffer.size(), 0);
    if (size <= 0) {
        return false;
    }
    std::istringstream command(std::string(buffer.data(), static_cast<std::size_t>(size)));
    Words words;
    for (std::string word; command >> word;) {
        words.push_back(word);
    }
    const std::string text = answer(words);
    return send(mLine, text.data(), text.size(), MSG_NOSIGNAL) != -1;
}

std::string CommandLoop::answer(const Words& words) const
{
    try {
        return mActions.at(words.at(0))(words);
    } catch (const std::exception& failure) {
        return describe(failure);
    }
}

std::string describe(const std::exception& failure)
{
    const bool ofZmq = dynamic_cast<const std::runtime_error*>(&failure) != nullptr;
    return std::string(ofZmq ? "std::runtime_error: " : "another exception: ") + failure.what();
}

int runProgram(int argc, char** argv,
               const std::function<int(CommandLoop&, const CommandLoop::Words&)>& body)
{
    try {
        CommandLoop loop(argc > 1 ? argv[1] : "");
        return body(loop, CommandLoop::Words(argv + 2, argv + argc));
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s: %s\n", argv[0], describe(failure).c_str());
        return 1;
    }
}

} // namespace hosts
