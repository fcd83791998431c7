#include "hosts/Link.h"

#include "hosts/Forwarder.h"

namespace hosts {

namespace {

struct End {
    std::string device;
    std::string hardwareAddress;
    std::string address;
};

/// `side` is 1 for the near end and 2 for the far one.
End endOf(int number, int side)
{
    const std::string place = std::to_string(number);
    return {"link" + place, "02:00:00:00:0" + place + ":0" + std::to_string(side),
            "10.77." + place + "." + std::to_string(side)};
}

void bringUp(const Host& host, const End& end)
{
    host.run("ip link set " + end.device + " address " + end.hardwareAddress + "; ip address add " +
             end.address + "/24 dev " + end.device + "; ip link set " + end.device + " up");
}

class Veth : public Link {
public:
    Veth(const Host& near, const Host& far, int number, Quality quality)
        : mNear(near), mDevice(endOf(number, 1).device)
    {
        const Outcome made = near.attempt("ip link add " + mDevice + " type veth peer name " +
                                          mDevice + " netns " + std::to_string(far.pid()));
        if (made.status != 0) {
            throw Unavailable("veth devices: " + made.output);
        }
        bringUp(near, endOf(number, 1));
        bringUp(far, endOf(number, 2));
        if (quality.delay.count() > 0 || quality.lossPercent > 0) {
            mFigures = "veth, netem delay " + std::to_string(quality.delay.count()) + "ms loss " +
                       std::to_string(quality.lossPercent) + "%";
            for (const Host* host : {&near, &far}) {
                host->run("tc qdisc add dev " + mDevice + " root " +
                          mFigures.substr(mFigures.find("netem")));
            }
        }
    }

    // Both ends go.
    ~Veth() override
    {
        mNear.attempt("ip link delete " + mDevice);
    }

    void cut() override
    {
        mNear.run("ip link set " + mDevice + " down");
    }

    void heal() override
    {
        mNear.run("ip link set " + mDevice + " up");
    }

    unsigned long lost() const override
    {
        const std::string statistics = mNear.run("tc -statistics qdisc show dev " + mDevice);
        const std::string before = "dropped ";
        const std::size_t found = statistics.find(before);
        return found == std::string::npos ? 0
                                          : std::stoul(statistics.substr(found + before.size()));
    }

    std::string figures() const override
    {
        return mFigures;
    }

private:
    const Host& mNear;
    std::string mDevice;
    std::string mFigures = "veth";
};

std::unique_ptr<Link> forward(const Host& near, const Host& far, int number, Quality quality)
{
    const std::string device = endOf(number, 1).device;
    auto forwarder = std::make_unique<Forwarder>(near.network(), far.network(), device, quality);
    bringUp(near, endOf(number, 1));
    bringUp(far, endOf(number, 2));
    return forwarder;
}

} // namespace

std::unique_ptr<Link> connect(const Host& near, const Host& far, int number, Kind kind,
                              Quality quality)
{
    if (kind == Kind::veth) {
        return std::make_unique<Veth>(near, far, number, quality);
    }
    return forward(near, far, number, quality);
}

Kind kindForQuality(const Host& host)
{
    const bool hasNetem =
        host.attempt("tc qdisc add dev lo root netem; tc qdisc delete dev lo root").status == 0;
    return hasNetem ? Kind::veth : Kind::forwarder;
}

} // namespace hosts
