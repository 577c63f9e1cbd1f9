#include "soak/AnswerBody.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>

#include "support/Frame.h"
#include "support/Hex.h"

namespace teskd::soak {

namespace {

using test::big16;
using test::big32;

constexpr std::size_t kEntriesPerPage = 255;
constexpr std::size_t kDateField = 11;
constexpr std::size_t kCountSize = 4;
constexpr int kTextAnswer = 118;
constexpr std::size_t kTextSize = 8;

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> result;
    std::size_t start = 0;
    for (std::size_t end; (end = text.find(separator, start)) != std::string::npos;
         start = end + 1) {
        result.push_back(text.substr(start, end - start));
    }
    result.push_back(text.substr(start));
    return result;
}

std::uint32_t toNumber(const std::string& text) {
    return static_cast<std::uint32_t>(std::strtol(text.c_str(), nullptr, 10));
}

char byte(std::uint32_t value) {
    return static_cast<char>(value & 0xFFU);
}

char outcomeNumber(const std::string& outcome) {
    constexpr std::array<const char*, 10> kOutcomes = {"00", "1A", "1B", "1C", "1D",
                                                       "1E", "1F", "1G", "1H", "FF"};
    const auto found = std::find(kOutcomes.begin(), kOutcomes.end(), outcome);
    return found == kOutcomes.end() ? '\0' : static_cast<char>(found - kOutcomes.begin());
}

std::string meters(const GivenAnswer& given) {
    const auto items = split(given.answer.body, '~');
    const auto item = [&](std::size_t i) { return toNumber(items.at(i)); };
    const auto short16 = [&](std::size_t i) { return big16(static_cast<std::uint16_t>(item(i))); };
    return outcomeNumber(given.answer.outcome) + big32(item(0)) + big32(item(1)) + short16(2) +
           big32(item(3)) + big32(item(4)) + short16(5);
}

std::string value(std::uint8_t type, const std::string& text) {
    if (type != 4) return byte(toNumber(text.substr(0, 2))) + big32(toNumber(text.substr(3)));
    return {byte(toNumber(text.substr(0, 2))), byte(toNumber(text.substr(3, 2))),
            byte(toNumber(text.substr(6, 1)))};
}

// The entries of one page with their number in front.
std::string entries(std::uint8_t type, const GivenAnswer& given, std::size_t page) {
    const auto items = split(given.answer.body, '~');
    const std::size_t first = 2 * kEntriesPerPage * page;
    const std::size_t count = std::min((items.size() - first) / 2, kEntriesPerPage);
    std::string result(1, static_cast<char>(count));
    for (std::size_t i = 0; i < count; ++i) {
        const auto values = split(items.at(first + 2 * i + 1), '!');
        result += items.at(first + 2 * i) + big16(static_cast<std::uint16_t>(values.size()));
        for (const std::string& text : values) result += value(type, text);
    }
    return result;
}

std::string unequal(std::string_view expected, std::string_view actual) {
    if (expected == actual) return "";
    return "expected " + test::hex(expected) + "\nbut it is " + test::hex(actual);
}

// A garbled ID makes the daemon take a text for a number.
std::string differenceOfValue(std::string_view body, const GivenAnswer& given) {
    const std::string outcome(1, outcomeNumber(given.answer.outcome));
    const std::string number = outcome + big32(given.number) + std::string(kTextSize, '\0');
    const std::string text = outcome + big32(0) + given.answer.body.substr(0, kTextSize);
    const std::string_view actual = body.substr(22);
    if (given.answer.id == kTextAnswer && actual == text) return "";
    return unequal(number, actual);
}

// Bytes around the machine's message may stand around it here, too.
std::string differenceOfMessage(std::string_view body, const GivenAnswer& given) {
    const std::string_view text = body.substr(kCountSize);
    if (big32(body, 0) != text.size()) return "the count of bytes is wrong";
    const std::string known = "~" + given.answer.date + "~" + given.answer.codeId + "~" +
                              given.answer.outcome + "~" + given.answer.body;
    const std::size_t at = text.find(known);
    if (at == std::string_view::npos) return "the message is not in it";
    const std::string length(text.substr(at - 4, 4));
    if (std::strtoul(length.c_str(), nullptr, 16) != text.size()) return "the length is wrong";
    return "";
}

}  // namespace

std::size_t dateOffset(std::uint8_t type) {
    if (type == 2 || type == 3) return 10;
    return type == 4 ? 12 : 11;
}

std::optional<std::uint32_t> answerNumber(std::uint8_t type, std::string_view body) {
    if (type != 6) {
        const std::size_t offset = dateOffset(type);
        if (body.size() < offset + kDateField) return std::nullopt;
        const std::string_view field = body.substr(offset, kDateField);
        if (field.substr(kNumberDigits) != std::string_view("\0\0\0", 3)) return std::nullopt;
        return numberIn(field);
    }
    std::size_t date = body.find('~');
    if (date != std::string_view::npos) date = body.find('~', date + 1);
    return date == std::string_view::npos ? std::nullopt : numberIn(body.substr(date + 1));
}

bool showsQuestion(std::uint8_t type, std::string_view body, const std::string& question,
                   std::size_t page) {
    if (page > 0) return true;
    if (type == 6) return body.find(question) != std::string_view::npos;
    const std::size_t first = type == 4 ? 24 : 23;  // name of the first entry
    if (body.size() < first + kTextSize + 2) return false;
    const std::size_t count = big16(body, first + kTextSize);
    const std::size_t second = first + kTextSize + 2 + count * (type == 4 ? 3 : 5);
    return body.substr(std::min(body.size(), second), question.size()) == question;
}

std::string difference(std::uint8_t type, std::string_view body, const GivenAnswer& given,
                       std::size_t page) {
    switch (type) {
        case 1:
            return unequal(meters(given), body.substr(22));
        case 2:
        case 3:
            return unequal(outcomeNumber(given.answer.outcome) + entries(type, given, page),
                           body.substr(21));
        case 4:
            if (body.at(10) != outcomeNumber(given.answer.outcome)) return "wrong outcome";
            return unequal(entries(type, given, page), body.substr(23));
        case 5:
            return differenceOfValue(body, given);
        default:
            return differenceOfMessage(body, given);
    }
}

}  // namespace teskd::soak
