#include "soak/AamsCheck.h"

#include <cstdlib>
#include <regex>

#include "soak/Violation.h"

namespace teskd::soak {

namespace {

constexpr std::size_t kPrefixSize = 4;
constexpr int kLowestCode = 501;
constexpr int kHighestCode = 507;

// What follows "CCC-LLLL" for each code.
const std::regex& formOf(int code) {
    static const std::string head = "-ffffffffff00-";
    static const std::string stamp = "[0-9]{12}";
    static const std::string readings = "(-[0-9]{12}-[^]*)?";
    static const std::regex forms[] = {
        std::regex(head + "00-soak model-soak version-[^-]*-SOAKSOAK-3-9-" + stamp),
        std::regex(head + "(0B|00-[134]" + readings + "-" + stamp + ")"),
        std::regex(head + "(0C|0D|00(-0[34]-" + stamp + "-[^]*)+-" + stamp + ")"),
        std::regex(head + "(0C|0E|00-[134](-[34][0-9])+-[^]*-" + stamp + ")"),
        std::regex(head + "00-[123]![01]![01]!0-" + stamp),
    };
    return forms[code - kLowestCode];
}

}  // namespace

void AamsCheck::check(const Request& request, const test::Frame& answer) const {
    if (request.aamsCode > kHighestCode) {
        if (answer.body != request.frame.body) throw Violation("an unknown code was not echoed");
        return;
    }
    const bool isNotSet = request.aamsCode == 507 && !answer.body.empty();
    if (request.aamsCode >= 506 && !isNotSet) {
        if (!answer.body.empty()) throw Violation("there is a body");
        return;
    }
    if (answer.body.size() < kPrefixSize + 8) throw Violation("there is no AAMS message");
    const std::string text = answer.body.substr(kPrefixSize);
    if (test::big32(answer.body, 0) != text.size()) throw Violation("wrong prefix");
    if (text.substr(0, 4) != std::to_string(request.aamsCode) + "-") throw Violation("wrong code");
    char* end = nullptr;
    const std::size_t length = std::strtoul(text.c_str() + 4, &end, 16);
    if (length != text.size()) throw Violation("wrong length field");
    const std::string_view fields =
        std::string_view(text).substr(static_cast<std::size_t>(end - text.c_str()));
    if (isNotSet) {
        if (fields != "-ffffffffff00-FF") throw Violation("wrong failure");
        return;
    }
    checkFields(request, fields);
}

// Long answers have readings in them, which may be damaged messages.
void AamsCheck::checkFields(const Request& request, std::string_view text) const {
    constexpr std::size_t kLongest = 2000;  // that the expressions are good for
    const std::string head(text.substr(0, kLongest));
    if (text.size() <= kLongest && !std::regex_match(head, formOf(request.aamsCode))) {
        throw Violation("wrong fields");
    }
    if (!text.starts_with("-ffffffffff00-0")) throw Violation("wrong head");
    checkReadings(request, text);
}

// Whole messages in it must be what machines with those codes gave.
void AamsCheck::checkReadings(const Request& request, std::string_view text) const {
    constexpr std::string_view kReading = "-113~";
    constexpr std::size_t kCodeSize = 11;
    for (std::size_t at = text.find(kReading); at != std::string_view::npos;
         at = text.find(kReading, at + 1)) {
        const std::string_view date = text.substr(std::min(text.size(), at + kReading.size() + 5));
        const auto number = numberIn(date);
        if (!number || date.size() < kNumberDigits + 1 + kCodeSize) continue;
        const auto given = park_.given().find(*number);
        if (!given) continue;  // too long ago
        const std::string_view code = date.substr(kNumberDigits + 1, kCodeSize);
        if (code != given->answer.codeId) throw Violation("a reading under another's code");
        const bool named = request.aamsCode == 503 || request.aamsCode == 504;
        if (named && request.frame.body.find(code) == std::string::npos) {
            throw Violation("a reading of another machine");
        }
    }
}

}  // namespace teskd::soak
