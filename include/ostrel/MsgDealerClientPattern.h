#ifndef OSTREL_MSGDEALERCLIENTPATTERN_H
#define OSTREL_MSGDEALERCLIENTPATTERN_H

#include "ostrel/MsgPattern.h"

namespace ostrel {

/// The asynchronous client of a worker pool: a DEALER socket that names itself and connects to the
/// broker's endpoint for clients. Sends and receives need not alternate, and replies come in the
/// order in which workers finish.
///
/// The only property is PROP_DEALER_SERVER_ENDPOINT; it can be set until the socket exists.
///
/// The name is "IDENTITY_" and the hexadecimal form of one rand() after srand(time(nullptr)).
/// Clients that connect within the same second therefore get the same name, and the broker serves
/// only one of them (kept: applications expect the format and the seeding). Connecting reseeds
/// rand() for the whole process.
///
/// Failures of receive() are logged with
/// "Error : Ostrel::MsgDealerClientPattern::MsgDealerClientPattern() : " (kept), those of
/// connectEndpoint() with its own name; send() logs nothing of its own.
class MsgDealerClientPattern : public MsgPattern {
public:
    MsgDealerClientPattern(const std::string& name);

    // Slot order is ABI: append only.
    ~MsgDealerClientPattern() override;
    int setProperty(channel_prop_t prop, const std::string& value) override;
    std::string getProperty(channel_prop_t prop) override;
    int send(StringMsg* msg) override;

    /// Prints "MsgDealerClientPattern:receive ret=<result>".
    int receive(StringMsg* msg, long timeoutMs) override;

    /// Prints "MsgDealerClientPattern::send".
    int send(IpcMsg* msg) override;

    /// Prints "MsgDealerClientPattern:receive ret=<result>".
    int receive(IpcMsg* msg, long timeoutMs) override;

    /// Creates, names and connects the socket; prints
    /// "MsgDealerClientPattern::connectEndpoint IDENTITY = <name>".
    void connectEndpoint() override;
};

} // namespace ostrel

#endif
