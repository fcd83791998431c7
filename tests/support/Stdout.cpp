#include "support/Stdout.h"

#include <cstdio>
#include <cstdlib>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace support {

Stdout::Stdout() : mSaved(-1), mFile(memfd_create("stdout", MFD_CLOEXEC)), mRead(0)
{
    std::fflush(stdout);
    mSaved = dup(STDOUT_FILENO);
    if (mSaved == -1 || mFile == -1 || dup2(mFile, STDOUT_FILENO) == -1) {
        std::perror("cannot take standard output");
        std::abort();
    }
}

Stdout::~Stdout()
{
    std::fflush(stdout);
    dup2(mSaved, STDOUT_FILENO);
    close(mSaved);
    close(mFile);
}

std::string Stdout::take()
{
    std::fflush(stdout);
    std::string text;
    char buffer[4096];
    ssize_t count = 0;
    while ((count = pread(mFile, buffer, sizeof buffer, mRead)) > 0) {
        text.append(buffer, static_cast<std::size_t>(count));
        mRead += count;
    }
    return text;
}

std::size_t Stdout::handedOver() const
{
    struct stat file = {};
    return fstat(mFile, &file) == 0 ? static_cast<std::size_t>(file.st_size) : 0;
}

} // namespace support
