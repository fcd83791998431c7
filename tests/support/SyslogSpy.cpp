#include "support/SyslogSpy.h"

#include "support/AllocFault.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <syslog.h>

namespace {

/// What the spy itself allocates is not the library's doing.
class Paused {
public:
    Paused()
    {
        support::AllocFault::pause();
    }
    ~Paused()
    {
        support::AllocFault::resume();
    }
    Paused(const Paused&) = delete;
    Paused& operator=(const Paused&) = delete;
};

std::mutex mutex;
support::SyslogSpy* active = nullptr;
std::vector<std::string> lines;
std::vector<std::string> calls;

} // namespace

extern "C" {

void openlog(const char* ident, int option, int facility)
{
    const Paused paused;
    const std::lock_guard<std::mutex> lock(mutex);
    calls.push_back("openlog(\"" + std::string(ident) + "\", " + std::to_string(option) + ", " +
                    std::to_string(facility) + ")");
}

__attribute__((format(printf, 2, 3))) void syslog(int priority, const char* format, ...)
{
    const Paused paused;
    va_list arguments;
    va_start(arguments, format);
    char* text = nullptr;
    const int length = vasprintf(&text, format, arguments);
    va_end(arguments);
    const std::string line(length < 0 ? "" : text);
    std::free(text);
    void (*duringLine)() = nullptr;
    {
        const std::lock_guard<std::mutex> lock(mutex);
        lines.push_back(line);
        calls.push_back("syslog(" + std::to_string(priority) + ", \"" + format + "\") = " + line);
        duringLine = active == nullptr ? nullptr : active->duringLine;
    }
    if (duringLine != nullptr) {
        duringLine();
    }
}

void closelog()
{
    const Paused paused;
    const std::lock_guard<std::mutex> lock(mutex);
    calls.emplace_back("closelog()");
}

} // extern "C"

namespace support {

SyslogSpy::SyslogSpy()
{
    const std::lock_guard<std::mutex> lock(mutex);
    active = this;
    lines.clear();
    calls.clear();
}

SyslogSpy::~SyslogSpy()
{
    const std::lock_guard<std::mutex> lock(mutex);
    active = nullptr;
}

std::vector<std::string> SyslogSpy::takeLines()
{
    const std::lock_guard<std::mutex> lock(mutex);
    std::vector<std::string> taken;
    taken.swap(lines);
    calls.clear();
    return taken;
}

std::vector<std::string> SyslogSpy::takeCalls()
{
    const std::lock_guard<std::mutex> lock(mutex);
    std::vector<std::string> taken;
    taken.swap(calls);
    lines.clear();
    return taken;
}

} // namespace support
