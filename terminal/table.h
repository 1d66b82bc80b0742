// table.h - rows of texts in columns, for people.
//
// Threads: pure functions.
#ifndef QUOR_TERMINAL_TABLE_H
#define QUOR_TERMINAL_TABLE_H

#include <string>
#include <vector>

namespace quor_terminal {

using TableRow = std::vector<std::string>;

// Lines of equal columns, two blanks apart, under the titles. Texts are made printable; none is cut, and the
// last column is not filled up. A row has as many cells as there are titles.
std::string FormatTable(const TableRow& titles, const std::vector<TableRow>& rows);

// "1 person", "3 people".
std::string Counted(std::size_t count, const char* one, const char* several);

}  // namespace quor_terminal

#endif
