#ifndef OSTREL_TESTS_SOAK_HELDMETER_H
#define OSTREL_TESTS_SOAK_HELDMETER_H

#include "Figures.h"

namespace soak {

/// Measures what a dispatch loop's working message holds.
class HeldMeter {
public:
    /// A loop of `length` messages is about to be entered; without what it holds, `flat` bytes of
    /// the heap live.
    void begin(long length, long flat);

    /// To be called in its callback, before anybody may send the next message; true at the last
    /// message of the loop.
    bool isLast();

    /// The number of messages of this loop so far.
    long count() const;

    Held held() const;

private:
    long mLength = 0;
    long mCount = 0;
    long mFlat = 0;
    bool mAny = false;
    Held mHeld = {0, 0};
};

} // namespace soak

#endif
