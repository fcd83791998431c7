// The patterns.

#include "faults/Sides.h"
#include "faults/Table.h"
#include "message/Messages.h"
#include "ostrel/MsgDealerClientPattern.h"
#include "ostrel/MsgDealerWorkerPattern.h"
#include "ostrel/MsgPublishPattern.h"
#include "ostrel/MsgReplyPattern.h"
#include "ostrel/MsgRequestPattern.h"
#include "ostrel/MsgSubscribePattern.h"
#include "ostrel/ZMQWrapper.h"
#include "pattern/Opened.h"
#include "support/RealZmq.h"
#include "support/ZmqSpy.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <zmq.h>

using ostrel::channel_prop_t;

namespace faults {

namespace {

const std::string making = prefix("MsgPattern::MsgPattern");
const channel_prop_t unknownProperty = static_cast<channel_prop_t>(77);
const std::string wildcard = "tcp://*:5555 is an endpoint that is refused";

/// The rows of one pattern.
template <typename Pattern> class Rows {
public:
    using Here = Scene<Pattern>;

    Rows(Table& table, const Side& side) : mTable(table), mSide(side) {}

    void add()
    {
        addMaking();
        addProperties();
        addConnecting();
        addText();
        addBinary();
        addNoMessage();
    }

private:
    std::string named(const std::string& operation) const
    {
        return mSide.pattern + "::" + operation;
    }

    Row<Pattern> row(const std::string& name, const std::string& operation,
                     std::function<void(Here&)> arrange, std::function<long(Here&)> run)
    {
        return Row<Pattern>(mTable, mSide.pattern + "." + name, {named(operation)},
                            std::move(arrange), std::move(run));
    }

    static void construct(Here& here)
    {
        here.it.emplace(here.name);
    }

    /// With everything but a socket.
    std::function<void(Here&)> ready() const
    {
        return [side = &mSide](Here& here) {
            construct(here);
            side->getReady(*here.it, here);
        };
    }

    /// With a socket.
    std::function<void(Here&)> connected() const
    {
        return [side = &mSide](Here& here) {
            construct(here);
            side->connect(*here.it, here);
        };
    }

    /// With a message to receive.
    std::function<void(Here&)> offered(const Frames& frames) const
    {
        return [side = &mSide, frames](Here& here) {
            construct(here);
            side->connect(*here.it, here);
            side->offer(*here.it, here, frames);
        };
    }

    void addMaking()
    {
        const std::string constructor = mSide.pattern + "(std::string const&)";
        const auto construct = [](Here& here) {
            Rows::construct(here);
            return 0;
        };
        row(
            "make", constructor, [](Here& /*here*/) {}, construct)
            .memory({withoutMemory()})
            .repeats();
        row(
            "makeTheFirst", constructor, [](Here& /*here*/) {}, construct)
            .calls(within(making, makesContext()))
            .memory({withoutMemory(), withoutMemory({making})})
            .ends({"returned 0", {}, leaks::transport})
            .leavesContext()
            .once();
        row(
            "makeWithoutAName", constructor, [](Here& here) { here.name = ""; }, construct)
            .refuses("Invalid Channel name specified", {making});
        row("destroy", "~" + mSide.pattern + "()", connected(),
            [](Here& here) {
                here.it.reset();
                return 0;
            })
            .calls(closesSocket())
            .destroys();
        row("destroyWithoutASocket", "~" + mSide.pattern + "()", ready(), [](Here& here) {
            here.it.reset();
            return 0;
        }).destroys();
    }

    /// Its endpoint, and what it does not know.
    void addProperties()
    {
        const std::string setting = prefix(named("setProperty"));
        const std::string getting = prefix(named("getProperty"));
        const std::string setProperty = "setProperty(ostrel::channel_prop_t, std::string const&)";
        const std::string getProperty = "getProperty(ostrel::channel_prop_t)";
        const auto set = [](channel_prop_t property, const std::string& value) {
            return [=](Here& here) { return here.it->setProperty(property, value); };
        };
        const auto setEndpoint = [property = mSide.endpoint](Here& here) {
            return here.it->setProperty(property, here.address);
        };

        row("setEndpoint", setProperty, construct, setEndpoint)
            .calls(within(setting, mSide.attachesAtOnce() ? mSide.connecting : Steps()))
            .memory({withoutMemory({setting})});
        row("setUnknownProperty", setProperty, construct, set(unknownProperty, longText))
            .refuses("Invalid property - cannot be set : " + longText, {setting});
        row("setWildcard", setProperty, construct, set(mSide.endpoint, wildcard))
            .refuses("Invalid Endpoint : " + wildcard, {setting});
        if (mSide.attachesAtOnce()) {
            row("setEndpointAgain", setProperty, connected(), set(mSide.endpoint, longText))
                .refuses("Publisher Endpoint already set : inproc://server", {setting});
        } else {
            row("setEndpointAgain", setProperty, connected(), set(mSide.endpoint, longText))
                .ends(returns(-1));
        }

        row(
            "getEndpoint", getProperty,
            [connect = connected()](Here& here) {
                connect(here);
                here.got.clear();
            },
            [property = mSide.endpoint](Here& here) {
                here.got = here.it->getProperty(property);
                return static_cast<long>(here.got.empty());
            })
            .memory({withoutMemory({getting})})
            .shows("inproc://server", [](Here& here) { return plain(here.got); });
        row("getEndpointThatWasNeverSet", getProperty, construct,
            [property = mSide.endpoint](Here& here) {
                return static_cast<long>(here.it->getProperty(property).size());
            })
            .memory({withoutMemory({getting})});
        row("getUnknownProperty", getProperty, construct, [](Here& here) {
            return static_cast<long>(here.it->getProperty(unknownProperty).size());
        }).refuses("Invalid property queried", {getting});
    }

    void addConnecting()
    {
        const std::string operation = "connectEndpoint()";
        const auto connect = [](Here& here) {
            here.it->connectEndpoint();
            return 0;
        };
        if (mSide.attachesAtOnce()) {
            addConnectingToNothing(operation, {}, connect);
        } else {
            row("connect", operation, ready(), connect)
                .calls(mSide.connecting)
                .memory(mSide.connectingMemory);
        }
        row("connectAgain", operation, connected(), connect);
    }

    /// Nothing comes of no message.
    void addNoMessage()
    {
        ostrel::StringMsg* noText = nullptr;
        ostrel::IpcMsg* noBinary = nullptr;
        if (mSide.sends()) {
            row("sendNothing", "send(ostrel::StringMsg*)", connected(), [=](Here& here) {
                return here.it->send(noText) + here.it->send(noBinary);
            }).ends(returns(-2));
        }
        if (mSide.receives()) {
            row("receiveNothing", "receive(ostrel::StringMsg*, long)", connected(),
                [=](Here& here) {
                    return here.it->receive(noText, -1) + here.it->receive(noBinary, -1);
                })
                .ends(returns(-2));
        }
    }

    /// Without an endpoint the attempt fails by itself, and the failure comes through `layers`.
    void addConnectingToNothing(const std::string& operation, const Lines& layers,
                                const std::function<long(Here&)>& run)
    {
        const Call& attaches = mSide.connecting.calls.back();
        Lines prefixes = attaches.prefixes;
        prefixes.insert(prefixes.end(), layers.begin(), layers.end());
        Steps steps = mSide.connecting;
        steps.calls.back().after = " : End Point : ";
        const Ending failure = fails(attaches.text + textOf(EINVAL) + " : End Point : ", prefixes);
        const std::string name = operation.substr(0, operation.find('(')) +
                                 (operation.find("IpcMsg") != std::string::npos ? "Binary" : "");
        row(name + "WithoutAnEndpoint", operation, construct, run)
            .calls(within(layers, steps))
            .memory(within(layers, mSide.connectingMemory) +
                    std::vector<Ending>{withoutMemory(layers)} +
                    endingsOfFailing(failure, prefixes))
            .ends(failure);
    }

    void addText()
    {
        const std::string send = "send(ostrel::StringMsg*)";
        const std::string receive = "receive(ostrel::StringMsg*, long)";
        const auto sendIt = [](Here& here) { return here.it->send(&here.text); };
        const auto receiveIt = [](Here& here) { return here.it->receive(&here.text, -1); };
        const auto look = [](Here& here) { return here.it->receive(&here.text, 0); };
        addSends("sendText", send, writeText, sendIt, sendingText(mSide), sendingTextMemory(mSide));
        addReceives("receiveText", receive, textFrames(), receiveIt, look, receivingText(mSide),
                    receivingTextMemory(mSide));
    }

    void addBinary()
    {
        const std::string send = "send(ostrel::IpcMsg*)";
        const std::string receive = "receive(ostrel::IpcMsg*, long)";
        const auto sendIt = [](Here& here) { return here.it->send(&here.binary); };
        const auto receiveIt = [](Here& here) { return here.it->receive(&here.binary, -1); };
        const auto look = [](Here& here) { return here.it->receive(&here.binary, 0); };
        addSends("sendBinary", send, writeBinary, sendIt, sendingBinary(mSide),
                 sendingBinaryMemory(mSide));
        addReceives("receiveBinary", receive, binaryFrames(), receiveIt, look,
                    receivingBinary(mSide), receivingBinaryMemory(mSide));
    }

    void addSends(const std::string& name, const std::string& operation,
                  void (*write)(const Side&, Stage&), const std::function<long(Here&)>& run,
                  const Steps& steps, const std::vector<Ending>& memory)
    {
        if (!mSide.sends()) {
            row(name, operation, construct, run)
                .refuses("send() Operation NOT permitted for SUBSCRIBER", mSide.sending);
            return;
        }
        const auto withMessage = [side = &mSide, write](const std::function<void(Here&)>& arrange) {
            return [=](Here& here) {
                arrange(here);
                side->giveTurn(*here.it, here);
                write(*side, here);
            };
        };
        row(name, operation, withMessage(connected()), run)
            .calls(steps)
            .memory(memory)
            .ends(returns(2));
        if (mSide.attachesAtOnce()) {
            addConnectingToNothing(operation, mSide.sending, run);
            return;
        }
        const auto first = [side = &mSide, write, arrange = ready()](Here& here) {
            arrange(here);
            write(*side, here);
        };
        if (&mSide == &reply) { // Nobody has asked.
            row(name + "First", operation, first, run)
                .calls(mSide.connecting + isRefused())
                .memory(endingsOfFailing(sendOutOfTurn(), {prefix("ZMQWrapper::send")}))
                .ends(sendOutOfTurn());
            return;
        }
        row(name + "First", operation, first, run)
            .calls(within(mSide.sending, mSide.connecting) + steps)
            .memory(within(mSide.sending, mSide.connectingMemory) + memory)
            .ends(returns(2));
    }

    /// A receive that waits for a message, and one that connects, looks, and finds nothing.
    void addReceives(const std::string& name, const std::string& operation, const Frames& frames,
                     const std::function<long(Here&)>& receive,
                     const std::function<long(Here&)>& look, const Steps& steps,
                     const std::vector<Ending>& memory)
    {
        if (!mSide.receives()) {
            row(name, operation, construct, receive)
                .refuses("receive() Operation NOT permitted for PUBLISHER", mSide.receiving);
            return;
        }
        row(name, operation, offered(frames), receive).calls(steps).memory(memory).ends(returns(2));
        if (mSide.attachesAtOnce()) {
            addConnectingToNothing(operation, mSide.receiving, look);
            return;
        }
        const Steps connecting = within(mSide.receiving, mSide.connecting);
        const std::vector<Ending> connectingMemory =
            within(mSide.receiving, mSide.connectingMemory);
        if (&mSide == &request) { // It has not asked.
            row(name + "First", operation, ready(), look)
                .calls(connecting + isOutOfTurn())
                .memory(endingsOfFailing(receiveOutOfTurn(), {prefix("ZMQWrapper::receive")}))
                .ends(receiveOutOfTurn());
            return;
        }
        row(name + "First", operation, ready(), look)
            .calls(connecting + within(mSide.receiving, findsNothing()))
            .memory(connectingMemory)
            .ends(returns(-1));
    }

    Table& mTable;
    const Side& mSide;
};

/// What the subscriber alone can do.
void addFilters(Table& table)
{
    using Here = Scene<ostrel::MsgSubscribePattern>;
    const Lines covers = {
        "MsgSubscribePattern::setProperty(ostrel::channel_prop_t, std::string const&)"};
    const std::string setting = prefix("MsgSubscribePattern::setProperty");
    const auto construct = [](Here& here) { here.it.emplace(here.name); };
    const auto filtered = [](Here& here) {
        here.it.emplace(here.name);
        here.it->setProperty(ostrel::PROP_SUBSCRIBE, longText);
        here.it->setProperty(ostrel::PROP_SUBSCRIBE, otherText);
    };
    const auto set = [](channel_prop_t property, const std::string& value) {
        return [=](Here& here) { return here.it->setProperty(property, value); };
    };
    using OnPattern = Row<ostrel::MsgSubscribePattern>;
    OnPattern(table, "MsgSubscribePattern.subscribe", covers, construct,
              set(ostrel::PROP_SUBSCRIBE, longText))
        .memory({withoutMemory({setting})});
    OnPattern(table, "MsgSubscribePattern.subscribeTwice", covers, filtered,
              set(ostrel::PROP_SUBSCRIBE, longText))
        .refuses("Filter already exists", {setting});
    OnPattern(table, "MsgSubscribePattern.unsubscribe", covers, filtered,
              set(ostrel::PROP_UNSUBSCRIBE, longText));
    OnPattern(table, "MsgSubscribePattern.unsubscribeUnset", covers, construct,
              set(ostrel::PROP_UNSUBSCRIBE, longText))
        .refuses("Cannot remove unset filter", {setting});
    OnPattern(table, "MsgSubscribePattern.setEndpointWithFilters", covers, filtered,
              [](Here& here) {
                  return here.it->setProperty(ostrel::PROP_PUBLISHER_ENDPOINT, here.address);
              })
        .calls(within(setting,
                      makesSocket() + setsOption() + setsOption() + connects("inproc://server")))
        .memory({withoutMemory({setting})});
}

/// What the worker alone can do.
void addWorker(Table& table)
{
    using Here = Scene<ostrel::MsgDealerWorkerPattern>;
    using OnPattern = Row<ostrel::MsgDealerWorkerPattern>;
    const auto construct = [](Here& here) { here.it.emplace(here.name); };
    const auto withParts = [](Here& here) {
        here.it.emplace(here.name);
        dealerWorker.connect(*here.it, here);
        here.text = watch::text(parts);
        here.binary = watch::binary(7, 258, parts);
    };
    OnPattern(table, "MsgDealerWorkerPattern.setWorkerEndpoint",
              {"MsgDealerWorkerPattern::setProperty(ostrel::channel_prop_t, std::string const&)"},
              construct,
              [](Here& here) {
                  return here.it->setProperty(ostrel::PROP_DEALER_WORKER_ENDPOINT, here.workers);
              })
        .memory({withoutMemory({prefix("MsgDealerWorkerPattern::setProperty")})});
    OnPattern(table, "MsgDealerWorkerPattern.getWorkerEndpoint",
              {"MsgDealerWorkerPattern::getProperty(ostrel::channel_prop_t)"}, withParts,
              [](Here& here) {
                  here.got = here.it->getProperty(ostrel::PROP_DEALER_WORKER_ENDPOINT);
                  return 0;
              })
        .memory({withoutMemory({prefix("MsgDealerWorkerPattern::getProperty")})});

    // The first bind of a broker without endpoints fails by itself.
    const std::string connecting = prefix("MsgDealerWorkerPattern::connectEndpoint");
    const Lines layers = {prefix("ZMQWrapper::registerSender"), connecting};
    const Ending failure =
        fails("Failed to bind ZeroMQ Socket : " + textOf(EINVAL) + " : End Point : ", layers);
    OnPattern(table, "MsgDealerWorkerPattern.connectWithoutAnEndpoint",
              {"MsgDealerWorkerPattern::connectEndpoint()"}, construct,
              [](Here& here) {
                  here.it->connectEndpoint();
                  return 0;
              })
        .calls(within(connecting, makesSocket() + startsNoBroker()))
        .memory(std::vector<Ending>{withoutMemory({connecting})} +
                endingsOfFailing(failure, layers))
        .ends(failure);

    // A message without a client goes out as it is.
    OnPattern(table, "MsgDealerWorkerPattern.sendTextToNobody",
              {"MsgDealerWorkerPattern::send(ostrel::StringMsg*)"}, withParts,
              [](Here& here) { return here.it->send(&here.text); })
        .calls(sendsFrames(2))
        .ends(returns(2));
    OnPattern(table, "MsgDealerWorkerPattern.sendBinaryToNobody",
              {"MsgDealerWorkerPattern::send(ostrel::IpcMsg*)"}, withParts,
              [](Here& here) { return here.it->send(&here.binary); })
        .calls(sendsFrames(3))
        .ends(returns(2));
}

void addBase(Table& table)
{
    using Here = Scene<support::BarePattern>;
    Row<support::BarePattern>(
        table, "MsgPattern.make", {"MsgPattern::MsgPattern(std::string const&)"},
        [](Here& /*here*/) {},
        [](Here& here) {
            here.it.emplace(here.name);
            return 0;
        })
        .memory({withoutMemory()})
        .repeats();
    Row<support::BarePattern>(
        table, "MsgPattern.withoutACopy",
        {"MsgPattern::~MsgPattern()", "MsgPattern::isValidEndpt(std::string const&) const"},
        [](Here& here) { here.it.emplace(here.name); },
        [](Here& here) {
            const bool valid = here.it->isValidEndpt(here.address);
            here.it.reset();
            return valid ? 1 : 0;
        })
        .ends(returns(1))
        .destroys();
    Row<support::BarePattern>(
        table, "MsgPattern.destroy", {"MsgPattern::~MsgPattern()"},
        [](Here& here) {
            here.it.emplace(here.name);
            here.it->mpSocket = ostrel::ZMQWrapper::getInstance()->createEndpt(ZMQ_PAIR);
        },
        [](Here& here) {
            here.it.reset();
            return 0;
        })
        .calls(closesSocket())
        .destroys();
}

/// A broker's thread, in the test's own: its context has ended before it begins.
struct EndedBroker {
    EndedBroker() : context(REAL(zmq_ctx_new)())
    {
        sockets[0] = REAL(zmq_socket)(context, ZMQ_ROUTER);
        sockets[1] = REAL(zmq_socket)(context, ZMQ_DEALER);
        REAL(zmq_ctx_shutdown)(context);
    }
    ~EndedBroker()
    {
        const support::NotWatched notWatched;
        REAL(zmq_close)(sockets[0]);
        REAL(zmq_close)(sockets[1]);
        REAL(zmq_ctx_term)(context);
    }
    EndedBroker(const EndedBroker&) = delete;
    EndedBroker& operator=(const EndedBroker&) = delete;

    void* context;
    void* sockets[2];
    void* block = nullptr; // The thread gives it back.
};

void addBroker(Table& table)
{
    using Here = Scene<EndedBroker>;
    Row<EndedBroker>(
        table, "Broker.proxyThreadMain", {"proxyThreadMain(void*)"},
        [](Here& here) {
            {
                const support::NotWatched notWatched;
                here.it.emplace();
            }
            const auto& sockets = here.it->sockets;
            here.it->block = std::memcpy(std::malloc(sizeof sockets), sockets, sizeof sockets);
        },
        [](Here& here) { return ostrel::proxyThreadMain(here.it->block) == nullptr ? 0 : 1; })
        .calls(runsProxy());
    Row<int>(
        table, "Broker.proxyThreadMainWithoutSockets", {"proxyThreadMain(void*)"},
        [](Scene<int>& /*here*/) {},
        [](Scene<int>& /*here*/) { return ostrel::proxyThreadMain(nullptr) == nullptr ? 0 : 1; });
}

} // namespace

void addPatterns(Table& table)
{
    addBase(table);
    Rows<ostrel::MsgRequestPattern>(table, request).add();
    Rows<ostrel::MsgReplyPattern>(table, reply).add();
    Rows<ostrel::MsgPublishPattern>(table, publish).add();
    Rows<ostrel::MsgSubscribePattern>(table, subscribe).add();
    addFilters(table);
    Rows<ostrel::MsgDealerClientPattern>(table, dealerClient).add();
    Rows<ostrel::MsgDealerWorkerPattern>(table, dealerWorker).add();
    addWorker(table);
    addBroker(table);
}

} // namespace faults
