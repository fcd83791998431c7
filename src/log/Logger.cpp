#include "ostrel/Logger.h"

#include <syslog.h>

namespace ostrel {

int Logger::facility = LOG_LOCAL1;
std::string Logger::app_name = "Ostrel"; // NOLINT(cert-err58-cpp): too short to allocate

namespace {

// Opened and closed around every line, so that changed settings apply from the next line on.
void write(int level, const std::string& msg)
{
    openlog(Logger::app_name.c_str(), LOG_PID, Logger::facility);
    syslog(level, "%s", msg.c_str());
    closelog();
}

} // namespace

void Logger::error(std::string msg)
{
    write(LOG_ERR, msg);
}

void Logger::info(std::string msg)
{
    write(LOG_INFO, msg);
}

} // namespace ostrel
