// The checks of a counter reading, one by one.

#include <gtest/gtest.h>
#include <limits>
#include <list>
#include <string>

#include "aams/ReadingCheck.h"

namespace teskd::test {
namespace {

using Errors = std::list<std::string>;
using Stored = ReadingCheck::Stored;

constexpr std::int32_t kLowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t kHighest = std::numeric_limits<std::int32_t>::max();
constexpr Stored kNothing{0, 0, 0};

// Of "totalIn~totalOut~closedGames~item3~item4~item5".
Errors errorsOf(const char* body, const Stored& stored = kNothing, bool with_trailer = false) {
    const auto values = ReadingCheck::parse(body);
    if (!values) return {"no reading"};
    return ReadingCheck::errors(*values, stored, with_trailer);
}
Errors withTrailer(const char* body) {
    return errorsOf(body, kNothing, true);
}

TEST(ReadingCheckParse, ReadsSixFieldsInOrder) {
    const auto values = ReadingCheck::parse("1~2~3~4~5~6.5");
    ASSERT_TRUE(values);
    EXPECT_EQ(1, values->totalIn);
    EXPECT_EQ(2, values->totalOut);
    EXPECT_EQ(3, values->closedGames);
    EXPECT_EQ(4, values->item3);
    EXPECT_EQ(5, values->item4);
    EXPECT_EQ(6.5, values->item5);
}

TEST(ReadingCheckParse, FewerThanSixFieldsAreNoReading) {
    for (const char* const body : {"", "1", "~", "1~2~3~4~5", "100 200 1 100 200 0"}) {
        EXPECT_FALSE(ReadingCheck::parse(body)) << body;
    }
}

TEST(ReadingCheckParse, FieldsBeyondTheSixthAreIgnored) {
    const auto values = ReadingCheck::parse("1~2~3~4~5~6~7~x");
    ASSERT_TRUE(values);
    EXPECT_EQ(6, values->item5);
}

TEST(ReadingCheckParse, AnEmptyFieldCountsAndIsZero) {
    const auto values = ReadingCheck::parse("~2~~4~5~");
    ASSERT_TRUE(values);
    EXPECT_EQ(0, values->totalIn);
    EXPECT_EQ(2, values->totalOut);
    EXPECT_EQ(0, values->closedGames);
    EXPECT_EQ(0, values->item5);
}

TEST(ReadingCheckParse, AFieldIsReadAsFarAsItIsANumber) {
    const auto values = ReadingCheck::parse("12x~x~ 7~1e2~-.5~+3 4");
    ASSERT_TRUE(values);
    EXPECT_EQ(12, values->totalIn);
    EXPECT_EQ(0, values->totalOut);
    EXPECT_EQ(7, values->closedGames);
    EXPECT_EQ(100, values->item3);
    EXPECT_EQ(-0.5, values->item4);
    EXPECT_EQ(3, values->item5);
}

TEST(ReadingCheck, AGoodReadingHasNoErrors) {
    EXPECT_EQ(Errors{}, errorsOf("100~200~1~100~200~0"));
    EXPECT_EQ(Errors{}, errorsOf("100~200~0~100~200~14000"));
    EXPECT_EQ(Errors{}, errorsOf("0~0~0~0~0~0"));
}

// Each of the following: readings that fail this check alone, and neighbours that pass.

TEST(ReadingCheck, Error31IsANegativeOrBrokenItem3) {
    EXPECT_EQ(Errors{"31"}, errorsOf("100~200~1~-50~200~0"));
    EXPECT_EQ(Errors{"31"}, errorsOf("100~200~1~50.5~200~0"));
    EXPECT_EQ(Errors{}, errorsOf("100~200~1~50~200~0"));
    EXPECT_EQ(Errors{}, errorsOf("100~200~1~-0~200~0"));
}

TEST(ReadingCheck, Error32IsABrokenTotalIn) {
    EXPECT_EQ(Errors{"32"}, errorsOf("100.5~200~1~100~200~0"));
    EXPECT_EQ(Errors{}, errorsOf("100.0~200~1~100~200~0"));
    EXPECT_EQ((Errors{"32", "40"}), errorsOf("10.5~200~1~0~200~0"));
    EXPECT_EQ(Errors{"32"}, withTrailer("10.5~200~1~0~200~0"));
}

TEST(ReadingCheck, Error33IsANegativeOrBrokenItem4) {
    EXPECT_EQ(Errors{"33"}, errorsOf("100~200~1~100~-1~0"));
    EXPECT_EQ(Errors{"33"}, errorsOf("100~200~1~100~199.9~0"));
    EXPECT_EQ(Errors{}, errorsOf("100~200~1~100~199~0"));
}

TEST(ReadingCheck, Error34IsABrokenTotalOut) {
    EXPECT_EQ(Errors{"34"}, errorsOf("100~200.25~1~100~200~0"));
    EXPECT_EQ(Errors{}, errorsOf("100~201~1~100~200~0"));
}

TEST(ReadingCheck, Error35IsANegativeItem5) {
    EXPECT_EQ(Errors{"35"}, errorsOf("100~200~1~100~200~-0.001"));
    EXPECT_EQ(Errors{}, errorsOf("100~200~1~100~200~-0"));
    EXPECT_EQ(Errors{}, errorsOf("100~200~1~100~200~0.5"));
}

TEST(ReadingCheck, Error36IsNoClosedGameYetOtherTotals) {
    EXPECT_EQ(Errors{"36"}, errorsOf("100~200~0~50~200~0"));
    EXPECT_EQ(Errors{"36"}, errorsOf("100~200~0~150~200~0"));
    EXPECT_EQ(Errors{"36"}, errorsOf("100~200~0~100~199~0"));
    EXPECT_EQ(Errors{"36"}, errorsOf("100~200~0~50~100~0"));
    EXPECT_EQ(Errors{}, errorsOf("100~200~0~100~200~0"));
    EXPECT_EQ(Errors{}, errorsOf("100~200~1~50~199~0"));
}

TEST(ReadingCheck, Error37IsMoreThanTheTotals) {
    EXPECT_EQ(Errors{"37"}, errorsOf("100~200~1~150~200~0"));
    EXPECT_EQ(Errors{"37"}, errorsOf("100~200~1~100~201~0"));
    EXPECT_EQ(Errors{"37"}, errorsOf("100~200~1~150~201~0"));
    EXPECT_EQ(Errors{"37"}, errorsOf("100~200~0.5~150~200~0"));
    EXPECT_EQ(Errors{}, errorsOf("100~200~1~100~200~0"));
}

TEST(ReadingCheck, NegativeClosedGamesAreHeldAgainstTheStoredOnesAlone) {
    EXPECT_EQ(Errors{"38"}, errorsOf("100~200~-1~150~201~0"));
    EXPECT_EQ(Errors{}, errorsOf("100~200~-1~150~201~0", {0, 0, -1}));
}

TEST(ReadingCheck, Error38IsACounterThatWentBack) {
    EXPECT_EQ(Errors{"38"}, errorsOf("100~200~1~100~200~0", {101, 200, 1}));
    EXPECT_EQ(Errors{"38"}, errorsOf("100~200~1~100~200~0", {100, 201, 1}));
    EXPECT_EQ(Errors{"38"}, errorsOf("100~200~1~100~200~0", {100, 200, 2}));
    EXPECT_EQ(Errors{}, errorsOf("100~200~1~100~200~0", {100, 200, 1}));
    EXPECT_EQ(Errors{}, errorsOf("100~200~1~100~200~0", {-1, -1, -1}));
}

TEST(ReadingCheck, Error38ComesOnceForEachCounter) {
    EXPECT_EQ((Errors{"38", "38"}), errorsOf("100~200~1~100~200~0", {101, 200, 2}));
    EXPECT_EQ((Errors{"38", "38", "38"}), errorsOf("100~200~1~100~200~0", {101, 201, 2}));
}

TEST(ReadingCheck, Error38ComparesWithTheReadingAsItIs) {
    EXPECT_EQ(Errors{"38"}, errorsOf("100~200~1.5~100~200~0", {100, 200, 2}));
    EXPECT_EQ(Errors{}, errorsOf("100~200~1.5~100~200~0", {100, 200, 1}));
}

TEST(ReadingCheck, Error39IsAnItem3ThatIsNoMultipleOfFifty) {
    EXPECT_EQ(Errors{"39"}, errorsOf("100~200~1~99~200~0"));
    EXPECT_EQ(Errors{"39"}, errorsOf("100~200~1~1~200~0"));
    EXPECT_EQ(Errors{}, errorsOf("100~200~1~50~200~0"));
    EXPECT_EQ(Errors{}, errorsOf("100~200~1~0~200~0"));
    EXPECT_EQ(Errors{}, withTrailer("100~200~1~99~200~0"));
}

TEST(ReadingCheck, Error40IsATotalInThatIsNoMultipleOfFifty) {
    EXPECT_EQ(Errors{"40"}, errorsOf("101~200~1~100~200~0"));
    EXPECT_EQ(Errors{"40"}, errorsOf("149~200~1~100~200~0"));
    EXPECT_EQ(Errors{}, errorsOf("150~200~1~100~200~0"));
    EXPECT_EQ(Errors{}, withTrailer("101~200~1~100~200~0"));
}

TEST(ReadingCheck, Error41IsAnItem5OfMoreThan14000) {
    EXPECT_EQ(Errors{"41"}, errorsOf("100~200~1~100~200~14000.5"));
    EXPECT_EQ(Errors{"41"}, errorsOf("100~200~0~100~200~14000.5"));
    EXPECT_EQ(Errors{}, errorsOf("100~200~0~100~200~14000"));
    EXPECT_EQ(Errors{}, withTrailer("100~200~1~100~200~14000.5"));
}

TEST(ReadingCheck, ATrailerSparesNoOtherCheck) {
    EXPECT_EQ((Errors{"31", "32", "33", "34", "35", "37", "38"}),
              errorsOf("10.5~20.5~1~-1.5~20.75~-1", {0, 21, 0}, true));
    EXPECT_EQ((Errors{"36"}), withTrailer("100~200~0~50~200~0"));
}

TEST(ReadingCheck, ChecksGoOnAfterAFailureAndKeepTheirOrder) {
    EXPECT_EQ((Errors{"31", "32", "33", "34", "36", "38", "38", "38", "39", "40", "41"}),
              errorsOf("10.5~20.5~0~-1.5~-7~14001", {11, 21, 1}));
    EXPECT_EQ((Errors{"35", "37", "38"}), errorsOf("100~200~1~150~200~-1", {0, 201, 0}));
}

TEST(ReadingCheck, TotalsMayBeNegative) {
    EXPECT_EQ(Errors{}, errorsOf("-50~-3~-1~0~0~0", {-100, -4, -2}));
}

TEST(ReadingCheck, NumbersOfThe32BitRangeAreWhole) {
    EXPECT_EQ(Errors{}, withTrailer("2147483647~2147483647~1~2147483647~2147483647~0"));
    EXPECT_EQ(Errors{}, errorsOf("-2147483648~-2147483648~-1~0~0~0", {kLowest, kLowest, -1}, true));
}

TEST(ReadingCheck, NumbersBeyondThe32BitRangeAreNotWhole) {
    EXPECT_EQ((Errors{"31", "32", "33", "34"}),
              withTrailer("2147483648~2147483648~1~2147483648~2147483648~0"));
    EXPECT_EQ((Errors{"32", "34", "38", "38"}),
              errorsOf("-2147483649~-2147483649~-1~-0~-0~0", {kLowest, kLowest, -1}, true));
    EXPECT_EQ((Errors{"31", "32", "33", "34"}), withTrailer("1e300~1e300~1~1e300~1e300~0"));
}

TEST(ReadingCheck, AnInfinityIsNotWhole) {
    EXPECT_EQ((Errors{"31", "32", "33", "34"}), withTrailer("inf~inf~inf~inf~inf~inf"));
    EXPECT_EQ((Errors{"32", "34", "38", "38", "38"}), withTrailer("-inf~-inf~-inf~0~0~0"));
    EXPECT_EQ(Errors{"41"}, errorsOf("100~200~1~100~200~inf"));
    EXPECT_EQ(Errors{"35"}, errorsOf("100~200~1~100~200~-inf"));
    EXPECT_EQ((Errors{"31", "33"}), withTrailer("100~200~1~-inf~-1e999~0"));
}

TEST(ReadingCheck, WhatIsNoNumberIsNotWhole) {
    EXPECT_EQ((Errors{"31", "32", "33", "34"}), errorsOf("nan~nan~nan~nan~nan~nan"));
    EXPECT_EQ((Errors{"31", "36"}), errorsOf("100~200~0~nan~200~0"));
}

TEST(ReadingCheck, TheStepIsThatOfTheSaturatedNumber) {
    // 2147483647 is no multiple of 50, -2147483648 neither.
    EXPECT_EQ((Errors{"31", "32", "39", "40"}), errorsOf("1e10~200~1~1e10~200~0"));
    EXPECT_EQ((Errors{"32", "38", "40"}), errorsOf("-1e10~200~-1~0~200~0", {0, 0, -1}));
}

TEST(ReadingCheckToInteger, Truncates) {
    EXPECT_EQ(1, ReadingCheck::to_integer(1.999));
    EXPECT_EQ(-1, ReadingCheck::to_integer(-1.999));
    EXPECT_EQ(0, ReadingCheck::to_integer(-0.0));
}

TEST(ReadingCheckToInteger, SaturatesAndTakesNoNumberForZero) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(kHighest, ReadingCheck::to_integer(2147483647.0));
    EXPECT_EQ(kHighest, ReadingCheck::to_integer(2147483646.5 + 0.5));
    EXPECT_EQ(kHighest - 1, ReadingCheck::to_integer(2147483646.5));
    EXPECT_EQ(kHighest, ReadingCheck::to_integer(2147483648.0));
    EXPECT_EQ(kHighest, ReadingCheck::to_integer(infinity));
    EXPECT_EQ(kLowest, ReadingCheck::to_integer(-2147483648.0));
    EXPECT_EQ(kLowest + 1, ReadingCheck::to_integer(-2147483647.5));
    EXPECT_EQ(kLowest, ReadingCheck::to_integer(-2147483649.0));
    EXPECT_EQ(kLowest, ReadingCheck::to_integer(-infinity));
    EXPECT_EQ(0, ReadingCheck::to_integer(std::numeric_limits<double>::quiet_NaN()));
}

}  // namespace
}  // namespace teskd::test
