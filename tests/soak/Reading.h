#ifndef OSTREL_TESTS_SOAK_READING_H
#define OSTREL_TESTS_SOAK_READING_H

#include <cstddef>

namespace soak {

/// What malloc() has given out in this process.
struct Heap {
    long bytes;       ///< That live, with what malloc() itself needs for a block.
    long blocks;      ///< That live; 0 where nobody counts them.
    long allocations; ///< That were ever made; 0 where nobody counts them.
};

Heap heapNow();

/// The most bytes that have lived at the same time; 0 where nobody counts them.
long heapPeak();

/// The memory of a process at a moment when nothing is under way in it.
struct Reading {
    Heap heap;
    long resident; ///< Bytes of memory that the process occupies.
};

/// Waits until the heap no longer changes (ZeroMQ's own thread may still be tidying up), and reads.
Reading settledReading();

/// What a block of `size` bytes costs.
long heapCostOf(std::size_t size);

} // namespace soak

#endif
