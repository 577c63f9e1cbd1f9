// Makes operator new fail, as if memory had run out.
//
// Works in binaries that link teskd_failing_new, which replaces the library's operators new.
//
// Threads: affects only the thread that creates the object, which may have one at a time. Errors:
// nothing throws.

#pragma once

#include <cstddef>

namespace teskd::test {

class FailingNew {
  public:
    enum class Lasting { once, forGood };

    // The allocation with the number `first` on this thread from now on fails, counted from 1; with
    // forGood all later ones, too.
    explicit FailingNew(std::size_t first, Lasting lasting = Lasting::once);
    // Further allocations succeed.
    ~FailingNew();
    FailingNew(const FailingNew&) = delete;
    FailingNew& operator=(const FailingNew&) = delete;

    // Whether an allocation has failed.
    static bool hasFailed();
};

}  // namespace teskd::test
