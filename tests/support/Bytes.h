// Byte strings in tests: written as hexadecimal literals, compared and printed as such.
//
// Ownership: plain values. Threads: no state. Errors: bytes() throws std::invalid_argument.

#pragma once

#include <gtest/gtest.h>
#include <string>
#include <string_view>

namespace teskd::test {

// "FF 81 02 05" gives those four bytes; blanks and newlines between digits do not matter.
std::string bytes(std::string_view hexDigits);
// The reverse, upper case, separated by blanks.
std::string hex(std::string_view data);
// Printable text as it is, other bytes as <XX>; for messages about text protocols.
std::string printable(std::string_view data);

// The form that EXPECT_PRED_FORMAT2 and EXPECT_BYTES use.
testing::AssertionResult sameBytes(const char* expectedText, const char* actualText,
                                   std::string_view expected, std::string_view actual);

}  // namespace teskd::test

// Compare two byte strings; on failure both are shown in hexadecimal, with the first difference.
#define EXPECT_BYTES(expected, actual) \
    EXPECT_PRED_FORMAT2(::teskd::test::sameBytes, expected, actual)
#define ASSERT_BYTES(expected, actual) \
    ASSERT_PRED_FORMAT2(::teskd::test::sameBytes, expected, actual)
