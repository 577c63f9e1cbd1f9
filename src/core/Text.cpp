#include "core/Text.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>

namespace teskd::text {

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

Number parseNumber(std::string_view text, int base) {
    const std::string terminated(text);
    char* end = nullptr;
    const long long wide = std::strtoll(terminated.c_str(), &end, base);
    constexpr long long lowest = std::numeric_limits<std::int32_t>::min();
    constexpr long long highest = std::numeric_limits<std::int32_t>::max();

    Number number;
    number.consumed = static_cast<std::size_t>(end - terminated.c_str());
    number.value = static_cast<std::int32_t>(std::clamp(wide, lowest, highest));
    return number;
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
