#include "log/Logged.h"

#include "ostrel/Logger.h"

#include <string>

namespace ostrel::detail {

void logFailure(const char* prefix, const char* what)
{
    try {
        Logger::error(std::string(prefix) + what);
    } catch (const std::exception&) {
        // No memory for the line. The caller goes on to rethrow what it was about.
        return;
    }
}

} // namespace ostrel::detail
