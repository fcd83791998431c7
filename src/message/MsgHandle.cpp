#include "ostrel/MsgHandle.h"

namespace ostrel {

MsgHandle::~MsgHandle() = default;

} // namespace ostrel
