#ifndef OSTREL_TESTS_FUZZ_INPUT_H
#define OSTREL_TESTS_FUZZ_INPUT_H

#include "fuzz/Frames.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz {

/// Reads a fuzzer's input from front to back. Behind its end everything is zero or empty, so every
/// input means something, and a longer one means the same with more behind it.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size);

    bool atEnd() const;
    unsigned int byte();

    /// Up to `count` bytes; fewer when the input ends.
    std::string bytes(std::size_t count);

    /// Any number, from four bytes.
    int number();

    /// An index of a list of `count`: now and then one or two behind it, or far off.
    unsigned int index(std::size_t count);

    /// A frame's control byte, then what that asks for:
    ///   0 to 63    that many bytes, which follow
    ///   64 to 79   a header frame of type 0 to 15, subtype 0
    ///   80 to 127  a frame of a size at which something may change, filled with the next byte
    /// With bit 7 set, it is the last frame of its message.
    Frames message();

private:
    std::string frame(unsigned int kind);

    const std::uint8_t* mNext;
    std::size_t mLeft;
};

} // namespace fuzz

#endif
