#ifndef OSTREL_TESTS_RECOVERY_LINES_H
#define OSTREL_TESTS_RECOVERY_LINES_H

#include "recovery/Questions.h"

#include <string>

/// What publishers publish. A line says which publisher's it is and its number there, and all of it
/// follows from these: a subscriber can tell whether a byte is wrong.
namespace recovery {

constexpr auto lineTopic = "line";
constexpr auto noiseTopic = "noise"; ///< Nobody subscribes to it.
constexpr int lineType = 7;
constexpr int noiseType = 8;

/// The parts of a line: first who published it, then some of many lengths. Those of a text have no
/// zero bytes.
inline Parts lineOf(bool isText, unsigned int publisher, unsigned int line)
{
    Parts parts = {std::to_string(publisher) + " " + std::to_string(line)};
    for (unsigned int i = 0; i <= line % 4; ++i) {
        const std::size_t length = i * line * 7919 % 30000;
        const auto letter = static_cast<char>('a' + (publisher + line + i) % 26);
        parts.push_back(isText ? std::string(length, letter) : bytesOf(line + i, length));
    }
    return parts;
}

} // namespace recovery

#endif
