// Small text tools that every protocol here shares: splitting, trimming, numbers, formatting.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace teskd::text {

// Cuts the first piece between any of the separator characters off the rest, which goes on behind
// it: a view into the text, empty when there is no more. Empty pieces are passed over.
std::string_view takePiece(std::string_view& rest, std::string_view separators);

// All of these pieces.
std::vector<std::string_view> splitDroppingEmpty(std::string_view text,
                                                 std::string_view separators);

// The fields between single separators, empty fields kept, so that positions count: views into the
// text. An empty text has no field.
std::vector<std::string_view> splitFields(std::string_view text, char separator);

// The text without leading and trailing characters of the set.
std::string trim(std::string_view text, std::string_view set);

// A fixed-size text field: ends at its first zero byte or at the end of the bytes.
std::string untilZero(std::string_view field);

// The field padded with zero bytes, or cut, to exactly size bytes.
std::string zeroFilled(std::string_view text, std::size_t size);

// What strtol reads, with the limits of a 32-bit long on every platform.
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
