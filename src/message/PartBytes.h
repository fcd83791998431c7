#ifndef OSTREL_MESSAGE_PARTBYTES_H
#define OSTREL_MESSAGE_PARTBYTES_H

namespace ostrel::detail {

/// A malloc()ed copy of the `size` bytes at `data`, or null for a size of 0 or less.
/// Throws std::bad_alloc, or std::logic_error when there are bytes to copy and `data` is null.
char* copyBytes(const void* data, int size);

} // namespace ostrel::detail

#endif
