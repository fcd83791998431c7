#ifndef OSTREL_TESTS_HOSTS_FORWARDER_H
#define OSTREL_TESTS_HOSTS_FORWARDER_H

#include "hosts/Link.h"

#include <atomic>
#include <chrono>
#include <deque>
#include <random>
#include <string>
#include <thread>

namespace hosts {

/// A link that the test itself is: a TAP device in each host, and a thread that passes frames on,
/// late, and not all of them. For kernels without netem. The devices go with the test.
///
/// What is lost is the same each time, counted in frames: the generators have fixed seeds.
class Forwarder : public Link {
public:
    /// Throws Unavailable where there are no TAP devices.
    Forwarder(const std::string& nearNetwork, const std::string& farNetwork,
              const std::string& device, Quality quality);
    ~Forwarder() override;

    void cut() override;
    void heal() override;
    unsigned long lost() const override;
    std::string figures() const override;

private:
    using Clock = std::chrono::steady_clock;

    struct Frame {
        Clock::time_point due;
        std::string bytes;
    };

    struct Way {
        int from;
        int to;
        std::mt19937 luck;
        std::deque<Frame> frames{}; // Under way.
        std::atomic<unsigned long> lost{0};
    };

    void pass();
    bool takeFrom(Way& way);
    void deliverDue(Way& way);
    int untilNextDue() const;

    const Quality mQuality;
    const int mNear;
    const int mFar;
    Way mWays[2];
    std::atomic<bool> mCut{false};
    std::atomic<bool> mStopped{false};
    std::atomic<unsigned long> mPassed{0};
    std::atomic<unsigned long> mCutOff{0};
    std::thread mThread; // Last: it uses all the others.
};

} // namespace hosts

#endif
