#include "dornctl/Arguments.h"

#include <algorithm>
#include <arpa/inet.h>
#include <charconv>
#include <chrono>
#include <optional>
#include <regex>
#include <stdexcept>

#include "dornctl/Settings.h"
#include "host/Endpoint.h"

namespace dornctl::arguments {

using teskhost::Endpoint;

namespace {

constexpr std::size_t kNameSize = 11;
constexpr std::size_t kFieldSize = 8;
constexpr std::size_t kLongestMessage = 65535;

bool printable(const std::string& text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

std::string unless(bool good, const std::string& expected, const std::string& text) {
    return good ? "" : expected + " expected, not \"" + text + '"';
}

bool inRange(const std::string& text, std::size_t most) {
    return !text.empty() && text.size() <= most && printable(text);
}

// "YYMMDDhhmmss" of this century: for the daemon, years from 69 on belong to the last one.
bool isTime(const std::string& text) {
    const auto digit = [](char c) { return c >= '0' && c <= '9'; };
    if (text.size() != 12 || !std::all_of(text.begin(), text.end(), digit)) return false;
    const auto pair = [&](std::size_t index) { return std::stoi(text.substr(index * 2, 2)); };
    const std::chrono::year_month_day date{std::chrono::year(2000 + pair(0)),
                                           std::chrono::month(static_cast<unsigned>(pair(1))),
                                           std::chrono::day(static_cast<unsigned>(pair(2)))};
    return date.ok() && pair(0) < 69 && pair(3) < 24 && pair(4) < 60 && pair(5) < 60;
}

std::string parsed(const std::string& text) {
    try {
        Endpoint::parse(text, Settings::kPort);
    } catch (const std::invalid_argument& e) {
        return e.what();
    }
    return "";
}

// No value unless the text consists of digits.
std::optional<long> decimal(const std::string& text) {
    long value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    const bool good = error == std::errc() && stop == end && text.front() != '-';
    return good ? std::optional(value) : std::nullopt;
}

}  // namespace

CLI::Validator number(long lowest, long highest) {
    const std::string range = std::to_string(lowest) + " to " + std::to_string(highest);
    const auto check = [=](std::string& text) -> std::string {
        const std::optional<long> value = decimal(text);
        if (!value || *value < lowest || *value > highest) {
            return unless(false, "a whole number from " + range + " is", text);
        }
        text = std::to_string(*value);
        return "";
    };
    return CLI::Validator(check, range);
}

std::string machine(const std::string& text) {
    return unless(inRange(text, kNameSize), "a machine's name of 1 to 11 characters is", text);
}

std::string field(const std::string& text) {
    return unless(inRange(text, kFieldSize), "a text of 1 to 8 characters is", text);
}

std::string message(const std::string& text) {
    const bool good = !text.empty() && text.size() <= kLongestMessage;
    return unless(good, "a message of 1 to 65535 bytes, such as 113~0008, is", text);
}

std::string endpoint(const std::string& text) {
    const std::string problem = parsed(text);
    if (!problem.empty()) return problem;
    return unless(Endpoint::parse(text, Settings::kPort).port != 0, "a port other than 0 is", text);
}

std::string binding(const std::string& text) {
    const std::string problem = parsed(text);
    if (!problem.empty()) return problem;
    in_addr address{};
    const bool good =
        ::inet_pton(AF_INET, Endpoint::parse(text, Settings::kPort).address.c_str(), &address) == 1;
    return unless(good, "an IPv4 address as a number is", text);
}

std::string time(const std::string& text) {
    return unless(text == "now" || isTime(text),
                  "a time as YYMMDDhhmmss, from 2000 to 2068, or \"now\" is", text);
}

std::string parameters(const std::string& text) {
    static const std::regex form("[0-9]{1,9}![01]![01]![0-9]{1,9}");
    return unless(std::regex_match(text, form), "parameters such as 5!1!0!2 are", text);
}

std::string yesOrNo(const std::string& text) {
    return unless(text == "yes" || text == "no", "\"yes\" or \"no\" is", text);
}

}  // namespace dornctl::arguments
