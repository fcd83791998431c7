#ifndef OSTREL_BENCH_INSTRUCTIONS_USEDHEAP_H
#define OSTREL_BENCH_INSTRUCTIONS_USEDHEAP_H

#include <cstddef>
#include <cstdlib>
#include <random>
#include <vector>

namespace bench {

/// A heap as an application has it, with blocks and holes of many sizes that change all the time.
///
/// What malloc() and free() cost depends on what lies around: in a fresh process one block more or
/// less changes the instructions of a message by a tenth. What is counted over many heaps does not
/// depend on such luck. They are the same for all contenders.
class UsedHeap {
public:
    explicit UsedHeap(unsigned int seed) : mRandom(seed + 1)
    {
        std::vector<void*> holes;
        for (int i = 0; i < 400; ++i) {
            void* block = std::malloc(sizeBetween(16, 1024));
            (mRandom() % 2U == 0 ? holes : mSmall).push_back(block);
        }
        for (int i = 0; i < 64; ++i) {
            mLarge.push_back(makeLarge());
        }
        release(holes);
    }

    ~UsedHeap()
    {
        release(mSmall);
        release(mLarge);
    }

    UsedHeap(const UsedHeap&) = delete;
    UsedHeap& operator=(const UsedHeap&) = delete;

    /// Moves a few holes. Small blocks stay: malloc() finds those without looking around.
    void stir()
    {
        for (int i = 0; i < 8; ++i) {
            void*& block = mLarge[mRandom() % mLarge.size()];
            std::free(block);
            block = makeLarge();
        }
    }

private:
    std::size_t sizeBetween(std::size_t least, std::size_t most)
    {
        return least + mRandom() % (most - least);
    }

    void* makeLarge()
    {
        return std::malloc(sizeBetween(1100, 8000));
    }

    static void release(const std::vector<void*>& blocks)
    {
        for (void* block : blocks) {
            std::free(block);
        }
    }

    std::minstd_rand mRandom;
    std::vector<void*> mSmall;
    std::vector<void*> mLarge;
};

} // namespace bench

#endif
