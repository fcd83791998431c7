#ifndef OSTREL_LOG_TRACE_H
#define OSTREL_LOG_TRACE_H

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace ostrel::detail {

/// The most characters that an item takes in a line: an int, an address, or a literal.
template <typename Item> struct TraceRoom {
    static constexpr std::size_t characters = sizeof "-2147483648" - 1;
};

template <> struct TraceRoom<const void*> {
    static constexpr std::size_t characters = sizeof "0x0123456789abcdef" - 1;
};

template <std::size_t Size> struct TraceRoom<char[Size]> {
    static constexpr std::size_t characters = Size - 1;
};

inline char* putInto(char* line, int number)
{
    return std::to_chars(line, line + TraceRoom<int>::characters, number).ptr;
}

/// As "%p" prints it.
inline char* putInto(char* line, const void* address)
{
    if (address == nullptr) {
        constexpr char nil[] = "(nil)";
        std::memcpy(line, nil, sizeof nil - 1);
        return line + (sizeof nil - 1);
    }
    *line++ = '0';
    *line++ = 'x';
    const auto number = reinterpret_cast<std::uintptr_t>(address);
    return std::to_chars(line, line + 2 * sizeof number, number, 16).ptr;
}

template <std::size_t Size> char* putInto(char* line, const char (&literal)[Size])
{
    std::memcpy(line, literal, Size - 1);
    return line + (Size - 1);
}

/// Lines of the trace: the literals and numbers given to add(), one after the other.
///
/// Not printf: a small message costs less to receive than a format costs to read. Like printf it
/// goes through stdio and hands its lines over in one piece, so that lines of several threads, and
/// those of the application, stay whole and in order.
template <std::size_t Room> class TraceLines {
public:
    TraceLines() : mSize(0) {}
    ~TraceLines()
    {
        print();
    }
    TraceLines(const TraceLines&) = delete;
    TraceLines& operator=(const TraceLines&) = delete;

    template <typename... Items> void add(const Items&... items)
    {
        constexpr std::size_t needed = (TraceRoom<Items>::characters + ...) + 1;
        static_assert(needed <= Room, "no room for the line");
        if (mSize + needed > Room) {
            print();
        }
        char* end = mText + mSize;
        ((end = putInto(end, items)), ...);
        *end++ = '\n';
        mSize = static_cast<std::size_t>(end - mText);
    }

    /// A line with a text of any length in it, behind `before`.
    template <std::size_t Size, typename... Items>
    void addWithText(const char (&before)[Size], const char* text, const Items&... after)
    {
        constexpr std::size_t others = Size - 1 + (TraceRoom<Items>::characters + ...) + 1;
        static_assert(others <= Room, "no room for the line");
        const std::size_t length = std::strlen(text);
        const bool fits = mSize + others + length <= Room;
        // The stream is held, so that a line that is handed over in pieces stays whole.
        flockfile(stdout);
        append(before, Size - 1);
        append(text, length);
        add(after...);
        if (!fits) {
            print();
        }
        funlockfile(stdout);
    }

    void print()
    {
        if (mSize > 0) {
            write(mText, mSize);
            mSize = 0;
        }
    }

private:
    static void write(const char* text, std::size_t size)
    {
        static_cast<void>(std::fwrite(text, 1, size, stdout));
    }

    void append(const char* text, std::size_t size)
    {
        if (mSize + size > Room) {
            print();
            write(text, size);
        } else {
            std::memcpy(mText + mSize, text, size);
            mSize += size;
        }
    }

    std::size_t mSize;
    char mText[Room];
};

/// Prints one line.
template <typename... Items> void trace(const Items&... items)
{
    TraceLines<(TraceRoom<Items>::characters + ...) + 1>().add(items...);
}

} // namespace ostrel::detail

#endif
