// Makes operator new fail, as it does when the machine has no memory left.
//
// Works in binaries that link teskd_failing_new, whose operators new replace the library's.
//
// Threads: each object speaks for the thread that made it, and for no other. One object of a thread
// at a time. Errors: nothing throws.

#pragma once

#include <cstddef>

namespace teskd::test {

class FailingNew {
  public:
    enum class Lasting { once, forGood };

    // This thread's first-th allocation from now on fails, counted from 1; for good, all behind it
    // fail, too.
    explicit FailingNew(std::size_t first, Lasting lasting = Lasting::once);
    // This thread has memory again.
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;

    // Whether there were that many allocations.
    static bool hasFailed();
};

}  // namespace teskd::test
