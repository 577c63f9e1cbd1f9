#include "core/Timer.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "core/Log.h"

namespace teskd {

namespace {

constexpr std::int64_t MICROSECONDS_PER_MILLISECOND = 1'000;
constexpr std::int64_t LONGEST_SLEEP = 1'000'000;   // microseconds
constexpr std::int64_t CATCH_UP_LIMIT = 5'000'000;  // microseconds between two passes

std::int64_t microseconds(std::uint32_t milliseconds) {
    return std::int64_t{milliseconds} * MICROSECONDS_PER_MILLISECOND;
}

}  // namespace

Timer::Timer(Clock& clock) : Timer("<anonymous>", clock) {}

Timer::Timer(const std::string& name, Clock& clock) : Thread("Timer: " + name), clock_(clock) {
    setAutoDelete();
}

Timer::~Timer() noexcept(false) {
    {
        const SynchronizedLock lock(tasks_.guard());
        closed_ = true;
    }
    stop();
    awaitEnd();
}

void Timer::interrupt() {
    tasks_.wakeAll();
}

void Timer::schedule(TimerTask& task, std::uint32_t delay, std::uint32_t period) {
    add(task, delay, period, false);
}

void Timer::scheduleAtFixedRate(TimerTask& task, std::uint32_t delay, std::uint32_t period) {
    add(task, delay, period, true);
}

void Timer::add(TimerTask& task, std::uint32_t delay, std::uint32_t period, bool fixedRate) {
    const SynchronizedLock lock(tasks_.guard());
    enter(task, delay, period, fixedRate);
    ensureRunning();
}

void Timer::scheduleUnlessWaiting(TimerTask& task, std::uint32_t delay) {
    const SynchronizedLock lock(tasks_.guard());
    if (!isWaiting(task)) enter(task, delay, 0, false);
    ensureRunning();
}

void Timer::hasten(TimerTask& task, std::uint32_t delay, std::uint32_t period) {
    const SynchronizedLock lock(tasks_.guard());
    task.assertHeld(tasks_.guard());
    if (task.isCancelled() || !isListed(&task)) {
        enter(task, delay, period, false);
    } else {
        task.period_ = period;
        task.nextRun_ = std::min(task.nextRun_, clock_.now() + microseconds(delay));
        tasks_.guard().notifyAll();
    }
    ensureRunning();
}

bool Timer::isWaiting(TimerTask& task) {
    return current_ != &task && !task.isCancelled() && isListed(&task);
}

void Timer::enter(TimerTask& task, std::uint32_t delay, std::uint32_t period, bool fixedRate) {
    task.assertHeld(tasks_.guard());
    tasks_.moveToBack(&task);
    task.fixedRate_ = fixedRate;
    task.cancelled_ = false;
    task.delay_ = delay;
    task.period_ = period;
    task.nextRun_ = clock_.now() + microseconds(delay);
    ++task.scheduled_;
    task.metInPass_ = passNumber_;
}

// The thread decides to end under the same lock, so that a task scheduled at that moment is not
// lost.
void Timer::ensureRunning() {
    if (closed_ || isRunning()) return;
    if (looping_) return keepRunning();
    looping_ = true;
    const int result = start();
    if (result == 0) return;
    endLoop();
    Log::write(Log::WARNING, "Cannot start thread '%s': %s", getName().c_str(),
               std::strerror(result));
}

void Timer::cancel(TimerTask& task) {
    const SynchronizedLock lock(tasks_.guard());
    tasks_.remove(&task);
    task.cancelled_ = true;
    while (current_ == &task) tasks_.guard().waitLocked();
}

unsigned Timer::purge() {
    const SynchronizedLock lock(tasks_.guard());
    unsigned removed = 0;
    for (auto position = tasks_.begin(); position != tasks_.end(); ++position) {
        TimerTask* const task = *position;
        if (!task->isCancelled()) continue;
        ++position;
        tasks_.remove(task);
        ++removed;
        if (position == tasks_.end()) break;
    }
    return removed;
}

void Timer::run() {
    try {
        runLoop();
    } catch (...) {
        const SynchronizedLock lock(tasks_.guard());
        current_ = nullptr;
        endLoop();
        throw;
    }
}

void Timer::runLoop() {
    std::int64_t passStart = clock_.now();
    while (goesOn()) {
        const std::int64_t previous = passStart;
        passStart = clock_.now();
        runDueTasks({passStart, previous});
        if (!sleepUntilNext()) return;
    }
}

bool Timer::goesOn() {
    const SynchronizedLock lock(tasks_.guard());
    if (isRunning()) return true;
    endLoop();
    return false;
}

// The next task that is scheduled starts a new thread.
void Timer::endLoop() {
    looping_ = false;
    stop();
}

// Tasks may be scheduled, moved and removed while one of them runs, so the list is searched from
// its start after each; a mark on each task tells whether this pass has visited it. (A copy of the
// list would need memory.)
void Timer::runDueTasks(const Pass& pass) {
    beginPass();
    while (isRunning()) {
        TimerTask* const task = claimNext(pass);
        if (task == nullptr) return;
        runTask(*task);
        rearm(*task, pass);
    }
}

void Timer::beginPass() {
    const SynchronizedLock lock(tasks_.guard());
    ++passNumber_;
}

TimerTask* Timer::claimNext(const Pass& pass) {
    const SynchronizedLock lock(tasks_.guard());
    for (TimerTask* task : tasks_) {
        task->assertHeld(tasks_.guard());
        if (std::exchange(task->metInPass_, passNumber_) == passNumber_) continue;
        if (claimIfDue(*task, pass)) return task;
    }
    return nullptr;
}

bool Timer::isListed(TimerTask* task) {
    return std::find(tasks_.begin(), tasks_.end(), task) != tasks_.end();
}

bool Timer::claimIfDue(TimerTask& task, const Pass& pass) {
    task.assertHeld(tasks_.guard());
    if (task.isCancelled()) return false;
    if (pass.start <= task.nextRun_) {
        const bool clockWasSetBack = pass.previousStart > pass.start;
        if (clockWasSetBack) task.nextRun_ = pass.start;
        return false;
    }
    current_ = &task;
    currentScheduled_ = task.scheduled_;
    return true;
}

void Timer::runTask(TimerTask& task) {
    try {
        task.run();
    } catch (const Exception& e) {
        Log::write(Log::WARNING, "TimerTask '%s' Uncaught Exception: %s", task.getName().c_str(),
                   e.text());
    }
}

// A task that was rescheduled or cancelled while it ran is left as that call set it.
void Timer::rearm(TimerTask& task, const Pass& pass) {
    const SynchronizedLock lock(tasks_.guard());
    task.assertHeld(tasks_.guard());
    const std::int64_t period = microseconds(task.getPeriod());
    if (isListed(&task) && task.scheduled_ == currentScheduled_) {
        if (period == 0) {
            task.cancelled_ = true;
        } else if (task.fixedRate_ && pass.start < pass.previousStart + CATCH_UP_LIMIT) {
            task.nextRun_ += period;
        } else {
            task.nextRun_ = pass.start + period;
        }
    }
    current_ = nullptr;
    tasks_.guard().notifyAll();
}

// A task that is scheduled during the sleep may shorten it, but neither starts a pass nor prolongs
// the sleep. A pass that came too early would mistake a small correction of the clock for the clock
// being set back.
bool Timer::sleepUntilNext() {
    const SynchronizedLock lock(tasks_.guard());
    const std::int64_t latest = clock_.steady() + LONGEST_SLEEP;
    for (;;) {
        const std::optional<std::int64_t> next = nextRun();
        if (!next) {
            endLoop();
            return false;
        }
        const std::int64_t pause = std::min(*next - clock_.now(), latest - clock_.steady());
        if (pause <= 0 || !isRunning() || !clock_.wait(tasks_.guard(), pause)) return true;
    }
}

// When the next task is due; none if no live task is left.
std::optional<std::int64_t> Timer::nextRun() {
    std::optional<std::int64_t> next;
    for (TimerTask* task : tasks_) {
        task->assertHeld(tasks_.guard());
        if (task->isCancelled()) continue;
        next = std::min(next.value_or(task->nextRun_), task->nextRun_);
    }
    return next;
}

}  // namespace teskd
