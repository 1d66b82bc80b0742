#include "table.h"

#include <gtest/gtest.h>

namespace quor_terminal {
namespace {

TEST(Table, ColumnsAreAsWideAsTheirWidestText) {
    EXPECT_EQ(FormatTable({"NAME", "ID"}, {{"Anna", "a"}, {"\xE6\x9E\x97\xE4\xBC\x9F\xE4\xBC\x9F", "bcdef"}}),
              "NAME    ID\n"
              "Anna    a\n"
              "\xE6\x9E\x97\xE4\xBC\x9F\xE4\xBC\x9F  bcdef\n");
}

TEST(Table, EmptyLastCellsLeaveNoBlanks) {
    EXPECT_EQ(FormatTable({"A", "B", "C"}, {{"x", "", ""}}), "A  B  C\nx\n");
}

TEST(Table, TextsCannotCommandTheTerminal) {
    EXPECT_EQ(FormatTable({"A"}, {{"x\x1b[2J\ny"}}), "A\nx [2J y\n");
}

TEST(Table, Counted) {
    EXPECT_EQ(Counted(0, "person", "people"), "0 people");
    EXPECT_EQ(Counted(1, "person", "people"), "1 person");
    EXPECT_EQ(Counted(2, "person", "people"), "2 people");
}

}  // namespace
}  // namespace quor_terminal
