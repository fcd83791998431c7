#include "faults/Sides.h"

#include "ostrel/MsgDealerWorkerPattern.h"

#include <cerrno>
#include <zmq.h>

using ostrel::MsgPattern;

namespace faults {

namespace {

const std::string server = "inproc://server";
const std::string worker = "inproc://worker";

const std::string clientConnecting = prefix("MsgDealerClientPattern::connectEndpoint");
const std::string workerConnecting = prefix("MsgDealerWorkerPattern::connectEndpoint");

// Both dealers' receives log under their constructors' names, and publish/subscribe's other
// direction with a blank.
const Lines clientReceiving = {prefix("MsgDealerClientPattern::MsgDealerClientPattern")};
const Lines workerReceiving = {prefix("MsgDealerWorkerPattern::MsgDealerWorkerPattern")};
const Lines subscriberReceiving = {prefix(" MsgSubscribePattern::receive")};

template <ostrel::channel_prop_t property> void setServer(MsgPattern& pattern, Stage& stage)
{
    pattern.setProperty(property, stage.address);
}

void doNothing(MsgPattern& /*pattern*/, Stage& /*stage*/) {}

void nothingToReceive(MsgPattern& /*pattern*/, Stage& /*stage*/, const Frames& /*frames*/) {}

void sendFromPeer(MsgPattern& /*pattern*/, Stage& stage, const Frames& frames)
{
    stage.peer->send(frames);
}

void connectRequest(MsgPattern& pattern, Stage& stage)
{
    stage.peer.emplace(ZMQ_REP);
    stage.peer->bind(stage.address);
    setServer<ostrel::PROP_SERVER_ENDPOINT>(pattern, stage);
    pattern.connectEndpoint();
}

void answerRequest(MsgPattern& pattern, Stage& stage, const Frames& frames)
{
    ostrel::StringMsg question(1);
    pattern.send(&question);
    stage.peer->receive();
    stage.peer->send(frames);
}

void connectReply(MsgPattern& pattern, Stage& stage)
{
    setServer<ostrel::PROP_SERVER_ENDPOINT>(pattern, stage);
    pattern.connectEndpoint();
    stage.peer.emplace(ZMQ_REQ);
    stage.peer->connect(stage.address);
}

void askReply(MsgPattern& pattern, Stage& stage)
{
    stage.peer->send({"question"});
    ostrel::StringMsg question(0);
    pattern.receive(&question, -1);
}

void bindPublisher(MsgPattern& pattern, Stage& stage)
{
    setServer<ostrel::PROP_PUBLISHER_ENDPOINT>(pattern, stage);
}

void connectSubscriber(MsgPattern& pattern, Stage& stage)
{
    stage.peer.emplace(ZMQ_XPUB);
    stage.peer->bind(stage.address);
    setServer<ostrel::PROP_PUBLISHER_ENDPOINT>(pattern, stage);
    stage.peer->receive(); // The filter: from here on it hears what is sent.
}

void connectClient(MsgPattern& pattern, Stage& stage)
{
    stage.peer.emplace(ZMQ_DEALER);
    stage.peer->bind(stage.address);
    setServer<ostrel::PROP_DEALER_SERVER_ENDPOINT>(pattern, stage);
    pattern.connectEndpoint();
}

void setBroker(MsgPattern& pattern, Stage& stage)
{
    pattern.setProperty(ostrel::PROP_DEALER_SERVER_ENDPOINT, stage.address);
    pattern.setProperty(ostrel::PROP_DEALER_WORKER_ENDPOINT, stage.workers);
}

/// To a peer in the broker's place.
void connectWorker(MsgPattern& pattern, Stage& stage)
{
    ostrel::MsgDealerWorkerPattern::mProxyThreads.emplace(stage.name, 0);
    stage.peer.emplace(ZMQ_DEALER);
    stage.peer->bind(stage.workers);
    setBroker(pattern, stage);
    pattern.connectEndpoint();
}

void sendFromClient(MsgPattern& /*pattern*/, Stage& stage, const Frames& frames)
{
    Frames all = {client};
    all.insert(all.end(), frames.begin(), frames.end());
    stage.peer->send(all);
}

std::vector<Use> withClient(const Side& side, std::vector<Use> uses)
{
    if (side.isWorker()) {
        uses.insert(uses.begin(), uses.front() == Use::text ? Use::text : Use::identity);
    }
    return uses;
}

/// What a worker does with the client's identity once it has the message.
const std::vector<Ending> takingIdentity = {
    withoutMemory(workerReceiving),
    withoutMemory({prefix("MsgDealerWorkerHandle::clone"), workerReceiving.front()}),
};

} // namespace

const Side request = {
    "MsgRequestPattern",
    "MsgRequestClientChannel",
    ostrel::PROP_SERVER_ENDPOINT,
    makesSocket() + connects(server),
    {},
    {},
    {},
    setServer<ostrel::PROP_SERVER_ENDPOINT>,
    connectRequest,
    answerRequest,
    doNothing,
};

const Side reply = {
    "MsgReplyPattern",
    "MsgReplyServerChannel",
    ostrel::PROP_SERVER_ENDPOINT,
    makesSocket() + binds(server),
    {},
    {},
    {},
    setServer<ostrel::PROP_SERVER_ENDPOINT>,
    connectReply,
    sendFromPeer,
    askReply,
};

const Side publish = {
    "MsgPublishPattern",
    "MsgPublishChannel",
    ostrel::PROP_PUBLISHER_ENDPOINT,
    makesSocket() + binds(server),
    {},
    {prefix("MsgPublishPattern::send")},
    {prefix(" MsgPublishPattern::receive")},
    doNothing,
    bindPublisher,
    nothingToReceive,
    doNothing,
};

const Side subscribe = {
    "MsgSubscribePattern",
    "MsgSubscribeChannel",
    ostrel::PROP_PUBLISHER_ENDPOINT,
    makesSocket() + setsOption() + connects(server),
    {},
    {prefix("MsgSubscribePattern::send")},
    subscriberReceiving,
    doNothing,
    connectSubscriber,
    sendFromPeer,
    doNothing,
};

const Side dealerClient = {
    "MsgDealerClientPattern",
    "MsgDealerClientChannel",
    ostrel::PROP_DEALER_SERVER_ENDPOINT,
    within(clientConnecting, makesSocket() + setsOption() + connects(server)),
    {withoutMemory({clientConnecting})},
    {},
    clientReceiving,
    setServer<ostrel::PROP_DEALER_SERVER_ENDPOINT>,
    connectClient,
    sendFromPeer,
    doNothing,
};

const Side dealerWorker = {
    "MsgDealerWorkerPattern",
    "MsgDealerWorkerChannel",
    ostrel::PROP_DEALER_SERVER_ENDPOINT,
    within(workerConnecting, makesSocket() + startsBroker(server, worker) + connects(worker)),
    {withoutMemory({workerConnecting})},
    {},
    workerReceiving,
    setBroker,
    connectWorker,
    sendFromClient,
    doNothing,
};

bool Side::isWorker() const
{
    return this == &dealerWorker;
}

bool Side::sends() const
{
    return this != &subscribe;
}

bool Side::receives() const
{
    return this != &publish;
}

bool Side::attachesAtOnce() const
{
    return this == &publish || this == &subscribe;
}

const Lines parts = {longText, otherText};

void writeText(const Side& side, Stage& stage)
{
    stage.text = watch::text(parts);
    if (side.isWorker()) {
        stage.text = workertest::addressed(stage.text, client);
    }
}

void writeBinary(const Side& side, Stage& stage)
{
    stage.binary = watch::binary(7, 258, parts);
    if (side.isWorker()) {
        stage.binary = workertest::addressed(stage.binary, client);
    }
}

Steps sendingText(const Side& side)
{
    return within(side.sending, sendsFrames(side.isWorker() ? 3 : 2));
}

Steps sendingBinary(const Side& side)
{
    return within(side.sending, sendsFrames(side.isWorker() ? 4 : 3));
}

std::vector<Ending> sendingTextMemory(const Side& side)
{
    if (!side.isWorker()) {
        return {};
    }
    return {withoutMemory(), withoutMemory({prefix("StringMsg::insertPart")})};
}

std::vector<Ending> sendingBinaryMemory(const Side& side)
{
    if (!side.isWorker()) {
        return {};
    }
    return {withoutMemory()};
}

Frames textFrames()
{
    return parts;
}

Frames binaryFrames()
{
    return {watch::header(7, 258), longText, otherText};
}

Steps receivingText(const Side& side)
{
    return within(side.receiving, receivesFrames(withClient(side, {Use::text, Use::text})));
}

Steps receivingBinary(const Side& side)
{
    return within(side.receiving,
                  receivesFrames(withClient(side, {Use::header, Use::part, Use::part})));
}

std::vector<Ending> receivingTextMemory(const Side& side)
{
    return within(side.receiving, receivingTexts(side.isWorker() ? 3 : 2)) +
           (side.isWorker() ? takingIdentity : std::vector<Ending>());
}

std::vector<Ending> receivingBinaryMemory(const Side& side)
{
    return within(side.receiving, receivingParts(side.isWorker() ? 3 : 2)) +
           (side.isWorker() ? takingIdentity : std::vector<Ending>());
}

Ending sendOutOfTurn()
{
    return fails("Failed to send messagepart : " + textOf(EFSM), {prefix("ZMQWrapper::send")});
}

Ending receiveOutOfTurn()
{
    return fails("Failed to get messagepart: " + textOf(EFSM), {prefix("ZMQWrapper::receive")});
}

} // namespace faults
