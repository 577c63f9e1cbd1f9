// The CodeIds under which the daemon may know one machine: those that its answers have shown.
//
// The daemon takes the name of an answer before it acknowledges the answer. So a request finds the
// machine under the name of the last answer acknowledged before, or of one that came later.
//
// Ownership: the machine's. Threads: every operation from any thread; one lock. Errors: none.

#pragma once

#include <chrono>
#include <deque>
#include <mutex>
#include <string>

namespace teskd::soak {

class ShownNames {
  public:
    using Clock = std::chrono::steady_clock;

    // An answer shows this name.
    void shown(const std::string& codeId);
    // An acknowledgement has come. It counts for the oldest answer that has none, so at the latest
    // for the one that it belongs to.
    void acknowledged();
    // Answers without an acknowledgement get none any more.
    void disconnected();
    // Whether a request sent at that time may have found the machine under the name.
    bool mayBe(const std::string& codeId, Clock::time_point sent) const;

  private:
    struct Answer {
        std::string codeId;
        Clock::time_point made;
        Clock::time_point acknowledged = Clock::time_point::max();
    };

    mutable std::mutex mutex_;
    std::deque<Answer> answers_;  // guarded by mutex_
    std::size_t waiting_ = 0;     // guarded by mutex_; the last so many may be acknowledged yet
    bool forgotten_ = false;      // guarded by mutex_; whether there were older ones
};

}  // namespace teskd::soak
