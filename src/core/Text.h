// Text functions that all protocols here share: splitting, trimming, numbers, formatting.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace teskd::text {

// Removes the first piece from rest and returns it, as a view into the text. Pieces end at any of
// the separator characters. Empty pieces are skipped; an empty result means that there is no more.
std::string_view takePiece(std::string_view& rest, std::string_view separators);

// All pieces that takePiece returns, in order.
std::vector<std::string_view> splitDroppingEmpty(std::string_view text,
                                                 std::string_view separators);

// Removes the first field from rest and returns it, as a view into the text. Fields stand between
// single separators; empty ones are kept, so that positions count. Nothing is left in rest behind
// the last one.
std::string_view takeField(std::optional<std::string_view>& rest, char separator);

// The fields that takeField returns, in order, at most the first `most` of them. An empty text has
// no field.
std::vector<std::string_view> splitFields(std::string_view text, char separator,
                                          std::size_t most = std::string_view::npos);

// The text without leading and trailing characters of the set.
std::string trim(std::string_view text, std::string_view set);

// The text of a fixed-size field: up to its first zero byte, or all of it.
std::string untilZero(std::string_view field);

// Appends the text padded with zero bytes, or cut, to exactly size bytes.
void appendZeroFilled(std::string& bytes, std::string_view text, std::size_t size);
// The same as a string of its own.
std::string zeroFilled(std::string_view text, std::size_t size);

// The result of strtol, with the limits of a 32-bit long on every platform.
struct Number {
    std::int32_t value = 0;    // saturated at the limits of 32 bits; 0 when nothing converts
    std::size_t consumed = 0;  // characters read, leading blanks and sign included; 0 for no number
};
Number parseNumber(std::string_view text, int base);

// parseNumber's value alone.
std::int32_t toInt(std::string_view text, int base = 10);

// printf into a string. @throws std::bad_alloc
[[gnu::format(printf, 1, 2)]] std::string format(const char* format, ...);
std::string vformat(const char* format, std::va_list arguments);

}  // namespace teskd::text
