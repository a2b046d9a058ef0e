#include "korvelctl/table.h"

#include <gtest/gtest.h>

namespace korvel::ctl {
namespace {

TEST(Table, WithoutRowsIsItsTitles) {
  const Table table({{"#", Table::Align::kRight}, {"file"}});
  EXPECT_EQ(table.text(), "#  file\n");
}

TEST(Table, AlignsColumnsByCharactersAndLeavesNoTrailingBlanks) {
  Table table({{"#", Table::Align::kRight}, {"name"}, {"end"}});
  table.addRow({"1", "Ёжик в тумане", "x"});
  table.addRow({"10", "b", ""});
  EXPECT_EQ(table.text(),
            " #  name           end\n"
            " 1  Ёжик в тумане  x\n"
            "10  b\n");
}

TEST(Table, NoteStandsBelowItsRowAndWidensNothing) {
  Table table({{"a"}, {"b"}});
  table.addRow({"1", "2"});
  table.addNote("a note much longer than the columns");
  table.addRow({"3", "4"});
  EXPECT_EQ(table.text(), "a  b\n1  2\na note much longer than the columns\n3  4\n");
}

TEST(Table, MissingCellsAreEmpty) {
  Table table({{"a"}, {"b"}});
  table.addRow({"1"});
  EXPECT_EQ(table.text(), "a  b\n1\n");
}

}  // namespace
}  // namespace korvel::ctl
