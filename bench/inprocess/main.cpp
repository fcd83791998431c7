// bench_inprocess: what happens inside one process, by Google Benchmark, contender beside
// contender. Takes its options; give --benchmark_out=FILE, since the trace lines of the library go
// to standard output, which is therefore closed to the results.
//
// The benchmarks "reply" make a worker, which changes the framing of the whole process: run them
// and the others in processes of their own, by --benchmark_filter.

#include "contender/Contender.h"
#include "contender/Endpoint.h"
#include "ostrel/IpcMsg.h"
#include "support/Endpoint.h"

#include <benchmark/benchmark.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using bench::Bytes;
using ostrel::IpcMsg;

constexpr int partSize = 16;

int sizeOf(const benchmark::State& state)
{
    return static_cast<int>(state.range(0));
}

IpcMsg messageOf(int parts)
{
    IpcMsg msg(bench::messageType, 0);
    const std::string bytes(partSize, 'x');
    for (int i = 0; i < parts; ++i) {
        msg.insertPart(static_cast<unsigned int>(i), bytes.data(), partSize);
    }
    return msg;
}

// --- Messages
// -------------------------------------------------------------------------------------

void makeOurs(benchmark::State& state)
{
    std::string bytes(static_cast<std::size_t>(sizeOf(state)), 'x');
    for ([[maybe_unused]] auto _ : state) {
        IpcMsg msg(bench::messageType, bytes.data(), sizeOf(state), nullptr);
        benchmark::DoNotOptimize(msg.getMsgData());
    }
}

void makePlain(benchmark::State& state)
{
    const std::string bytes(static_cast<std::size_t>(sizeOf(state)), 'x');
    for ([[maybe_unused]] auto _ : state) {
        void* copy = std::malloc(bytes.size());
        std::memcpy(copy, bytes.data(), bytes.size());
        benchmark::DoNotOptimize(copy);
        std::free(copy);
    }
}

void copyOurs(benchmark::State& state)
{
    const IpcMsg source = messageOf(sizeOf(state));
    for ([[maybe_unused]] auto _ : state) {
        IpcMsg copy(source);
        benchmark::DoNotOptimize(copy.getMsgData());
    }
}

void copyPlain(benchmark::State& state)
{
    const std::string bytes(partSize, 'x');
    std::vector<void*> copies(static_cast<std::size_t>(sizeOf(state)));
    for ([[maybe_unused]] auto _ : state) {
        for (void*& copy : copies) {
            copy = std::malloc(partSize);
            std::memcpy(copy, bytes.data(), partSize);
        }
        benchmark::DoNotOptimize(copies.data());
        for (void* copy : copies) {
            std::free(copy);
        }
    }
}

/// A part put in front of all others and taken off again, as a worker's answer does.
void frontPart(benchmark::State& state)
{
    IpcMsg msg = messageOf(sizeOf(state));
    const std::string bytes(partSize, 'x');
    for ([[maybe_unused]] auto _ : state) {
        msg.insertPart(0, bytes.data(), partSize);
        msg.removePart(0);
    }
}

// --- Receives and replies
// -------------------------------------------------------------------------

template <typename Operation> void timeOne(benchmark::State& state, Operation operation)
{
    const auto start = std::chrono::steady_clock::now();
    operation();
    state.SetIterationTime(
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
}

void receive(benchmark::State& state, const std::string& name)
{
    const auto contender = bench::makeContender(name);
    const auto link = contender->link();
    const std::string bytes(partSize, 'x');
    link->prepare(
        bench::Parts(static_cast<std::size_t>(sizeOf(state)), Bytes{bytes.data(), bytes.size()}));
    for ([[maybe_unused]] auto _ : state) {
        link->send();
        link->awaitArrival();
        timeOne(state, [&] { link->receive(); });
    }
}

/// A worker's answer, to a client that waits for it.
void reply(benchmark::State& state, const std::string& name)
{
    const support::IpcEndpoint service;
    const support::IpcEndpoint workers;
    const bench::Endpoints endpoints = {service.text(), workers.text()};
    const auto contender = bench::makeContender(name);
    const auto raw = bench::makeContender("raw");
    const auto worker = contender->answerer(bench::Pattern::workerPool, endpoints);
    const auto client = raw->asker(bench::Pattern::workerPool, endpoints);
    const std::string bytes(static_cast<std::size_t>(sizeOf(state)), 'x');
    for ([[maybe_unused]] auto _ : state) {
        client->send({bytes.data(), bytes.size()});
        worker->accept();
        timeOne(state, [&] { worker->reply(); });
        client->receive();
    }
}

void registerAll()
{
    const std::vector<std::int64_t> sizes = {16, 1024, 65536, 1048576};
    const std::vector<std::int64_t> parts = {1, 10, 100, 1000};
    benchmark::RegisterBenchmark("make/ostrel", makeOurs)->ArgsProduct({sizes});
    benchmark::RegisterBenchmark("make/plain", makePlain)->ArgsProduct({sizes});
    benchmark::RegisterBenchmark("copy/ostrel", copyOurs)->ArgsProduct({parts});
    benchmark::RegisterBenchmark("copy/plain", copyPlain)->ArgsProduct({parts});
    benchmark::RegisterBenchmark("frontpart/ostrel", frontPart)->ArgsProduct({parts});
    for (const std::string name : {"ostrel", "raw", "floor"}) {
        benchmark::RegisterBenchmark(("receive/" + name).c_str(), receive, name)
            ->ArgsProduct({{1, 10, 100, 1000, 10000}})
            ->UseManualTime();
        benchmark::RegisterBenchmark(("reply/" + name).c_str(), reply, name)
            ->ArgsProduct({sizes})
            ->UseManualTime();
    }
}

/// Prints nothing: the results are in the file.
class NoReporter : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& /*context*/) override
    {
        return true;
    }

    void ReportRuns(const std::vector<Run>& /*runs*/) override {}
};

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv) ||
        std::freopen("/dev/null", "w", stdout) == nullptr) {
        return 2;
    }
    registerAll();
    NoReporter nothing;
    return benchmark::RunSpecifiedBenchmarks(&nothing) > 0 ? 0 : 1;
}
