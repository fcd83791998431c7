#ifndef OSTREL_TESTS_FUZZ_FRAMES_H
#define OSTREL_TESTS_FUZZ_FRAMES_H

#include <string>
#include <vector>

namespace fuzz {

/// The frames of one message.
using Frames = std::vector<std::string>;

/// A header frame, written byte by byte: not the library's own way.
inline std::string header(int type, int subType)
{
    std::string bytes;
    for (const int number : {type, subType}) {
        for (const int shift : {24, 16, 8, 0}) {
            bytes += static_cast<char>(static_cast<unsigned int>(number) >> shift & 0xffU);
        }
    }
    return bytes;
}

} // namespace fuzz

#endif
