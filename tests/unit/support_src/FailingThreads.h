// Makes the creation of threads fail, as if the system had reached its limit.
//
// Affects calls in binaries linked with -Wl,--wrap=pthread_create, as is done by linking
// teskd_failing_threads.
//
// Threads: any; the count is common to all threads. One object at a time. Errors: nothing throws.

#pragma once

namespace teskd::test {

class FailingThreads {
  public:
    // The next `count` creations fail with EAGAIN.
    explicit FailingThreads(int count);
    // Further creations succeed.
    ~FailingThreads();
    FailingThreads(const FailingThreads&) = delete;
    FailingThreads& operator=(const FailingThreads&) = delete;
};

}  // namespace teskd::test
