// A moment by which something has to have happened.
#pragma once

#include <chrono>

namespace teskd {

// Tells how much time is left, by the steady clock: setting the machine's clock does not move it.
//
// A plain value. Threads: each its own, or constant. Errors: none are thrown.
class Deadline {
    using Clock = std::chrono::steady_clock;

  public:
    static Deadline never() { return Deadline(Clock::time_point::max()); }
    // One that has passed already.
    static Deadline passed() { return Deadline(Clock::time_point()); }
    static Deadline after(Clock::duration time) { return Deadline(Clock::now() + time); }
    // Of a time-out as streams have them: in milliseconds, 0 is without limit.
    static Deadline ofTimeout(int milliseconds);

    bool hasPassed() const { return Clock::now() >= at_; }
    // The time left for poll(2): milliseconds, rounded up, so 0 only once it has passed; -1 if it
    // never does.
    int pollTimeout() const;

    bool operator==(const Deadline& other) const = default;
    // The earlier one is less.
    bool operator<(const Deadline& other) const { return at_ < other.at_; }

  private:
    explicit Deadline(Clock::time_point at) : at_(at) {}

    Clock::time_point at_;
};

}  // namespace teskd
