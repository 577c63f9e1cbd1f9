#include <gtest/gtest.h>

#include "host/Table.h"

namespace {

using teskhost::Table;

TEST(HostTable, IsAlignedUnderItsTitles) {
    Table table({{"name"}, {"n", Table::Align::Right}, {"note"}});
    table.add({"a", "1234", "first"});
    table.add({"longer", "5"});
    EXPECT_EQ(
        "  name       n  note\n"
        "  ------  ----  -----\n"
        "  a       1234  first\n"
        "  longer     5\n",
        table.text());
}

TEST(HostTable, ShowsFieldsLineByLine) {
    EXPECT_EQ(
        "field  value\n"
        "-----  -----\n"
        "state  4\n",
        Table::ofFields({{"state", "4"}}).text(0));
}

TEST(HostTable, HasABoldHeadAndRedRowsWhereThereAreColours) {
    Table table({{"name"}, {"n", Table::Align::Right}});
    table.add({"a", "1"});
    table.add({"b", "22"}, Table::Tone::Bad);
    EXPECT_EQ(
        "\x1B[1mname   n\x1B[0m\n"
        "----  --\n"
        "a      1\n"
        "\x1B[31mb     22\x1B[0m\n",
        table.text(0, true));
}

TEST(HostTable, ShowsNoByteThatATerminalObeys) {
    EXPECT_EQ(
        "field  value\n"
        "-----  ---------------\n"
        "state  \\x1B[2J\\x00\\xE9\n",
        Table::ofFields({{"state", std::string("\x1B[2J\0\xE9", 6)}}).text(0));
}

}  // namespace
