// Byte strings written as hexadecimal digits and shown as such.
//
// Ownership: plain values. Threads: no state. Errors: bytes() throws std::invalid_argument.

#pragma once

#include <string>
#include <string_view>

namespace teskd::test {

// "FF 81 02 05" gives those four bytes; blanks and newlines between digits do not matter.
std::string bytes(std::string_view hexDigits);
// The reverse, upper case, separated by blanks.
std::string hex(std::string_view data);
// Printable text as it is, other bytes as <XX>; for messages about text protocols.
std::string printable(std::string_view data);

}  // namespace teskd::test
