#ifndef OSTREL_MESSAGE_OWNEDHANDLE_H
#define OSTREL_MESSAGE_OWNEDHANDLE_H

#include "ostrel/MsgHandle.h"

namespace ostrel::detail {

// Two functions on purpose: a message drops its handle before it clones the new one, so that one
// whose cloning fails is left without a handle rather than with a dangling one.

inline void dropHandle(MsgHandle*& own)
{
    delete own;
    own = nullptr;
}

inline MsgHandle* cloneOf(const MsgHandle* source)
{
    return source == nullptr ? nullptr : source->clone();
}

} // namespace ostrel::detail

#endif
