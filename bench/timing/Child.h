#ifndef OSTREL_BENCH_TIMING_CHILD_H
#define OSTREL_BENCH_TIMING_CHILD_H

#include <cstdint>
#include <functional>
#include <sys/types.h>

namespace bench {

/// Reads or writes one whole value; false at the end of the pipe.
bool readValue(int fd, void* value, std::size_t size);
void writeValue(int fd, const void* value, std::size_t size);

/// A pipe, closed at destruction.
class Pipe {
public:
    Pipe();
    ~Pipe();
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int readEnd() const;
    int writeEnd() const;

private:
    int mEnds[2];
};

/// A process that runs `body` on core `core` alone, with `output` as its standard output. Killed at
/// destruction.
///
/// It is forked off, so the parent must not have used ZeroMQ.
class Child {
public:
    Child(int core, int output, const std::function<void()>& body);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

private:
    pid_t mPid;
};

} // namespace bench

#endif
