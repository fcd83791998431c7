#ifndef OSTREL_TESTS_LOG_KEPTSETTINGS_H
#define OSTREL_TESTS_LOG_KEPTSETTINGS_H

#include "ostrel/Logger.h"

#include <string>

namespace support {

/// The logger's settings are again what they were when it ends.
class KeptSettings {
public:
    KeptSettings() : mFacility(ostrel::Logger::facility), mName(ostrel::Logger::app_name) {}

    ~KeptSettings()
    {
        ostrel::Logger::facility = mFacility;
        ostrel::Logger::app_name = mName;
    }

    KeptSettings(const KeptSettings&) = delete;
    KeptSettings& operator=(const KeptSettings&) = delete;

private:
    int mFacility;
    std::string mName;
};

} // namespace support

#endif
