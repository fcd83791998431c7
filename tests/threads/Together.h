#ifndef OSTREL_TESTS_THREADS_TOGETHER_H
#define OSTREL_TESTS_THREADS_TOGETHER_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <exception>
#include <functional>
#include <future>
#include <gtest/gtest.h>
#include <iostream>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace threads {

/// How long anything may take before it counts as stuck.
constexpr auto hangLimit = std::chrono::seconds(40);

/// Says on standard error what has failed in this test so far.
inline void printFailures()
{
    const testing::TestResult& result =
        *testing::UnitTest::GetInstance()->current_test_info()->result();
    for (int i = 0; i < result.total_part_count(); ++i) {
        const testing::TestPartResult& part = result.GetTestPartResult(i);
        if (part.failed()) {
            std::cerr << part << '\n';
        }
    }
}

/// Threads that begin at the same moment.
///
/// Not std::async: it runs its function inside of the C++ library, where the thread sanitizer of
/// our tests does not look.
class Together {
public:
    Together() = default;

    ~Together()
    {
        joinAll();
    }

    Together(const Together&) = delete;
    Together& operator=(const Together&) = delete;

    /// Makes a thread for `body`. It waits for start().
    void add(std::function<void()> body)
    {
        ++mAdded;
        mThreads.emplace_back([this, started = mStarted, body = std::move(body)] {
            started.wait();
            try {
                body();
            } catch (...) {
                const std::lock_guard<std::mutex> lock(mMutex);
                mThrown = std::current_exception();
            }
            const std::lock_guard<std::mutex> lock(mMutex);
            ++mEnded;
            mChanged.notify_all();
        });
    }

    void start()
    {
        mStart.set_value();
    }

    /// Waits until all of them have ended; throws what one of them has thrown.
    void join()
    {
        joinAll();
        if (mThrown != nullptr) {
            std::rethrow_exception(mThrown);
        }
    }

    void run()
    {
        start();
        join();
    }

    /// Ends the program, with what has failed so far: a thread that waits in a receive cannot be
    /// ended.
    [[noreturn]] void giveUp()
    {
        printFailures();
        std::cerr << mAdded - mEnded << " of " << mAdded << " threads are stuck\n";
        std::_Exit(1);
    }

private:
    void joinAll()
    {
        {
            std::unique_lock<std::mutex> lock(mMutex);
            if (!mChanged.wait_for(lock, hangLimit, [&] { return mEnded == mAdded; })) {
                giveUp();
            }
        }
        for (std::thread& thread : mThreads) {
            thread.join();
        }
        mThreads.clear();
    }

    std::promise<void> mStart;
    std::shared_future<void> mStarted = mStart.get_future().share();
    std::vector<std::thread> mThreads;
    int mAdded = 0;
    std::mutex mMutex;
    std::condition_variable mChanged;
    std::atomic<int> mEnded{0};
    std::exception_ptr mThrown; // By mMutex.
};

/// Looks until `happened()`, for up to `limit`; whether it has happened.
template <typename Happened> bool await(Happened happened, std::chrono::milliseconds limit)
{
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!happened()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace threads

#endif
