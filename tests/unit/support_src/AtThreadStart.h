// Runs an action whenever the daemon's code starts a thread, on the starting thread and before the
// new one exists. So a test can delay a start, or do something at that time.
//
// Affects calls in binaries linked with -Wl,--wrap=pthread_create, as is done by linking
// teskd_failing_threads; std::thread is not affected.
//
// Threads: one object at a time, which outlives the starts. Errors: the action must not throw.

#pragma once

#include <atomic>
#include <functional>

namespace teskd::test {

class AtThreadStart {
  public:
    // The action gets the number of the start, counted from 1.
    explicit AtThreadStart(std::function<void(int)> action);
    ~AtThreadStart();
    AtThreadStart(const AtThreadStart&) = delete;
    AtThreadStart& operator=(const AtThreadStart&) = delete;

    int count() const { return count_; }

    // Called by the replacement of pthread_create.
    static void tell();

  private:
    const std::function<void(int)> action_;
    std::atomic<int> count_ = 0;
};

}  // namespace teskd::test
