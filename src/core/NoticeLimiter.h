// Keeps a talkative peer from filling the log.
#pragma once

#include <chrono>

#include "core/Synchronized.h"

namespace teskd {

// Lets a few lines a second of one source into the log. The others are counted, and one line behind
// them says how many they were. Sources may share a limiter besides their own, which bounds what
// all of them log together.
//
// Threads: any. Owner: whoever stands for the source; the shared one outlives those that use it.
// Locks: its own, innermost; not held while a line is written.
class NoticeLimiter {
  public:
    static constexpr int LINES_PER_SECOND = 4;

    // kind: what the lines are called in the one that counts them; kept by reference.
    explicit NoticeLimiter(int linesPerSecond = LINES_PER_SECOND, NoticeLimiter* shared = nullptr,
                           const char* kind = "lines")
        : most_(linesPerSecond), shared_(shared), kind_(kind) {}
    NoticeLimiter(const NoticeLimiter&) = delete;
    NoticeLimiter& operator=(const NoticeLimiter&) = delete;
    // Says how many lines were left out last.
    ~NoticeLimiter() noexcept(false);

    // True when another line may be logged now; the caller logs it. False counts it as left out.
    bool allows();
    // Says how many lines were left out, once the second in which that happened is over. For a
    // source that may have nothing more to log.
    void report();
    // Whether lines were left out that nothing was said about yet.
    bool hasLeftOut() const;

  private:
    using Clock = std::chrono::steady_clock;

    // Takes the count when it may be told.
    unsigned long takeLeftOut(bool secondIsOver);
    void tell(unsigned long leftOut);
    void leaveOut(unsigned long lines);

    const int most_;
    NoticeLimiter* const shared_;
    const char* const kind_;
    mutable Synchronized lock_;
    Clock::time_point second_ TESKD_GUARDED_BY(lock_){};
    int lines_ TESKD_GUARDED_BY(lock_) = 0;  // logged in that second
    unsigned long leftOut_ TESKD_GUARDED_BY(lock_) = 0;
};

}  // namespace teskd
