#ifndef OSTREL_MESSAGE_PARTBYTES_H
#define OSTREL_MESSAGE_PARTBYTES_H

#include <cstddef>
#include <cstdlib>

namespace ostrel::detail {

/// A malloc()ed copy of the `size` bytes at `data`, or null for a size of 0 or less.
/// Throws std::bad_alloc, or std::logic_error when there are bytes to copy and `data` is null.
char* copyBytes(const void* data, int size);

/// From this size on a buffer is worth keeping for the next message.
constexpr int largeSize = 32 * 1024;

/// Frees a part's large buffer, or keeps it for the next part of that size.
void releaseLarge(char* data, int size);

/// Gives a part's bytes back, null included. `size` is what the part says; its buffer may come from
/// elsewhere and be another.
inline void releaseBytes(char* data, int size)
{
    if (size >= largeSize) {
        releaseLarge(data, size);
    } else {
        std::free(data);
    }
}

} // namespace ostrel::detail

#endif
