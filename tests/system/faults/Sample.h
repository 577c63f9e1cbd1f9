// Which calls are made to fail: all of them with TESKD_FULL=1, a few at random otherwise.
//
// Ownership: plain values. Threads: next() from any. Errors: none.

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace teskd::test {

class Sample {
  public:
    // Of so many calls, that many. The seed is printed; TESKD_SEED sets it.
    Sample(std::uint64_t calls, std::size_t count);

    // Whether all calls are wanted.
    static bool isFull();
    // The next call's number, from 1; 0 when there are no more. A full sample never ends.
    std::uint64_t next();

  private:
    std::vector<std::uint64_t> numbers_;
    std::atomic<std::uint64_t> taken_{0};
};

}  // namespace teskd::test
