// Where a soak stands, for all its threads: trouble, calm or over; and the first violation.
//
// Ownership: the soak's; everybody refers to it. Threads: every operation from any thread; one
// lock. Errors: none.

#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>

namespace teskd::soak {

class Stage {
  public:
    enum class Act { Trouble, Calm, Over };

    Act act() const;
    bool isTrouble() const { return act() == Act::Trouble; }
    bool isOver() const { return act() == Act::Over; }
    void set(Act act);
    // Waits so long, or less when the act is not the one given any more.
    void stay(Act act, std::chrono::milliseconds time) const;
    // Waits until the act is another one.
    void awaitEndOf(Act act) const;

    // The first one is kept, and ends the soak.
    void violation(const std::string& text);
    std::string violation() const;

  private:
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    Act act_ = Act::Calm;    // guarded by mutex_
    std::string violation_;  // guarded by mutex_
};

}  // namespace teskd::soak
