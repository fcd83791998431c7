#include "fuzz/Input.h"

#include <algorithm>
#include <limits>

namespace fuzz {

namespace {

/// More frames would test ZeroMQ's patience, not ours.
constexpr std::size_t mostFrames = 12;

constexpr unsigned int lastFrameBit = 0x80;
constexpr unsigned int firstHeaderKind = 64;
constexpr unsigned int firstFilledKind = 80;

/// Around a header, ZeroMQ's own small frames, the limits of identities, and powers of two. A large
/// one is rare: it takes the time of a thousand small ones.
constexpr std::size_t filledSizes[] = {0,   1,   2,   7,   8,   9,   16,  31,   32,   33,  34,
                                       59,  60,  61,  62,  63,  64,  65,  66,   67,   127, 128,
                                       129, 254, 255, 256, 257, 511, 512, 1000, 65536};

/// The last byte differs, so that a frame that lost it does not look like a shorter one.
std::string filled(std::size_t size, char byte)
{
    std::string bytes(size, byte);
    if (!bytes.empty()) {
        bytes.back() = static_cast<char>(byte ^ 1);
    }
    return bytes;
}

} // namespace

Input::Input(const std::uint8_t* data, std::size_t size) : mNext(data), mLeft(size) {}

bool Input::atEnd() const
{
    return mLeft == 0;
}

unsigned int Input::byte()
{
    if (mLeft == 0) {
        return 0;
    }
    --mLeft;
    return *mNext++;
}

std::string Input::bytes(std::size_t count)
{
    const std::size_t size = std::min(count, mLeft);
    std::string taken(mNext, mNext + size);
    mNext += size;
    mLeft -= size;
    return taken;
}

int Input::number()
{
    unsigned int value = 0;
    for (int i = 0; i < 4; ++i) {
        value = value << 8U | byte();
    }
    return static_cast<int>(value);
}

unsigned int Input::index(std::size_t count)
{
    const unsigned int choice = byte();
    return choice == 0xff ? std::numeric_limits<unsigned int>::max()
                          : choice % (static_cast<unsigned int>(count) + 3);
}

Frames Input::message()
{
    Frames frames;
    bool last = false;
    while (!last) {
        const unsigned int control = byte();
        last = (control & lastFrameBit) != 0 || atEnd() || frames.size() + 1 == mostFrames;
        frames.push_back(frame(control & ~lastFrameBit));
    }
    return frames;
}

std::string Input::frame(unsigned int kind)
{
    if (kind < firstHeaderKind) {
        return bytes(kind);
    }
    if (kind < firstFilledKind) {
        return header(static_cast<int>(kind - firstHeaderKind), 0);
    }
    const std::size_t size = filledSizes[(kind - firstFilledKind) % std::size(filledSizes)];
    return filled(size, static_cast<char>(byte()));
}

} // namespace fuzz
