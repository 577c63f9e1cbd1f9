// Points in time by which something must have happened, and waiting for a condition until then.
//
// Ownership: plain values.
// Threads: a Deadline is immutable, so it may be shared; eventually() runs on its caller.
// Errors: nothing throws but Timeout, and that only where a header says so.

#pragma once

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

namespace teskd::test {

// What the waiting operations throw when the deadline passes first.
class Timeout : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Factor on every timeout, from the environment variable TESKD_TEST_TIME_SCALE (default 1). It is
// there for emulators and sanitizers.
int timeScale();

// How long a test waits for something that is going to happen, on a busy machine, too.
inline constexpr std::chrono::milliseconds kPatience{30000};

class Deadline {
  public:
    using Clock = std::chrono::steady_clock;

    Deadline() : Deadline(kPatience) {}
    // Implicit: `readExactly(4, 500ms)` reads as it should. The timeout is scaled.
    template <typename Count, typename Period>
    Deadline(std::chrono::duration<Count, Period> timeout)
        : at_(Clock::now() + std::chrono::ceil<std::chrono::milliseconds>(timeout) * timeScale()) {}

    bool passed() const { return Clock::now() >= at_; }
    // Time left, rounded up to whole milliseconds; 0 once the deadline has passed.
    std::chrono::milliseconds left() const;
    // The same as an argument of poll(2).
    int pollTimeout() const { return static_cast<int>(left().count()); }
    Clock::time_point at() const { return at_; }

  private:
    Clock::time_point at_;
};

// Waits until `predicate` yields true, asking every few milliseconds. Returns its last value.
template <typename Predicate>
bool eventually(Predicate&& predicate, Deadline deadline = {}) {
    while (!predicate()) {
        if (deadline.passed()) return predicate();
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
    }
    return true;
}

}  // namespace teskd::test
