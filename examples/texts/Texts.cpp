#include "texts/Texts.h"

#include <cstddef>
#include <fstream>
#include <istream>
#include <iterator>
#include <limits>
#include <sstream>
#include <stdexcept>

std::string countOf(std::string_view text)
{
    std::size_t lines = 0;
    std::size_t words = 0;
    bool inWord = false;
    for (const char c : text) {
        lines += c == '\n' ? 1 : 0;
        // White space ends a word, a printable character makes one, any other byte does neither.
        if (c == ' ' || (c >= '\t' && c <= '\r')) {
            inWord = false;
        } else if (c > ' ' && c <= '~' && !inWord) {
            inWord = true;
            ++words;
        }
    }
    return std::to_string(lines) + ' ' + std::to_string(words) + ' ' + std::to_string(text.size());
}

std::string capitalsOf(std::string_view text)
{
    std::string capitals(text);
    for (char& c : capitals) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return capitals;
}

std::string contentOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (!file.is_open() || file.bad()) {
        throw std::runtime_error("cannot read " + path);
    }
    // The size of a part is an int.
    if (text.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        throw std::runtime_error("too large for one message: " + path);
    }
    return text;
}

std::vector<std::string> linesOf(const std::string& path)
{
    std::istringstream text(contentOf(path));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::vector<std::string> readPaths(std::istream& list, char separator)
{
    std::vector<std::string> paths;
    for (std::string path; std::getline(list, path, separator);) {
        paths.push_back(path);
    }
    return paths;
}
