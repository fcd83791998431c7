#ifndef OSTREL_LOG_TRACE_H
#define OSTREL_LOG_TRACE_H

#include <charconv>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace ostrel::detail {

/// The most characters that an item takes in a line: an int, or a literal.
template <typename Item> struct TraceRoom {
    static constexpr std::size_t characters = sizeof "-2147483648" - 1;
};

template <std::size_t Size> struct TraceRoom<char[Size]> {
    static constexpr std::size_t characters = Size - 1;
};

inline char* putInto(char* line, int number)
{
    return std::to_chars(line, line + TraceRoom<int>::characters, number).ptr;
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

    void print()
    {
        if (mSize > 0) {
            static_cast<void>(std::fwrite(mText, 1, mSize, stdout));
            mSize = 0;
        }
    }

private:
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
