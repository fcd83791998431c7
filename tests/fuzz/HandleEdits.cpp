#include "fuzz/Check.h"
#include "fuzz/Edits.h"
#include "fuzz/Handles.h"
#include "fuzz/Model.h"
#include "ostrel/MsgDealerWorkerHandle.h"

#include <memory>
#include <string>

namespace fuzz {

void editHandles(Input& input)
{
    ostrel::MsgDealerWorkerHandle handle;
    std::string expected;
    while (!input.atEnd()) {
        std::string thrown;
        std::string expectedThrown;
        const unsigned int choice = input.byte() % 3;
        const std::string text = input.bytes(input.byte() % 80);
        if (choice == 0) {
            handle.setIdentity(text);
            expected = text;
        } else if (choice == 1) {
            handle.setIdentity(text.c_str(), static_cast<int>(input.byte()) - 100);
            expected = upToZero(text);
        } else {
            thrown = thrownBy([&] { handle.setIdentity(nullptr, 3); });
            expectedThrown = "logic_error: basic_string::_M_construct null not valid";
        }
        expectEqual(thrown, expectedThrown, "what is thrown");
        expectEqual(handle.getIdentity(), expected, "the identity");
        const std::unique_ptr<ostrel::MsgHandle> clone(handle.clone());
        expectSame(clone.get(), HandleModel{expected});
        expectLogged({});
    }
}

} // namespace fuzz
