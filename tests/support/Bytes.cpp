#include "support/Bytes.h"

#include <algorithm>

namespace teskd::test {

testing::AssertionResult sameBytes(const char* expectedText, const char* actualText,
                                   std::string_view expected, std::string_view actual) {
    if (expected == actual) return testing::AssertionSuccess();
    const auto [first, second] =
        std::mismatch(expected.begin(), expected.end(), actual.begin(), actual.end());
    return testing::AssertionFailure()
           << actualText << " differs from " << expectedText << " at byte "
           << first - expected.begin() << "\n  expected (" << expected.size()
           << "): " << hex(expected) << "\n  actual   (" << actual.size() << "): " << hex(actual)
           << "\n  as text: " << printable(expected) << "\n       and: " << printable(actual);
}

}  // namespace teskd::test
