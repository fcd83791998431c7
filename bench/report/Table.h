#ifndef OSTREL_BENCH_REPORT_TABLE_H
#define OSTREL_BENCH_REPORT_TABLE_H

#include <iosfwd>
#include <string>
#include <vector>

namespace bench {

/// A table of texts. The first column stands left, the others right.
class Table {
public:
    explicit Table(std::vector<std::string> heads);

    void add(std::vector<std::string> cells);

    /// For a terminal.
    void print(std::ostream& out) const;

    /// For a page.
    void printMarkdown(std::ostream& out) const;

private:
    std::vector<std::vector<std::string>> mRows; // The heads first.
};

/// `value` with `digits` behind the point.
std::string number(double value, int digits);

} // namespace bench

#endif
