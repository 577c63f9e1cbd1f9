// Repeats an attempt with a short time limit: a defect makes all attempts late, a busy machine only
// some.
//
// Threads, errors: those of the attempt.

#pragma once

namespace teskd::test {

// Whether one of a few attempts succeeds; it is the last one.
template <typename Attempt>
bool oneOfAFew(Attempt&& attempt) {
    constexpr int kAttempts = 5;
    for (int i = 0; i < kAttempts; ++i) {
        if (attempt()) return true;
    }
    return false;
}

}  // namespace teskd::test
