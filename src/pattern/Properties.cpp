#include "pattern/Properties.h"

#include "message/Bounds.h"

#include <algorithm>
#include <stdexcept>

namespace ostrel::detail {

namespace {

bool contains(PropertyList list, channel_prop_t prop)
{
    return std::find(list.begin(), list.end(), prop) != list.end();
}

} // namespace

void requireSettable(PropertyList accepted, channel_prop_t prop, const std::string& value)
{
    if (!contains(accepted, prop)) {
        throw std::logic_error("Invalid property - cannot be set : " + value);
    }
}

void requireQueryable(PropertyList accepted, channel_prop_t prop)
{
    require(contains(accepted, prop), "Invalid property queried");
}

void requireEndpoint(bool valid, const std::string& endpoint)
{
    if (!valid) {
        throw std::logic_error("Invalid Endpoint : " + endpoint);
    }
}

void requireNoSocket(const void* socket, const std::string& stored)
{
    if (socket != nullptr) {
        throw std::logic_error("Publisher Endpoint already set : " + stored);
    }
}

int keepEndpoint(const void* socket, PropertyList accepted, bool valid,
                 std::map<channel_prop_t, std::string>& properties, channel_prop_t prop,
                 const std::string& value)
{
    if (socket != nullptr) {
        return -1;
    }
    requireSettable(accepted, prop, value);
    requireEndpoint(valid, value);
    properties[prop] = value;
    return 0;
}

} // namespace ostrel::detail
