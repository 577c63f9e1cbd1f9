// Runs something whenever the daemon's code starts a thread, on the thread that starts it and
// before there is a new one. So a test can hold a thread up where it is, or let something happen
// just then.
//
// Works on calls from objects that are linked into the binary with -Wl,--wrap=pthread_create, which
// linking teskd_failing_threads does; std::thread is none of them.
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

    // For who stands in for pthread_create.
    static void tell();

  private:
    const std::function<void(int)> action_;
    std::atomic<int> count_ = 0;
};

}  // namespace teskd::test
