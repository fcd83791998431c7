#include "fuzz/Model.h"

#include "fuzz/Check.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/MsgDealerWorkerHandle.h"
#include "ostrel/StringMsg.h"

#include <algorithm>
#include <cstddef>

namespace fuzz {

namespace {

constexpr std::size_t headerSize = 8;

int readType(const std::string& header)
{
    unsigned int type = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        type = type * 256 + static_cast<unsigned char>(header[i]);
    }
    return static_cast<int>(type);
}

std::string bytesOf(const ostrel::DataPart& part)
{
    expect((part.mData == nullptr) == (part.mSize == 0), "a part has bytes or size 0");
    return part.mData == nullptr ? "" : std::string(part.mData, part.mData + part.mSize);
}

/// A name that a peer gave itself, as far as a binary message's handle keeps it.
std::string keptName(const std::string& name)
{
    return upToZero(name.size() <= 64 ? name : name.substr(0, 60));
}

template <typename Msg> std::string takeFirst(Msg& msg)
{
    const std::string first = msg.parts.front();
    msg.parts.erase(msg.parts.begin());
    return first;
}

} // namespace

Client look(const ostrel::MsgHandle* handle)
{
    if (handle == nullptr) {
        return std::nullopt;
    }
    const auto* worker = dynamic_cast<const ostrel::MsgDealerWorkerHandle*>(handle);
    expect(worker != nullptr, "a handle is a worker's");
    return worker->getIdentity();
}

Text look(ostrel::StringMsg& msg)
{
    Text seen;
    for (int i = 0; i < msg.getNumParts(); ++i) {
        seen.parts.push_back(msg[static_cast<unsigned int>(i)]);
    }
    seen.client = look(msg.getHandle());
    return seen;
}

Binary look(ostrel::IpcMsg& msg)
{
    Binary seen;
    seen.type = msg.getMsgType();
    seen.subType = msg.getMsgSubType();
    for (int i = 0; i < msg.getNumParts(); ++i) {
        seen.parts.push_back(bytesOf(msg[static_cast<unsigned int>(i)]));
    }
    seen.client = look(msg.getHandle());
    return seen;
}

void expectSame(const Text& actual, const Text& expected)
{
    expectEqual(actual.parts, expected.parts, "the list of parts");
    expectEqual(actual.client, expected.client, "the handle's client");
}

void expectSame(const Binary& actual, const Binary& expected)
{
    expectEqual(actual.type, expected.type, "the type");
    expectEqual(actual.subType, expected.subType, "the subtype");
    expectEqual(actual.parts, expected.parts, "the list of parts");
    expectEqual(actual.client, expected.client, "the handle's client");
}

std::string upToZero(const std::string& bytes)
{
    return bytes.substr(0, bytes.find('\0'));
}

std::optional<Frames> throughReq(const Frames& frames)
{
    if (frames.size() < 2 || !frames.front().empty()) {
        return std::nullopt;
    }
    return Frames(frames.begin() + 1, frames.end());
}

std::optional<Request> throughRep(const Frames& frames)
{
    const auto delimiter = std::find(frames.begin(), frames.end() - 1, "");
    if (delimiter == frames.end() - 1) {
        return std::nullopt;
    }
    return Request{{frames.begin(), delimiter + 1}, {delimiter + 1, frames.end()}};
}

int receive(Text& msg, const Frames& frames)
{
    msg.parts = frames;
    for (std::string& part : msg.parts) {
        part = upToZero(part);
    }
    return static_cast<int>(msg.parts.size());
}

int receive(Binary& msg, const Frames& frames, bool framing)
{
    auto next = frames.begin();
    if (framing) {
        msg.parts.push_back(*next++);
    }
    next = std::find_if(next, frames.end(),
                        [](const std::string& frame) { return frame.size() == headerSize; });
    msg.type = 0;
    if (next != frames.end()) {
        msg.type = readType(*next++);
        msg.parts.insert(msg.parts.end(), next, frames.end());
    }
    return static_cast<int>(msg.parts.size());
}

int takeClient(Text& msg, int result)
{
    if (result < 1) {
        return result;
    }
    msg.client = takeFirst(msg);
    return result - 1;
}

int takeClient(Binary& msg, int result)
{
    if (result < 1) {
        return result;
    }
    msg.client = keptName(takeFirst(msg));
    return result - 1;
}

int takeTopic(std::string& topic, Text& msg, int result)
{
    if (msg.parts.empty()) {
        return result;
    }
    topic = takeFirst(msg);
    return static_cast<int>(msg.parts.size());
}

} // namespace fuzz
