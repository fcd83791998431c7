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
/// Errors: nothing is thrown and nothing reported; a line that syslog loses is lost.
///
/// Threads: the calls take no lock. Lines are written whole, but change the settings only while no
/// other thread can be logging.
class Logger {
public:
    /// There are no loggers: everything here is static.
    Logger() = delete;

    /// Syslog facility of every line; LOG_LOCAL1 unless the application sets another.
    static int facility;

    /// Syslog identity of every line; "Ostrel" unless the application sets another. Its buffer is
    /// handed to openlog() as it is.
    static std::string app_name;

    /// Writes a line with level LOG_ERR and the process id.
    ///
    /// @param msg  The text. It is never taken as a format: a per cent sign stands in the log as it
    ///     is. It ends at its first zero byte; an empty text gives an empty line.
    static void error(std::string msg);

    /// Writes a line with level LOG_INFO and the process id. For applications: the library itself
    /// logs only failures.
    ///
    /// @param msg  The text, as for error().
    static void info(std::string msg);
};

} // namespace ostrel

#endif
