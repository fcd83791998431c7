#ifndef OSTREL_BENCH_CONTENDER_PLAINMESSAGES_H
#define OSTREL_BENCH_CONTENDER_PLAINMESSAGES_H

#include "contender/Contender.h"
#include "contender/Wire.h"
#include "contender/ZmqSocket.h"

#include <cstring>
#include <zmq.h>

namespace bench {

/// Messages by ZeroMQ's C functions: per frame the calls, the flags and the one copy of ours.
///
/// `Trace` is told of each attempt to receive and of each frame. `Store` keeps the received parts:
///
///     void clear();
///     Bytes add(const void* bytes, std::size_t size);   // A copy, good until clear().
template <typename Trace, typename Store> class PlainMessages {
public:
    void send(void* socket, const Parts& parts)
    {
        sendHeader(socket);
        for (std::size_t i = 0; i + 1 < parts.size(); ++i) {
            sendFrame(socket, parts[i], more);
        }
        sendFrame(socket, parts.back(), last);
    }

    void send(void* socket, Bytes bytes)
    {
        sendHeader(socket);
        sendFrame(socket, bytes, last);
    }

    /// Sends from a buffer of the message's own.
    void copyAndSend(void* socket, Bytes bytes)
    {
        mCopies.clear();
        send(socket, mCopies.add(bytes.data, bytes.size));
    }

    void reply(void* socket, Bytes identity, Bytes bytes)
    {
        sendFrame(socket, identity, more);
        send(socket, bytes);
    }

    void receive(void* socket)
    {
        receiveFrames(socket, false);
    }

    void receiveRequest(void* socket)
    {
        receiveFrames(socket, true);
    }

    const Parts& parts() const
    {
        return mParts;
    }

    Bytes identity() const
    {
        return mIdentity;
    }

    int type() const
    {
        return mType;
    }

    Bytes first() const
    {
        return mParts.front();
    }

    int count() const
    {
        return static_cast<int>(mParts.size());
    }

private:
    static constexpr int last = ZMQ_DONTWAIT;
    static constexpr int more = ZMQ_SNDMORE | ZMQ_DONTWAIT;

    static void sendHeader(void* socket)
    {
        const Header header = encodeHeader(messageType);
        sendFrame(socket, {header.data(), header.size()}, more);
    }

    static void sendFrame(void* socket, Bytes bytes, int flags)
    {
        zmq_msg_t frame;
        demand(zmq_msg_init_size(&frame, bytes.size) == 0, "zmq_msg_init_size");
        std::memcpy(zmq_msg_data(&frame), bytes.data, bytes.size);
        demand(zmq_msg_send(&frame, socket, flags) != -1, "zmq_msg_send");
        demand(zmq_msg_close(&frame) == 0, "zmq_msg_close");
    }

    void receiveFrames(void* socket, bool identityPending)
    {
        mStore.clear();
        mParts.clear();
        bool headerPending = true;
        int moreFrames = 1;
        std::size_t moreSize = sizeof moreFrames;
        while (moreFrames != 0) {
            zmq_msg_t frame;
            zmq_msg_init(&frame);
            Trace::attempt();
            demand(zmq_msg_recv(&frame, socket, 0) != -1, "zmq_msg_recv");
            const void* data = zmq_msg_data(&frame);
            const std::size_t size = zmq_msg_size(&frame);
            if (identityPending) {
                Trace::identity(static_cast<int>(size));
                mIdentity = mStore.add(data, size);
                identityPending = false;
            } else if (headerPending) {
                Trace::header(static_cast<int>(size));
                mType = decodeType(data);
                headerPending = false;
            } else {
                Trace::part(static_cast<int>(size));
                mParts.push_back(mStore.add(data, size));
            }
            demand(zmq_msg_close(&frame) == 0, "zmq_msg_close");
            demand(zmq_getsockopt(socket, ZMQ_RCVMORE, &moreFrames, &moreSize) == 0,
                   "zmq_getsockopt");
        }
    }

    Store mCopies;
    Store mStore;
    Parts mParts; // Emptied, never shrunk: no allocation for the list.
    Bytes mIdentity;
    int mType = 0;
};

} // namespace bench

#endif
