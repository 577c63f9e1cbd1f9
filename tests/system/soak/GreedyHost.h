// A host of a soak that wants more than its share: bodies without an end, very many requests at
// once, all the connections that there are.
//
// Ownership: refers to everything but its own random numbers. Threads: run() is a thread's body; it
// returns when the soak is over. In a calm no connection is left.
// Errors: none leave; a Violation goes to the stage.

#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "soak/Crowd.h"
#include "soak/Random.h"
#include "soak/RequestMaker.h"
#include "soak/Shift.h"
#include "soak/SoakHost.h"

namespace teskd::soak {

class GreedyHost {
  public:
    GreedyHost(std::uint32_t number, const SoakHost::Surroundings& surroundings, Crowd& crowd);

    void run();
    bool isIdle() const { return shift_.isIdle(); }

  private:
    using Clock = std::chrono::steady_clock;

    void once();
    void beginBodies();
    void sendLargeRequest();
    void askLargeRequest(HostLine& line, const Request& request);
    void askVeryMuch();
    // Behind all that, a request that waits for no machine is answered at once.
    void checkThatOthersGoOn(HostLine& line);
    void crowd();

    HostLine connect();
    std::string unfinished();
    // Sends what the daemon takes within the time, and removes it from the bytes.
    void push(HostLine& line, std::string_view& bytes, std::chrono::milliseconds time);

    const std::uint32_t number_;
    const SoakHost::Surroundings around_;
    Crowd& crowd_;
    Random random_;
    RequestMaker maker_;
    Shift shift_;
};

}  // namespace teskd::soak
