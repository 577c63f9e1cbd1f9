// A timer task that remembers when it ran.
//
// Ownership: the test's; declared before the timer, so that it outlives it.
// Threads: runs() and times() may be called from any thread.

#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "core/Clock.h"
#include "core/TimerTask.h"
#include "support/Deadline.h"

namespace teskd::test {

class ProbeTask : public TimerTask {
  public:
    explicit ProbeTask(Clock& clock, std::string name = "probe", std::function<void()> body = {})
        : TimerTask(std::move(name)), clock_(clock), body_(std::move(body)) {}

    void run() override {
        {
            const std::scoped_lock lock(mutex_);
            times_.push_back(clock_.now());
        }
        if (body_) body_();
    }

    // Wall-clock times in microseconds, one for each run.
    std::vector<std::int64_t> times() const {
        const std::scoped_lock lock(mutex_);
        return times_;
    }
    std::size_t runs() const { return times().size(); }
    bool eventuallyRuns(std::size_t count) const {
        return eventually([&] { return runs() == count; });
    }

  private:
    Clock& clock_;
    const std::function<void()> body_;
    mutable std::mutex mutex_;
    std::vector<std::int64_t> times_;  // guarded by mutex_
};

}  // namespace teskd::test
