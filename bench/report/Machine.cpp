#include "report/Machine.h"

#include <fstream>
#include <gnu/libc-version.h>
#include <string>
#include <sys/utsname.h>
#include <thread>
#include <zmq.h>

namespace bench {

namespace {

#ifdef __clang__
constexpr const char* compiler = "";
#else
constexpr const char* compiler = "GCC ";
#endif

std::string processorName()
{
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);) {
        const std::size_t colon = line.find(": ");
        if (line.rfind("model name", 0) == 0 && colon != std::string::npos) {
            return line.substr(colon + 2);
        }
    }
    return "unknown";
}

std::string zmqVersion()
{
    int major = 0;
    int minor = 0;
    int patch = 0;
    zmq_version(&major, &minor, &patch);
    return std::to_string(major) + '.' + std::to_string(minor) + '.' + std::to_string(patch);
}

} // namespace

nlohmann::ordered_json describeMachine()
{
    utsname system = {};
    uname(&system);
    const std::string release = system.release;
    return {{"processor", processorName()},
            {"cores", std::thread::hardware_concurrency()},
            {"system", std::string(system.sysname) + ' ' + release.substr(0, release.find('-')) +
                           ' ' + system.machine},
            {"compiler", std::string(compiler) + __VERSION__},
            {"C library", std::string("glibc ") + gnu_get_libc_version()},
            {"ZeroMQ", zmqVersion()}};
}

} // namespace bench
