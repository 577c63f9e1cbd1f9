// Makes the next array allocation that may return null do so.

#pragma once

namespace teskd::test {

// Threads: the switch is the process's. Switched off with the object.
class FailingAllocation {
  public:
    FailingAllocation();
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;
};

}  // namespace teskd::test
