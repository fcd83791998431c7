#ifndef OSTREL_TESTS_MESSAGE_MESSAGES_H
#define OSTREL_TESTS_MESSAGE_MESSAGES_H

#include "message/TestHandle.h"
#include "ostrel/IpcMsg.h"
#include "ostrel/StringMsg.h"

#include <string>
#include <vector>

namespace support {

using Texts = std::vector<std::string>;

inline void append(ostrel::IpcMsg& msg, const std::string& bytes)
{
    msg.insertPart(static_cast<unsigned int>(msg.getNumParts()), bytes.data(),
                   static_cast<int>(bytes.size()));
}

inline void append(ostrel::StringMsg& msg, const std::string& text)
{
    msg.insertPart(static_cast<unsigned int>(msg.getNumParts()), text);
}

/// A message with those parts.
template <typename Msg> Msg messageOf(const Texts& parts)
{
    Msg msg;
    for (const std::string& part : parts) {
        append(msg, part);
    }
    return msg;
}

/// A message with those parts and a TestHandle of that name.
template <typename Msg> Msg messageOf(const Texts& parts, const std::string& handle)
{
    Msg msg = messageOf<Msg>(parts);
    const TestHandle given(handle);
    msg.setHandle(&given);
    return msg;
}

/// The bytes of a part; "null" and the size for one without a buffer.
inline std::string bytesOf(const ostrel::DataPart& part)
{
    if (part.mData == nullptr) {
        return "null " + std::to_string(part.mSize);
    }
    return std::string(part.mData, static_cast<std::size_t>(part.mSize < 0 ? 0 : part.mSize));
}

inline std::string bytesOf(const std::string& part)
{
    return part;
}

/// The parts of a message, first to last, as bytesOf() gives them.
template <typename Msg> Texts partsOf(Msg& msg)
{
    Texts parts;
    for (int i = 0; i < msg.getNumParts(); ++i) {
        parts.push_back(bytesOf(msg[static_cast<unsigned int>(i)]));
    }
    return parts;
}

/// Parts and handle of a message in one line: "[one][two] sender", "[one] no handle".
template <typename Msg> std::string describe(Msg& msg)
{
    std::string text;
    for (const std::string& part : partsOf(msg)) {
        text += "[" + part + "]";
    }
    const TestHandle* handle = testHandle(msg);
    return text + " " + (handle == nullptr ? "no handle" : handle->name);
}

} // namespace support

#endif
