#include "instructions/Rows.h"

#include "contender/Endpoint.h"

#include <chrono>
#include <thread>
#include <utility>

namespace bench {

namespace {

/// ZeroMQ's send looks for commands when some three million ticks of the processor have passed
/// since it last did. Whether that falls into what is counted must not depend on the machine: let
/// the time pass, so that the uncounted send that follows does it.
void settle()
{
    std::this_thread::sleep_for(std::chrono::milliseconds(3));
}

class LinkOperation : public Operation {
public:
    LinkOperation(std::unique_ptr<Link> link, std::size_t size, int parts)
        : mLink(std::move(link)), mBytes(size, 'x')
    {
        mLink->prepare(Parts(static_cast<std::size_t>(parts), bytes()));
        sendAndReceive();
    }

protected:
    Link& link()
    {
        return *mLink;
    }

    Bytes bytes() const
    {
        return {mBytes.data(), mBytes.size()};
    }

    void sendAndReceive()
    {
        mLink->send();
        mLink->awaitArrival();
        mLink->receive();
    }

private:
    std::unique_ptr<Link> mLink;
    std::string mBytes;
};

class Receive : public LinkOperation {
public:
    using LinkOperation::LinkOperation;

    void before() override
    {
        link().send();
        link().awaitArrival();
    }

    void counted() override
    {
        link().receive();
    }
};

class Send : public LinkOperation {
public:
    using LinkOperation::LinkOperation;

    void before() override
    {
        settle();
        sendAndReceive();
    }

    void counted() override
    {
        link().send();
    }

    void after() override
    {
        link().awaitArrival();
        link().receive();
    }
};

class MakeAndSend : public Send {
public:
    using Send::Send;

    void counted() override
    {
        link().makeAndSend(bytes());
    }
};

/// A request and its reply, both ends in turn on one thread.
class Trip : public Operation {
public:
    Trip(Contender& contender, std::size_t size) : mBytes(size, 'x')
    {
        const Endpoints endpoints = {freshInproc(), {}};
        mServer = contender.answerer(Pattern::requestReply, endpoints);
        mClient = contender.asker(Pattern::requestReply, endpoints);
        counted();
    }

    void before() override
    {
        settle();
        counted();
    }

    void counted() override
    {
        mClient->send({mBytes.data(), mBytes.size()});
        mServer->answer();
        mClient->receive();
    }

private:
    std::unique_ptr<Answerer> mServer;
    std::unique_ptr<Asker> mClient;
    std::string mBytes;
};

/// What counting itself costs; taken off all others.
class Nothing : public Operation {
public:
    void counted() override {}
};

std::string rowName(const std::string& what, std::size_t size, int parts)
{
    return what + '/' + std::to_string(size) + (parts == 1 ? "" : 'x' + std::to_string(parts));
}

template <typename Kind>
void addLinkRow(std::vector<Row>& table, const std::string& what, std::size_t size, int parts)
{
    const int batches = parts <= 100 ? 9 : 3;
    const int messages = parts <= 10 ? 30 : parts <= 100 ? 10 : parts <= 1000 ? 4 : 1;
    table.push_back({rowName(what, size, parts), batches, messages, [=](Contender& contender) {
                         return std::make_unique<Kind>(contender.link(), size, parts);
                     }});
}

std::vector<Row> makeRows()
{
    const std::size_t sizes[] = {16, 1024, 65536};
    const int counts[] = {10, 100, 1000, 10000};
    std::vector<Row> table;
    table.push_back(
        {"nothing", 1, 50, [](Contender& /*contender*/) { return std::make_unique<Nothing>(); }});
    for (const std::size_t size : sizes) {
        addLinkRow<Send>(table, "send", size, 1);
    }
    for (const int parts : counts) {
        addLinkRow<Send>(table, "send", 16, parts);
    }
    for (const std::size_t size : sizes) {
        addLinkRow<MakeAndSend>(table, "make+send", size, 1);
    }
    for (const std::size_t size : sizes) {
        addLinkRow<Receive>(table, "receive", size, 1);
    }
    for (const int parts : counts) {
        addLinkRow<Receive>(table, "receive", 16, parts);
    }
    for (const std::size_t size : {sizes[0], sizes[1]}) {
        table.push_back({rowName("trip", size, 1), 9, 30, [=](Contender& contender) {
                             return std::make_unique<Trip>(contender, size);
                         }});
    }
    return table;
}

} // namespace

const std::vector<Row>& rows()
{
    static const std::vector<Row> table = makeRows();
    return table;
}

} // namespace bench
