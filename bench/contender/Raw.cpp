// ZeroMQ's C functions and nothing else: received bytes go to a buffer that is there already.

#include "contender/PlainContender.h"

#include <vector>

namespace bench {

namespace {

struct SilentFrames {
    static void attempt() {}
    static void identity(int /*size*/) {}
    static void header(int /*size*/) {}
    static void part(int /*size*/) {}
};

/// The application's own buffer, used again and again.
class ReusedBuffer {
public:
    ReusedBuffer() : mBuffer(2U << 20U) {}

    void clear()
    {
        mUsed = 0;
    }

    Bytes add(const void* bytes, std::size_t size)
    {
        demand(size <= mBuffer.size() - mUsed, "a message that is too large for the buffer");
        char* copy = mBuffer.data() + mUsed;
        std::memcpy(copy, bytes, size);
        mUsed += size;
        return {copy, size};
    }

private:
    std::vector<char> mBuffer;
    std::size_t mUsed = 0;
};

} // namespace

std::unique_ptr<Contender> makeRaw()
{
    return std::make_unique<PlainContender<SilentFrames, ReusedBuffer, SilentRoles>>();
}

} // namespace bench
