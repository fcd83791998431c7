#ifndef OSTREL_LOGGER_H
#define OSTREL_LOGGER_H

#include <string>

namespace ostrel {

/// Writes the library's failures, and whatever an application cares to add, to syslog.
///
/// Every line opens the log with the two settings below, writes, and closes the log again. A change
/// of a setting therefore applies from the next line on. The price is a reconnect per line, and an
/// application that called openlog() itself loses its identity once the library has logged a line.
///
/// Threads: the calls take no lock. Lines are written whole, but change the settings only while no
/// other thread can be logging.
class Logger {
public:
    Logger() = delete;

    /// Syslog facility of every line; LOG_LOCAL1 unless the application sets another.
    static int facility;

    /// Syslog identity of every line; "Ostrel" unless the application sets another. Its buffer is
    /// handed to openlog() as it is.
    static std::string app_name;

    /// Writes `msg` with level LOG_ERR and the process id. The text is never taken as a format: a
    /// "%" stands in the log as it is, and an empty text gives an empty line.
    static void error(std::string msg);

    /// Writes `msg` with level LOG_INFO and the process id. For applications: the library itself
    /// logs only failures.
    static void info(std::string msg);
};

} // namespace ostrel

#endif
