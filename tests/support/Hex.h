// Conversion between byte strings and hexadecimal digits.
//
// Ownership: plain values. Threads: no state. Errors: bytes() throws std::invalid_argument.

#pragma once

#include <string>
#include <string_view>

namespace teskd::test {

// "FF 81 02 05" gives those four bytes; blanks and newlines between digits are ignored.
std::string bytes(std::string_view hexDigits);
// The reverse, upper case, separated by blanks.
std::string hex(std::string_view data);
// The text with non-printable bytes as <XX>; for messages about text protocols.
std::string printable(std::string_view data);

}  // namespace teskd::test
