#include "texts/StandardTools.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <spawn.h>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <system_error>
#include <vector>

namespace {

struct CloseFile {
    void operator()(std::FILE* file) const
    {
        static_cast<void>(std::fclose(file));
    }
};

void check(int error, const std::string& what)
{
    if (error != 0) {
        throw std::system_error(error, std::generic_category(), what);
    }
}

// What the command prints when it reads the file as its standard input. The path meets neither a
// shell nor the command's options, so any name will do; a temporary file takes the output, so
// nothing can block.
std::string outputOf(std::vector<std::string> command, const std::string& path)
{
    const std::unique_ptr<std::FILE, CloseFile> output(std::tmpfile());
    check(output ? 0 : errno, "temporary file");

    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (std::string& word : command) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    std::string locale = "LC_ALL=C";
    char* environment[] = {locale.data(), nullptr};

    posix_spawn_file_actions_t files;
    check(posix_spawn_file_actions_init(&files), command[0]);
    posix_spawn_file_actions_addopen(&files, 0, path.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&files, fileno(output.get()), 1);
    pid_t child = 0;
    const int error =
        posix_spawnp(&child, arguments[0], &files, nullptr, arguments.data(), environment);
    posix_spawn_file_actions_destroy(&files);
    check(error, command[0] + " < " + path);

    int status = 0;
    check(waitpid(child, &status, 0) == child ? 0 : errno, command[0]);
    if (status != 0) {
        throw std::runtime_error(command[0] + " failed on " + path);
    }

    std::string text;
    std::rewind(output.get());
    char block[65536];
    std::size_t size = 0;
    while ((size = std::fread(block, 1, sizeof block, output.get())) > 0) {
        text.append(block, size);
    }
    return text;
}

} // namespace

std::string countByWc(const std::string& path)
{
    // The blanks between the numbers depend on the file's size.
    std::istringstream numbers(outputOf({"wc", "-l", "-w", "-c"}, path));
    std::string lines;
    std::string words;
    std::string bytes;
    numbers >> lines >> words >> bytes;
    return lines + ' ' + words + ' ' + bytes;
}

std::string capitalsByTr(const std::string& path)
{
    return outputOf({"tr", "a-z", "A-Z"}, path);
}
