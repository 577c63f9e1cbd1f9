// The four parameters as text and as times.

#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include "aams/ExternalParameters.h"
#include "support_src/Thrown.h"

namespace teskd::test {
namespace {

constexpr const char* kNothingThrown = "nothing was thrown";

// What the text makes of 7!1!1!9.
struct Parsed {
    std::string error;
    std::string parameters;
};
Parsed parsed(std::string_view text) {
    ExternalParameters parameters;
    parameters.tmp_app_collegati = 7;
    parameters.tmp_app_accensione = 9;
    const std::string error = messageOf<Exception>([&] { parameters.parse(text); });
    return {error, parameters.to_string()};
}

void expectParsed(const char* expected, std::string_view text) {
    const Parsed result = parsed(text);
    EXPECT_EQ(kNothingThrown, result.error) << text;
    EXPECT_EQ(expected, result.parameters) << text;
}
void expectInvalid(const std::string& name, const char* expected, std::string_view text) {
    const Parsed result = parsed(text);
    EXPECT_EQ("invalid " + name, result.error) << text;
    EXPECT_EQ(expected, result.parameters) << text;
}

TEST(ExternalParameters, FourNumbersSetTheFourValues) {
    ExternalParameters parameters;
    parameters.parse("10!1!0!5");
    EXPECT_EQ(10, parameters.tmp_app_collegati);
    EXPECT_TRUE(parameters.invio_app_collegati);
    EXPECT_FALSE(parameters.invio_no_app_collegati);
    EXPECT_EQ(5, parameters.tmp_app_accensione);
}

TEST(ExternalParameters, AnyFlagOtherThanZeroIsTrue) {
    expectParsed("10!1!1!5", "10!2!-1!5");
    expectParsed("10!0!0!5", "10!0!-0!5");
    expectParsed("10!0!1!5", "10!000!2147483646!5");
}

TEST(ExternalParameters, AnyCharacterSeparates) {
    for (const char* const text : {"10-1-0-5", "10 1 0 5", "10x1y0z5", "10~1!0-5", "10.1.0.5"}) {
        expectParsed("10!1!0!5", text);
    }
}

TEST(ExternalParameters, WhatFollowsTheFourthNumberIsIgnored) {
    expectParsed("10!1!0!5", "10!1!0!5!");
    expectParsed("10!1!0!5", "10!1!0!5!6!7");
    expectParsed("10!1!0!5", "10!1!0!5 minutes");
}

TEST(ExternalParameters, ANumberMayHaveBlanksASignAndZeroesInFront) {
    expectParsed("10!1!0!-5", " +010! 1!\t0! -5");
}

TEST(ExternalParameters, EveryMissingFieldIsNamedAndWhatPrecedesItIsChanged) {
    expectInvalid("tmp_app_collegati", "7!1!1!9", "");
    expectInvalid("invio_app_collegati", "10!1!1!9", "10");
    expectInvalid("invio_app_collegati", "10!1!1!9", "10!");
    expectInvalid("invio_no_app_collegati", "10!0!1!9", "10!0");
    expectInvalid("invio_no_app_collegati", "10!0!1!9", "10!0!");
    expectInvalid("tmp_app_accensione", "10!0!0!9", "10!0!0");
    expectInvalid("tmp_app_accensione", "10!0!0!9", "10!0!0!");
}

TEST(ExternalParameters, EveryWrongFieldIsNamedAndWhatPrecedesItIsChanged) {
    for (const std::string wrong : {"x", "!", "-", "+", " ", "!5", "2147483647", "-2147483648",
                                    "99999999999999999999", "-99999999999999999999"}) {
        expectInvalid("tmp_app_collegati", "7!1!1!9", wrong + "!0!0!5");
        expectInvalid("invio_app_collegati", "10!1!1!9", "10!" + wrong + "!0!5");
        expectInvalid("invio_no_app_collegati", "10!0!1!9", "10!0!" + wrong + "!5");
        expectInvalid("tmp_app_accensione", "10!0!0!9", "10!0!0!" + wrong);
    }
}

TEST(ExternalParameters, TheLimitsOf32BitsAreTheFirstNumbersThatAreWrong) {
    expectParsed("2147483646!1!0!-2147483647", "2147483646!1!0!-2147483647");
    expectParsed("-2147483647!1!0!2147483646", "-2147483647!1!0!2147483646");
    expectInvalid("tmp_app_collegati", "7!1!1!9", "2147483647!1!0!5");
    expectInvalid("tmp_app_collegati", "7!1!1!9", "-2147483648!1!0!5");
    expectInvalid("tmp_app_accensione", "10!1!0!9", "10!1!0!4294967301");
}

TEST(ExternalParameters, ATextIsReadNoFurtherThanItsEnd) {
    const std::string beyond = "10!1!0!5678";
    expectParsed("10!1!0!5", std::string_view(beyond).substr(0, 8));
    expectInvalid("tmp_app_accensione", "10!1!0!9", std::string_view(beyond).substr(0, 7));
}

TEST(ExternalParameters, AZeroByteEndsANumber) {
    expectParsed("10!1!0!5", std::string_view("10\0001\0000\0005", 8));
}

TEST(ExternalParameters, TextHasFlagsAsOneAndZero) {
    ExternalParameters parameters;
    parameters.tmp_app_collegati = -3;
    parameters.invio_app_collegati = false;
    parameters.invio_no_app_collegati = true;
    parameters.tmp_app_accensione = 2147483647;
    EXPECT_EQ("-3!0!1!2147483647", parameters.to_string());
}

TEST(ExternalParameters, MinutesBecomeMilliseconds) {
    ExternalParameters parameters;
    parameters.tmp_app_collegati = 5;
    parameters.tmp_app_accensione = 0;
    EXPECT_EQ(300000U, parameters.period_ms());
    EXPECT_EQ(0U, parameters.first_delay_ms());
}

TEST(ExternalParameters, TimesThatNoTimerTakesSaturate) {
    ExternalParameters parameters;
    for (const auto& [minutes, milliseconds] :
         {std::pair{71582, 4294920000U}, {71583, 4294967295U}, {2147483646, 4294967295U}}) {
        parameters.tmp_app_collegati = minutes;
        parameters.tmp_app_accensione = minutes;
        EXPECT_EQ(milliseconds, parameters.period_ms()) << minutes;
        EXPECT_EQ(milliseconds, parameters.first_delay_ms()) << minutes;
    }
}

// A period of nothing would end the polling, and a machine that was lost would never be found
// again.
TEST(ExternalParameters, ThePeriodIsAMinuteAtLeastAndTheFirstDelayNothing) {
    ExternalParameters parameters;
    for (const int minutes : {1, 0, -1, -2147483647}) {
        parameters.tmp_app_collegati = minutes;
        EXPECT_EQ(60000U, parameters.period_ms()) << minutes;
    }
    for (const int minutes : {0, -1, -2147483647}) {
        parameters.tmp_app_accensione = minutes;
        EXPECT_EQ(0U, parameters.first_delay_ms()) << minutes;
    }
}

}  // namespace
}  // namespace teskd::test
