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
constexpr std::size_t tooLarge = 4U << 20U;

/// A kept buffer of this length, give or take what malloc() adds, or null. Others that it comes
/// across are of an earlier length and are freed.
char* takeKept(std::size_t length)
{
    for (std::atomic<char*>& place : kept) {
        char* buffer = place.exchange(nullptr, std::memory_order_acquire);
        if (buffer == nullptr) {
            continue;
        }
        const std::size_t usable = malloc_usable_size(buffer);
        if (usable >= length && usable - length <= length / 8) {
            return buffer;
        }
        std::free(buffer);
    }
    return nullptr;
}

/// Apart, so that a small part is not charged for it.
[[gnu::noinline]] void* allocateLarge(std::size_t length)
{
    void* buffer = takeKept(length);
    return buffer != nullptr ? buffer : std::malloc(length);
}

} // namespace

char* copyBytes(const void* data, int size)
{
    if (size <= 0) {
        return nullptr;
    }
    require(data != nullptr, "DataPart without data");
    const auto length = static_cast<std::size_t>(size);
    void* copy = size < largeSize ? std::malloc(length) : allocateLarge(length);
    if (copy == nullptr) {
        throw std::bad_alloc();
    }
    return static_cast<char*>(std::memcpy(copy, data, length));
}

void releaseLarge(char* data)
{
    if (data != nullptr && malloc_usable_size(data) < tooLarge) {
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
