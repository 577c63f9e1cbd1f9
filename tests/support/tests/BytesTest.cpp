#include <gtest/gtest.h>
#include <stdexcept>

#include "support/Bytes.h"

namespace teskd::test {
namespace {

TEST(Bytes, ReadsHexadecimalDigitsInAnyCaseAndSpacing) {
    EXPECT_EQ(std::string("\xFF\x81\x02", 3), bytes("FF 81\n02"));
    EXPECT_EQ(std::string("\xab\0\x01", 3), bytes("aB0001"));
    EXPECT_EQ("", bytes(" "));
}

TEST(Bytes, RefusesWhatIsNotHexadecimal) {
    EXPECT_THROW(bytes("FG"), std::invalid_argument);
    EXPECT_THROW(bytes("FF 8"), std::invalid_argument);
}

TEST(Bytes, HexIsTheReverse) {
    EXPECT_EQ("00 0A FF", hex(bytes("000aff")));
}

TEST(Bytes, PrintableKeepsTextAndMarksTheRest) {
    EXPECT_EQ("113~<00><FF>", printable(std::string("113~\0\xFF", 6)));
}

TEST(Bytes, AComparisonNamesTheFirstDifference) {
    EXPECT_TRUE(sameBytes("a", "b", "same", "same"));
    const auto result = sameBytes("a", "b", bytes("01 02 03"), bytes("01 02 04"));
    EXPECT_FALSE(result);
    EXPECT_NE(std::string::npos, std::string(result.message()).find("at byte 2"));
    EXPECT_FALSE(sameBytes("a", "b", bytes("01"), bytes("01 00")));
}

}  // namespace
}  // namespace teskd::test
