#ifndef OSTREL_TESTS_MESSAGE_FAILING_H
#define OSTREL_TESTS_MESSAGE_FAILING_H

#include "support/AllocFault.h"
#include "support/SyslogSpy.h"
#include "support/Thrown.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace support {

const char* const outOfMemory = "std::bad_alloc: std::bad_alloc";

/// Lets the first, the second, ... allocation of `operate(subject)` fail, each time with a new
/// subject from `make()`, until the operation ends without asking for so many. A failed one must
/// throw std::bad_alloc.
///
/// What each failure left behind, runs of equal ones given once: `describe(subject)`, then each
/// syslog line after "; ".
template <typename Make, typename Operate, typename Describe>
std::vector<std::string> failEachAllocation(Make make, Operate operate, Describe describe)
{
    SyslogSpy log;
    std::vector<std::string> left;
    for (int nth = 1; nth < 1000; ++nth) {
        SCOPED_TRACE("allocation " + std::to_string(nth));
        auto subject = make();
        log.takeLines();
        std::string thrown;
        bool happened = false;
        {
            const AllocFault fault(nth);
            thrown = thrownBy([&] { operate(subject); });
            happened = fault.happened();
        }
        std::string found;
        for (const std::string& line : log.takeLines()) {
            found += "; " + line;
        }
        if (!happened) {
            EXPECT_EQ(thrown, "nothing");
            EXPECT_EQ(found, "");
            return left;
        }
        EXPECT_EQ(thrown, outOfMemory);
        found.insert(0, describe(subject));
        if (left.empty() || left.back() != found) {
            left.push_back(found);
        }
    }
    ADD_FAILURE() << "the operation never ends";
    return left;
}

} // namespace support

#endif
