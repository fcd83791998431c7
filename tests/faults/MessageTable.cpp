// Parts, messages, handles and the log.

#include "faults/Table.h"
#include "message/Messages.h"
#include "ostrel/Logger.h"
#include "ostrel/MsgDealerWorkerHandle.h"

#include <cstdlib>
#include <cstring>

using ostrel::DataPart;
using ostrel::IpcMsg;
using ostrel::MsgDealerWorkerHandle;
using ostrel::MsgHandle;
using ostrel::StringMsg;
using support::bytesOf;
using workertest::addressed;
using workertest::clientOf;

namespace faults {

namespace {

const std::string cloning = prefix("MsgDealerWorkerHandle::clone");
const Ending cloneFails = withoutMemory({cloning});

std::unique_ptr<MsgHandle> handleOf(const std::string& identity)
{
    auto handle = std::make_unique<MsgDealerWorkerHandle>();
    handle->setIdentity(identity);
    return handle;
}

DataPart partOf(const std::string& bytes)
{
    void* copy = std::malloc(bytes.size());
    return {std::memcpy(copy, bytes.data(), bytes.size()), static_cast<int>(bytes.size())};
}

/// The parts and the client of a message.
template <typename Msg> std::string describe(Msg& msg)
{
    return shown(support::partsOf(msg)) + " " + clientOf(msg.getHandle());
}

template <typename Msg> std::string describeIt(Scene<Msg>& here)
{
    return here.it ? describe(*here.it) : "none";
}

void addParts(Table& table)
{
    using Here = Scene<DataPart>;
    using OnPart = Row<DataPart>;
    const auto showIt = [](Here& here) { return here.it ? bytesOf(*here.it) : "none"; };

    OnPart(
        table, "DataPart.withoutACopy",
        {"DataPart::DataPart()", "DataPart::DataPart(void*, int)", "DataPart::~DataPart()"},
        [](Here& here) { here.got = longText; },
        [](Here& here) {
            here.it.emplace();
            here.it.reset();
            here.it.emplace(nullptr, 0);
            here.it.reset();
            return 0;
        })
        .shows("none", showIt);

    OnPart(
        table, "DataPart.copied", {"DataPart::DataPart(ostrel::DataPart const&)"},
        [](Here& here) { support::append(here.binary, longText); },
        [](Here& here) {
            here.it.emplace(here.binary[0]);
            return 0;
        })
        .memory({withoutMemory()})
        .shows(longText, showIt)
        .unchanged();

    // The own bytes go first, so they are gone afterwards.
    OnPart(
        table, "DataPart.assigned", {"DataPart::operator=(ostrel::DataPart const&)"},
        [](Here& here) {
            here.it.emplace(partOf("first"));
            support::append(here.binary, longText);
        },
        [](Here& here) {
            *here.it = here.binary[0];
            return 0;
        })
        .memory({withoutMemory()})
        .shows(longText, showIt)
        .repeats();
}

using OnBinary = Row<IpcMsg>;
using Binary = Scene<IpcMsg>;

void fillBinary(Binary& here)
{
    here.it.emplace(7, 258);
    support::append(*here.it, longText);
    support::append(*here.it, "second");
    here.handle = handleOf(client);
}

/// What both kinds of message hold before they are edited.
const std::string filled = "[" + longText + "][second] no handle";

void addBinaryMaking(Table& table)
{

    OnBinary(
        table, "IpcMsg.withoutACopy",
        {"IpcMsg::IpcMsg()", "IpcMsg::IpcMsg(int, int)", "IpcMsg::~IpcMsg()",
         "IpcMsg::getHandle() const", "IpcMsg::getMsgData()", "IpcMsg::getMsgSize()",
         "IpcMsg::getMsgSubType() const", "IpcMsg::getMsgType() const",
         "IpcMsg::getNumParts() const", "IpcMsg::operator[](unsigned int)",
         "IpcMsg::setMsgSubType(int)", "IpcMsg::setMsgType(int)"},
        [](Binary& here) {
            support::append(here.binary, longText);
            here.it.emplace();
        },
        [](Binary& here) {
            here.it.emplace();
            here.it.emplace(7, 258);
            IpcMsg& msg = here.binary;
            msg.setMsgType(5);
            msg.setMsgSubType(6);
            return msg.getMsgSize() + msg.getMsgSubType() + msg.getMsgType() + msg.getNumParts() +
                   (msg.getHandle() == nullptr ? 1000 : 0) +
                   (msg.getMsgData() == msg[0].mData ? 2000 : 0);
        })
        .ends(returns(static_cast<long>(longText.size()) + 6 + 1 + 3000))
        .shows(" no handle", describeIt<IpcMsg>);

    OnBinary(
        table, "IpcMsg.ofBytes", {"IpcMsg::IpcMsg(int, char*, int, ostrel::MsgHandle*)"},
        [](Binary& here) {
            here.handle = handleOf(client);
            here.got = longText;
        },
        [](Binary& here) {
            here.it.emplace(7, here.got.data(), static_cast<int>(here.got.size()),
                            here.handle.get());
            here.handle.release(); // NOLINT(bugprone-unused-return-value): the message has it.
            return 0;
        })
        .memory({withoutMemory()})
        .shows("[" + longText + "] " + client, describeIt<IpcMsg>)
        .unchanged();

    const std::string copying = binaryPrefix("IpcMsg::IpcMsg");
    OnBinary(
        table, "IpcMsg.copied", {"IpcMsg::IpcMsg(ostrel::IpcMsg const&)"},
        [](Binary& here) {
            support::append(here.binary, longText);
            support::append(here.binary, "second");
            here.binary.setHandle(handleOf(client).get());
        },
        [](Binary& here) {
            here.it.emplace(here.binary);
            return 0;
        })
        .memory({withoutMemory({copying}), withoutMemory({cloning, copying})})
        .shows("[" + longText + "][second] " + client, describeIt<IpcMsg>)
        .unchanged();

    const std::string assigning = binaryPrefix("IpcMsg::Opearator=");
    OnBinary(
        table, "IpcMsg.assigned", {"IpcMsg::operator=(ostrel::IpcMsg const&)"},
        [](Binary& here) {
            fillBinary(here);
            here.binary = addressed(support::messageOf<IpcMsg>({"one", "two", otherText}), client);
        },
        [](Binary& here) {
            *here.it = here.binary;
            return 0;
        })
        .memory({withoutMemory({assigning}), withoutMemory({cloning, assigning})})
        .shows("[one][two][" + otherText + "] " + client, describeIt<IpcMsg>)
        .repeats();
}

void addBinaryEditing(Table& table)
{
    OnBinary(table, "IpcMsg.setHandle", {"IpcMsg::setHandle(ostrel::MsgHandle const*)"}, fillBinary,
             [](Binary& here) {
                 here.it->setHandle(here.handle.get());
                 return 0;
             })
        .memory({cloneFails})
        .shows("[" + longText + "][second] " + client, describeIt<IpcMsg>)
        .unchanged();

    const std::string grown = "[" + longText + "][" + otherText + "][second] no handle";
    OnBinary(
        table, "IpcMsg.insertPart", {"IpcMsg::insertPart(unsigned int, ostrel::DataPart)"},
        [](Binary& here) {
            fillBinary(here);
            support::append(here.binary, otherText);
        },
        [](Binary& here) { return here.it->insertPart(1, given(here.binary[0])); })
        .memory({withoutMemory()})
        .shows(grown, describeIt<IpcMsg>)
        .unchanged();
    OnBinary(table, "IpcMsg.insertPartOfBytes",
             {"IpcMsg::insertPart(unsigned int, char const*, int)"}, fillBinary,
             [](Binary& here) {
                 return here.it->insertPart(1, otherText.data(),
                                            static_cast<int>(otherText.size()));
             })
        .memory({withoutMemory()})
        .shows(grown, describeIt<IpcMsg>)
        .unchanged();
    OnBinary(table, "IpcMsg.appendPart", {"IpcMsg::insertPart(unsigned int, char const*, int)"},
             fillBinary,
             [](Binary& here) {
                 return here.it->insertPart(2, otherText.data(),
                                            static_cast<int>(otherText.size()));
             })
        .memory({withoutMemory()})
        .shows("[" + longText + "][second][" + otherText + "] no handle", describeIt<IpcMsg>)
        .unchanged();
    OnBinary(table, "IpcMsg.removePart", {"IpcMsg::removePart(unsigned int)"}, fillBinary,
             [](Binary& here) { return here.it->removePart(0); })
        .memory({withoutMemory()})
        .shows("[second] no handle", describeIt<IpcMsg>)
        .unchanged();
    OnBinary(table, "IpcMsg.setNumParts", {"IpcMsg::setNumParts(unsigned int)"}, fillBinary,
             [](Binary& here) { return here.it->setNumParts(3); })
        .memory({withoutMemory({binaryPrefix("IpcMsg::setNumParts")})})
        .shows("[" + longText + "][second][null 0] no handle", describeIt<IpcMsg>)
        .unchanged();
}

/// Only the look at a part is logged.
void addBinaryMisuse(Table& table)
{
    OnBinary(table, "IpcMsg.partOutOfBounds", {"IpcMsg::operator[](unsigned int)"}, fillBinary,
             [](Binary& here) { return (*here.it)[2].mSize; })
        .refuses("StringMsg part index out of bounds", {binaryPrefix("StringMsg::operator []")})
        .shows(filled, describeIt<IpcMsg>)
        .unchanged();
    OnBinary(table, "IpcMsg.insertPartOutOfBounds",
             {"IpcMsg::insertPart(unsigned int, ostrel::DataPart)"}, fillBinary,
             [](Binary& here) { return here.it->insertPart(3, DataPart()); })
        .refuses("Invalid part number")
        .shows(filled, describeIt<IpcMsg>)
        .unchanged();
    OnBinary(table, "IpcMsg.insertPartOfBytesOutOfBounds",
             {"IpcMsg::insertPart(unsigned int, char const*, int)"}, fillBinary,
             [](Binary& here) { return here.it->insertPart(3, "bytes", 5); })
        .refuses("Invalid part number")
        .shows(filled, describeIt<IpcMsg>)
        .unchanged();
    OnBinary(table, "IpcMsg.removePartOutOfBounds", {"IpcMsg::removePart(unsigned int)"},
             fillBinary, [](Binary& here) { return here.it->removePart(2); })
        .refuses("Invalid part number")
        .shows(filled, describeIt<IpcMsg>)
        .unchanged();
    OnBinary(
        table, "IpcMsg.ofNoBytes", {"IpcMsg::IpcMsg(int, char*, int, ostrel::MsgHandle*)"},
        [](Binary& here) { here.handle = handleOf(client); },
        [](Binary& here) {
            here.it.emplace(7, nullptr, 5, here.handle.get());
            return 0;
        })
        .ends(refused("DataPart without data"))
        .memory(std::vector<Ending>{withoutMemory()} +
                endingsOfFailing(refused("DataPart without data"), {}))
        .shows("none", describeIt<IpcMsg>)
        .unchanged();
}

using OnText = Row<StringMsg>;
using Text = Scene<StringMsg>;

void fillText(Text& here)
{
    here.it.emplace(support::messageOf<StringMsg>({longText, "second"}));
    here.handle = handleOf(client);
    here.got = otherText;
}

void addTextMaking(Table& table)
{
    OnText(table, "StringMsg.withoutACopy",
           {"StringMsg::StringMsg(unsigned int)", "StringMsg::~StringMsg()",
            "StringMsg::getHandle() const", "StringMsg::getNumParts() const",
            "StringMsg::operator[](unsigned int)", "StringMsg::removePart(unsigned int)"},
           fillText,
           [](Text& here) {
               here.it->removePart(0);
               const long size = static_cast<long>((*here.it)[0].size());
               const long count =
                   here.it->getNumParts() + (here.it->getHandle() == nullptr ? 10 : 0);
               here.it.emplace(0);
               return size + count;
           })
        .ends(returns(17))
        .shows(" no handle", describeIt<StringMsg>);

    const std::string making = prefix("StringMsg::StringMsg");
    OnText(
        table, "StringMsg.ofParts", {"StringMsg::StringMsg(unsigned int)"}, [](Text& /*here*/) {},
        [](Text& here) {
            here.it.emplace(3);
            return 0;
        })
        .memory({withoutMemory({making})})
        .shows("[][][] no handle", describeIt<StringMsg>)
        .unchanged();
    OnText(
        table, "StringMsg.copied", {"StringMsg::StringMsg(ostrel::StringMsg const&)"},
        [](Text& here) {
            support::append(here.text, longText);
            support::append(here.text, "second");
            here.text.setHandle(handleOf(client).get());
        },
        [](Text& here) {
            here.it.emplace(here.text);
            return 0;
        })
        .memory({withoutMemory({making}), withoutMemory({cloning, making})})
        .shows("[" + longText + "][second] " + client, describeIt<StringMsg>)
        .unchanged();

    const std::string assigning = prefix("StringMsg::Opearator=");
    OnText(
        table, "StringMsg.assigned", {"StringMsg::operator=(ostrel::StringMsg const&)"},
        [](Text& here) {
            fillText(here);
            here.text = addressed(support::messageOf<StringMsg>({"one", "two", otherText}), client);
        },
        [](Text& here) {
            *here.it = here.text;
            return 0;
        })
        .memory({withoutMemory({assigning}), withoutMemory({cloning, assigning})})
        .shows("[one][two][" + otherText + "] " + client, describeIt<StringMsg>)
        .repeats();
}

void addTextEditing(Table& table)
{
    OnText(table, "StringMsg.setHandle", {"StringMsg::setHandle(ostrel::MsgHandle const*)"},
           fillText,
           [](Text& here) {
               here.it->setHandle(here.handle.get());
               return 0;
           })
        .memory({cloneFails})
        .shows("[" + longText + "][second] " + client, describeIt<StringMsg>)
        .unchanged();

    const std::string inserting = prefix("StringMsg::insertPart");
    OnText(table, "StringMsg.insertPart", {"StringMsg::insertPart(unsigned int, std::string)"},
           fillText, [](Text& here) { return here.it->insertPart(1, given(here.got)); })
        .memory({withoutMemory({inserting})})
        .shows("[" + longText + "][" + otherText + "][second] no handle", describeIt<StringMsg>)
        .unchanged();
    OnText(table, "StringMsg.setNumParts", {"StringMsg::setNumParts(unsigned int)"}, fillText,
           [](Text& here) { return here.it->setNumParts(20); })
        .memory({withoutMemory({prefix("StringMsg::setNumParts")})})
        .shows("20", [](Text& here) { return std::to_string(here.it->getNumParts()); })
        .unchanged();
}

void addTextMisuse(Table& table)
{
    const std::string invalid = "Invalid part number";
    OnText(table, "StringMsg.partOutOfBounds", {"StringMsg::operator[](unsigned int)"}, fillText,
           [](Text& here) { return static_cast<long>((*here.it)[2].size()); })
        .refuses("StringMsg part index out of bounds", {prefix("StringMsg::operator []")})
        .shows(filled, describeIt<StringMsg>)
        .unchanged();
    OnText(table, "StringMsg.insertPartOutOfBounds",
           {"StringMsg::insertPart(unsigned int, std::string)"}, fillText,
           [](Text& here) { return here.it->insertPart(3, given(here.got)); })
        .refuses(invalid, {prefix("StringMsg::insertPart")})
        .shows(filled, describeIt<StringMsg>)
        .unchanged();
    OnText(table, "StringMsg.removePartOutOfBounds", {"StringMsg::removePart(unsigned int)"},
           fillText, [](Text& here) { return here.it->removePart(2); })
        .refuses(invalid, {prefix("StringMsg::removePart")})
        .shows(filled, describeIt<StringMsg>)
        .unchanged();
}

void addHandles(Table& table)
{
    using Here = Scene<MsgDealerWorkerHandle>;
    using OnHandle = Row<MsgDealerWorkerHandle>;
    const auto name = [](Here& here) {
        here.it.emplace();
        here.it->setIdentity("short");
        here.got = longText;
    };
    const auto showIt = [](Here& here) { return here.it ? here.it->getIdentity() : "none"; };

    OnHandle(
        table, "MsgDealerWorkerHandle.withoutACopy",
        {"MsgDealerWorkerHandle::MsgDealerWorkerHandle()",
         "MsgDealerWorkerHandle::~MsgDealerWorkerHandle()", "MsgHandle::~MsgHandle()"},
        [](Here& here) { here.handle = handleOf(client); },
        [](Here& here) {
            here.it.emplace();
            here.it.reset();
            here.handle.reset();
            return 0;
        })
        .shows("none", showIt);
    OnHandle(
        table, "MsgDealerWorkerHandle.clone", {"MsgDealerWorkerHandle::clone() const"},
        [](Here& here) {
            here.it.emplace();
            here.it->setIdentity(client);
        },
        [](Here& here) {
            here.handle.reset(here.it->clone());
            return 0;
        })
        .memory({cloneFails})
        .shows(client, [](Here& here) { return clientOf(here.handle.get()); })
        .unchanged();
    OnHandle(table, "MsgDealerWorkerHandle.setIdentity",
             {"MsgDealerWorkerHandle::setIdentity(std::string const&)"}, name,
             [](Here& here) {
                 here.it->setIdentity(here.got);
                 return 0;
             })
        .memory({withoutMemory()})
        .shows(longText, showIt)
        .unchanged();
    OnHandle(table, "MsgDealerWorkerHandle.setIdentityOfCharacters",
             {"MsgDealerWorkerHandle::setIdentity(char const*, int)"}, name,
             [](Here& here) {
                 here.it->setIdentity(here.got.c_str(), 3);
                 return 0;
             })
        .memory({withoutMemory()})
        .shows(longText, showIt)
        .unchanged();
    OnHandle(table, "MsgDealerWorkerHandle.setIdentityOfNoCharacters",
             {"MsgDealerWorkerHandle::setIdentity(char const*, int)"}, name,
             [](Here& here) {
                 here.it->setIdentity(nullptr, 3);
                 return 0;
             })
        .refuses("basic_string::_M_construct null not valid")
        .shows("short", showIt)
        .unchanged();
    OnHandle(
        table, "MsgDealerWorkerHandle.getIdentity", {"MsgDealerWorkerHandle::getIdentity() const"},
        [](Here& here) {
            here.it.emplace();
            here.it->setIdentity(client);
        },
        [](Here& here) {
            here.got = here.it->getIdentity();
            return 0;
        })
        .memory({withoutMemory()})
        .shows(client, [](Here& here) { return here.got; })
        .unchanged();
}

void addLog(Table& table)
{
    using Here = Scene<int>;
    struct Level {
        const char* name;
        void (*write)(std::string);
    };
    for (const Level& level :
         {Level{"error", &ostrel::Logger::error}, Level{"info", &ostrel::Logger::info}}) {
        Row<int>(
            table, std::string("Logger.") + level.name,
            {std::string("Logger::") + level.name + "(std::string)"},
            [](Here& here) { here.got = longText; },
            [write = level.write](Here& here) {
                write(given(here.got));
                return 0;
            })
            .ends({"returned 0", {longText}, {}});
    }
}

} // namespace

void addMessages(Table& table)
{
    addParts(table);
    addBinaryMaking(table);
    addBinaryEditing(table);
    addBinaryMisuse(table);
    addTextMaking(table);
    addTextEditing(table);
    addTextMisuse(table);
    addHandles(table);
    addLog(table);
}

} // namespace faults
