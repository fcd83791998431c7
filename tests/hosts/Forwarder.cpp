#include "hosts/Forwarder.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace hosts {

namespace {

/// How long the thread may not see that it has to stop.
constexpr int longestNap = 10; // milliseconds

/// A TAP device belongs to the network of the thread that opens it.
int openDevice(const std::string& network, const std::string& device)
{
    const int place = open(network.c_str(), O_RDONLY | O_CLOEXEC);
    const int moved = setns(place, CLONE_NEWNET);
    close(place);
    const int tap = moved == 0 ? open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC) : -1;
    ifreq request = {};
    request.ifr_flags = IFF_TAP | IFF_NO_PI;
    device.copy(request.ifr_name, sizeof request.ifr_name - 1);
    if (tap == -1 || ioctl(tap, TUNSETIFF, &request) != 0) {
        const int error = errno;
        if (tap != -1) {
            close(tap);
        }
        errno = error;
        return -1;
    }
    return tap;
}

/// Opens it on a thread that is gone afterwards, so that this one stays in its own network.
int makeDevice(const std::string& network, const std::string& device)
{
    int tap = -1;
    int error = 0;
    std::thread([&] {
        tap = openDevice(network, device);
        error = errno;
    }).join();
    if (tap == -1) {
        throw Unavailable(std::string("netem or TAP devices (/dev/net/tun): ") +
                          std::strerror(error));
    }
    return tap;
}

} // namespace

Forwarder::Forwarder(const std::string& nearNetwork, const std::string& farNetwork,
                     const std::string& device, Quality quality)
    : mQuality(quality), mNear(makeDevice(nearNetwork, device)),
      mFar(makeDevice(farNetwork, device)), mWays{{mNear, mFar, std::mt19937(1)},
                                                  {mFar, mNear, std::mt19937(2)}},
      mThread(&Forwarder::pass, this)
{
}

Forwarder::~Forwarder()
{
    mStopped = true;
    mThread.join();
    close(mNear);
    close(mFar);
}

void Forwarder::cut()
{
    mCut = true;
}

void Forwarder::heal()
{
    mCut = false;
}

unsigned long Forwarder::lost() const
{
    return mWays[0].lost;
}

std::string Forwarder::figures() const
{
    return "forwarder, delay " + std::to_string(mQuality.delay.count()) + "ms loss " +
           std::to_string(mQuality.lossPercent) + "%, " + std::to_string(mPassed) +
           " frames passed, " + std::to_string(mWays[0].lost + mWays[1].lost) + " lost, " +
           std::to_string(mCutOff) + " cut off";
}

void Forwarder::pass()
{
    while (!mStopped) {
        pollfd items[2] = {{mNear, POLLIN, 0}, {mFar, POLLIN, 0}};
        poll(items, 2, untilNextDue());
        for (Way& way : mWays) {
            while (takeFrom(way)) {
            }
            deliverDue(way);
        }
    }
}

bool Forwarder::takeFrom(Way& way)
{
    std::array<char, 65536> bytes;
    const ssize_t size = read(way.from, bytes.data(), bytes.size());
    if (size <= 0) {
        return false;
    }
    if (mCut) {
        ++mCutOff;
    } else if (way.luck() % 100 < static_cast<unsigned int>(mQuality.lossPercent)) {
        ++way.lost;
    } else {
        way.frames.push_back({Clock::now() + mQuality.delay,
                              std::string(bytes.data(), static_cast<std::size_t>(size))});
    }
    return true;
}

void Forwarder::deliverDue(Way& way)
{
    while (!way.frames.empty() && way.frames.front().due <= Clock::now()) {
        const std::string bytes = std::move(way.frames.front().bytes);
        way.frames.pop_front();
        if (mCut) {
            ++mCutOff;
        } else if (write(way.to, bytes.data(), bytes.size()) != -1) {
            ++mPassed;
        }
    }
}

int Forwarder::untilNextDue() const
{
    int wait = longestNap;
    for (const Way& way : mWays) {
        if (!way.frames.empty()) {
            const auto left =
                std::chrono::ceil<std::chrono::milliseconds>(way.frames.front().due - Clock::now());
            wait = std::clamp(static_cast<int>(left.count()), 0, wait);
        }
    }
    return wait;
}

} // namespace hosts
