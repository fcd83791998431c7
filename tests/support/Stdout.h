#ifndef OSTREL_TESTS_SUPPORT_STDOUT_H
#define OSTREL_TESTS_SUPPORT_STDOUT_H

#include <cstddef>
#include <string>

namespace support {

/// Takes this process's standard output, from construction to destruction.
class Stdout {
public:
    Stdout();
    ~Stdout();
    Stdout(const Stdout&) = delete;
    Stdout& operator=(const Stdout&) = delete;

    /// Everything printed since construction or the last call.
    std::string take();

    /// How much has been printed, in bytes, as far as stdio has handed it over by itself. Unlike
    /// take() it does not wait for a thread that prints without end.
    std::size_t handedOver() const;

private:
    int mSaved;
    int mFile;
    long mRead;
};

} // namespace support

#endif
