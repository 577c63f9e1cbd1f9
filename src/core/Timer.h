// A thread that runs tasks after a delay, once or periodically.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "core/Clock.h"
#include "core/SynchronizedList.h"
#include "core/Thread.h"
#include "core/TimerTask.h"

namespace teskd {

// Runs TimerTasks by the wall clock. Its thread starts with the first scheduled task and ends when
// no live task is left. It looks at the clock once a second at least, so steps of it are survived:
// set back, every waiting task runs at the next pass; set forward by 5 seconds or more, fixed-rate
// tasks are re-based instead of catching up.
//
// There is one thread at a time: a task that is scheduled after a stop, while another one still
// runs, takes the stop back.
//
// Ownership: tasks belong to their owners (see TimerTask); the timer never deletes them.
// Threads: schedule, scheduleAtFixedRate, cancel and purge from any thread, also from a task's
// run(); tasks run on the timer's own thread, in the order in which they were last scheduled, one
// at a time. Locks: the task list's, which is released while a task runs.
class Timer : public Thread {
  public:
    explicit Timer(Clock& clock = Clock::system());
    explicit Timer(const std::string& name, Clock& clock = Clock::system());
    // Stops the thread for good and waits for it; tasks are left alone.
    ~Timer() noexcept(false) override;

    // The scheduling loop.
    void run() override;

    // Runs the task after delay and then every period milliseconds after it ran; period 0: once.
    // A task that is scheduled already is moved to its new time.
    void schedule(TimerTask& task, std::uint32_t delay, std::uint32_t period);
    // The same, keeping the phase: each run is due one period after the previous one was due.
    void scheduleAtFixedRate(TimerTask& task, std::uint32_t delay, std::uint32_t period);
    // The same as schedule, for a task that does not wait for its time already: calls that follow
    // each other closely do not put it off again and again.
    void scheduleUnlessWaiting(TimerTask& task, std::uint32_t delay);
    // The same as schedule, but a task that waits already is never put off: it keeps its time when
    // that comes before the delay is over. One that runs at the moment only takes the period.
    void hasten(TimerTask& task, std::uint32_t delay, std::uint32_t period);
    // Takes the task off the timer; if it is running, waits until it has ended. Not for a task that
    // takes itself off.
    void cancel(TimerTask& task);
    // Removes cancelled tasks and tells how many. The task behind each removed one is not looked
    // at.
    unsigned purge();

  protected:
    void interrupt() override;

  private:
    struct Pass {
        std::int64_t start;          // microseconds since the epoch
        std::int64_t previousStart;  // of the pass before
    };

    void add(TimerTask& task, std::uint32_t delay, std::uint32_t period, bool fixedRate);
    bool isWaiting(TimerTask& task) TESKD_REQUIRES(tasks_.guard());
    void enter(TimerTask& task, std::uint32_t delay, std::uint32_t period, bool fixedRate)
        TESKD_REQUIRES(tasks_.guard());
    void ensureRunning() TESKD_REQUIRES(tasks_.guard());
    void runLoop();
    // False when the timer was stopped: the loop ends, in one step with that finding.
    bool goesOn();
    void endLoop() TESKD_REQUIRES(tasks_.guard());
    void runDueTasks(const Pass& pass);
    void beginPass();
    // The next task that is due and was not met in this pass, marked as running; null for none.
    TimerTask* claimNext(const Pass& pass);
    // True when the task is live and due; marks it as running then.
    bool claimIfDue(TimerTask& task, const Pass& pass) TESKD_REQUIRES(tasks_.guard());
    void runTask(TimerTask& task);
    void rearm(TimerTask& task, const Pass& pass);
    bool isListed(TimerTask* task) TESKD_REQUIRES(tasks_.guard());
    // Sleeps until the next task is due, a second at most. False when no live task is left; the
    // thread is stopped then, in one step with that finding.
    bool sleepUntilNext();
    std::optional<std::int64_t> nextRun() TESKD_REQUIRES(tasks_.guard());

    SynchronizedList<TimerTask*> tasks_;
    Clock& clock_;
    // A thread was started and has not left its loop.
    bool looping_ TESKD_GUARDED_BY(tasks_.guard()) = false;
    bool closed_ TESKD_GUARDED_BY(tasks_.guard()) = false;  // for good
    // The task that runs now, and its count of scheduling calls when it was claimed.
    TimerTask* current_ TESKD_GUARDED_BY(tasks_.guard()) = nullptr;
    unsigned currentScheduled_ TESKD_GUARDED_BY(tasks_.guard()) = 0;
    std::uint64_t passNumber_ TESKD_GUARDED_BY(tasks_.guard()) = 0;
};

}  // namespace teskd
