#ifndef OSTREL_TESTS_FAULTS_CALLS_H
#define OSTREL_TESTS_FAULTS_CALLS_H

#include "faults/Operation.h"

#include <string>
#include <vector>

/// The words of the table: what the library's operations are made of, with the text of each
/// failure and the transport's own line.
namespace faults {

/// "Error : Ostrel::" + `operation` + "() : ", what almost every layer puts in front of its line.
std::string prefix(const std::string& operation);

/// The same with the binary messages' lower-case library word.
std::string binaryPrefix(const std::string& operation);

// Calls.

Steps makesContext();
Steps makesSocket();
Steps binds(const std::string& endpoint);
Steps connects(const std::string& endpoint);
Steps setsOption();

/// Sends a message of so many frames.
Steps sendsFrames(std::size_t count);

/// What a received frame is for.
enum class Use { text, identity, header, part };

/// Receives one message.
Steps receivesFrames(const std::vector<Use>& frames);

/// Tries to receive and finds nothing.
Steps findsNothing();

/// The same where the attempt fails by itself, with ZeroMQ's refusal of what is out of turn.
Steps isOutOfTurn();

/// Makes a frame to send; `withoutData` is thrown when it then has no data.
Steps makesFrame(const std::string& withoutData = "ZeroMQ frame without data");

/// Closes a frame, after a failure, without looking at the result.
Steps givesUpFrame();

/// Tries to send and is refused, by itself, the first frame.
Steps isRefused();

/// Looks whether there is something to read, and goes on in any case.
Steps polls();

/// Closes a socket for good, whatever fails.
Steps closesSocket();

/// Makes and binds a broker's sockets and starts its thread.
Steps startsBroker(const std::string& clients, const std::string& workers);

/// The same without endpoints: the first bind fails by itself, and the sockets are closed again.
Steps startsNoBroker();

Steps runsProxy();

/// The same inside of a layer that logs with `prefix`.
Steps within(const std::string& prefix, Steps steps);

/// The same inside of several, the innermost first, or of none.
Steps within(const Lines& prefixes, Steps steps);

/// The same inside of something that catches everything and goes on.
Steps swallowed(Steps steps);

/// The same where `lost` is not given back after a failure.
Steps losing(const Sizes& lost, Steps steps);

// Endings.

Ending returns(long result);

/// Memory runs out, and layers with these prefixes log that, the innermost first.
Ending withoutMemory(const Lines& prefixes = {}, const Sizes& lost = {});

/// Misuse.
Ending refused(const std::string& text, const Lines& prefixes = {});

/// A failure of ZeroMQ's that happens by itself.
Ending fails(const std::string& text, const Lines& prefixes = {});

/// How an operation that ends with `ending` in any case ends when memory runs out while that is
/// made: the exception object comes from a reserve, its text turns it into another exception, and
/// each line that cannot be built is given up.
std::vector<Ending> endingsOfFailing(const Ending& ending, const Lines& prefixes);

/// What a transport's receive of `count` text frames, or of `count` parts, does with memory.
std::vector<Ending> receivingTexts(std::size_t count);
std::vector<Ending> receivingParts(std::size_t count);

/// The same endings inside of layers that log too.
std::vector<Ending> within(const Lines& prefixes, std::vector<Ending> endings);

/// The same endings where `lost` is not given back.
std::vector<Ending> losing(const Sizes& lost, std::vector<Ending> endings);

/// The endings of one after those of the other, runs of equal ones given once.
std::vector<Ending> operator+(std::vector<Ending> first, const std::vector<Ending>& second);

/// The same `count` times over.
std::vector<Ending> times(std::size_t count, const std::vector<Ending>& endings);

// What ZeroMQ does.

/// The errors that a failing `function` is tried with.
std::vector<int> errorsOf(const std::string& function);

/// ZeroMQ's text for an error.
std::string textOf(int error);

} // namespace faults

#endif
