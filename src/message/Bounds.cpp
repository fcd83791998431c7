#include "message/Bounds.h"

#include <stdexcept>

namespace ostrel::detail {

void throwLogicError(const char* text)
{
    throw std::logic_error(text);
}

} // namespace ostrel::detail
