#ifndef OSTREL_TESTS_SUPPORT_STDOUT_H
#define OSTREL_TESTS_SUPPORT_STDOUT_H

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

private:
    int mSaved;
    int mFile;
    long mRead;
};

} // namespace support

#endif
