#include "faults/Experiment.h"

#include "faults/Leaks.h"
#include "faults/Ledger.h"
#include "faults/Table.h"
#include "ostrel/MsgDealerWorkerPattern.h"
#include "pattern/WorkerTesting.h"
#include "support/AllocFault.h"
#include "support/LostOnPurpose.h"
#include "support/RandSpy.h"
#include "support/Stdout.h"
#include "support/SyslogSpy.h"
#include "support/Thrown.h"
#include "support/ZmqSpy.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>
#include <unistd.h>

namespace faults {

namespace {

/// Waits while ZeroMQ, which frees closed sockets on a thread of its own and allows 1,023 in all,
/// is far behind. The lowest free descriptor tells: each socket has one.
void awaitClosedSockets()
{
    constexpr int many = 300;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    int lowest = many;
    while (lowest >= many && std::chrono::steady_clock::now() < end) {
        lowest = dup(STDERR_FILENO);
        close(lowest);
        if (lowest >= many) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
}

bool wasMadeToFail(const std::string& call)
{
    return call.back() == '!';
}

std::string functionOf(const std::string& call)
{
    return call.substr(0, call.find('('));
}

bool canFail(const std::string& call)
{
    const std::string function = functionOf(call);
    return function != "zmq_msg_init" && function != "zmq_msg_data" && function != "zmq_msg_size" &&
           function != "zmq_strerror";
}

int count(const Lines& calls, const std::string& function)
{
    return static_cast<int>(std::count_if(calls.begin(), calls.end(), [&](const auto& call) {
        return functionOf(call) == function;
    }));
}

int countSuccesses(const Lines& calls, const std::string& function)
{
    return static_cast<int>(std::count_if(calls.begin(), calls.end(), [&](const auto& call) {
        return functionOf(call) == function && !wasMadeToFail(call);
    }));
}

/// How many more sockets are open after the calls than before. One that ZeroMQ itself refused has
/// no name; one whose close was made to fail is closed all the same.
int opened(const Lines& calls)
{
    const auto made = std::count_if(calls.begin(), calls.end(), [](const auto& call) {
        return functionOf(call) == "zmq_socket" && call.find(" = s") != std::string::npos;
    });
    return static_cast<int>(made) - count(calls, "zmq_close");
}

Lines plainLines(const Lines& lines)
{
    Lines all;
    for (const std::string& line : lines) {
        all.push_back(plain(line));
    }
    return all;
}

class Experiment {
public:
    Experiment(const Operation& operation, const Fault& fault)
        : mOperation(operation), mFault(fault), mSeen(), mOpen(0), mHappened(false)
    {
        mRand.setRand(0x7abcdef0); // Gives an identity that is not kept without memory.
        if (operation.leavesContext) {
            mLostOnPurpose.emplace();
        }
    }

    Seen run()
    {
        {
            const Ledger::Writing writing;
            mTrial = mOperation.make();
        }
        mOpen = opened(mZmq.takeCalls());
        mSeen.openBefore = mOpen;
        mSeen.recordedBefore = workertest::isRecorded(mTrial->recordedName);
        mSeen.shownBefore = show();
        const void* socketBefore = socket();

        mSeen.ending = runTrial(mFault);
        mSeen.happened = mHappened;
        lookAt(takeCalls());
        mSeen.openSockets = mOpen - mSeen.openBefore;
        mSeen.recorded = workertest::isRecorded(mTrial->recordedName);
        mSeen.mutexFree = workertest::mutexIsFree();
        if (!mSeen.mutexFree) {
            pthread_mutex_unlock(
                &ostrel::MsgDealerWorkerPattern::mProxyMutex); // Or all would hang.
        }
        mSeen.shown = show();
        mSeen.hasPattern = mTrial->pattern != nullptr;
        mSeen.hasSocket = socket() != nullptr;
        mSeen.keepsSocket = socketBefore == nullptr || socket() == socketBefore;
        if (mSeen.happened) {
            tryAgain();
        }
        end();
        return mSeen;
    }

private:
    /// Nothing but the operation takes memory that counts.
    Ending runTrial(const Fault& fault)
    {
        mLog.takeLines();
        plan(fault);
        long result = 0;
        std::string thrown;
        {
            const Ledger::Writing writing;
            const bool afterTheCall = fault.call != 0;
            support::AllocFault memory(0);
            mZmq.onCall([&](const std::string& call) {
                if (afterTheCall && wasMadeToFail(call)) {
                    memory.failFromNow(fault.allocation);
                }
            });
            memory.failFromNow(afterTheCall ? 0 : fault.allocation);
            thrown = support::thrownBy([&] { result = mTrial->run(); });
            mZmq.onCall(nullptr);
            mHappened =
                fault.any() && mZmq.failed() && (fault.allocation == 0 || memory.happened());
        }
        const std::string what =
            thrown == "nothing" ? "returned " + std::to_string(result) : plain(thrown);
        return {what, plainLines(mLog.takeLines()), {}};
    }

    void plan(const Fault& fault)
    {
        if (fault.call != 0) {
            mZmq.failNth(fault.call, fault.error);
        }
        if (fault.nthText != 0) {
            mZmq.fail("zmq_strerror", fault.nthText, 1);
        }
        if (!fault.look.empty()) {
            mZmq.fail(fault.look, fault.nthLook, 1);
        }
    }

    /// The calls since the last time, with what is open after them.
    Lines takeCalls()
    {
        Lines calls = mZmq.takeCalls();
        mOpen += opened(calls);
        mSeen.brokers += countSuccesses(calls, "pthread_create");
        return calls;
    }

    void lookAt(const Lines& calls)
    {
        for (const std::string& call : calls) {
            if (canFail(call)) {
                mSeen.calls.push_back(functionOf(call));
            }
        }
        const auto failed = std::find_if(calls.begin(), calls.end(), wasMadeToFail);
        mSeen.callsBefore = static_cast<int>(std::count_if(calls.begin(), failed, canFail));
        mSeen.madeFrames = count(calls, "zmq_msg_init");
        mSeen.closedFrames = count(calls, "zmq_msg_close");
        mSeen.sent = static_cast<std::size_t>(countSuccesses(calls, "zmq_msg_send"));
        mSeen.got = static_cast<std::size_t>(countSuccesses(calls, "zmq_recvmsg"));
        mSeen.contexts = countSuccesses(calls, "zmq_ctx_new");
    }

    void tryAgain()
    {
        if (mSeen.hasSocket) {
            const_cast<ostrel::MsgPattern*>(mTrial->pattern)->connectEndpoint();
            mSeen.callsOfConnecting = takeCalls();
            return;
        }
        mSeen.ranAgain =
            !mOperation.once && (mSeen.hasPattern || mOperation.repeats ||
                                 !mOperation.sends.empty() || !mOperation.receives.empty());
        if (mSeen.ranAgain) {
            mSeen.endingAgain = runTrial({});
            mSeen.shownAgain = show();
            takeCalls();
        }
    }

    void end()
    {
        const std::string name = mTrial->recordedName;
        mTrial.reset();
        takeCalls();
        mSeen.leftSockets = mOpen;
        ostrel::MsgDealerWorkerPattern::mProxyThreads.erase(name);
        mSeen.ending.lost = lost();
        if (mOperation.once && !mSeen.happened) {
            mLedger.forget(); // It is in use from now on.
        }
    }

    const void* socket() const
    {
        return mTrial->pattern == nullptr ? nullptr : mTrial->pattern->mpSocket;
    }

    /// A broker's thread gives its block back as soon as it runs.
    Sizes lost() const
    {
        using std::chrono::steady_clock;
        const auto limit = steady_clock::now() + std::chrono::seconds(20);
        const std::size_t block = leaks::blockForTheThread.front();
        Sizes sizes = mLedger.left();
        while (mSeen.brokers > 0 && std::count(sizes.begin(), sizes.end(), block) > 0 &&
               steady_clock::now() < limit) {
            std::this_thread::yield();
            sizes = mLedger.left();
        }
        return sizes;
    }

    std::string show() const
    {
        return mTrial->show ? mTrial->show() : "";
    }

    const Operation& mOperation;
    const Fault& mFault;
    Seen mSeen;
    int mOpen; // How many sockets of the library's are.
    bool mHappened;
    std::optional<support::LostOnPurpose> mLostOnPurpose;
    support::Stdout mOut;
    support::RandSpy mRand;
    support::SyslogSpy mLog;
    support::ZmqSpy mZmq;
    Ledger mLedger;
    std::optional<Trial> mTrial;
};

} // namespace

Seen experiment(const Operation& operation, const Fault& fault)
{
    awaitClosedSockets();
    return Experiment(operation, fault).run();
}

} // namespace faults
