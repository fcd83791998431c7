#ifndef OSTREL_MESSAGE_TEXT_H
#define OSTREL_MESSAGE_TEXT_H

#include <stdexcept>

namespace ostrel::detail {

/// `text` itself, unless it is null. Asked before a C text becomes a std::string: the words for
/// null are fixed here because C++ runtimes word them differently, and appending a null text to a
/// std::string is not checked by any.
inline const char* requireText(const char* text)
{
    if (text == nullptr) {
        throw std::logic_error("basic_string::_M_construct null not valid");
    }
    return text;
}

} // namespace ostrel::detail

#endif
