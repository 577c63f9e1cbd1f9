#include "core/SerialSetting.h"

#include "core/Exception.h"
#include "core/Text.h"

namespace teskd {

namespace {

struct Word {
    const char* text;
    int value;
};

// SPACE has the value of MARK; space parity (5) has to be given as a number.
constexpr Word WORDS[] = {
    {"NONE", 1},  {"ODD", 2},     {"EVEN", 3},     {"MARK", 4},
    {"SPACE", 4}, {"No Flow", 1}, {"XON/XOFF", 2}, {"CTS/RTS", 3},
};

}  // namespace

int serialSettingValue(const std::string& text) {
    if (!text.empty() && text.front() >= '0' && text.front() <= '9') return text::toInt(text);
    for (const Word& word : WORDS) {
        if (text == word.text) return word.value;
    }
    throw TelnetFeatureNotAvailableException("static int Telnet::string_to_number(std::string)(" +
                                             text + ")");
}

}  // namespace teskd
