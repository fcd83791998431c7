#include "faults/Ledger.h"

#include "support/AllocFault.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <sched.h>

// What free() is behind ours: the C library's, or a sanitizer's.
extern "C" void REAL_FREE(void* memory);

namespace {

struct Block {
    void* memory;
    std::size_t size;
};

// Not a container: it is used inside malloc() and free().
Block blocks[4096];
std::atomic<std::size_t> count = 0;
std::atomic_flag busy = ATOMIC_FLAG_INIT;

class Locked {
public:
    Locked()
    {
        while (busy.test_and_set(std::memory_order_acquire)) {
            // Not the C++ library's, which a sanitizer sees before it is ready for the thread.
            sched_yield();
        }
    }
    ~Locked()
    {
        busy.clear(std::memory_order_release);
    }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;
};

void enter(void* memory, std::size_t size)
{
    const Locked locked;
    if (count == std::size(blocks)) {
        std::fputs("the ledger is full\n", stderr);
        std::abort();
    }
    blocks[count++] = {memory, size};
}

void strike(void* memory)
{
    if (count == 0) {
        return;
    }
    const Locked locked;
    Block* end = blocks + count;
    Block* found =
        std::find_if(blocks, end, [&](const Block& block) { return block.memory == memory; });
    if (found != end) {
        *found = blocks[--count];
    }
}

} // namespace

extern "C" void free(void* memory) noexcept
{
    strike(memory);
    REAL_FREE(memory);
}

namespace faults {

Ledger::Ledger()
{
    forget();
}

Ledger::~Ledger()
{
    while (count > 0) {
        std::free(blocks[0].memory);
    }
}

void Ledger::forget()
{
    count = 0;
}

Ledger::Writing::Writing()
{
    support::AllocFault::watch(enter);
}

Ledger::Writing::~Writing()
{
    support::AllocFault::watch(nullptr);
}

Sizes Ledger::left() const
{
    Block copies[std::size(blocks)];
    std::size_t copied = 0;
    {
        const Locked locked;
        copied = count;
        std::copy(blocks, blocks + copied, copies);
    }
    Sizes sizes;
    for (std::size_t i = 0; i < copied; ++i) {
        sizes.push_back(copies[i].size);
    }
    std::sort(sizes.begin(), sizes.end());
    return sizes;
}

} // namespace faults
