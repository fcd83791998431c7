#ifndef OSTREL_TESTS_HOSTS_COMMANDLOOP_H
#define OSTREL_TESTS_HOSTS_COMMANDLOOP_H

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace hosts {

/// How long a program's calls of the library took.
class CallTimes {
public:
    /// Makes a call, and counts its time also when it throws.
    template <typename Call> auto take(const Call& call)
    {
        const Stopwatch stopwatch(*this);
        return call();
    }

    /// "<calls> <microseconds of the slowest>"
    std::string text() const;

private:
    class Stopwatch {
    public:
        explicit Stopwatch(CallTimes& times) : mTimes(times) {}
        ~Stopwatch();
        Stopwatch(const Stopwatch&) = delete;
        Stopwatch& operator=(const Stopwatch&) = delete;

    private:
        CallTimes& mTimes;
        const std::chrono::steady_clock::time_point mStart = std::chrono::steady_clock::now();
    };

    long mCalls = 0;
    std::chrono::microseconds mSlowest{0};
};

/// The end that a program holds of its line to the test: does what the test tells it and answers
/// each command with a text. The line passes by all links. Standard output is the library's, and
/// nobody reads it.
class CommandLoop {
public:
    using Words = std::vector<std::string>;
    using Action = std::function<std::string(const Words&)>;

    /// `line` is the number of an open descriptor.
    explicit CommandLoop(const std::string& line);

    /// Has commands that begin with `word` done by `action`, which is given all of the words.
    void on(const std::string& word, const Action& action);

    /// Runs until the test hangs up. What `action` throws is an answer too. Between two commands
    /// it takes `turn`s, which say whether there was something to do, and naps when there was not.
    int run(const std::function<bool()>& turn = nullptr);

    CallTimes& times();

private:
    bool obey();
    std::string answer(const Words& words) const;

    const int mLine;
    std::map<std::string, Action> mActions;
    CallTimes mTimes;
};

/// What a failure of the library is: "std::runtime_error: the text".
std::string describe(const std::exception& failure);

/// The main() of a program whose arguments are its line and then those for `body`.
int runProgram(int argc, char** argv,
               const std::function<int(CommandLoop&, const CommandLoop::Words&)>& body);

} // namespace hosts

#endif
