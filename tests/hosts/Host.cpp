#include "hosts/Host.h"

#include "hosts/Await.h"

#include <sstream>

namespace hosts {

using support::Process;

namespace {

constexpr auto holder = "exec 2>&1; PATH=$PATH:/usr/sbin:/sbin; "
                        "exec unshare --net sh -c 'ip link set lo up && echo up && "
                        "exec sleep infinity'";

} // namespace

Unavailable::Unavailable(const std::string& lack)
    : std::runtime_error(lack.substr(0, lack.find('\n')))
{
}

Host::Host() : mHolder({"/bin/sh", "-c", holder})
{
    await([this] { return mHolder.output() == "up\n" || mHolder.wait(0) != -1; });
    if (mHolder.output() != "up\n") {
        throw Unavailable("network namespaces (unshare and ip, as root): " + mHolder.output());
    }
}

Outcome Host::attempt(const std::string& command) const
{
    Process process(
        inside({"/bin/sh", "-c", "exec 2>&1; PATH=$PATH:/usr/sbin:/sbin; set -e; " + command}));
    const int status = process.wait();
    return {status, process.output()};
}

std::string Host::run(const std::string& command) const
{
    const Outcome outcome = attempt(command);
    if (outcome.status != 0) {
        throw std::runtime_error(command + ": " + outcome.output);
    }
    return outcome.output;
}

std::vector<std::string> Host::connections() const
{
    std::istringstream text(
        run("ss --no-header --tcp --options state established state close-wait"));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> Host::inside(const std::vector<std::string>& command) const
{
    std::vector<std::string> words = {"/usr/bin/nsenter", "--net=" + network(), "--"};
    words.insert(words.end(), command.begin(), command.end());
    return words;
}

std::string Host::network() const
{
    return "/proc/" + std::to_string(mHolder.pid()) + "/ns/net";
}

pid_t Host::pid() const
{
    return mHolder.pid();
}

} // namespace hosts
