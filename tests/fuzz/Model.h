#ifndef OSTREL_TESTS_FUZZ_MODEL_H
#define OSTREL_TESTS_FUZZ_MODEL_H

#include "fuzz/Frames.h"

#include <optional>
#include <string>

namespace ostrel {
class IpcMsg;
class MsgHandle;
class StringMsg;
} // namespace ostrel

/// What a receive has to make of the frames that a peer sent, told a second time in other words
/// than the library's, and messages in a form that can be compared.
namespace fuzz {

/// Whom a message's handle names, if it has one.
using Client = std::optional<std::string>;

struct Text {
    Frames parts;
    Client client;
};

struct Binary {
    int type = 0;
    int subType = 0;
    Frames parts;
    Client client;
};

/// These read every byte.
Client look(const ostrel::MsgHandle* handle);
Text look(ostrel::StringMsg& msg);
Binary look(ostrel::IpcMsg& msg);

void expectSame(const Text& actual, const Text& expected);
void expectSame(const Binary& actual, const Binary& expected);

/// The bytes in front of the first zero byte.
std::string upToZero(const std::string& bytes);

/// What a REQ socket hands on of the frames of an answer; nothing when it drops it.
std::optional<Frames> throughReq(const Frames& frames);

/// A request as a REP socket takes it apart: what goes back in front of the answer, and what is
/// handed on. Nothing when it is dropped.
struct Request {
    Frames envelope;
    Frames body;
};
std::optional<Request> throughRep(const Frames& frames);

// Each changes `msg` as the operation has to, and returns its result.

int receive(Text& msg, const Frames& frames);
int receive(Binary& msg, const Frames& frames, bool framing);

/// What a worker does with a message after the transport's `result`.
int takeClient(Text& msg, int result);
int takeClient(Binary& msg, int result);

/// What a channel does with a text message after its pattern's `result`.
int takeTopic(std::string& topic, Text& msg, int result);

} // namespace fuzz

#endif
