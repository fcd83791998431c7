#include "HeldMeter.h"

#include <algorithm>

namespace soak {

void HeldMeter::begin(long length, long flat)
{
    mLength = length;
    mCount = 0;
    mFlat = flat;
}

bool HeldMeter::isLast()
{
    ++mCount;
    const bool last = mCount == mLength;
    if (last || mCount == mLength / 2) {
        const long growth = settledReading().heap.bytes - mFlat;
        const double each = static_cast<double>(growth) / static_cast<double>(mCount);
        mHeld =
            mAny ? Held{std::min(mHeld.least, each), std::max(mHeld.most, each)} : Held{each, each};
        mAny = true;
    }
    return last;
}

long HeldMeter::count() const
{
    return mCount;
}

Held HeldMeter::held() const
{
    return mHeld;
}

} // namespace soak
