#include "fuzz/Handles.h"

#include "fuzz/Check.h"
#include "fuzz/Model.h"
#include "ostrel/MsgDealerWorkerHandle.h"

#include <stdexcept>

namespace fuzz {

ostrel::MsgHandle* Uncloneable::clone() const
{
    throw std::runtime_error(cloneFailure);
}

ChosenHandle::ChosenHandle(Input& input)
{
    const unsigned int choice = input.byte() % 4;
    if (choice == 1) {
        handle = std::make_unique<Uncloneable>();
        model = HandleModel{"", true};
    } else if (choice > 1) {
        const std::string client = input.bytes(input.byte() % 80);
        auto worker = std::make_unique<ostrel::MsgDealerWorkerHandle>();
        worker->setIdentity(client);
        handle = std::move(worker);
        model = HandleModel{client, false};
    }
}

std::optional<HandleModel> cloneOf(const std::optional<HandleModel>& source, std::string& failure)
{
    if (source && source->cannotBeCloned) {
        failure = std::string("runtime_error: ") + cloneFailure;
        return std::nullopt;
    }
    return source;
}

void expectSame(const ostrel::MsgHandle* actual, const std::optional<HandleModel>& expected)
{
    expect((actual != nullptr) == expected.has_value(), "a message has a handle or not");
    if (!expected) {
        return;
    }
    if (expected->cannotBeCloned) {
        expect(dynamic_cast<const Uncloneable*>(actual) != nullptr, "a handle keeps its class");
    } else {
        expectEqual(look(actual), Client(expected->client), "the handle's client");
    }
}

} // namespace fuzz
