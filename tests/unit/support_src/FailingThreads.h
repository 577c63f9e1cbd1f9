// Makes the creation of threads fail, as it does when the machine has none left.
//
// Works on calls from objects that are linked into the binary with -Wl,--wrap=pthread_create, which
// linking teskd_failing_threads does.
//
// Threads: any; the countdown is the process's. One object at a time. Errors: nothing throws.

#pragma once

namespace teskd::test {

class FailingThreads {
  public:
    // The next creations fail with EAGAIN, that many of them.
    explicit FailingThreads(int count);
    // Threads can be created again.
    ~FailingThreads();
    FailingThreads(const FailingThreads&) = delete;
    FailingThreads& operator=(const FailingThreads&) = delete;
};

}  // namespace teskd::test
