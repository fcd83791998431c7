#include "fuzz/Check.h"

#include "support/AllocFault.h"
#include "support/SyslogSpy.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

// For these two there are no headers. They are looked up by name.
extern "C" {

const char* __asan_default_options() // NOLINT(bugprone-reserved-identifier)
{
    // The short quarantine and stacks let three inputs run in the time of two.
    return "strict_string_checks=1:quarantine_size_mb=16:malloc_context_size=8";
}

int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/)
{
    // The library's trace lines go nowhere, in large writes.
    static char buffer[1 << 16];
    if (std::freopen("/dev/null", "w", stdout) == nullptr ||
        std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer) != 0) {
        fuzz::fail("standard output cannot be silenced");
    }
    return 0;
}

} // extern "C"

namespace support {

// SyslogSpy keeps out of the way of failing allocations. There are none here: libFuzzer and the
// sanitizers have a malloc() of their own.
void AllocFault::pause() {}
void AllocFault::resume() {}

} // namespace support

namespace fuzz {

void fail(const std::string& what)
{
    std::fprintf(stderr, "FINDING: %s\n", what.c_str());
    std::abort();
}

std::string show(int value)
{
    return std::to_string(value);
}

std::string show(const std::string& bytes)
{
    constexpr std::size_t shown = 80;
    constexpr const char* digits = "0123456789abcdef";
    std::string text = std::to_string(bytes.size()) + " \"";
    for (std::size_t i = 0; i < bytes.size() && i < shown; ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if (byte >= ' ' && byte <= '~' && byte != '\\') {
            text += bytes[i];
        } else {
            text += std::string("\\x") + digits[byte / 16] + digits[byte % 16];
        }
    }
    return text + (bytes.size() > shown ? "\"..." : "\"");
}

std::string show(const std::optional<std::string>& bytes)
{
    return bytes ? show(*bytes) : "none";
}

void expectLogged(const std::vector<std::string>& lines)
{
    static support::SyslogSpy log;
    expectEqual(log.takeLines(), lines, "the log");
}

} // namespace fuzz
