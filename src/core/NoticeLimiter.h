// A rate limit for log lines, so that a busy peer cannot fill the log.
#pragma once

#include <chrono>

#include "core/Synchronized.h"

namespace teskd {

// Allows a few lines a second from one source. Further lines are dropped and counted, and a later
// line reports the count. Sources may also share a limiter in addition to their own, which limits
// what all of them log together.
//
// Threads: any. Owner: the object that stands for the source; the shared limiter must outlive those
// that use it. Locks: its own, innermost; not held while a line is written.
class NoticeLimiter {
  public:
    static constexpr int LINES_PER_SECOND = 4;

    // kind: what the line with the count calls the dropped lines; kept by reference.
    explicit NoticeLimiter(int linesPerSecond = LINES_PER_SECOND, NoticeLimiter* shared = nullptr,
                           const char* kind = "lines")
        : most_(linesPerSecond), shared_(shared), kind_(kind) {}
    NoticeLimiter(const NoticeLimiter&) = delete;
    NoticeLimiter& operator=(const NoticeLimiter&) = delete;
    // Reports the dropped lines that were not reported yet.
    ~NoticeLimiter() noexcept(false);

    // True if one more line may be logged now; the caller then logs it. False counts the line as
    // dropped.
    bool allows();
    // Reports how many lines were dropped, once the second in which that happened is over. For a
    // source that may have no more lines to log: otherwise only its next line or the destructor
    // reports them.
    void report();
    // Whether lines were dropped that were not reported yet.
    bool hasLeftOut() const;

  private:
    using Clock = std::chrono::steady_clock;

    // Returns the count of dropped lines and resets it. With secondIsOver, returns 0 until the
    // second is over.
    unsigned long takeLeftOut(bool secondIsOver);
    void tell(unsigned long leftOut);
    void leaveOut(unsigned long lines);

    const int most_;
    NoticeLimiter* const shared_;
    const char* const kind_;
    mutable Synchronized lock_;
    Clock::time_point second_ TESKD_GUARDED_BY(lock_){};
    int lines_ TESKD_GUARDED_BY(lock_) = 0;  // allowed in that second
    unsigned long leftOut_ TESKD_GUARDED_BY(lock_) = 0;
};

}  // namespace teskd
