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

// Runs TimerTasks by the wall clock. The thread starts with the first scheduled task and ends when
// no live task is left. It checks the clock at least once a second, so that changes of the clock do
// no harm: after the clock is set back, every waiting task runs at the next pass; after it is set
// forward by 5 seconds or more, fixed-rate tasks are scheduled from the new time instead of
// catching up.
//
// There is one thread at a time: scheduling a task after a stop, while the stopped thread still
// runs, reverts the stop.
//
// Ownership: tasks belong to their owners (see TimerTask); the timer never deletes them.
// Threads: schedule, scheduleAtFixedRate, cancel and purge from any thread, also from a task's
// run(); tasks run on the timer's own thread, in the order in which they were last scheduled, one
// at a time. Locks: the task list's, which is released while a task runs.
class Timer : public Thread {
  public:
    explicit Timer(Clock& clock = Clock::system());
    explicit Timer(const std::string& name, Clock& clock = Clock::system());
    // Stops the thread for good and waits for it to end; does not touch the tasks.
    ~Timer() noexcept(false) override;

    // The scheduling loop.
    void run() override;

    // Runs the task after delay milliseconds and then again period milliseconds after each run;
    // with period 0 only once. A task that is already scheduled is moved to its new time.
    void schedule(TimerTask& task, std::uint32_t delay, std::uint32_t period);
    // The same at a fixed rate: each run is due one period after the previous one was due.
    void scheduleAtFixedRate(TimerTask& task, std::uint32_t delay, std::uint32_t period);
    // The same as schedule, once, but leaves a task that is already waiting as it is, so that
    // frequent calls do not postpone it again and again.
    void scheduleUnlessWaiting(TimerTask& task, std::uint32_t delay);
    // The same as schedule, but never postpones a waiting task: it keeps its time if that is before
    // the end of the delay. For a task that is running, only the period changes.
    void hasten(TimerTask& task, std::uint32_t delay, std::uint32_t period);
    // Removes the task from the timer; if it is running, waits until it has ended. A task must not
    // cancel itself: it would wait for its own end.
    void cancel(TimerTask& task);
    // Removes cancelled tasks and returns how many. The task after each removed one is not checked.
    unsigned purge();

  protected:
    void interrupt() override;

  private:
    struct Pass {
        std::int64_t start;          // microseconds since the epoch
        std::int64_t previousStart;  // of the previous pass
    };

    void add(TimerTask& task, std::uint32_t delay, std::uint32_t period, bool fixedRate);
    bool isWaiting(TimerTask& task) TESKD_REQUIRES(tasks_.guard());
    void enter(TimerTask& task, std::uint32_t delay, std::uint32_t period, bool fixedRate)
        TESKD_REQUIRES(tasks_.guard());
    void ensureRunning() TESKD_REQUIRES(tasks_.guard());
    void runLoop();
    // False if the timer was stopped; the end of the loop is then recorded under the same lock.
    bool goesOn();
    void endLoop() TESKD_REQUIRES(tasks_.guard());
    void runDueTasks(const Pass& pass);
    void beginPass();
    // The next task that is due and was not visited in this pass, marked as running; null if none.
    TimerTask* claimNext(const Pass& pass);
    // True if the task is live and due; it is then marked as running.
    bool claimIfDue(TimerTask& task, const Pass& pass) TESKD_REQUIRES(tasks_.guard());
    void runTask(TimerTask& task);
    void rearm(TimerTask& task, const Pass& pass);
    bool isListed(TimerTask* task) TESKD_REQUIRES(tasks_.guard());
    // Sleeps until the next task is due, a second at most. False if no live task is left; the end
    // of the loop is then recorded under the same lock.
    bool sleepUntilNext();
    std::optional<std::int64_t> nextRun() TESKD_REQUIRES(tasks_.guard());

    SynchronizedList<TimerTask*> tasks_;
    Clock& clock_;
    // A thread was started and has not left its loop.
    bool looping_ TESKD_GUARDED_BY(tasks_.guard()) = false;
    bool closed_ TESKD_GUARDED_BY(tasks_.guard()) = false;  // set by the destructor
    // The task that is running, and its count of scheduling calls when it was claimed.
    TimerTask* current_ TESKD_GUARDED_BY(tasks_.guard()) = nullptr;
    unsigned currentScheduled_ TESKD_GUARDED_BY(tasks_.guard()) = 0;
    std::uint64_t passNumber_ TESKD_GUARDED_BY(tasks_.guard()) = 0;
};

}  // namespace teskd
