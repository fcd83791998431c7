#include "report/Table.h"

#include <algorithm>
#include <iomanip>
#include <ostream>
#include <sstream>
#include <utility>

namespace bench {

Table::Table(std::vector<std::string> heads) : mRows{std::move(heads)} {}

void Table::add(std::vector<std::string> cells)
{
    cells.resize(mRows.front().size());
    mRows.push_back(std::move(cells));
}

void Table::print(std::ostream& out) const
{
    std::vector<std::size_t> widths(mRows.front().size());
    for (const auto& row : mRows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
        }
    }
    for (const auto& row : mRows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            out << (i == 0 ? std::left : std::right)
                << std::setw(static_cast<int>(widths[i] + (i == 0 ? 0 : 2))) << row[i];
        }
        out << '\n';
    }
}

void Table::printMarkdown(std::ostream& out) const
{
    bool isHead = true;
    for (const auto& row : mRows) {
        for (const auto& cell : row) {
            out << "| " << cell << ' ';
        }
        out << "|\n";
        if (isHead) {
            out << "|---";
            for (std::size_t i = 1; i < row.size(); ++i) {
                out << "|---:";
            }
            out << "|\n";
        }
        isHead = false;
    }
}

std::string number(double value, int digits)
{
    std::ostringstream text;
    text << std::fixed << std::setprecision(digits) << value;
    return text.str();
}

} // namespace bench
