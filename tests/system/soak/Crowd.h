// Very many hosts that connect and ask nothing further: they take all the connections that the
// daemon gives.
//
// Ownership: the object owns its connections; refers to the rest. Threads: gather() and leave() by
// whoever holds the crowd; tryHold() from any thread. Errors: none leave; hosts that are turned
// away do not matter.

#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "soak/Episode.h"
#include "soak/HostLine.h"
#include "soak/Summary.h"

namespace teskd::soak {

class Crowd {
  public:
    Crowd(std::uint16_t port, Excuses& excuses, Summary& summary)
        : port_(port), excuses_(excuses), summary_(summary) {}

    // There is one crowd at a time.
    bool tryHold() { return !held_.exchange(true); }
    void release() { held_ = false; }
    void gather();
    void leave();

  private:
    bool join();

    const std::uint16_t port_;
    Excuses& excuses_;
    Summary& summary_;
    std::atomic<bool> held_ = false;
    std::vector<HostLine> lines_;
};

}  // namespace teskd::soak
