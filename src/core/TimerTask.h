// A piece of work that a Timer runs after a delay, once or again and again.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "core/Synchronized.h"

namespace teskd {

class Timer;

// Base class of the work. Scheduling state belongs to the timer that the task is scheduled on.
//
// Ownership: the task's owner keeps it alive while it is scheduled, or takes it off the timer first
// with Timer::cancel.
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
    // Milliseconds between two runs; 0 for a one-shot task. Takes effect with the next re-arming.
    std::uint32_t getPeriod() const { return period_; }
    void setPeriod(std::uint32_t milliseconds) { period_ = milliseconds; }

  private:
    friend class Timer;

    // The lock of the timer's list as the compiler knows it here: a task does not know its timer.
    class TESKD_CAPABILITY("timer's list lock") ListLock {};
    // Proves that the caller holds it.
    void assertHeld([[maybe_unused]] const Synchronized& lock) const TESKD_REQUIRES(lock)
        TESKD_ASSERTS_LOCK(listLock_) {}

    const std::string name_;
    std::atomic<bool> cancelled_{false};
    std::atomic<std::uint32_t> period_{0};  // milliseconds
    [[no_unique_address]] ListLock listLock_;
    bool fixedRate_ TESKD_GUARDED_BY(listLock_) = false;
    std::uint32_t delay_ TESKD_GUARDED_BY(listLock_) = 0;   // milliseconds
    std::int64_t nextRun_ TESKD_GUARDED_BY(listLock_) = 0;  // microseconds since the epoch
    // The timer's latest pass that has dealt with it.
    std::uint64_t metInPass_ TESKD_GUARDED_BY(listLock_) = 0;
    // Counts the scheduling calls: tells a re-scheduled task from a run one.
    unsigned scheduled_ TESKD_GUARDED_BY(listLock_) = 0;
};

}  // namespace teskd
