#ifndef OSTREL_TESTS_RECOVERY_QUESTIONS_H
#define OSTREL_TESTS_RECOVERY_QUESTIONS_H

#include "recovery/Ledger.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

/// What clients ask and what they have to be answered. Every message says which sending it belongs
/// to, and all of it follows from that: whoever gets it can tell whether a byte is wrong.
namespace recovery {

using Parts = std::vector<std::string>;

struct Message {
    int type;
    Parts parts;
};

struct Tag {
    unsigned int client;
    unsigned int sending;
    unsigned int request;
};

inline bool operator==(const Message& one, const Message& other)
{
    return one.type == other.type && one.parts == other.parts;
}

inline std::string textOf(const Tag& tag)
{
    return std::to_string(tag.client) + " " + std::to_string(tag.sending) + " " +
           std::to_string(tag.request);
}

inline std::optional<Tag> tagOf(const std::string& text)
{
    Tag tag{};
    const bool complete =
        std::sscanf(text.c_str(), "%u %u %u", &tag.client, &tag.sending, &tag.request) == 3;
    return complete && textOf(tag) == text && tag.client < maxClients && tag.sending < maxSendings
               ? std::optional<Tag>(tag)
               : std::nullopt;
}

/// `length` bytes that are different for each `number`: bytes of all values, from any place.
inline std::string bytesOf(unsigned int number, std::size_t length)
{
    static const std::string source = [] {
        std::string bytes;
        for (std::uint32_t i = 0, value = 1; i < 1U << 17U; ++i) {
            value = value * 1664525U + 1013904223U;
            bytes += static_cast<char>(value >> 24U);
        }
        return bytes;
    }();
    return source.substr(number * 127 % (source.size() / 2), length);
}

/// The tag, then up to four parts of up to 50,000 bytes.
inline Message questionOf(const Tag& tag)
{
    static const std::size_t lengths[] = {1, 0, 8, 100, 255, 256, 5000, 50000};
    Message question{static_cast<int>(tag.request % 5), {textOf(tag)}};
    for (unsigned int i = 0; i <= tag.request % 4; ++i) {
        const std::size_t length = lengths[(tag.request + 3 * i) % 8];
        question.parts.push_back(bytesOf((tag.sending * maxClients + tag.client) * 4 + i, length));
    }
    return question;
}

constexpr int bigType = 0x00626967;

/// More than the system's buffers hold between two processes one of which does not read.
inline Message bigQuestionOf(const Tag& tag)
{
    Message question{bigType, {textOf(tag)}};
    for (char byte = 'a'; byte < 'i'; ++byte) {
        question.parts.emplace_back(1U << 20U, byte);
    }
    return question;
}

/// The sending that a question or an answer says it belongs to.
inline std::optional<Tag> tagOf(const Message& message)
{
    return message.parts.empty() ? std::nullopt : tagOf(message.parts[0]);
}

/// The same, of a question that came as it was asked.
inline std::optional<Tag> checkedTagOf(const Message& question)
{
    const std::optional<Tag> tag = tagOf(question);
    const bool right =
        tag && question == (question.type == bigType ? bigQuestionOf(*tag) : questionOf(*tag));
    return right ? tag : std::nullopt;
}

/// The second half of the bytes in front of the first.
inline std::string turned(const std::string& bytes)
{
    return bytes.substr(bytes.size() / 2) + bytes.substr(0, bytes.size() / 2);
}

/// The next type; the tag; the other parts turned, unless they are big; who answers.
inline Message answerTo(const Message& question, unsigned int server)
{
    Message answer{question.type + 1, {question.parts[0]}};
    for (std::size_t i = 1; question.type != bigType && i < question.parts.size(); ++i) {
        answer.parts.push_back(turned(question.parts[i]));
    }
    answer.parts.push_back(std::to_string(server));
    return answer;
}

/// Who says to have answered; nobody that there is when it does not say.
inline unsigned int answererOf(const Message& answer)
{
    unsigned int server = maxServers;
    const bool says =
        !answer.parts.empty() && std::sscanf(answer.parts.back().c_str(), "%u", &server) == 1;
    return says && server < maxServers ? server : maxServers;
}

} // namespace recovery

#endif
