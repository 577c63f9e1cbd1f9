// Comparison of byte strings in tests, which are written as hexadecimal literals (support/Hex.h)
// and printed like that.
//
// Ownership: plain values. Threads: no state. Errors: nothing throws.

#pragma once

#include <gtest/gtest.h>
#include <string_view>

#include "support/Hex.h"

namespace teskd::test {

// The comparison of EXPECT_BYTES.
testing::AssertionResult sameBytes(const char* expectedText, const char* actualText,
                                   std::string_view expected, std::string_view actual);

}  // namespace teskd::test

// Compare two byte strings; a failure prints both in hexadecimal, with the first difference.
#define EXPECT_BYTES(expected, actual) \
    EXPECT_PRED_FORMAT2(::teskd::test::sameBytes, expected, actual)
#define ASSERT_BYTES(expected, actual) \
    ASSERT_PRED_FORMAT2(::teskd::test::sameBytes, expected, actual)
