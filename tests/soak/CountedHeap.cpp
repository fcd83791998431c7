// The heap, counted: the program's malloc() stands in front of the C library's.

#include "Reading.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <malloc.h>

// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

std::atomic<long> bytes(0);
std::atomic<long> blocks(0);
std::atomic<long> allocations(0);
std::atomic<long> peak(0);

/// A block's own bytes and the word in front of them.
long costOf(void* block)
{
    return static_cast<long>(malloc_usable_size(block) + sizeof(std::size_t));
}

void* counted(void* block)
{
    if (block == nullptr) {
        return nullptr;
    }
    const long cost = costOf(block);
    const long live = bytes.fetch_add(cost, std::memory_order_relaxed) + cost;
    blocks.fetch_add(1, std::memory_order_relaxed);
    allocations.fetch_add(1, std::memory_order_relaxed);
    long highest = peak.load(std::memory_order_relaxed);
    while (live > highest &&
           !peak.compare_exchange_weak(highest, live, std::memory_order_relaxed)) {
    }
    return block;
}

void uncount(long cost)
{
    bytes.fetch_sub(cost, std::memory_order_relaxed);
    blocks.fetch_sub(1, std::memory_order_relaxed);
}

} // namespace

extern "C" {

void* malloc(std::size_t size)
{
    return counted(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size)
{
    return counted(__libc_calloc(count, size));
}

void* realloc(void* block, std::size_t size)
{
    const long cost = block == nullptr ? 0 : costOf(block);
    void* moved = __libc_realloc(block, size);
    // The old block is gone when there is a new one, and when none was asked for.
    if (block != nullptr && (moved != nullptr || size == 0)) {
        uncount(cost);
    }
    return counted(moved);
}

void free(void* block)
{
    if (block != nullptr) {
        uncount(costOf(block));
        __libc_free(block);
    }
}

void* memalign(std::size_t alignment, std::size_t size)
{
    return counted(__libc_memalign(alignment, size));
}

void* aligned_alloc(std::size_t alignment, std::size_t size)
{
    return memalign(alignment, size);
}

int posix_memalign(void** block, std::size_t alignment, std::size_t size)
{
    *block = memalign(alignment, size);
    return *block == nullptr ? ENOMEM : 0;
}

} // extern "C"

namespace soak {

Heap heapNow()
{
    return {bytes.load(), blocks.load(), allocations.load()};
}

long heapPeak()
{
    return peak.load();
}

} // namespace soak
