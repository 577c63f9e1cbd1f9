// Reading and setting the date. The machine's clock is never set: the requests are recorded.

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "config/ZqConfig.h"
#include "core/Exception.h"
#include "support_src/LogRecorder.h"
#include "support_src/RecordedDate.h"

namespace teskd::test {
namespace {

using Requests = std::vector<std::time_t>;

// Central European time, whatever the machine's zone is.
class ZqConfigDate : public testing::Test {
  protected:
    ZqConfigDate() { zone("CET-1CEST,M3.5.0,M10.5.0/3"); }
    ~ZqConfigDate() override {
        ::unsetenv("TZ");
        ::tzset();
    }

    static void zone(const char* rule) {
        ::setenv("TZ", rule, 1);
        ::tzset();
    }

    // The message of the failure; empty when there is none.
    static std::string failureOf(const char* text) {
        try {
            ZqConfig::set_current_date_time(text);
            return "";
        } catch (const ZqConfigException& e) {
            return e.getMessage();
        }
    }

    RecordedDate date;
    const LogRecorder log;
};

TEST_F(ZqConfigDate, SetsLocalTime) {
    EXPECT_EQ("", failureOf("000101000000"));
    EXPECT_EQ((Requests{946681200}), date.requests());
}

TEST_F(ZqConfigDate, DaylightSavingIsTheLibrarysToDecide) {
    EXPECT_EQ("", failureOf("230715120000"));
    EXPECT_EQ((Requests{1689415200}), date.requests());
}

TEST_F(ZqConfigDate, TakesALeapDay) {
    EXPECT_EQ("", failureOf("240229102030"));
    EXPECT_EQ((Requests{1709198430}), date.requests());
}

TEST_F(ZqConfigDate, TakesTheEndOf2037) {
    EXPECT_EQ("", failureOf("371231235959"));
    EXPECT_EQ((Requests{2145913199}), date.requests());
}

TEST_F(ZqConfigDate, TakesDatesBeyondJanuary2038) {
    EXPECT_EQ("", failureOf("380119041408"));
    EXPECT_EQ("", failureOf("680601000000"));
    EXPECT_EQ((Requests{2147483648, 3105727200}), date.requests());
}

TEST_F(ZqConfigDate, AYearBefore2000IsInvalid) {
    EXPECT_EQ("ZqConfigException: Invalid year", failureOf("991231235959"));
    EXPECT_EQ("ZqConfigException: Invalid year", failureOf("690101000000"));
    EXPECT_EQ(Requests{}, date.requests());
}

TEST_F(ZqConfigDate, ATextThatIsNoDateIsIgnored) {
    for (const char* text : {"abcdefghijkl", "001301000000", "000132000000", "000101240000",
                             "000101000062", "2001010000xx"}) {
        EXPECT_EQ("", failureOf(text)) << text;
    }
    EXPECT_EQ(Requests{}, date.requests());
}

TEST_F(ZqConfigDate, AShortTextIsIgnored) {
    const std::string whole = "010203040506";
    for (std::size_t size = 0; size <= 10; ++size) {
        EXPECT_EQ("", failureOf(whole.substr(0, size).c_str())) << size;
    }
    EXPECT_EQ(Requests{}, date.requests());
}

// Digits that could be told apart as a date without the blanks that the text has no room for.
TEST_F(ZqConfigDate, AShortTextIsIgnoredWhateverItsDigits) {
    EXPECT_EQ("", failureOf("013456789"));
    EXPECT_EQ("", failureOf("01345678"));
    EXPECT_EQ(Requests{}, date.requests());
}

TEST_F(ZqConfigDate, ARefusedDateIsTheSystemsErrorText) {
    date.failWith(EPERM);
    EXPECT_EQ("ZqConfigException: Operation not permitted", failureOf("230715120000"));
    date.failWith(EINVAL);
    EXPECT_EQ("ZqConfigException: Invalid argument", failureOf("230715120000"));
}

// The log line of a setting, without the number of the source line.
std::string withoutLineNumber(const std::string& text) {
    const std::string place = "static void ZqConfig::set_current_date_time(std::string):";
    if (text.compare(0, place.size(), place) != 0) return text;
    return place + text.substr(text.find_first_not_of("0123456789", place.size()));
}

TEST_F(ZqConfigDate, TheTextIsLoggedWithBlanksBetweenThePairs) {
    failureOf("230715120000");
    ASSERT_EQ(1U, log.lines().size());
    EXPECT_EQ(183, log.lines()[0].priority);
    EXPECT_EQ(
        "static void ZqConfig::set_current_date_time(std::string): String date is: "
        "23 07 15 12 00 00",
        withoutLineNumber(log.lines()[0].text));
}

TEST_F(ZqConfigDate, TheTextIsLoggedEvenWhenItIsRefused) {
    failureOf("991231235959");
    EXPECT_TRUE(log.waitForText("String date is: 99 12 31 23 59 59", std::chrono::seconds(0)));
    failureOf("abcdefghijkl");
    EXPECT_TRUE(log.waitForText("String date is: ab cd ef gh ij kl", std::chrono::seconds(0)));
}

TEST_F(ZqConfigDate, PercentSignsInTheTextAreHarmless) {
    failureOf("%s%s%n%s%s%n");
    EXPECT_TRUE(log.waitForText("String date is: %s %s %n %s %s %n", std::chrono::seconds(0)));
}

// The local time now, as the C library tells it.
std::string nowAs(const char* format) {
    const std::time_t now = std::time(nullptr);
    char text[64] = {};
    std::strftime(text, sizeof text, format, std::localtime(&now));
    return text;
}

TEST_F(ZqConfigDate, TellsTheLocalTimeInTwelveDigits) {
    const std::string before = nowAs("%y%m%d%H%M%S");
    const std::string told = ZqConfig::get_current_date_time();
    const std::string after = nowAs("%y%m%d%H%M%S");
    EXPECT_EQ(12U, told.size());
    EXPECT_LE(before, told);
    EXPECT_LE(told, after);
}

TEST_F(ZqConfigDate, TellsTheLocalDateWithDots) {
    const std::string before = nowAs("%d.%m.%y");
    const std::string told = ZqConfig::get_current_date();
    const std::string after = nowAs("%d.%m.%y");
    EXPECT_TRUE(told == before || told == after) << told;
}

TEST_F(ZqConfigDate, TheLocalDateFollowsTheZone) {
    zone("EAST-13");
    const std::string east = ZqConfig::get_current_date();
    zone("WEST+13");
    EXPECT_NE(east, ZqConfig::get_current_date());
}

}  // namespace
}  // namespace teskd::test
