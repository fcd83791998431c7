#include "timing/Pairing.h"

#include "contender/ZmqSocket.h"
#include "statistics/Statistics.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <thread>
#include <unistd.h>
#include <vector>

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// What a published message is for, by its first byte.
constexpr char joinMark = 'j';   ///< To see whether the subscriber has joined.
constexpr char pacedMark = 'p';  ///< Counted by the window.
constexpr char verifyMark = 'v'; ///< The same, and all bytes are compared.
constexpr char floodMark = 'f';  ///< Counted.
constexpr char endMark = 'e';    ///< The end of a flood; repeated, as it can be dropped too.

std::string makePayload(std::size_t size, char mark)
{
    std::string payload(size, mark);
    for (std::size_t i = 1; i < size; ++i) {
        payload[i] = static_cast<char>(i * 31 % 251);
    }
    return payload;
}

void demandSize(Bytes received, std::size_t size)
{
    if (received.size != size) {
        throw std::runtime_error("a message of another size arrived");
    }
}

void demandSame(Bytes received, const std::string& payload)
{
    demandSize(received, payload.size());
    if (std::memcmp(received.data, payload.data(), payload.size()) != 0) {
        throw std::runtime_error("other bytes arrived");
    }
}

bool isReadable(int fd, int milliseconds)
{
    pollfd item = {fd, POLLIN, 0};
    return poll(&item, 1, milliseconds) == 1;
}

int openNull()
{
    static const int fd = open("/dev/null", O_WRONLY | O_CLOEXEC);
    demand(fd != -1, "/dev/null");
    return fd;
}

void drain(int fd)
{
    static char buffer[65536];
    while (read(fd, buffer, sizeof buffer) > 0) {
    }
}

} // namespace

Pairing::Pairing(const Workload& workload, const std::string& contender)
    : mName(contender + " at " + workload.name()),
      mEndpoints(workload.transport == Transport::ipc
                     ? Endpoints{mService.text(), mWorkers.text()}
                     : Endpoints{support::freeTcpEndpoint(), support::freeTcpEndpoint()})
{
    int output = openNull();
    if (workload.output == Output::drainedPipe) {
        mOutput.emplace();
        output = mOutput->writeEnd();
        mDrain.emplace(1, openNull(), [&] { drain(mOutput->readEnd()); });
    }
    // The contenders are made in the children: there is no ZeroMQ in this process.
    mServer.emplace(1, output, [&] { serve(workload, *makeContender(contender)); });
    mLeader.emplace(0, output, [&] { lead(workload, *makeContender(contender)); });
}

void Pairing::verify(int messages)
{
    run({Kind::verify, messages});
}

double Pairing::measure(int messages)
{
    return run({Kind::measure, messages}).seconds * 1e9 / messages;
}

Pairing::Flood Pairing::flood(int messages)
{
    const Outcome outcome = run({Kind::flood, messages});
    return {messages / outcome.sendSeconds, static_cast<double>(outcome.received) / outcome.seconds,
            1 - static_cast<double>(outcome.received) / messages};
}

Pairing::Outcome Pairing::run(Order order)
{
    writeValue(mOrders.writeEnd(), &order, sizeof order);
    Outcome outcome = {};
    constexpr int limit = 60000; // Nothing takes that long unless somebody died.
    if (!isReadable(mOutcomes.readEnd(), limit) ||
        !readValue(mOutcomes.readEnd(), &outcome, sizeof outcome)) {
        throw std::runtime_error(mName + " does not answer");
    }
    return outcome;
}

// --- In the children
// ------------------------------------------------------------------------------

void Pairing::lead(const Workload& workload, Contender& contender)
{
    std::unique_ptr<Sender> publisher;
    std::unique_ptr<Asker> asker;
    if (workload.pattern == Pattern::publishSubscribe) {
        publisher = contender.publisher(mEndpoints.service);
        join(*publisher, makePayload(workload.size, joinMark));
    } else {
        asker = contender.asker(workload.pattern, mEndpoints);
    }
    Order order = {};
    while (readValue(mOrders.readEnd(), &order, sizeof order)) {
        const Outcome outcome =
            publisher ? publish(workload, *publisher, order) : exchange(workload, *asker, order);
        writeValue(mOutcomes.writeEnd(), &outcome, sizeof outcome);
    }
}

void Pairing::serve(const Workload& workload, Contender& contender)
{
    if (workload.pattern == Pattern::publishSubscribe) {
        subscribe(workload, *contender.subscriber(mEndpoints.service));
    }
    const auto answerer = contender.answerer(workload.pattern, mEndpoints);
    for (;;) {
        answerer->answer();
    }
}

Pairing::Outcome Pairing::exchange(const Workload& workload, Asker& asker, Order order)
{
    const std::string payload = makePayload(workload.size, verifyMark);
    const Bytes bytes = {payload.data(), payload.size()};
    const Clock::time_point start = Clock::now();
    int sent = 0;
    for (; sent < std::min(workload.window(), order.messages); ++sent) {
        asker.send(bytes);
    }
    for (int received = 0; received < order.messages; ++received) {
        const Bytes answer = asker.receive();
        if (order.kind == Kind::verify) {
            demandSame(answer, payload);
        }
        demandSize(answer, payload.size());
        if (sent < order.messages) {
            asker.send(bytes);
            ++sent;
        }
    }
    const double seconds = secondsSince(start);
    return {seconds, seconds, order.messages};
}

void Pairing::join(Sender& publisher, const std::string& payload)
{
    do {
        publisher.send({payload.data(), payload.size()});
    } while (!isReadable(mCredits.readEnd(), 10));
    char joined = 0;
    readValue(mCredits.readEnd(), &joined, sizeof joined);
}

Pairing::Outcome Pairing::publish(const Workload& workload, Sender& publisher, Order order)
{
    const char marks[] = {verifyMark, pacedMark, floodMark};
    const std::string payload =
        makePayload(workload.size, marks[static_cast<std::size_t>(order.kind)]);
    const Bytes bytes = {payload.data(), payload.size()};
    return order.kind == Kind::flood ? publishAtOnce(publisher, bytes, order.messages)
                                     : publishPaced(workload, publisher, bytes, order.messages);
}

Pairing::Outcome Pairing::publishAtOnce(Sender& publisher, Bytes bytes, int messages)
{
    const Clock::time_point start = Clock::now();
    for (int i = 0; i < messages; ++i) {
        publisher.send(bytes);
    }
    const double sendSeconds = secondsSince(start);
    const std::string end = makePayload(bytes.size, endMark);
    do {
        publisher.send({end.data(), end.size()});
    } while (!isReadable(mCredits.readEnd(), 1));
    long received = 0;
    demand(readValue(mCredits.readEnd(), &received, sizeof received), "no count");
    return {sendSeconds, secondsSince(start), received};
}

/// Window by window; what counts is the time from the first send of a window to its last arrival,
/// the median of them.
///
/// A PUB socket learns only every millisecond or so that its messages were read, and drops what
/// exceeds its queue by the number that it knows. The pauses let it learn.
Pairing::Outcome Pairing::publishPaced(const Workload& workload, Sender& publisher, Bytes bytes,
                                       int messages)
{
    std::vector<double> windows;
    for (int sent = 0; sent < messages; sent += workload.window()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
        const Clock::time_point start = Clock::now();
        for (int i = 0; i < workload.window(); ++i) {
            publisher.send(bytes);
        }
        char arrived = 0;
        demand(readValue(mCredits.readEnd(), &arrived, sizeof arrived), "no credit");
        windows.push_back(secondsSince(start));
    }
    const double seconds = median(windows) * static_cast<double>(windows.size());
    return {seconds, seconds, messages};
}

void Pairing::subscribe(const Workload& workload, Receiver& subscriber)
{
    const std::string whole = makePayload(workload.size, verifyMark);
    bool joined = false;
    int paced = 0;
    long flooded = 0;
    for (;;) {
        const Bytes message = subscriber.receive();
        demandSize(message, workload.size);
        switch (message.data[0]) {
        case joinMark:
            if (!joined) {
                writeValue(mCredits.writeEnd(), &joinMark, 1);
            }
            joined = true;
            break;
        case verifyMark:
            demandSame(message, whole);
            [[fallthrough]];
        case pacedMark:
            if (++paced % workload.window() == 0) {
                writeValue(mCredits.writeEnd(), &pacedMark, 1);
            }
            break;
        case floodMark:
            ++flooded;
            break;
        default:
            if (flooded > 0) {
                writeValue(mCredits.writeEnd(), &flooded, sizeof flooded);
            }
            flooded = 0;
        }
    }
}

} // namespace bench
