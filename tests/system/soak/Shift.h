// When somebody in a soak acts and when he rests.
//
// Ownership: the party's. Threads: work() is the body of the party's thread, isIdle() for any.
// Errors: those of the act leave work().

#pragma once

#include <atomic>
#include <functional>

#include "soak/Stage.h"

namespace teskd::soak {

class Shift {
  public:
    // Acts again and again while there is trouble, until the soak is over.
    void work(const Stage& stage, const std::function<void()>& act);
    // Whether nothing is being done, nor will be before the next trouble.
    bool isIdle() const { return idle_; }

  private:
    std::atomic<bool> idle_ = true;
};

}  // namespace teskd::soak
