// A piece of work that a Timer runs after a delay, once or again and again.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

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

    const std::string name_;
    std::atomic<bool> cancelled_{false};
    // Guarded by the timer's list lock.
    bool fixedRate_ = false;
    std::uint32_t delay_ = 0;   // milliseconds
    std::int64_t nextRun_ = 0;  // microseconds since the epoch
    std::atomic<std::uint32_t> period_{0};
    std::uint64_t metInPass_ = 0;  // the timer's latest pass that has dealt with it
    unsigned scheduled_ =
        0;  // counts the scheduling calls: tells a re-scheduled task from a run one
};

}  // namespace teskd
