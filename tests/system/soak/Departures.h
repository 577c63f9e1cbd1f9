// The hosts that have reset their connections with requests open. Nobody wants these answers any
// more, so no machine is to be asked them, but for the one that is being asked at that moment.
//
// Ownership: the soak's. Threads: every operation from any thread; one lock.
// Errors: a violation goes to the stage.

#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <string>

#include "soak/Stage.h"

namespace teskd::soak {

class Departures {
  public:
    explicit Departures(Stage& stage) : stage_(stage) {}

    // This host has reset the connection on which it sent these requests; they are nobody's now.
    void left(std::uint32_t host, std::uint32_t firstRequest, std::uint32_t lastRequest);
    // A machine is asked a request with this text, see questionText().
    void asked(const std::string& question);

  private:
    using Clock = std::chrono::steady_clock;
    struct Departure {
        std::uint32_t firstRequest;
        std::uint32_t lastRequest;
        Clock::time_point at;
    };

    Stage& stage_;
    std::mutex mutex_;
    std::map<std::uint32_t, std::deque<Departure>> departures_;  // by host; guarded by mutex_
};

}  // namespace teskd::soak
