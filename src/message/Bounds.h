#ifndef OSTREL_MESSAGE_BOUNDS_H
#define OSTREL_MESSAGE_BOUNDS_H

#include <stdexcept>

namespace ostrel::detail {

/// Throws std::logic_error(text) unless `inside`. Whether that is logged is decided by where it is
/// called: inside or outside of logged().
inline void require(bool inside, const char* text)
{
    if (!inside) {
        throw std::logic_error(text);
    }
}

} // namespace ostrel::detail

#endif
