#ifndef OSTREL_MESSAGE_BOUNDS_H
#define OSTREL_MESSAGE_BOUNDS_H

namespace ostrel::detail {

/// Throws std::logic_error(text). Apart from require(), so that this stays small enough to be in
/// line wherever a message passes.
[[noreturn, gnu::cold]] void throwLogicError(const char* text);

/// Throws std::logic_error(text) unless `inside`. Whether that is logged is decided by where it is
/// called: inside or outside of logged().
inline void require(bool inside, const char* text)
{
    if (!inside) {
        throwLogicError(text);
    }
}

} // namespace ostrel::detail

#endif
