// A state of things that comes and goes and that excuses what the daemon does meanwhile: a line
// that is damaged, a crowd of hosts, calls of the system that fail.
//
// Ownership: a part of Excuses. Threads: every operation from any thread. Errors: none.

#pragma once

#include <atomic>
#include <chrono>

namespace teskd::soak {

class Episode {
  public:
    using Clock = std::chrono::steady_clock;

    void begin() { ++begun_; }
    // Several may overlap; the last end counts. Some of it may still be on its way for a moment.
    void end();
    // Whether it was so at any moment since then.
    bool wasSince(Clock::time_point since) const { return begun_ > 0 || ended_.load() >= since; }

    // One from its making to its end.
    class Guard {
      public:
        explicit Guard(Episode& episode) : episode_(episode) { episode_.begin(); }
        ~Guard() { episode_.end(); }
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

      private:
        Episode& episode_;
    };

  private:
    std::atomic<int> begun_ = 0;
    std::atomic<Clock::time_point> ended_{};
};

// What may be the reason for what looks like a fault of the daemon's.
struct Excuses {
    Episode crowd;     // hosts hold all the connections that there are
    Episode failures;  // the daemon's own calls of the system fail
    Episode bodies;    // large bodies take the room that all hosts share
};

}  // namespace teskd::soak
