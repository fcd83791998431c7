#ifndef OSTREL_BENCH_CONTENDER_PLAINCONTENDER_H
#define OSTREL_BENCH_CONTENDER_PLAINCONTENDER_H

#include "contender/Endpoint.h"
#include "contender/PlainMessages.h"
#include "contender/ZmqContender.h"

namespace bench {

template <typename Messages> class PlainLink : public Link {
public:
    explicit PlainLink(const ZmqContext& context)
        : mFrom(context, ZMQ_DEALER), mTo(context, ZMQ_DEALER)
    {
        const std::string endpoint = freshInproc();
        mTo.bind(endpoint);
        mFrom.connect(endpoint);
    }

    void prepare(const Parts& parts) override
    {
        mPrepared = parts;
    }

    void send() override
    {
        mOutgoing.send(mFrom.handle(), mPrepared);
    }

    void makeAndSend(Bytes bytes) override
    {
        mOutgoing.copyAndSend(mFrom.handle(), bytes);
    }

    void awaitArrival() override
    {
        noticeReads(mFrom.handle());
        awaitReadable(mTo.handle());
    }

    void receive() override
    {
        mIncoming.receive(mTo.handle());
    }

    Parts received() const override
    {
        return mIncoming.parts();
    }

private:
    ZmqSocket mFrom;
    ZmqSocket mTo;
    Parts mPrepared;
    Messages mOutgoing;
    Messages mIncoming;
};

/// The patterns and links by ZeroMQ's C functions; see PlainMessages and ZmqContender.
template <typename Trace, typename Store, typename Roles>
class PlainContender : public ZmqContender<PlainMessages<Trace, Store>, Roles> {
public:
    std::unique_ptr<Link> link() override
    {
        return std::make_unique<PlainLink<PlainMessages<Trace, Store>>>(this->context());
    }
};

} // namespace bench

#endif
