#ifndef OSTREL_TESTS_MESSAGE_TESTHANDLE_H
#define OSTREL_TESTS_MESSAGE_TESTHANDLE_H

#include "ostrel/MsgHandle.h"

#include <functional>
#include <string>
#include <utility>

namespace support {

/// A handle that counts how many of its kind live, and that lets a test look in, or throw, when it
/// is cloned or destroyed. A clone gets the name only.
class TestHandle : public ostrel::MsgHandle {
public:
    explicit TestHandle(std::string handleName) : name(std::move(handleName))
    {
        ++live;
    }

    ~TestHandle() override
    {
        --live;
        if (onDestroy) {
            onDestroy();
        }
    }

    TestHandle(const TestHandle&) = delete;
    TestHandle& operator=(const TestHandle&) = delete;

    MsgHandle* clone() const override
    {
        if (onClone) {
            onClone();
        }
        return new TestHandle(name);
    }

    std::string name;
    std::function<void()> onClone;
    std::function<void()> onDestroy;

    inline static int live = 0;
};

/// The handle of a message that was given a TestHandle, or null.
template <typename Msg> TestHandle* testHandle(const Msg& msg)
{
    return dynamic_cast<TestHandle*>(msg.getHandle());
}

} // namespace support

#endif
