// Attempts at what must not take longer than a moment. A defect makes each of them late, a busy
// machine only some.
//
// Threads, errors: those of the attempt.

#pragma once

namespace teskd::test {

// Whether one of a few attempts succeeds; none is made after that.
template <typename Attempt>
bool oneOfAFew(Attempt&& attempt) {
    constexpr int kAttempts = 5;
    for (int i = 0; i < kAttempts; ++i) {
        if (attempt()) return true;
    }
    return false;
}

}  // namespace teskd::test
