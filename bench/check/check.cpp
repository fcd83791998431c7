// bench_check: whether the benchmarks compare what does the same. Ours, raw and floor must make the
// same calls to ZeroMQ, and floor must print, byte for byte, what ours prints.

#include "check/ZmqCalls.h"
#include "contender/Contender.h"
#include "contender/ZmqSocket.h"
#include "support/Endpoint.h"
#include "support/Stdout.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using bench::Bytes;
using bench::Contender;
using bench::demand;
using bench::Endpoints;
using bench::Pattern;

const std::string payload = "sixteen bytes...";

Bytes bytes()
{
    return {payload.data(), payload.size()};
}

void demandPayload(Bytes received)
{
    demand(std::string(received.data, received.size) == payload, "other bytes came back");
}

/// What an operation did.
struct Trail {
    std::string calls;
    std::string output;
};

/// Runs operations and keeps their trail.
class Watch {
public:
    void operator()(const std::function<void()>& operation)
    {
        mStdout.take();
        mTrail.calls += bench::zmqCallsOf(operation);
        mTrail.output += mStdout.take();
    }

    const Trail& trail() const
    {
        return mTrail;
    }

private:
    support::Stdout mStdout;
    Trail mTrail;
};

/// Two addresses, free again at the end.
class Places {
public:
    Endpoints endpoints() const
    {
        return {mService.text(), mWorkers.text()};
    }

private:
    support::IpcEndpoint mService;
    support::IpcEndpoint mWorkers;
};

// In each scenario the other side is raw's, so that the contender alone is watched. The first
// exchange connects, and is not.

void ask(Pattern pattern, Contender& contender, Watch& watch)
{
    const Places places;
    const auto raw = bench::makeRaw();
    const auto answerer = raw->answerer(pattern, places.endpoints());
    const auto asker = contender.asker(pattern, places.endpoints());
    asker->send(bytes());
    answerer->answer();
    demandPayload(asker->receive());
    watch([&] { asker->send(bytes()); });
    answerer->answer();
    watch([&] { demandPayload(asker->receive()); });
}

void answer(Pattern pattern, Contender& contender, Watch& watch)
{
    const Places places;
    const auto raw = bench::makeRaw();
    const auto answerer = contender.answerer(pattern, places.endpoints());
    const auto asker = raw->asker(pattern, places.endpoints());
    asker->send(bytes());
    answerer->answer();
    demandPayload(asker->receive());
    asker->send(bytes());
    watch([&] { answerer->answer(); });
    demandPayload(asker->receive());
}

void publish(Contender& contender, Watch& watch)
{
    const support::IpcEndpoint endpoint;
    const auto publisher = contender.publisher(endpoint.text());
    watch([&] { publisher->send(bytes()); });
}

void subscribe(Contender& contender, Watch& watch)
{
    const support::IpcEndpoint endpoint;
    const auto raw = bench::makeRaw();
    const auto publisher = raw->publisher(endpoint.text());
    const auto subscriber = contender.subscriber(endpoint.text());
    std::atomic<bool> joined(false);
    std::thread speaker([&] {
        while (!joined) {
            publisher->send(bytes());
            std::this_thread::yield();
        }
        publisher->send(bytes());
    });
    demandPayload(subscriber->receive());
    joined = true;
    speaker.join();
    watch([&] { demandPayload(subscriber->receive()); });
}

void link(std::size_t parts, Contender& contender, Watch& watch)
{
    const auto link = contender.link();
    link->prepare(bench::Parts(parts, bytes()));
    watch([&] { link->send(); });
    link->awaitArrival();
    watch([&] { link->receive(); });
    demand(link->received().size() == parts, "another number of parts");
    for (const Bytes& part : link->received()) {
        demandPayload(part);
    }
    watch([&] { link->makeAndSend(bytes()); });
}

struct Scenario {
    const char* name;
    std::function<void(Contender&, Watch&)> run;
};

const std::vector<Scenario>& scenarios()
{
    using namespace std::placeholders;
    static const std::vector<Scenario> all = {
        {"requester", std::bind(ask, Pattern::requestReply, _1, _2)},
        {"replier", std::bind(answer, Pattern::requestReply, _1, _2)},
        {"client of a pool", std::bind(ask, Pattern::workerPool, _1, _2)},
        {"worker", std::bind(answer, Pattern::workerPool, _1, _2)},
        {"publisher", publish},
        {"subscriber", subscribe},
        {"message of one part", std::bind(link, 1, _1, _2)},
        {"message of three parts", std::bind(link, 3, _1, _2)},
    };
    return all;
}

std::string readAll(int fd)
{
    std::string text;
    char buffer[4096];
    ssize_t count = 0;
    while ((count = pread(fd, buffer, sizeof buffer, static_cast<off_t>(text.size()))) > 0) {
        text.append(buffer, static_cast<std::size_t>(count));
    }
    return text;
}

void writeAll(int fd, const std::string& text)
{
    demand(write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()), "write");
}

/// In a process of its own: a worker of ours changes the framing of the whole process.
Trail trailOf(const Scenario& scenario, const std::string& contender)
{
    const int calls = memfd_create("calls", 0);
    const int output = memfd_create("output", 0);
    std::fflush(stdout);
    const pid_t child = fork();
    demand(child != -1 && calls != -1 && output != -1, "fork");
    if (child == 0) {
        alarm(60);
        Trail trail;
        {
            Watch watch;
            scenario.run(*bench::makeContender(contender), watch);
            trail = watch.trail();
        }
        writeAll(calls, trail.calls);
        writeAll(output, trail.output);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    demand(status == 0, "a scenario failed");
    Trail trail = {readAll(calls), readAll(output)};
    close(calls);
    close(output);
    return trail;
}

bool same(const char* scenario, const char* what, const std::string& ours, const char* other,
          const std::string& theirs)
{
    if (ours != theirs) {
        std::fprintf(stderr, "%s: other %s\n--- ostrel\n%s--- %s\n%s", scenario, what, ours.c_str(),
                     other, theirs.c_str());
    }
    return ours == theirs;
}

} // namespace

int main()
{
    bool good = true;
    for (const Scenario& scenario : scenarios()) {
        const Trail ours = trailOf(scenario, "ostrel");
        const Trail raw = trailOf(scenario, "raw");
        const Trail floor = trailOf(scenario, "floor");
        demand(!ours.calls.empty(), "no calls were seen");
        bool alike = same(scenario.name, "calls to ZeroMQ", ours.calls, "raw", raw.calls);
        alike &= same(scenario.name, "calls to ZeroMQ", ours.calls, "floor", floor.calls);
        alike &= same(scenario.name, "output", ours.output, "floor", floor.output);
        alike &= same(scenario.name, "output", "", "raw", raw.output);
        std::printf("%-24s %s\n", scenario.name, alike ? "the same work" : "NOT the same work");
        good &= alike;
    }
    return good ? 0 : 1;
}
