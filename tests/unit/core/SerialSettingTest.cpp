#include <gtest/gtest.h>

#include "core/SerialSetting.h"
#include "support_src/Thrown.h"

namespace teskd::test {
namespace {

struct Sample {
    const char* text;
    int value;
};

TEST(SerialSetting, KnowsTheWords) {
    const Sample words[] = {{"NONE", 1},  {"ODD", 2},     {"EVEN", 3},     {"MARK", 4},
                            {"SPACE", 4}, {"No Flow", 1}, {"XON/XOFF", 2}, {"CTS/RTS", 3}};
    for (const Sample& word : words) {
        EXPECT_EQ(word.value, serialSettingValue(word.text)) << word.text;
    }
}

TEST(SerialSetting, ATextThatBeginsWithADigitIsADecimalNumber) {
    const Sample numbers[] = {
        {"0", 0},   {"8", 8},    {"19200", 19200},    {"019", 19},
        {"8N1", 8}, {"0x10", 0}, {"115200 ", 115200}, {"9999999999", 2'147'483'647}};
    for (const Sample& number : numbers) {
        EXPECT_EQ(number.value, serialSettingValue(number.text)) << number.text;
    }
}

TEST(SerialSetting, AnyOtherWordIsAnError) {
    for (const std::string word :
         {"space", "None", "NO FLOW", "NONE ", " NONE", " 8", "-1", "+1", "MARKS", "MAR", ""}) {
        EXPECT_EQ(
            "TelnetFeatureNotAvailableException: "
            "static int Telnet::string_to_number(std::string)(" +
                word + ")",
            messageOf<TelnetFeatureNotAvailableException>([&] { serialSettingValue(word); }));
    }
}

}  // namespace
}  // namespace teskd::test
