#ifndef OSTREL_TESTS_FUZZ_HANDLES_H
#define OSTREL_TESTS_FUZZ_HANDLES_H

#include "fuzz/Input.h"
#include "ostrel/MsgHandle.h"

#include <memory>
#include <optional>
#include <string>

namespace fuzz {

/// What is known of a message's handle.
struct HandleModel {
    std::string client;
    bool cannotBeCloned = false;
};

constexpr const char* cloneFailure = "this handle cannot be cloned";

/// A handle of an application's own; none of ours fails to be cloned.
class Uncloneable : public ostrel::MsgHandle {
public:
    ostrel::MsgHandle* clone() const override;
};

/// A handle, or none, that the input chooses.
struct ChosenHandle {
    explicit ChosenHandle(Input& input);

    std::unique_ptr<ostrel::MsgHandle> handle;
    std::optional<HandleModel> model;
};

/// The clone that a message makes of `source`. Sets `failure` to what is thrown, if anything.
std::optional<HandleModel> cloneOf(const std::optional<HandleModel>& source, std::string& failure);

void expectSame(const ostrel::MsgHandle* actual, const std::optional<HandleModel>& expected);

} // namespace fuzz

#endif
