// Deadlines, and waiting for a condition until one.
//
// Ownership: plain values.
// Threads: a Deadline is immutable, so it may be shared; eventually() runs on its caller.
// Errors: nothing throws; functions that throw Timeout say so.

#pragma once

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

namespace teskd::test {

// Thrown by waiting operations after their deadline.
class Timeout : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Factor for every timeout, from the environment variable TESKD_TEST_TIME_SCALE (default 1), for
// emulators and sanitizers.
int timeScale();

// The default time-out for events that will happen, long enough for a busy machine.
inline constexpr std::chrono::milliseconds kPatience{30000};

class Deadline {
  public:
    using Clock = std::chrono::steady_clock;

    Deadline() : Deadline(kPatience) {}
    // Implicit, for calls such as `readExactly(4, 500ms)`. The timeout is scaled.
    template <typename Count, typename Period>
    Deadline(std::chrono::duration<Count, Period> timeout)
        : at_(Clock::now() + std::chrono::ceil<std::chrono::milliseconds>(timeout) * timeScale()) {}

    bool passed() const { return Clock::now() >= at_; }
    // Time left, rounded up to whole milliseconds; 0 once the deadline has passed.
    std::chrono::milliseconds left() const;
    // The time left as an argument of poll(2).
    int pollTimeout() const { return static_cast<int>(left().count()); }
    Clock::time_point at() const { return at_; }

  private:
    Clock::time_point at_;
};

// Waits until `predicate` returns true, calling it every few milliseconds. Returns its last value.
template <typename Predicate>
bool eventually(Predicate&& predicate, Deadline deadline = {}) {
    while (!predicate()) {
        if (deadline.passed()) return predicate();
        std::this_thread::sleep_for(std::chrono::milliseconds(3));
    }
    return true;
}

}  // namespace teskd::test
