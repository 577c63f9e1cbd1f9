#include "core/Text.h"

#include <algorithm>
#include <cstdio>
#include <limits>

namespace teskd::text {

namespace {

constexpr unsigned HEXADECIMAL = 16;
constexpr unsigned NO_DIGIT = 36;

unsigned digit(char c) {
    if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
    if (c >= 'a' && c <= 'z') return static_cast<unsigned>(c - 'a') + 10;
    if (c >= 'A' && c <= 'Z') return static_cast<unsigned>(c - 'A') + 10;
    return NO_DIGIT;
}

bool isBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// Length of an optional "0x" before hexadecimal digits.
std::size_t hexPrefix(std::string_view text, unsigned base) {
    if (base != HEXADECIMAL || text.size() < 3) return 0;
    const bool stands = text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    return stands && digit(text[2]) < HEXADECIMAL ? 2 : 0;
}

struct Digits {
    std::uint32_t value = 0;  // 2^31 at most
    std::size_t count = 0;
};

// In 32 bits throughout: up to LIMIT / base, the value grows by a digit without overflow.
Digits readDigits(std::string_view text, unsigned base) {
    constexpr std::uint32_t LIMIT = std::uint32_t{1} << 31;
    const std::uint32_t highest = LIMIT / base;
    Digits digits;
    for (const char c : text) {
        const unsigned next = digit(c);
        if (next >= base) break;
        digits.value = digits.value > highest ? LIMIT : std::min(digits.value * base + next, LIMIT);
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

std::string_view takeField(std::optional<std::string_view>& rest, char separator) {
    const std::size_t end = rest->find(separator);
    const std::string_view field = rest->substr(0, end);
    if (end == std::string_view::npos) {
        rest.reset();
    } else {
        rest->remove_prefix(end + 1);
    }
    return field;
}

std::vector<std::string_view> splitFields(std::string_view text, char separator, std::size_t most) {
    std::vector<std::string_view> fields;
    std::optional<std::string_view> rest = text;
    if (text.empty()) rest.reset();
    while (rest && fields.size() < most) fields.push_back(takeField(rest, separator));
    return fields;
}

std::string trim(std::string_view text, std::string_view set) {
    const std::size_t first = text.find_first_not_of(set);
    if (first == std::string_view::npos) return {};
    return std::string(text.substr(first, text.find_last_not_of(set) - first + 1));
}

std::string untilZero(std::string_view field) {
    return std::string(field.substr(0, field.find('\0')));
}

void appendZeroFilled(std::string& bytes, std::string_view text, std::size_t size) {
    const std::size_t kept = std::min(text.size(), size);
    bytes.append(text, 0, kept).append(size - kept, '\0');
}

std::string zeroFilled(std::string_view text, std::size_t size) {
    std::string field;
    appendZeroFilled(field, text, size);
    return field;
}

// Parsed in place, without a copy: the text may have megabytes.
Number parseNumber(std::string_view text, int base) {
    const unsigned radix = static_cast<unsigned>(base);
    const auto* const number = std::find_if_not(text.begin(), text.end(), isBlank);
    std::string_view rest = text.substr(static_cast<std::size_t>(number - text.begin()));
    const bool negative = !rest.empty() && rest.front() == '-';
    if (negative || (!rest.empty() && rest.front() == '+')) rest.remove_prefix(1);
    rest.remove_prefix(hexPrefix(rest, radix));
    const Digits digits = readDigits(rest, radix);
    if (digits.count == 0) return {};
    constexpr std::int64_t HIGHEST = std::numeric_limits<std::int32_t>::max();
    const std::int64_t magnitude = digits.value;
    const std::int64_t value = negative ? -magnitude : std::min(magnitude, HIGHEST);
    return {static_cast<std::int32_t>(value), text.size() - rest.size() + digits.count};
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
