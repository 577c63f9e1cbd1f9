// Work that a Timer runs after a delay, once or periodically.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "core/Synchronized.h"

namespace teskd {

class Timer;

// Base class of the work. The scheduling state belongs to the timer that the task is scheduled on.
//
// Ownership: the owner keeps the task alive while it is scheduled, or removes it from the timer
// first with Timer::cancel.
// Threads: run() is called on the timer's thread with no lock held; setPeriod may be called from
// run(); scheduling goes through the Timer.
class TimerTask {
  public:
    explicit TimerTask(std::string name);
    TimerTask(const TimerTask&) = delete;
    TimerTask& operator=(const TimerTask&) = delete;
    virtual ~TimerTask() noexcept(false);

    // The work. An Exception that leaves it is logged; the task stays scheduled.
    virtual void run() = 0;

    const std::string& getName() const { return name_; }
    bool isCancelled() const { return cancelled_; }
    // Milliseconds between two runs; 0 for a one-shot task. A change takes effect when the timer
    // next schedules the task after a run.
    std::uint32_t getPeriod() const { return period_; }
    void setPeriod(std::uint32_t milliseconds) { period_ = milliseconds; }

  private:
    friend class Timer;

    // Stands for the lock of the timer's list in the thread-safety analysis, since a task does not
    // know its timer.
    class TESKD_CAPABILITY("timer's list lock") ListLock {};
    // Tells the analysis that the caller holds the lock.
    void assertHeld([[maybe_unused]] const Synchronized& lock) const TESKD_REQUIRES(lock)
        TESKD_ASSERTS_LOCK(listLock_) {}

    const std::string name_;
    std::atomic<bool> cancelled_{false};
    std::atomic<std::uint32_t> period_{0};  // milliseconds
    [[no_unique_address]] ListLock listLock_;
    bool fixedRate_ TESKD_GUARDED_BY(listLock_) = false;
    std::uint32_t delay_ TESKD_GUARDED_BY(listLock_) = 0;   // milliseconds
    std::int64_t nextRun_ TESKD_GUARDED_BY(listLock_) = 0;  // microseconds since the epoch
    // The latest pass of the timer that visited the task.
    std::uint64_t metInPass_ TESKD_GUARDED_BY(listLock_) = 0;
    // Counts the scheduling calls, so that the timer notices one that came while the task ran.
    unsigned scheduled_ TESKD_GUARDED_BY(listLock_) = 0;
};

}  // namespace teskd
