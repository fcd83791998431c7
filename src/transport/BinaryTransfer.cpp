// The transport's binary messages: an optional identity frame, the header, one frame per part.

#include "log/Logged.h"
#include "log/Trace.h"
#include "message/Bounds.h"
#include "message/PartBytes.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/ZMQWrapper.h"
#include "transport/Header.h"
#include "transport/Transfer.h"

#include <algorithm>
#include <array>
#include <vector>

namespace ostrel {

using detail::Arrival;
using detail::Frame;
using detail::logged;
using detail::trace;

namespace {

// In line, as a call would cost more than what is around the calls to ZeroMQ.
[[gnu::always_inline]] inline void sendPart(Frame& frame, void* socket, const DataPart& part,
                                            bool last)
{
    // A negative size becomes one that no frame can have: ZeroMQ refuses it.
    detail::sendFrame(frame, socket, part.mData, static_cast<std::size_t>(part.mSize),
                      last ? detail::lastFrame : detail::moreFrames);
}

const void* requireData(Frame& frame)
{
    const void* data = frame.data();
    detail::require(data != nullptr, "ZeroMQ frame without data");
    return data;
}

/// The parts that arrive for a message. It gets room for several at a time, which stay empty until
/// the receive ends, however it ends: a message copies all that it has whenever it gets more room.
class ArrivedParts {
public:
    explicit ArrivedParts(IpcMsg& msg)
        : mMsg(msg), mBefore(static_cast<unsigned int>(msg.getNumParts()))
    {
    }

    ~ArrivedParts()
    {
        join();
    }
    ArrivedParts(const ArrivedParts&) = delete;
    ArrivedParts& operator=(const ArrivedParts&) = delete;

    /// Takes a copy of what is in `frame`. The part is there, empty, also when that fails.
    void add(Frame& frame, int size)
    {
        if (mCount == mRoom) {
            makeRoom();
        }
        Bytes& part = bytesOf(mCount++);
        part = {nullptr, 0};
        part.data = detail::copyBytes(frame.data(), size);
        part.size = size;
    }

    /// Cannot fail: the message has the room.
    void join()
    {
        for (unsigned int i = 0; i < mCount; ++i) {
            DataPart& part = mMsg[mBefore + i];
            part.mData = bytesOf(i).data;
            part.mSize = bytesOf(i).size;
        }
        if (mCount != mRoom) {
            mMsg.setNumParts(mBefore + mCount);
        }
        mBefore += mCount;
        mCount = 0;
        mRoom = 0;
    }

private:
    struct Bytes {
        char* data;
        int size;
    };

    // Few parts, which is the rule, take no memory of their own here.
    static constexpr unsigned int fewParts = 8;

    Bytes& bytesOf(unsigned int index)
    {
        if (index < fewParts) {
            return mFew[index];
        }
        return mMore[index - fewParts];
    }

    void makeRoom()
    {
        const unsigned int room = std::max(1U, 2 * mRoom);
        mMsg.setNumParts(mBefore + room);
        mRoom = room;
        if (room > fewParts) {
            mMore.resize(room - fewParts);
        }
    }

    IpcMsg& mMsg;
    unsigned int mBefore;    // Parts that the message had.
    unsigned int mCount = 0; // Those that have arrived,
    unsigned int mRoom = 0;  // and those that there is room for.
    std::array<Bytes, fewParts> mFew;
    std::vector<Bytes> mMore;
};

/// Appends the parts of the next message to `msg`; the first one is an identity if it is `framed`.
int appendMessage(void* socket, long timeout, IpcMsg& msg, bool framed)
{
    bool identityPending = framed;
    bool headerPending = true;
    int type = 0;
    ArrivedParts parts(msg);
    detail::TraceLines<100> lines; // The usual two.
    const Arrival arrival = detail::receiveFrames(
        socket, timeout,
        [&] {
            lines.add("ZMQWrapper::receive: about to receive the msg");
            lines.print();
        },
        [&](Frame& frame) {
            const std::size_t length = frame.size();
            const int size = static_cast<int>(length);
            if (identityPending) {
                lines.add("get the identity size ", size);
                parts.add(frame, size);
            } else if (headerPending && length == detail::headerSize) {
                lines.add("get the msg hdr size ", size);
                type = detail::decodeType(requireData(frame));
                headerPending = false;
            } else if (headerPending) {
                // Dropped; the next frame is tried as the header.
                lines.add("ZMQWrapper::receive: something is messed up ... size=", size);
            } else {
                lines.add("get the msg size ", size);
                parts.add(frame, size);
            }
            identityPending = false;
        });
    parts.join();
    if (arrival == Arrival::message) {
        msg.setMsgType(type);
    }
    return detail::receiveResult(arrival, msg.getNumParts());
}

} // namespace

int ZMQWrapper::send(void* socket, IpcMsg* msg) const
{
    return logged("Error : Ostrel::ZMQWrapper::send() : ", [&] {
        if (socket == nullptr || msg == nullptr) {
            return -1;
        }
        const detail::Header header = detail::encodeHeader(msg->getMsgType(), msg->getMsgSubType());
        int next = 0;
        if (__atomic_load_n(&mIdentityEnabled, __ATOMIC_RELAXED)) {
            Frame frame; // Before the part, which may not be there.
            sendPart(frame, socket, (*msg)[0], msg->getNumParts() == 1);
            ++next;
        }
        {
            // Always with more to come, also when nothing does: see the public contract.
            Frame frame;
            detail::sendFrame(frame, socket, &header, sizeof header, detail::moreFrames);
        }
        for (; next < msg->getNumParts(); ++next) {
            const DataPart& part = (*msg)[static_cast<unsigned int>(next)];
            const bool last = next == msg->getNumParts() - 1;
            Frame frame;
            sendPart(frame, socket, part, last);
        }
        return msg->getNumParts();
    });
}

int ZMQWrapper::receive(void* socket, IpcMsg*& msg, long timeout) const
{
    return logged("Error : Ostrel::ZMQWrapper::receive() : ", [&] {
        if (socket == nullptr || msg == nullptr || timeout < -1) {
            trace("invalid input");
            return -1;
        }
        // The message is not emptied: parts are appended. Kept: applications rely on it.
        return appendMessage(socket, timeout, *msg,
                             __atomic_load_n(&mIdentityEnabled, __ATOMIC_RELAXED));
    });
}

} // namespace ostrel
