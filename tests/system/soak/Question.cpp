#include "soak/Question.h"

#include <cstdio>
#include <cstdlib>

namespace teskd::soak {

namespace {

// Two decimal numbers of 16 bits each, "high~low", as eight digits.
std::string numbersText(const std::string& payload) {
    char* end = nullptr;
    const unsigned long high = std::strtoul(payload.c_str(), &end, 10);
    const unsigned long low = *end == '~' ? std::strtoul(end + 1, nullptr, 10) : 0;
    char text[kQuestionSize + 1];
    std::snprintf(text, sizeof text, "%04lX%04lX", high & 0xFFFFU, low & 0xFFFFU);
    return text;
}

}  // namespace

std::string questionText(int id, const std::string& payload) {
    constexpr int kNumbersId = 119;
    if (payload.empty()) return "";
    return id == kNumbersId ? numbersText(payload) : payload.substr(0, kQuestionSize);
}

}  // namespace teskd::soak
