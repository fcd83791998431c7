#ifndef OSTREL_TESTS_HOSTS_LINK_H
#define OSTREL_TESTS_HOSTS_LINK_H

#include "hosts/Host.h"

#include <chrono>
#include <memory>
#include <string>

namespace hosts {

/// What a link does to every frame, each way.
struct Quality {
    std::chrono::milliseconds delay{0};
    int lossPercent = 0;
};

/// A cable between two hosts. Its near end is 10.77.<number>.1, its far end 10.77.<number>.2, with
/// hardware addresses that are the same each time, as those of a machine that starts again are.
class Link {
public:
    Link() = default;
    virtual ~Link() = default;
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    /// From now on nothing passes.
    virtual void cut() = 0;

    virtual void heal() = 0;

    /// How many frames from the near end were lost by chance.
    virtual unsigned long lost() const = 0;

    /// What it is made of, and what it has counted.
    virtual std::string figures() const = 0;
};

enum class Kind {
    veth,      ///< Cut by taking the near end down, which the near host knows. Needs netem to be
               ///< slow or lossy.
    forwarder, ///< Frames pass through the test. Cut silently: frames are no longer passed on.
};

/// Throws Unavailable where this system has not got such links.
std::unique_ptr<Link> connect(const Host& near, const Host& far, int number, Kind kind,
                              Quality quality = {});

/// What slow and lossy links are made of here: veth where the kernel has netem.
Kind kindForQuality(const Host& host);

} // namespace hosts

#endif
