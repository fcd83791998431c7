// The channels.

#include "faults/Sides.h"
#include "faults/Table.h"
#include "message/Messages.h"
#include "ostrel/MsgDealerClientChannel.h"
#include "ostrel/MsgDealerClientPattern.h"
#include "ostrel/MsgDealerWorkerChannel.h"
#include "ostrel/MsgDealerWorkerHandle.h"
#include "ostrel/MsgPublishChannel.h"
#include "ostrel/MsgReplyServerChannel.h"
#include "ostrel/MsgRequestClientChannel.h"
#include "ostrel/MsgSubscribeChannel.h"

#include <type_traits>
#include <zmq.h>

using ostrel::MsgChannel;
using ostrel::MsgDealerWorkerHandle;

namespace faults {

namespace {

const std::string making = prefix("MsgPattern::MsgPattern");
const std::string wildcard = "tcp://*:5555 is an endpoint that is refused";

/// A channel with nothing of its own.
class BareChannel : public MsgChannel {
public:
    explicit BareChannel(const std::string& name) : MsgChannel(given(name)) {}

    std::string getChannelName() override
    {
        return "";
    }
};

using OnBare = Row<BareChannel>;
using Bare = Scene<BareChannel>;

void make(Bare& here)
{
    here.it.emplace(here.name);
    here.it->pvthandle = new ostrel::MsgDealerClientPattern(here.name);
}

void connect(Bare& here)
{
    make(here);
    dealerClient.connect(*here.it->pvthandle, here);
}

void connectWithText(Bare& here)
{
    connect(here);
    writeText(dealerClient, here);
}

void connectWithBinary(Bare& here)
{
    connect(here);
    writeBinary(dealerClient, here);
}

Lines ofBase(const std::string& operation)
{
    return {"MsgChannel::" + operation};
}

/// The topic becomes a std::string first.
const std::vector<Ending> takingTopic = {withoutMemory(),
                                         withoutMemory({prefix("StringMsg::insertPart")})};

/// A text with its topic.
const Frames topical = {otherText, longText, otherText};

Steps receivingTopical()
{
    return within(dealerClient.receiving, receivesFrames({Use::text, Use::text, Use::text}));
}

std::vector<Ending> receivingTopicalMemory()
{
    return within(dealerClient.receiving, receivingTexts(3)) + std::vector<Ending>{withoutMemory()};
}

/// Whatever has arrived by then is taken for the message.
Ending countOfOthers(std::size_t frame)
{
    return returns(static_cast<long>(frame) - 1);
}

void addBaseProperties(Table& table)
{
    const std::string setting = prefix("MsgDealerClientPattern::setProperty");
    const std::string getting = prefix("MsgDealerClientPattern::getProperty");
    OnBare(
        table, "MsgChannel.make", ofBase("MsgChannel(std::string)"), [](Bare& /*here*/) {},
        [](Bare& here) {
            here.it.emplace(here.name);
            return 0;
        });
    OnBare(table, "MsgChannel.destroy", ofBase("~MsgChannel()"), connect,
           [](Bare& here) {
               here.it.reset();
               return 0;
           })
        .calls(closesSocket())
        .destroys();
    OnBare(
        table, "MsgChannel.setProperty", ofBase("setProperty(ostrel::channel_prop_t, std::string)"),
        make,
        [](Bare& here) { return here.it->setProperty(dealerClient.endpoint, given(here.address)); })
        .memory({withoutMemory({setting})});
    OnBare(table, "MsgChannel.setWildcard",
           ofBase("setProperty(ostrel::channel_prop_t, std::string)"), make,
           [](Bare& here) { return here.it->setProperty(dealerClient.endpoint, given(wildcard)); })
        .refuses("Invalid Endpoint : " + wildcard, {setting});
    OnBare(table, "MsgChannel.getProperty", ofBase("getProperty(ostrel::channel_prop_t)"), connect,
           [](Bare& here) {
               here.got = here.it->getProperty(dealerClient.endpoint);
               return 0;
           })
        .memory({withoutMemory({getting})});
}

void addBaseSends(Table& table)
{
    OnBare(table, "MsgChannel.sendText", ofBase("send(char const*, ostrel::StringMsg*)"),
           connectWithText, [](Bare& here) { return here.it->send(longText.c_str(), &here.text); })
        .calls(sendsFrames(3))
        .memory(takingTopic)
        .ends(returns(2))
        .shows(shown({longText, longText, otherText}),
               [](Bare& here) { return here.peer->received(); });
    OnBare(table, "MsgChannel.sendBinary", ofBase("send(ostrel::IpcMsg*)"), connectWithBinary,
           [](Bare& here) { return here.it->send(&here.binary); })
        .calls(sendsFrames(3))
        .ends(returns(2));
}

void addBaseReceives(Table& table)
{
    const auto offered = [](const Frames& frames) {
        return [frames](Bare& here) {
            connect(here);
            here.peer->send(frames);
        };
    };
    OnBare(table, "MsgChannel.receiveText",
           ofBase("receive(std::string&, ostrel::StringMsg*, long)"), offered(topical),
           [](Bare& here) { return here.it->receive(here.got, &here.text, -1); })
        .calls(receivingTopical())
        .memory(receivingTopicalMemory())
        .ends(returns(2))
        .endsWithout(countOfOthers)
        .shows(shown(topical), [](Bare& here) {
            Lines all = support::partsOf(here.text);
            all.insert(all.begin(), here.got);
            return shown(all);
        });
    OnBare(table, "MsgChannel.receiveBinary", ofBase("receive(ostrel::IpcMsg*, long)"),
           offered(binaryFrames()), [](Bare& here) { return here.it->receive(&here.binary, -1); })
        .calls(receivingBinary(dealerClient))
        .memory(receivingBinaryMemory(dealerClient))
        .ends(returns(2));
}

void addBaseWaits(Table& table)
{
    // The answer is there before the question.
    OnBare(
        table, "MsgChannel.sendTextAndWait",
        ofBase("sendWaitResponse(char const*, ostrel::StringMsg*, std::string&, "
               "ostrel::StringMsg*, long)"),
        [](Bare& here) {
            connectWithText(here);
            here.peer->send(topical);
        },
        [](Bare& here) {
            ostrel::StringMsg answer;
            return here.it->sendWaitResponse(longText.c_str(), &here.text, here.got, &answer, -1);
        })
        .calls(sendsFrames(3) + receivingTopical())
        .memory(takingTopic + receivingTopicalMemory())
        .ends(returns(2))
        .endsWithout(countOfOthers);
    OnBare(
        table, "MsgChannel.sendBinaryAndWait",
        ofBase("sendWaitResponse(ostrel::IpcMsg*, ostrel::IpcMsg*, long)"),
        [](Bare& here) {
            connectWithBinary(here);
            here.peer->send(binaryFrames());
        },
        [](Bare& here) {
            ostrel::IpcMsg answer;
            return here.it->sendWaitResponse(&here.binary, &answer, -1);
        })
        .calls(sendsFrames(3) + receivingBinary(dealerClient))
        .memory(receivingBinaryMemory(dealerClient))
        .ends(returns(2));
}

void addBaseMisuse(Table& table)
{
    OnBare(
        table, "MsgChannel.withoutAMessage",
        {"MsgChannel::send(char const*, ostrel::StringMsg*)", "MsgChannel::send(ostrel::IpcMsg*)",
         "MsgChannel::receive(std::string&, ostrel::StringMsg*, long)",
         "MsgChannel::receive(ostrel::IpcMsg*, long)",
         "MsgChannel::setProperty(ostrel::channel_prop_t, std::string)"},
        [](Bare& here) {
            connect(here);
            here.got = std::string(256, 'x');
        },
        [](Bare& here) {
            ostrel::IpcMsg* noBinary = nullptr;
            return here.it->send("topic", nullptr) + here.it->send(nullptr, &here.text) +
                   here.it->send(noBinary) + here.it->receive(here.got, nullptr, -1) +
                   here.it->receive(here.got, &here.text, -2) + here.it->receive(noBinary, -1) +
                   here.it->receive(&here.binary, -2) +
                   here.it->setProperty(dealerClient.endpoint, given(here.got));
        })
        .ends(returns(-8));
}

/// What callbacks were called with. They are plain functions.
std::string heard;

template <typename Channel> void hear(const char* data, int size, Channel* channel)
{
    const support::NotWatched notWatched;
    heard = std::string(data, static_cast<std::size_t>(size));
    channel->terminate();
}

void hearRequest(int arg, const char* data, int size, ostrel::MsgDealerWorkerChannel* channel,
                 ostrel::MsgHandle* handle)
{
    const support::NotWatched notWatched;
    heard = std::to_string(arg) + " " + std::string(data, static_cast<std::size_t>(size)) + " " +
            workertest::clientOf(handle);
    channel->terminate();
}

template <typename Channel> auto callbackOf()
{
    if constexpr (std::is_same_v<Channel, ostrel::MsgDealerWorkerChannel>) {
        return hearRequest;
    } else {
        return hear<Channel>;
    }
}

/// The rows of one channel; what only some have comes after.
template <typename Channel> class Rows {
public:
    using Here = Scene<Channel>;

    Rows(Table& table, const Side& side) : mTable(table), mSide(side) {}

    void add()
    {
        addMaking();
        row("getName", "getChannelName()", construct, [](Here& here) {
            here.got = here.it->getChannelName();
            return 0;
        }).memory({withoutMemory()});
    }

    /// `set` gives the channel the endpoint of its server, under the property of the side.
    void addEndpoint(const std::string& operation,
                     const std::function<int(Channel&, const std::string&)>& set)
    {
        const std::string setting = prefix(mSide.pattern + "::setProperty");
        row(operation, operation + "(std::string)", construct,
            [set](Here& here) { return set(*here.it, here.address); })
            .calls(within(setting, mSide.attachesAtOnce() ? mSide.connecting : Steps()))
            .memory({withoutMemory(), withoutMemory({setting})});
        const Ending refusal = refused("Invalid Endpoint : " + wildcard, {setting});
        row(operation + "Wildcard", operation + "(std::string)", construct,
            [set](Here& here) { return set(*here.it, wildcard); })
            .memory(std::vector<Ending>{withoutMemory()} + endingsOfFailing(refusal, {setting}))
            .ends(refusal);
    }

    /// The send of one part's bytes, on a channel that may send.
    void addSend()
    {
        row("ipcSend", "ipcSend(int, char*, int)", withTurn(),
            [](Here& here) {
                return here.it->ipcSend(7, here.got.data(), static_cast<int>(here.got.size()));
            })
            .calls(within(mSide.sending, sendsFrames(2)))
            .memory({withoutMemory()})
            .ends(returns(1));
    }

    void addFirstSend()
    {
        row("ipcSendFirst", "ipcSend(int, char*, int)", ready(),
            [](Here& here) {
                return here.it->ipcSend(7, here.got.data(), static_cast<int>(here.got.size()));
            })
            .calls(mSide.connecting + sendsFrames(2))
            .memory(std::vector<Ending>{withoutMemory()} + mSide.connectingMemory)
            .ends(returns(1));
    }

    void addReceive()
    {
        row("ipcReceive", "ipcReceive(ostrel::IpcMsg*, long)", offered(),
            [](Here& here) { return here.it->ipcReceive(&here.binary, -1); })
            .calls(receivingBinary(mSide))
            .memory(receivingBinaryMemory(mSide))
            .ends(returns(2));
    }

    /// What goes with the loop, apart from the loop.
    void addCallback(const std::string& operation)
    {
        row("registerCallBack", operation, construct,
            [](Here& here) { return here.it->registerCallBack(7, callbackOf<Channel>()); })
            .memory({withoutMemory()})
            .ends(returns(1));
        row("registerCallBackAgain", operation, listening(construct), [](Here& here) {
            return here.it->registerCallBack(7, callbackOf<Channel>());
        }).ends(returns(0));
        row("terminate", "terminate()", construct, [](Here& here) {
            here.it->terminate();
            return 0;
        });
    }

    /// A loop that is ended by the callback of its first message.
    Row<Channel> addLoop(const std::string& name, const std::string& operation,
                         const std::function<void(Here&)>& arrange,
                         const std::function<long(Here&)>& run, const std::string& whatIsHeard)
    {
        auto loop = row(name, operation, listening(arrange), run);
        loop.shows(whatIsHeard, [](Here& /*here*/) { return heard; });
        return loop;
    }

    Row<Channel> row(const std::string& name, const std::string& operation,
                     std::function<void(Here&)> arrange, std::function<long(Here&)> run)
    {
        return Row<Channel>(mTable, mSide.channel + "." + name, {mSide.channel + "::" + operation},
                            std::move(arrange), std::move(run));
    }

    static void construct(Here& here)
    {
        here.it.emplace(given(here.name));
        here.got = longText;
    }

    std::function<void(Here&)> ready() const
    {
        return [side = &mSide](Here& here) {
            construct(here);
            side->getReady(*here.it->pvthandle, here);
        };
    }

    std::function<void(Here&)> connected() const
    {
        return [side = &mSide](Here& here) {
            construct(here);
            side->connect(*here.it->pvthandle, here);
        };
    }

    std::function<void(Here&)> withTurn() const
    {
        return [side = &mSide, connect = connected()](Here& here) {
            connect(here);
            side->giveTurn(*here.it->pvthandle, here);
        };
    }

    std::function<void(Here&)> offered() const
    {
        return [side = &mSide, connect = connected()](Here& here) {
            connect(here);
            side->offer(*here.it->pvthandle, here, binaryFrames());
        };
    }

private:
    /// Publisher and subscriber are made even when their patterns are not.
    bool isMadeAnyway() const
    {
        return mSide.attachesAtOnce();
    }

    static std::function<void(Here&)> listening(const std::function<void(Here&)>& arrange)
    {
        return [arrange](Here& here) {
            heard.clear();
            arrange(here);
            here.it->registerCallBack(7, callbackOf<Channel>());
        };
    }

    void addMaking()
    {
        const std::string constructor = mSide.channel + "(std::string)";
        const auto make = [](Here& here) {
            here.it.emplace(given(here.name));
            return here.it->pvthandle == nullptr ? 0 : 1;
        };
        const auto nothing = [](Here& /*here*/) {};
        const auto withoutName = [](Here& here) { here.name = ""; };
        const Ending anyway = returns(0);
        const Steps first = within(making, makesContext());
        const std::string noName = "Invalid Channel name specified";
        const Ending refusal = refused(noName, {making});

        row("destroy", "~" + mSide.channel + "()", connected(),
            [](Here& here) {
                here.it.reset();
                return 0;
            })
            .calls(closesSocket())
            .destroys();
        if (!isMadeAnyway()) {
            row("make", constructor, nothing, make)
                .memory({withoutMemory()})
                .ends(returns(1))
                .repeats();
            row("makeTheFirst", constructor, nothing, make)
                .calls(first)
                .memory({withoutMemory(), withoutMemory({making})})
                .ends({"returned 1", {}, leaks::transport})
                .leavesContext()
                .once();
            row("makeWithoutAName", constructor, withoutName, make)
                .memory(std::vector<Ending>{withoutMemory()} + endingsOfFailing(refusal, {making}))
                .ends(refusal)
                .repeats();
            return;
        }
        row("make", constructor, nothing, make)
            .memory({withoutMemory(), anyway})
            .ends(returns(1))
            .repeats();
        const Ending logged = {anyway.what, {making + "std::bad_alloc"}, {}};
        row("makeTheFirst", constructor, nothing, make)
            .calls(swallowed(first))
            .memory({withoutMemory(), anyway, logged})
            .ends({"returned 1", {}, leaks::transport})
            .leavesContext()
            .once();
        const Ending normal = {anyway.what, refusal.lines, {}};
        row("makeWithoutAName", constructor, withoutName, make)
            .memory({anyway, normal, logged, anyway})
            .ends(normal)
            .repeats();
    }

    Table& mTable;
    const Side& mSide;
};

/// A channel that asks.
template <typename Channel> void addClient(Table& table, const Side& side)
{
    Rows<Channel> rows(table, side);
    rows.add();
    rows.addEndpoint("setServerEndPoint", [](Channel& channel, const std::string& endpoint) {
        return channel.setServerEndPoint(given(endpoint));
    });
    rows.addSend();
    rows.addFirstSend();
    rows.addReceive();
}

void addReply(Table& table)
{
    using Channel = ostrel::MsgReplyServerChannel;
    using Here = Scene<Channel>;
    Rows<Channel> rows(table, reply);
    rows.add();
    rows.addEndpoint("setServerEndPoint", [](Channel& channel, const std::string& endpoint) {
        return channel.setServerEndPoint(given(endpoint));
    });
    rows.addSend();
    rows.addReceive();
    rows.addCallback("registerCallBack(int, void (*)(char const*, int, "
                     "ostrel::MsgReplyServerChannel*))");
    // Where the second or the third frame is not there, the rest is taken for a message without a
    // header; nobody has asked for the receive that follows.
    rows.addLoop(
            "loop", "ipcReceive(long)",
            [ready = rows.ready()](Here& here) {
                ready(here);
                here.peer.emplace(ZMQ_REQ);
                here.peer->connect(here.address);
                here.peer->send(binaryFrames());
            },
            [](Here& here) { return here.it->ipcReceive(-1); }, longText)
        .calls(reply.connecting + receivingBinary(reply))
        .memory(receivingBinaryMemory(reply))
        .endsWithout(
            [](std::size_t frame) { return frame == 0 ? returns(0) : receiveOutOfTurn(); });
}

void addPublish(Table& table)
{
    using Channel = ostrel::MsgPublishChannel;
    Rows<Channel> rows(table, publish);
    rows.add();
    rows.addEndpoint("setPublisherEndPoint", [](Channel& channel, const std::string& endpoint) {
        return channel.setPublisherEndPoint(given(endpoint));
    });
    rows.addSend();
}

void addSubscribe(Table& table)
{
    using Channel = ostrel::MsgSubscribeChannel;
    using Here = Scene<Channel>;
    Rows<Channel> rows(table, subscribe);
    rows.add();
    rows.addEndpoint("setPublisherEndPoint", [](Channel& channel, const std::string& endpoint) {
        return channel.setPublisherEndPoint(given(endpoint));
    });
    const std::string setting = prefix("MsgSubscribePattern::setProperty");
    rows.row("subscribe", "subscribe(std::string)", Rows<Channel>::construct,
             [](Here& here) { return here.it->subscribe(given(here.got)); })
        .memory({withoutMemory(), withoutMemory({setting})});
    rows.row(
            "unsubscribe", "unsubscribe(std::string)",
            [](Here& here) {
                Rows<Channel>::construct(here);
                here.it->subscribe(here.got);
            },
            [](Here& here) { return here.it->unsubscribe(given(here.got)); })
        .memory({withoutMemory()});
    rows.addCallback("registerCallBack(int, void (*)(char const*, int, "
                     "ostrel::MsgSubscribeChannel*))");
    // A message whose rest is overlooked is dropped; the next one is there.
    rows.addLoop(
            "loop", "ipcReceive(long)",
            [offered = rows.offered()](Here& here) {
                offered(here);
                here.peer->send(binaryFrames());
                here.peer->send(binaryFrames());
            },
            [](Here& here) { return here.it->ipcReceive(-1); }, longText)
        .calls(receivingBinary(subscribe))
        .memory(receivingBinaryMemory(subscribe))
        .endsWithout([](std::size_t /*frame*/) { return returns(0); });
}

/// What is lost of a worker's loop that fails while it receives one part, frame by frame.
Steps losingWorkingMessage(Steps steps, const std::string& part)
{
    const Sizes empty = leaks::working({}, 0);
    const Sizes unfilled = leaks::working({}, 1);
    const Sizes withClient = leaks::working({client.size()}, 1);
    const Sizes unfilledSecond = leaks::working({client.size()}, 2);
    const Sizes whole = leaks::working({client.size(), part.size()}, 2);
    struct Frame {
        Sizes before;
        Sizes withoutData;
        Sizes after;
    };
    const Frame frames[] = {{empty, unfilled, withClient},
                            {withClient, withClient, withClient},
                            {withClient, unfilledSecond, whole}};
    Call* call = steps.calls.data();
    for (const Frame& frame : frames) {
        call[0].lost = frame.before;
        call[0].lostWithoutData = frame.withoutData;
        call[1].lost = frame.after;
        call[2].lost = frame.after;
        call += 3;
    }
    return steps;
}

/// The same for memory.
std::vector<Ending> workingMemory(const std::string& part)
{
    const Lines layers = dealerWorker.receiving;
    const std::vector<Ending> appends = within(layers, receivingParts(1));
    const Sizes whole = leaks::working({client.size(), part.size()}, 2);
    const Sizes withoutClient = leaks::working({part.size()}, 2);
    return losing(leaks::working({}, 0), {appends[0]}) +
           losing(leaks::working({}, 1), {appends[1]}) +
           losing(leaks::working({client.size()}, 1), {appends[0]}) +
           losing(leaks::working({client.size()}, 2), {appends[1]}) +
           losing(whole, {withoutMemory(layers)}) +
           losing(withoutClient,
                  within(layers, {withoutMemory({prefix("MsgDealerWorkerHandle::clone")})}));
}

using WorkerChannel = ostrel::MsgDealerWorkerChannel;
using OnWorker = Scene<WorkerChannel>;

/// `arrange`, and a client to answer.
std::function<void(OnWorker&)> asked(const std::function<void(OnWorker&)>& arrange)
{
    return [arrange](OnWorker& here) {
        arrange(here);
        auto handle = std::make_unique<MsgDealerWorkerHandle>();
        handle->setIdentity(client);
        here.handle = std::move(handle);
    };
}

long answer(OnWorker& here)
{
    const long sent =
        here.it->ipcSend(7, here.got.data(), static_cast<int>(here.got.size()), here.handle.get());
    here.handle.release(); // NOLINT(bugprone-unused-return-value): it went with the message.
    return sent;
}

/// After a failure the message of an answer is lost, but not the handle.
void addWorkerAnswers(Rows<WorkerChannel>& rows)
{
    const auto showHandle = [](OnWorker& here) { return workertest::clientOf(here.handle.get()); };
    const Sizes message = leaks::answer(longText);
    const Sizes addressed = leaks::answer(client, longText);
    const std::vector<Ending> addressing =
        losing(message, {withoutMemory()}) + losing(addressed, {withoutMemory()});
    const std::string operation = "ipcSend(int, char*, int, ostrel::MsgHandle*)";
    rows.row("ipcSend", operation, asked(rows.connected()), answer)
        .calls(losing(addressed, sendsFrames(3)))
        .memory(std::vector<Ending>{withoutMemory()} + addressing)
        .ends(returns(1))
        .shows("no handle", showHandle)
        .unchanged();
    rows.row("ipcSendFirst", operation, asked(rows.ready()), answer)
        .calls(losing(message, dealerWorker.connecting) + losing(addressed, sendsFrames(3)))
        .memory(std::vector<Ending>{withoutMemory()} +
                losing(message, dealerWorker.connectingMemory) + addressing)
        .ends(returns(1))
        .shows("no handle", showHandle)
        .unchanged();
}

/// A message whose rest is overlooked has no header, and so the type 0.
void addWorkerLoop(Rows<WorkerChannel>& rows)
{
    const std::string part = longText;
    const Steps receives =
        within(dealerWorker.receiving, receivesFrames({Use::identity, Use::header, Use::part}));
    const Steps connecting = within(dealerWorker.receiving, dealerWorker.connecting);
    const Sizes empty = leaks::working({}, 0);
    rows.addLoop(
            "loop", "ipcReceive(int, long)",
            [ready = rows.ready(), part](OnWorker& here) {
                ready(here);
                here.peer.emplace(ZMQ_DEALER);
                here.peer->name(client);
                here.peer->connect(here.address);
                here.peer->send({watch::header(7, 258), part});
                here.sink.endpoint = here.workers;
                here.it->registerCallBack(0, hearRequest);
            },
            [](OnWorker& here) { return here.it->ipcReceive(42, -1); }, "42 " + part + " " + client)
        .calls(losing(empty, connecting) + losingWorkingMessage(receives, part))
        .memory(std::vector<Ending>{withoutMemory()} +
                losing(empty, within(dealerWorker.receiving, dealerWorker.connectingMemory)) +
                workingMemory(part))
        .endsWithout([](std::size_t /*frame*/) { return returns(0); });
}

void addDealerWorker(Table& table)
{
    Rows<WorkerChannel> rows(table, dealerWorker);
    rows.add();
    rows.addEndpoint("setServerEndPoint", [](WorkerChannel& channel, const std::string& endpoint) {
        return channel.setServerEndPoint(given(endpoint));
    });
    rows.addEndpoint("setWorkerEndPoint", [](WorkerChannel& channel, const std::string& endpoint) {
        return channel.setWorkerEndPoint(given(endpoint));
    });
    rows.addCallback("registerCallBack(int, void (*)(int, char const*, int, "
                     "ostrel::MsgDealerWorkerChannel*, ostrel::MsgHandle*))");
    addWorkerAnswers(rows);
    addWorkerLoop(rows);
}

} // namespace

void addChannels(Table& table)
{
    addBaseProperties(table);
    addBaseSends(table);
    addBaseReceives(table);
    addBaseWaits(table);
    addBaseMisuse(table);
    addClient<ostrel::MsgRequestClientChannel>(table, request);
    addReply(table);
    addPublish(table);
    addSubscribe(table);
    addClient<ostrel::MsgDealerClientChannel>(table, dealerClient);
    addDealerWorker(table);
}

} // namespace faults
