#ifndef OSTREL_PATTERN_PROPERTIES_H
#define OSTREL_PATTERN_PROPERTIES_H

#include "ostrel/MsgPattern.h"

#include <initializer_list>
#include <map>
#include <string>

namespace ostrel::detail {

/// The properties that a pattern accepts.
using PropertyList = std::initializer_list<channel_prop_t>;

/// Throws std::logic_error unless `prop` is among `accepted`; the text names the value.
void requireSettable(PropertyList accepted, channel_prop_t prop, const std::string& value);

/// Throws std::logic_error unless `prop` is among `accepted`.
void requireQueryable(PropertyList accepted, channel_prop_t prop);

/// Throws std::logic_error unless `valid`; the text names the endpoint.
void requireEndpoint(bool valid, const std::string& endpoint);

/// Throws std::logic_error when `socket` is there already; the text names the endpoint `stored`,
/// not the new one.
void requireNoSocket(const void* socket, const std::string& stored);

/// The rules of a pattern that connects when it is first used, in order: -1, silently, once it has
/// a socket; the property must be accepted; the endpoint must be valid. Then it is kept, and the
/// result is 0. Publishers and subscribers have rules of their own.
int keepEndpoint(const void* socket, PropertyList accepted, bool valid,
                 std::map<channel_prop_t, std::string>& properties, channel_prop_t prop,
                 const std::string& value);

} // namespace ostrel::detail

#endif
