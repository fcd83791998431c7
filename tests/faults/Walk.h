#ifndef OSTREL_TESTS_FAULTS_WALK_H
#define OSTREL_TESTS_FAULTS_WALK_H

#include "faults/Operation.h"

namespace faults {

/// How often something was made to fail.
struct Count {
    int calls;  ///< A call, each of its errors counting.
    int frames; ///< A look at a frame, or its making.
    int allocations;
    int both; ///< A call, and then an allocation while that was dealt with.
};

/// Fails, one at a time, everything in `operation` that can fail, until it succeeds with nothing
/// failed; looks each time at how it ends and at what it leaves behind.
Count walk(const Operation& operation);

} // namespace faults

#endif
