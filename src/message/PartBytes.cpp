#include "message/PartBytes.h"

#include "message/Bounds.h"

#include <array>
#include <atomic>
#include <cstring>
#include <malloc.h>
#include <new>

namespace ostrel::detail {

namespace {

/// Large buffers that are not in use. Without them a program that exchanges large messages frees
/// and allocates at the end of its heap, which shrinks and grows with every message: the pages
/// that it gets anew cost more than the copies.
///
/// As many as a reply takes that is received, sent and framed. Of the process and not of a thread,
/// since a message may be released by another thread than the one that made it.
std::array<std::atomic<char*>, 3> kept;

/// What is kept is smaller: in all it stays some megabytes.
constexpr int tooLarge = 4 * 1024 * 1024;

/// A kept buffer tells in front what size it was made for.
void noteSize(char* buffer, int size)
{
    std::memcpy(buffer, &size, sizeof size);
}

int notedSize(const char* buffer)
{
    int size = 0;
    std::memcpy(&size, buffer, sizeof size);
    return size;
}

/// A kept buffer of this size, or null. Others that it comes across are of earlier sizes and are
/// freed.
char* takeKept(int size)
{
    for (std::atomic<char*>& place : kept) {
        char* buffer = place.exchange(nullptr, std::memory_order_acquire);
        if (buffer != nullptr && notedSize(buffer) == size) {
            return buffer;
        }
        std::free(buffer);
    }
    return nullptr;
}

/// Apart, so that a small part is not charged for it.
[[gnu::noinline]] void* allocateLarge(int size)
{
    void* buffer = takeKept(size);
    return buffer != nullptr ? buffer : std::malloc(static_cast<std::size_t>(size));
}

} // namespace

char* copyBytes(const void* data, int size)
{
    if (size <= 0) {
        return nullptr;
    }
    require(data != nullptr, "DataPart without data");
    const auto length = static_cast<std::size_t>(size);
    void* copy = size < largeSize ? std::malloc(length) : allocateLarge(size);
    if (copy == nullptr) {
        throw std::bad_alloc();
    }
    return static_cast<char*>(std::memcpy(copy, data, length));
}

void releaseLarge(char* data, int size)
{
    // An application may have said more than there is.
    if (data != nullptr && size < tooLarge &&
        malloc_usable_size(data) >= static_cast<std::size_t>(size)) {
        noteSize(data, size);
        for (std::atomic<char*>& place : kept) {
            char* none = nullptr;
            if (place.compare_exchange_strong(none, data, std::memory_order_release,
                                              std::memory_order_relaxed)) {
                return;
            }
        }
    }
    std::free(data);
}

} // namespace ostrel::detail
