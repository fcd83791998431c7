#ifndef TEXTS_TEXTS_H
#define TEXTS_TEXTS_H

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

/// "lines words bytes" of a text, as wc of Debian 12 counts them in the C locale.
std::string countOf(std::string_view text);

/// The text with a to z in capitals.
std::string capitalsOf(std::string_view text);

/// All of a file. Throws when it cannot be read or is too large for one message part.
std::string contentOf(const std::string& path);

/// The lines of a file, without their ends.
std::vector<std::string> linesOf(const std::string& path);

/// A list of paths, each with `separator` behind it.
std::vector<std::string> readPaths(std::istream& list, char separator);

#endif
