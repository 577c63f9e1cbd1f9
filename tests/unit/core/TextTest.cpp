#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include "core/Text.h"
#include "support_src/FailingNew.h"

namespace teskd::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::int32_t kLowest = -2147483647 - 1;
constexpr std::int32_t kHighest = 2147483647;

TEST(TextSplitDroppingEmpty, SplitsAtAnyOfTheSeparators) {
    EXPECT_THAT(text::splitDroppingEmpty("1, 2;3", " ,;"), ElementsAre("1", "2", "3"));
}

TEST(TextSplitDroppingEmpty, DropsEmptyPieces) {
    EXPECT_THAT(text::splitDroppingEmpty("==a==b==", "="), ElementsAre("a", "b"));
    EXPECT_THAT(text::splitDroppingEmpty("", "="), IsEmpty());
    EXPECT_THAT(text::splitDroppingEmpty("===", "="), IsEmpty());
}

TEST(TextSplitDroppingEmpty, KeepsATextWithoutSeparatorsWhole) {
    EXPECT_THAT(text::splitDroppingEmpty("a b", "="), ElementsAre("a b"));
}

TEST(TextTakePiece, CutsTheFirstPieceOffWhatIsLeft) {
    std::string_view rest = "::0a:1b";
    EXPECT_EQ(text::takePiece(rest, ":"), "0a");
    EXPECT_EQ(rest, ":1b");
    EXPECT_EQ(text::takePiece(rest, ":"), "1b");
    EXPECT_EQ(text::takePiece(rest, ":"), "");
    EXPECT_EQ(rest, "");
}

TEST(TextSplitFields, KeepsEmptyFields) {
    EXPECT_THAT(text::splitFields("a~~b~", '~'), ElementsAre("a", "", "b", ""));
    EXPECT_THAT(text::splitFields("~", '~'), ElementsAre("", ""));
}

TEST(TextSplitFields, StopsAfterTheMostFields) {
    EXPECT_THAT(text::splitFields("a~b~c", '~', 2), ElementsAre("a", "b"));
    EXPECT_THAT(text::splitFields("a~b", '~', 3), ElementsAre("a", "b"));
    EXPECT_THAT(text::splitFields("a~b", '~', 0), IsEmpty());
}

TEST(TextTakeField, CutsTheFirstFieldOffUntilNothingIsLeft) {
    std::optional<std::string_view> rest = "a~~b";
    EXPECT_EQ("a", text::takeField(rest, '~'));
    EXPECT_EQ("~b", rest);
    EXPECT_EQ("", text::takeField(rest, '~'));
    EXPECT_EQ("b", text::takeField(rest, '~'));
    EXPECT_FALSE(rest.has_value());
}

TEST(TextSplitFields, AnEmptyTextHasNoField) {
    EXPECT_THAT(text::splitFields("", '~'), IsEmpty());
    EXPECT_THAT(text::splitFields("a", '~'), ElementsAre("a"));
}

TEST(TextTrim, TakesTheSetOffBothEnds) {
    EXPECT_EQ("a b", text::trim(" \t a b\t ", " \t"));
    EXPECT_EQ("a\r", text::trim(" a\r", " \t"));
    EXPECT_EQ("", text::trim(" \t", " \t"));
    EXPECT_EQ("", text::trim("", " \t"));
}

TEST(TextUntilZero, EndsAtTheFirstZeroByteOrAtTheEnd) {
    using namespace std::string_view_literals;
    EXPECT_EQ("ab", text::untilZero("ab\0cd"sv));
    EXPECT_EQ("abcd", text::untilZero("abcd"));
    EXPECT_EQ("", text::untilZero("\0a"sv));
    EXPECT_EQ("", text::untilZero(""));
}

TEST(TextZeroFilled, PadsOrCutsToTheSize) {
    using namespace std::string_literals;
    EXPECT_EQ("ab\0\0"s, text::zeroFilled("ab", 4));
    EXPECT_EQ("abcd"s, text::zeroFilled("abcdef", 4));
    EXPECT_EQ(""s, text::zeroFilled("ab", 0));
}

TEST(TextToInt, ReadsAsFarAsItGoes) {
    EXPECT_EQ(12, text::toInt("12"));
    EXPECT_EQ(12, text::toInt("  12abc"));
    EXPECT_EQ(-7, text::toInt("-7"));
    EXPECT_EQ(7, text::toInt("+7"));
    EXPECT_EQ(0, text::toInt("abc"));
    EXPECT_EQ(0, text::toInt(""));
    EXPECT_EQ(10, text::toInt("010"));
}

TEST(TextToInt, ReadsOtherBases) {
    EXPECT_EQ(255, text::toInt("ff", 16));
    EXPECT_EQ(255, text::toInt("0xFF", 16));
    EXPECT_EQ(1, text::toInt("1g", 16));
}

TEST(TextToInt, SaturatesAtThirtyTwoBits) {
    EXPECT_EQ(kHighest, text::toInt("2147483647"));
    EXPECT_EQ(kHighest, text::toInt("2147483648"));
    EXPECT_EQ(kHighest, text::toInt("99999999999999999999999999"));
    EXPECT_EQ(kLowest, text::toInt("-2147483648"));
    EXPECT_EQ(kLowest, text::toInt("-2147483649"));
    EXPECT_EQ(kLowest, text::toInt("-99999999999999999999999999"));
    EXPECT_EQ(kHighest, text::toInt("ffffffff", 16));
}

TEST(TextParseNumber, TellsHowManyCharactersItRead) {
    EXPECT_EQ(4U, text::parseNumber(" -12x", 10).consumed);
    EXPECT_EQ(0U, text::parseNumber("x12", 10).consumed);
    EXPECT_EQ(0U, text::parseNumber("", 10).consumed);
    EXPECT_EQ(2U, text::parseNumber(std::string_view("12345").substr(0, 2), 10).consumed);
}

TEST(TextParseNumber, StopsAtTheLimitsOf32Bits) {
    EXPECT_EQ(2147483647, text::parseNumber("2147483647", 10).value);
    EXPECT_EQ(2147483647, text::parseNumber("2147483648", 10).value);
    EXPECT_EQ(-2147483647 - 1, text::parseNumber("-2147483648", 10).value);
    EXPECT_EQ(-2147483647 - 1, text::parseNumber("-2147483649", 10).value);
    EXPECT_EQ(2147483647, text::parseNumber("99999999999999999999999999", 10).value);
}

TEST(TextFormat, IsPrintfIntoAString) {
    EXPECT_EQ("port 7: \"x\"", text::format("port %d: \"%s\"", 7, "x"));
    EXPECT_EQ("", text::format("%s", ""));
    EXPECT_EQ(std::string(5000, ' ') + "x", text::format("%5001s", "x"));
}

TEST(TextParseNumber, ANumberIsReadWhereItStandsHoweverLongTheTextIs) {
    const std::string digits(1'000'000, '7');
    text::Number number;
    bool failed = true;
    {
        const FailingNew fail(1);
        number = text::parseNumber(digits, 10);
        failed = FailingNew::hasFailed();
    }
    EXPECT_FALSE(failed);
    EXPECT_EQ(2147483647, number.value);
    EXPECT_EQ(1'000'000U, number.consumed);
}

TEST(TextParseNumber, WhatStandsInFrontOfANumberCountsOnlyWithTheNumber) {
    EXPECT_EQ(8U, text::parseNumber(" \t\n\v\f\r-1", 10).consumed);
    EXPECT_EQ(0U, text::parseNumber("  -", 10).consumed);
    EXPECT_EQ(0U, text::parseNumber("+-1", 10).consumed);
    EXPECT_EQ(4U, text::parseNumber("0xfF", 16).consumed);
    EXPECT_EQ(1U, text::parseNumber("0x", 16).consumed);
    EXPECT_EQ(1U, text::parseNumber("0xg", 16).consumed);
    EXPECT_EQ(5U, text::parseNumber("-0X1A", 16).consumed);
    EXPECT_EQ(-26, text::toInt("-0X1A", 16));
    EXPECT_EQ(1U, text::parseNumber("0x1", 10).consumed);
    EXPECT_EQ(1U, text::parseNumber(std::string_view("1\0"
                                                     "2",
                                                     3),
                                    10)
                      .consumed);
}

}  // namespace
}  // namespace teskd::test
