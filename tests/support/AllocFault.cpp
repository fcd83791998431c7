#include "support/AllocFault.h"

#include <cerrno>
#include <cstdlib>
#include <new>

// What malloc() is behind ours: the C library's, or a sanitizer's.
extern "C" void* REAL_MALLOC(std::size_t size);

namespace {

thread_local int countdown = 0; // 0: none planned or it has happened
thread_local int paused = 0;
thread_local bool done = false;
thread_local void (*watcher)(void*, std::size_t) = nullptr;

bool fails()
{
    if (countdown == 0 || paused > 0 || --countdown > 0) {
        return false;
    }
    done = true;
    return true;
}

} // namespace

extern "C" void* malloc(std::size_t size)
{
    if (fails()) {
        errno = ENOMEM;
        return nullptr;
    }
    void* memory = REAL_MALLOC(size);
    if (watcher != nullptr && paused <= 0 && memory != nullptr) {
        watcher(memory, size);
    }
    return memory;
}

// On malloc() in every build: the sanitizers' own does not come here.
void* operator new(std::size_t size)
{
    void* memory = malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return malloc(size == 0 ? 1 : size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}

namespace support {

AllocFault::AllocFault(int nth)
{
    done = false;
    paused = 0;
    countdown = nth;
}

AllocFault::~AllocFault()
{
    countdown = 0;
}

void AllocFault::failFromNow(int nth)
{
    countdown = nth;
}

bool AllocFault::happened() const
{
    return done;
}

void AllocFault::watch(void (*look)(void* memory, std::size_t size))
{
    watcher = look;
}

void AllocFault::pause()
{
    ++paused;
}

void AllocFault::resume()
{
    --paused;
}

} // namespace support
