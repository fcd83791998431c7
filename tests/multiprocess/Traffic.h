#ifndef OSTREL_TESTS_MULTIPROCESS_TRAFFIC_H
#define OSTREL_TESTS_MULTIPROCESS_TRAFFIC_H

#include <array>
#include <climits>
#include <string>
#include <vector>

/// What the programs and the tests send each other: both sides can tell every message.
namespace traffic {

using Parts = std::vector<std::string>;

struct Message {
    int type;
    Parts parts;
};

/// The types of requests.
constexpr std::array<int, 12> types = {0,   1,   -1,      7,       8,      127,
                                       128, 256, INT_MAX, INT_MIN, -65536, 0x01020304};

/// The request after which a server ends.
constexpr int quitType = 0x71756974;

/// Bytes of every value and of many lengths: also none, and that of a header.
inline std::string bytesOf(unsigned int number)
{
    static const std::size_t lengths[] = {1, 0, 8, 100, 255, 256, 5000, 70000};
    std::string bytes(lengths[number % 8], '\0');
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        number = number * 1664525U + 1013904223U;
        bytes[i] = static_cast<char>(number >> 24U);
    }
    return bytes;
}

/// The `number`th request, of one part or of up to four.
inline Message requestOf(unsigned int number, bool onePart)
{
    Message request{types[number % types.size()], {}};
    for (unsigned int i = 0; i <= (onePart ? 0 : number % 4); ++i) {
        request.parts.push_back(bytesOf(number + i * 1001));
    }
    return request;
}

inline std::string reversed(const std::string& bytes)
{
    return {bytes.rbegin(), bytes.rend()};
}

/// A server's answer: the next type, every part backwards.
inline Message answerTo(const Message& request)
{
    Message answer{static_cast<int>(static_cast<unsigned int>(request.type) + 1U), {}};
    for (const std::string& part : request.parts) {
        answer.parts.push_back(reversed(part));
    }
    return answer;
}

inline std::string topicOf(unsigned int number)
{
    return std::string(number % 256, 't');
}

/// The parts of the `number`th text; none holds a zero byte.
inline Parts textOf(unsigned int number)
{
    Parts parts;
    for (unsigned int i = 0; i <= number % 5; ++i) {
        parts.push_back(i == 3 ? "" : "text " + std::to_string(number * 10 + i));
    }
    return parts;
}

} // namespace traffic

#endif
