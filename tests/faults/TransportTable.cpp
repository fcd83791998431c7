// The transport.

#include "faults/Table.h"
#include "message/Messages.h"
#include "ostrel/ZMQWrapper.h"
#include "support/RealZmq.h"
#include "support/ZmqSpy.h"

#include <cerrno>
#include <zmq.h>

using ostrel::IpcMsg;
using ostrel::StringMsg;
using ostrel::ZMQWrapper;
using support::messageOf;

namespace faults {

namespace {

ZMQWrapper& transport()
{
    return *ZMQWrapper::getInstance();
}

/// A wrapper beside the one that the library uses. Its context ends with it, unlike the other's.
struct OwnTransport {
    ~OwnTransport()
    {
        const support::NotWatched notWatched;
        REAL(zmq_ctx_term)(wrapper.mContext);
    }

    ZMQWrapper wrapper;
};

/// A socket of the library's that goes back to it.
struct Socket {
    explicit Socket(int type) : handle(transport().createEndpt(type)) {}
    ~Socket()
    {
        transport().deleteEndpt(handle);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;

    void* handle;
};

using Here = Scene<Socket>;

const std::string sending = prefix("ZMQWrapper::send");
const std::string receiving = prefix("ZMQWrapper::receive");

/// A socket with somebody on the other side.
void connect(Here& here, bool identityFraming)
{
    transport().mIdentityEnabled = identityFraming;
    here.peer.emplace(ZMQ_DEALER);
    here.peer->bind(here.address);
    here.it.emplace(ZMQ_DEALER);
    transport().registerReceiver(here.it->handle, here.address);
}

std::string whatThePeerHas(Here& here)
{
    const std::string received = here.peer->received();
    here.got += (here.got.empty() || received.empty() ? "" : " ") + received;
    return here.got;
}

std::string partsOfText(Here& here)
{
    return shown(support::partsOf(here.text));
}

std::string partsOfBinary(Here& here)
{
    return shown(support::partsOf(here.binary));
}

void addContext(Table& table)
{
    Row<int>(
        table, "ZMQWrapper.getInstance", {"ZMQWrapper::getInstance()"}, [](Scene<int>& /*here*/) {},
        [](Scene<int>& /*here*/) { return ZMQWrapper::getInstance() == nullptr ? 0 : 1; })
        .calls(makesContext())
        .memory({withoutMemory()})
        .ends({"returned 1", {}, leaks::transport})
        .leavesContext()
        .once();

    Row<OwnTransport>(
        table, "ZMQWrapper.ZMQWrapper", {"ZMQWrapper::ZMQWrapper()", "ZMQWrapper::~ZMQWrapper()"},
        [](Scene<OwnTransport>& /*here*/) {},
        [](Scene<OwnTransport>& here) {
            here.it.emplace();
            return 0;
        })
        .calls(makesContext())
        .memory({withoutMemory()})
        .leavesContext()
        .repeats();

    Row<int>(
        table, "ZMQWrapper.withoutACall",
        {"ZMQWrapper::enableIdentity()", "ZMQWrapper::deleteEndpt(void*) const"},
        [](Scene<int>& /*here*/) { transport().mIdentityEnabled = false; },
        [](Scene<int>& here) {
            transport().enableIdentity();
            transport().deleteEndpt(nullptr);
            StringMsg* noText = nullptr;
            IpcMsg* noBinary = nullptr;
            long result = transport().send(nullptr, &here.text);
            result += transport().send(&here, noText);
            result += transport().send(&here, &here.text); // It has no parts.
            result += transport().send(nullptr, &here.binary);
            result += transport().send(&here, noBinary);
            result += transport().receive(nullptr, &here.text, 0);
            result += transport().receive(&here, noText, 0);
            result += transport().receive(&here, &here.text, -2);
            result += transport().receive(&here, noBinary, 0);
            return result;
        })
        .ends(returns(-9))
        .shows("on", [](Scene<int>& /*here*/) {
            return transport().mIdentityEnabled ? std::string("on") : "off";
        });
}

void addSockets(Table& table)
{
    Row<Socket>(
        table, "ZMQWrapper.createEndpt", {"ZMQWrapper::createEndpt(int) const"},
        [](Here& /*here*/) {},
        [](Here& here) {
            here.it.emplace(ZMQ_PAIR);
            return 0;
        })
        .calls(makesSocket())
        .repeats();
    Row<Socket>(
        table, "ZMQWrapper.deleteEndpt", {"ZMQWrapper::deleteEndpt(void*) const"},
        [](Here& here) { here.it.emplace(ZMQ_PAIR); },
        [](Here& here) {
            here.it.reset();
            return 0;
        })
        .calls(closesSocket());
    Row<Socket>(
        table, "ZMQWrapper.registerSender",
        {"ZMQWrapper::registerSender(void*, std::string const&) const"},
        [](Here& here) { here.it.emplace(ZMQ_PAIR); },
        [](Here& here) {
            transport().registerSender(here.it->handle, here.address);
            return 0;
        })
        .calls(binds("inproc://server"))
        .repeats();
    Row<Socket>(
        table, "ZMQWrapper.registerReceiver",
        {"ZMQWrapper::registerReceiver(void*, std::string const&) const"},
        [](Here& here) { here.it.emplace(ZMQ_PAIR); },
        [](Here& here) {
            transport().registerReceiver(here.it->handle, here.address);
            return 0;
        })
        .calls(connects("inproc://server"))
        .repeats();
}

void addOptions(Table& table)
{
    const Lines covers = {"ZMQWrapper::setOption(void*, ostrel::option_t, std::string const&)"};
    const auto subscriber = [](Here& here) {
        here.it.emplace(ZMQ_SUB);
        here.got = longText;
    };
    Row<Socket>(table, "ZMQWrapper.setOption", covers, subscriber,
                [](Here& here) {
                    transport().setOption(here.it->handle, ostrel::OPT_SUBSCRIBE, here.got);
                    return 0;
                })
        .calls(setsOption())
        .repeats();
    Row<Socket>(table, "ZMQWrapper.setIdentityOption", covers, subscriber,
                [](Here& here) {
                    transport().setOption(here.it->handle, ostrel::OPT_IDENTITY, here.got);
                    return 0;
                })
        .calls(setsOption())
        .repeats();
    // An unknown option enters the table of options before ZeroMQ refuses it.
    const std::string setting = prefix("ZMQWrapper::setOption");
    const Ending unknown =
        fails("Failed to set ZeroMQ Socket Option : " + textOf(EINVAL), {setting});
    struct Unknown {
        ~Unknown()
        {
            transport().mOptionMap.erase(option);
        }
        ostrel::option_t option = static_cast<ostrel::option_t>(77);
        Socket socket{ZMQ_SUB};
    };
    Row<Unknown>(
        table, "ZMQWrapper.setUnknownOption", covers,
        [](Scene<Unknown>& here) { here.it.emplace(); },
        [](Scene<Unknown>& here) {
            transport().setOption(here.it->socket.handle, here.it->option, here.got);
            return 0;
        })
        .calls(setsOption())
        .ends(unknown)
        .memory(std::vector<Ending>{withoutMemory({setting})} +
                endingsOfFailing(unknown, {setting}))
        .repeats();
}

void addSends(Table& table)
{
    const Lines text = {"ZMQWrapper::send(void*, ostrel::StringMsg*) const"};
    const Lines binary = {"ZMQWrapper::send(void*, ostrel::IpcMsg*) const"};
    const auto sendBinary = [](Here& here) {
        return transport().send(here.it->handle, &here.binary);
    };
    const Lines parts = {longText, "second"};
    const std::string header = watch::header(7, 258);

    Row<Socket>(
        table, "ZMQWrapper.sendText", text,
        [parts](Here& here) {
            connect(here, false);
            here.text = messageOf<StringMsg>(parts);
        },
        [](Here& here) { return transport().send(here.it->handle, &here.text); })
        .calls(sendsFrames(2))
        .ends(returns(2))
        .shows(shown(parts), whatThePeerHas)
        .sends(parts);

    const auto withParts = [](bool identityFraming, const Lines& given) {
        return [=](Here& here) {
            connect(here, identityFraming);
            here.binary = watch::binary(7, 258, given);
        };
    };
    Row<Socket>(table, "ZMQWrapper.sendBinary", binary, withParts(false, parts), sendBinary)
        .calls(sendsFrames(3))
        .ends(returns(2))
        .shows(shown({header, longText, "second"}), whatThePeerHas)
        .sends({header, longText, "second"});
    Row<Socket>(table, "ZMQWrapper.sendBinaryWithIdentity", binary, withParts(true, parts),
                sendBinary)
        .calls(sendsFrames(3))
        .ends(returns(2))
        .shows(shown({longText, header, "second"}), whatThePeerHas)
        .sends({longText, header, "second"});

    // Misuse that is seen when a frame is open already.
    const std::string outside = "StringMsg part index out of bounds";
    const Lines layers = {binaryPrefix("StringMsg::operator []"), sending};
    Row<Socket>(table, "ZMQWrapper.sendBinaryWithoutIdentity", binary, withParts(true, {}),
                sendBinary)
        .refuses(outside, layers)
        .calls(givesUpFrame());
    const std::string noData = "DataPart without data";
    Row<Socket>(
        table, "ZMQWrapper.sendPartWithoutBytes", binary,
        [](Here& here) {
            connect(here, false);
            here.binary.setNumParts(1);
            here.binary[0].mSize = 5;
        },
        sendBinary)
        .refuses(noData, {sending})
        .calls(sendsFrames(1) + makesFrame(noData) + givesUpFrame());
}

/// What can be received, and what that takes.
struct Message {
    Lines frames;
    std::vector<Use> uses;
    std::vector<Ending> memory;
};

void addReceivesOf(Table& table, const std::string& kind, const Lines& covers,
                   const Message& message, bool identityFraming,
                   const std::function<long(Here&, long)>& receive,
                   const std::function<std::string(Here&)>& show, const std::string& shownAfter)
{
    const auto offer = [=](Here& here) {
        connect(here, identityFraming);
        here.peer->send(message.frames);
        here.peer->send(message.frames);
    };
    const auto offerNothing = [=](Here& here) { connect(here, identityFraming); };
    const auto with = [&](long timeout) {
        return [=](Here& here) { return receive(here, timeout); };
    };
    const Ending normal = returns(2);

    for (const long timeout : {-1L, 0L}) {
        Row<Socket> row(table, "ZMQWrapper.receive" + kind + (timeout == 0 ? "AtOnce" : "Waiting"),
                        covers, offer, with(timeout));
        row.calls(receivesFrames(message.uses))
            .memory(message.memory)
            .ends(normal)
            .shows(shownAfter, show);
        if (kind == "Text") {
            row.receives(message.frames); // A binary message grows with every receive.
        }
    }
    // A positive time-out looks once more: what was overlooked is found after all.
    Row<Socket>(table, "ZMQWrapper.receive" + kind + "LookingTwice", covers, offer, with(1000))
        .calls(receivesFrames(message.uses))
        .memory(message.memory)
        .ends(normal)
        .shows(shownAfter, show)
        .endsWithout([=](std::size_t /*frame*/) { return normal; });

    Row<Socket>(table, "ZMQWrapper.receive" + kind + "WithNothingThere", covers, offerNothing,
                with(0))
        .calls(findsNothing())
        .ends(returns(-1))
        .repeats();
    Row<Socket>(table, "ZMQWrapper.receive" + kind + "WithNothingThereTwice", covers, offerNothing,
                with(1000))
        .calls(findsNothing() + polls())
        .ends(returns(0))
        .endsWithout([](std::size_t /*frame*/) { return returns(0); })
        .repeats();
}

void addReceives(Table& table)
{
    const Lines text = {"ZMQWrapper::receive(void*, ostrel::StringMsg*, long) const"};
    const Lines binary = {"ZMQWrapper::receive(void*, ostrel::IpcMsg*&, long) const"};
    const auto receiveText = [](Here& here, long timeout) {
        return transport().receive(here.it->handle, &here.text, timeout);
    };
    const auto receiveBinary = [](Here& here, long timeout) {
        IpcMsg* msg = &here.binary;
        return transport().receive(here.it->handle, msg, timeout);
    };
    const std::string header = watch::header(7, 258);

    addReceivesOf(table, "Text", text,
                  {{longText, otherText}, {Use::text, Use::text}, receivingTexts(2)}, false,
                  receiveText, partsOfText, shown({longText, otherText}));
    addReceivesOf(
        table, "Binary", binary,
        {{header, longText, otherText}, {Use::header, Use::part, Use::part}, receivingParts(2)},
        false, receiveBinary, partsOfBinary, shown({longText, otherText}));
    addReceivesOf(
        table, "BinaryWithIdentity", binary,
        {{client, header, otherText}, {Use::identity, Use::header, Use::part}, receivingParts(2)},
        true, receiveBinary, partsOfBinary, shown({client, otherText}));
}

} // namespace

void addTransport(Table& table)
{
    addContext(table);
    addSockets(table);
    addOptions(table);
    addSends(table);
    addReceives(table);
}

} // namespace faults
