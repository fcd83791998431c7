#include "report/CallgrindDump.h"

#include <cctype>
#include <fstream>
#include <sstream>

namespace bench {

namespace {

bool startsWith(const std::string& line, const std::string& prefix)
{
    return line.compare(0, prefix.size(), prefix) == 0;
}

/// Names of callgrind's format: "(3) name" where it is first used, "(3)" from then on.
class Names {
public:
    std::string resolve(const std::string& text)
    {
        const std::size_t end = text.find(')');
        if (text.empty() || text.front() != '(' || end == std::string::npos) {
            return text;
        }
        std::string& name = mNames[text.substr(0, end)];
        if (end + 2 < text.size()) {
            name = text.substr(end + 2);
        }
        return name;
    }

private:
    std::map<std::string, std::string> mNames;
};

/// "desc: Trigger: Client Request: receive/16 50"
bool readLabel(const std::string& line, CallgrindDump& dump)
{
    static const std::string prefix = "desc: Trigger: Client Request: ";
    if (!startsWith(line, prefix)) {
        return false;
    }
    std::istringstream label(line.substr(prefix.size()));
    return static_cast<bool>(label >> dump.row >> dump.messages);
}

} // namespace

bool readCallgrindDump(const std::string& file, CallgrindDump& dump)
{
    std::ifstream input(file);
    Names objects;
    Names functions;
    std::string object;
    std::string function;
    bool labelled = false;
    bool calling = false; // The next cost is that of a call, and the callee's.
    for (std::string line; std::getline(input, line);) {
        if (readLabel(line, dump)) {
            labelled = true;
        } else if (startsWith(line, "summary: ")) {
            dump.instructions = std::stod(line.substr(9));
        } else if (startsWith(line, "ob=")) {
            object = objects.resolve(line.substr(3));
        } else if (startsWith(line, "cob=")) {
            objects.resolve(line.substr(4));
        } else if (startsWith(line, "fn=")) {
            function = functions.resolve(line.substr(3));
        } else if (startsWith(line, "cfn=")) {
            functions.resolve(line.substr(4));
        } else if (startsWith(line, "calls=")) {
            calling = true;
        } else if (!line.empty() && (std::isdigit(static_cast<unsigned char>(line[0])) != 0 ||
                                     line[0] == '+' || line[0] == '-' || line[0] == '*')) {
            if (!calling) {
                const std::size_t blank = line.find(' ');
                dump.own[{object, function}] += std::stod(line.substr(blank + 1));
            }
            calling = false;
        }
    }
    return labelled;
}

} // namespace bench
