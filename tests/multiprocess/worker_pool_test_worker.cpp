// worker_pool_test_worker SPEC...: workers that answer until the process is killed, each on a
// thread of its own. A SPEC is one of
//   start NAME CLIENTS WORKERS TAG   the first worker of a name: starts the broker of the endpoints
//   join NAME WORKERS TAG            a further worker, of a broker that may be another process's
// An answer tells the worker's TAG and repeats the question.

#include "ostrel/MsgDealerWorkerChannel.h"
#include "ostrel/MsgHandle.h"
#include "ostrel/MsgPattern.h"
#include "support/Endpoint.h"

#include <cstdio>
#include <cstdlib>
#include <deque>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

class Worker : public ostrel::MsgDealerWorkerChannel {
public:
    explicit Worker(const std::string& name) : MsgDealerWorkerChannel(name) {}

    void connect()
    {
        pvthandle->connectEndpoint();
    }
};

std::vector<std::string> tags; // By the number that the worker's loop is given.

template <int type>
void answer(int worker, const char* data, int size, ostrel::MsgDealerWorkerChannel* channel,
            ostrel::MsgHandle* handle)
{
    std::string text = tags[static_cast<std::size_t>(worker)] + ": " +
                       std::string(data, static_cast<std::size_t>(size));
    if (channel->ipcSend(10 * type, text.data(), static_cast<int>(text.size()), handle->clone()) !=
        1) {
        std::fprintf(stderr, "cannot answer\n");
        std::exit(1);
    }
    // The next request is to find an empty message.
    channel->terminate();
}

void serve(Worker& worker, int number)
{
    worker.registerCallBack(1, answer<1>);
    worker.registerCallBack(2, answer<2>);
    worker.registerCallBack(3, answer<3>);
    for (;;) {
        worker.ipcReceive(number, -1);
    }
}

} // namespace

int main(int argc, char** argv)
{
    std::deque<std::string> words(argv + 1, argv + argc);
    const auto next = [&words] {
        const std::string word = words.at(0);
        words.pop_front();
        return word;
    };
    std::set<std::string> names; // Of the brokers of this process.
    std::vector<std::unique_ptr<Worker>> workers;
    while (!words.empty()) {
        const bool starts = next() == "start";
        const std::string name = next();
        if (!starts && names.count(name) == 0) {
            // The first of a name starts a broker; this one is for nobody.
            const support::IpcEndpoint clients;
            const support::IpcEndpoint others;
            Worker first(name);
            first.setServerEndPoint(clients.text());
            first.setWorkerEndPoint(others.text());
            first.connect();
        }
        names.insert(name);
        workers.push_back(std::make_unique<Worker>(name));
        if (starts) {
            workers.back()->setServerEndPoint(next());
        }
        workers.back()->setWorkerEndPoint(next());
        tags.push_back(next());
        workers.back()->connect();
    }
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < workers.size(); ++i) {
        threads.emplace_back(serve, std::ref(*workers[i]), static_cast<int>(i));
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}
