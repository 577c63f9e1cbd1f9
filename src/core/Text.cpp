#include "core/Text.h"

#include <algorithm>
#include <cstdio>
#include <limits>

namespace teskd::text {

namespace {

constexpr std::string_view BLANKS = " \t\n\v\f\r";
constexpr int HEXADECIMAL = 16;
constexpr int NO_DIGIT = 36;

int digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'z') return c - 'a' + 10;
    if (c >= 'A' && c <= 'Z') return c - 'A' + 10;
    return NO_DIGIT;
}

// Length of an optional "0x" before hexadecimal digits.
std::size_t hexPrefix(std::string_view text, int base) {
    if (base != HEXADECIMAL || text.size() < 3) return 0;
    const bool stands = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    return stands && digit(text[2]) < base ? 2 : 0;
}

struct Digits {
    std::int64_t value = 0;  // 2^31 at most
    std::size_t count = 0;
};

Digits readDigits(std::string_view text, int base) {
    constexpr std::int64_t LIMIT = std::int64_t{1} << 31;
    Digits digits;
    while (digits.count < text.size() && digit(text[digits.count]) < base) {
        digits.value = std::min(digits.value * base + digit(text[digits.count]), LIMIT);
        ++digits.count;
    }
    return digits;
}

}  // namespace

std::string_view takePiece(std::string_view& rest, std::string_view separators) {
    rest.remove_prefix(std::min(rest.find_first_not_of(separators), rest.size()));
    const std::string_view piece = rest.substr(0, rest.find_first_of(separators));
    rest.remove_prefix(piece.size());
    return piece;
}

std::vector<std::string_view> splitDroppingEmpty(std::string_view text,
                                                 std::string_view separators) {
    std::vector<std::string_view> pieces;
    for (;;) {
        const std::string_view piece = takePiece(text, separators);
        if (piece.empty()) return pieces;
        pieces.push_back(piece);
    }
}

std::vector<std::string_view> splitFields(std::string_view text, char separator) {
    std::vector<std::string_view> fields;
    if (text.empty()) return fields;
    std::size_t start = 0;
    for (;;) {
        const std::size_t end = text.find(separator, start);
        fields.push_back(text.substr(start, end - start));
        if (end == std::string_view::npos) return fields;
        start = end + 1;
    }
}

std::string trim(std::string_view text, std::string_view set) {
    const std::size_t first = text.find_first_not_of(set);
    if (first == std::string_view::npos) return {};
    return std::string(text.substr(first, text.find_last_not_of(set) - first + 1));
}

std::string untilZero(std::string_view field) {
    return std::string(field.substr(0, field.find('\0')));
}

std::string zeroFilled(std::string_view text, std::size_t size) {
    std::string field(text.substr(0, size));
    field.resize(size, '\0');
    return field;
}

// Parsed in place, without a copy: the text may have megabytes.
Number parseNumber(std::string_view text, int base) {
    const std::size_t start = std::min(text.find_first_not_of(BLANKS), text.size());
    const std::string_view number = text.substr(start);
    const bool negative = number.substr(0, 1) == "-";
    const std::size_t sign = negative || number.substr(0, 1) == "+" ? 1 : 0;
    const std::size_t prefix = sign + hexPrefix(number.substr(sign), base);
    const Digits digits = readDigits(number.substr(prefix), base);
    if (digits.count == 0) return {};
    constexpr std::int64_t HIGHEST = std::numeric_limits<std::int32_t>::max();
    const std::int64_t value = negative ? -digits.value : std::min(digits.value, HIGHEST);
    return {static_cast<std::int32_t>(value), start + prefix + digits.count};
}

std::int32_t toInt(std::string_view text, int base) {
    return parseNumber(text, base).value;
}

std::string vformat(const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    std::string result(length < 0 ? 0 : static_cast<std::size_t>(length), '\0');
    std::vsnprintf(result.data(), result.size() + 1, format, again);
    va_end(again);
    return result;
}

std::string format(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::string result = vformat(format, arguments);
    va_end(arguments);
    return result;
}

}  // namespace teskd::text
