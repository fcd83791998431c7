#ifndef OSTREL_TESTS_SOAK_FIGURES_H
#define OSTREL_TESTS_SOAK_FIGURES_H

#include "Reading.h"

namespace soak {

/// What a dispatch loop's working message holds, in bytes of the heap for each message that it has
/// received: the extremes of all loops, half-way and at the end.
struct Held {
    double least;
    double most;
};

/// What one process of an exchange has measured.
struct Figures {
    Reading before; ///< After the warm-up.
    Reading after;  ///< After the last message, when all loops have returned.
    double seconds; ///< Between the two.
    long peak;      ///< The most bytes of the heap that lived at the same time.
    bool holds;     ///< Whether the process was in a loop with a working message.
    Held held;
};

} // namespace soak

#endif
