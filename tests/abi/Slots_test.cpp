// Which function each slot of a virtual table holds. A program calls by slot.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <vector>

namespace {

using Slots = std::vector<std::string>;

// The two destructors that a virtual one has: for an object, and for one that is deleted.
const std::string complete = "D1Ev";
const std::string deleting = "D0Ev";
const std::string pure = "__cxa_pure_virtual";
// Nothing is destroyed through the table of an abstract class: its slots stay empty.
const std::string none;

const Slots patternSlots = {complete,
                            deleting,
                            "11setPropertyENS_14channel_prop_tERKNSt7__cxx1112basic_"
                            "stringIcSt11char_traitsIcESaIcEEE",
                            "11getPropertyB5cxx11ENS_14channel_prop_tE",
                            "4sendEPNS_9StringMsgE",
                            "7receiveEPNS_9StringMsgEl",
                            "4sendEPNS_6IpcMsgE",
                            "7receiveEPNS_6IpcMsgEl",
                            "15connectEndpointEv"};
const Slots abstractPatternSlots = {none, none, pure, pure, pure, pure, pure, pure, pure};
const Slots channelSlots = {complete, deleting, "14getChannelNameB5cxx11Ev"};

struct Case {
    std::string name;
    Slots slots;
};

void PrintTo(const Case& printed, std::ostream* out)
{
    *out << printed.name;
}

class VirtualTable : public testing::TestWithParam<Case> {};

/// The address of `name` in the process; null when there is none.
void* find(const std::string& name)
{
    return dlsym(RTLD_DEFAULT, name.c_str());
}

void* symbol(const std::string& name)
{
    void* address = find(name);
    EXPECT_NE(address, nullptr) << name;
    return address;
}

} // namespace

TEST_P(VirtualTable, HoldsItsOperationsInOrder)
{
    const std::string scope = "6ostrel" + std::to_string(GetParam().name.size()) + GetParam().name;
    void* const* table = static_cast<void**>(symbol("_ZTVN" + scope + "E"));
    ASSERT_NE(table, nullptr);
    EXPECT_EQ(table[0], nullptr) << "offset to top";
    EXPECT_EQ(table[1], symbol("_ZTIN" + scope + "E")) << "type information";
    for (std::size_t i = 0; i < GetParam().slots.size(); ++i) {
        const std::string& slot = GetParam().slots[i];
        if (slot == pure || slot == none) {
            EXPECT_EQ(table[2 + i], slot == pure ? symbol(pure) : nullptr) << "slot " << i;
            continue;
        }
        // Constant operations carry a K.
        void* expected = find("_ZN" + scope + slot);
        if (expected == nullptr) {
            expected = symbol("_ZNK" + scope + slot);
        }
        EXPECT_EQ(table[2 + i], expected) << "slot " << i << ": " << slot;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Of, VirtualTable,
    testing::Values(
        Case{"MsgHandle", {none, none, pure}},
        Case{"MsgDealerWorkerHandle", {complete, deleting, "5cloneEv"}},
        Case{"DataPart", {complete, deleting}}, Case{"IpcMsg", {complete, deleting}},
        Case{"MsgPattern", abstractPatternSlots}, Case{"MsgRequestPattern", patternSlots},
        Case{"MsgReplyPattern", patternSlots}, Case{"MsgPublishPattern", patternSlots},
        Case{"MsgSubscribePattern", patternSlots}, Case{"MsgDealerClientPattern", patternSlots},
        Case{"MsgDealerWorkerPattern", patternSlots}, Case{"MsgPublishChannel", channelSlots},
        Case{"MsgSubscribeChannel", channelSlots}, Case{"MsgDealerClientChannel", channelSlots},
        Case{"MsgDealerWorkerChannel", channelSlots}, Case{"MsgChannel", {none, none, pure}},
        Case{"MsgRequestClientChannel", channelSlots}, Case{"MsgReplyServerChannel", channelSlots}),
    [](const auto& tested) { return tested.param.name; });
