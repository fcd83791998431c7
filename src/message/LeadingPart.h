#ifndef OSTREL_MESSAGE_LEADINGPART_H
#define OSTREL_MESSAGE_LEADINGPART_H

namespace ostrel::detail {

/// Sends `msg` with an extra part in front, which `insert()` puts there. Afterwards the part is
/// taken off again, and a positive result of `send()` does not count it.
///
/// Not a guard, on purpose: after a throw the part stays. Kept: applications rely on it.
template <typename Msg, typename Insert, typename Send>
int sendWithLeadingPart(Msg& msg, Insert insert, Send send)
{
    insert();
    const int sent = send();
    if (msg.getNumParts() > 0) {
        msg.removePart(0);
    }
    return sent > 0 ? sent - 1 : sent;
}

} // namespace ostrel::detail

#endif
