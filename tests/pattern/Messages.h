#ifndef OSTREL_TESTS_PATTERN_MESSAGES_H
#define OSTREL_TESTS_PATTERN_MESSAGES_H

#include "ostrel/IpcMsg.h"
#include "ostrel/StringMsg.h"

#include <string>
#include <vector>

namespace support {

inline ostrel::StringMsg textOf(const std::vector<std::string>& parts)
{
    ostrel::StringMsg msg(0);
    for (const std::string& part : parts) {
        msg.insertPart(static_cast<unsigned int>(msg.getNumParts()), part);
    }
    return msg;
}

/// Appends a part to a binary message.
inline void append(ostrel::IpcMsg& msg, const std::string& bytes)
{
    msg.insertPart(static_cast<unsigned int>(msg.getNumParts()), bytes.data(),
                   static_cast<int>(bytes.size()));
}

inline ostrel::IpcMsg binaryOf(int type, int subType, const std::vector<std::string>& parts)
{
    ostrel::IpcMsg msg(type, subType);
    for (const std::string& part : parts) {
        append(msg, part);
    }
    return msg;
}

inline std::vector<std::string> partsOf(ostrel::StringMsg& msg)
{
    std::vector<std::string> parts;
    for (int i = 0; i < msg.getNumParts(); ++i) {
        parts.push_back(msg[static_cast<unsigned int>(i)]);
    }
    return parts;
}

inline std::vector<std::string> partsOf(ostrel::IpcMsg& msg)
{
    std::vector<std::string> parts;
    for (int i = 0; i < msg.getNumParts(); ++i) {
        const ostrel::DataPart& part = msg[static_cast<unsigned int>(i)];
        parts.emplace_back(part.mData == nullptr ? "" : part.mData,
                           static_cast<std::size_t>(part.mSize));
    }
    return parts;
}

/// The header frame of a binary message.
inline std::string headerOf(int type, int subType)
{
    std::string header;
    for (const int number : {type, subType}) {
        for (const int shift : {24, 16, 8, 0}) {
            header += static_cast<char>(static_cast<unsigned int>(number) >> shift & 0xffU);
        }
    }
    return header;
}

} // namespace support

#endif
