// Byte strings in tests: written as hexadecimal literals (support/Hex.h), compared and printed as
// such.
//
// Ownership: plain values. Threads: no state. Errors: nothing throws.

#pragma once

#include <gtest/gtest.h>
#include <string_view>

#include "support/Hex.h"

namespace teskd::test {

// The form that EXPECT_PRED_FORMAT2 and EXPECT_BYTES use.
testing::AssertionResult sameBytes(const char* expectedText, const char* actualText,
                                   std::string_view expected, std::string_view actual);

}  // namespace teskd::test

// Compare two byte strings; on failure both are shown in hexadecimal, with the first difference.
#define EXPECT_BYTES(expected, actual) \
    EXPECT_PRED_FORMAT2(::teskd::test::sameBytes, expected, actual)
#define ASSERT_BYTES(expected, actual) \
    ASSERT_PRED_FORMAT2(::teskd::test::sameBytes, expected, actual)
