#include "table.h"

#include <algorithm>

#include "text_layout.h"

namespace quor_terminal {
namespace {

void AppendRow(const TableRow& row, const std::vector<std::size_t>& widths, std::string& out) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
        line += i + 1 < row.size() ? FitToWidth(row[i], widths[i]) + "  " : row[i];
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out += line + "\n";
}

}  // namespace

std::string FormatTable(const TableRow& titles, const std::vector<TableRow>& rows) {
    std::vector<TableRow> lines = {titles};
    lines.insert(lines.end(), rows.begin(), rows.end());
    std::vector<std::size_t> widths(titles.size(), 0);
    for (TableRow& line : lines) {
        for (std::size_t i = 0; i < line.size(); ++i) {
            line[i] = Printable(line[i]);
            widths[i] = std::max(widths[i], DisplayWidth(line[i]));
        }
    }
    std::string out;
    for (const TableRow& line : lines) {
        AppendRow(line, widths, out);
    }
    return out;
}

std::string Counted(std::size_t count, const char* one, const char* several) {
    return std::to_string(count) + " " + (count == 1 ? one : several);
}

}  // namespace quor_terminal
