// What holds of the daemon whenever all trouble is over: every machine answers, nothing was left
// behind, and the log was not flooded.
//
// Ownership: refers to everything. Threads: one user at a time. Errors: Violation.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "soak/Park.h"
#include "soak/Random.h"
#include "soak/RequestMaker.h"
#include "soak/Summary.h"
#include "support/DaemonProcess.h"

namespace teskd::soak {

// Lines for debugging come with every packet and say nothing here.
bool isDebugging(const test::LogLine& line);

class CalmCheck {
  public:
    CalmCheck(test::DaemonProcess& daemon, Park& park, Summary& summary, std::uint64_t seed);

    // Before any trouble: what there is then is what there may be in every calm.
    void takeBaseline();
    // In a calm, once hosts and machines have come to rest. @throws Violation
    void check();
    // What there is now goes into the summary. To be called often, in trouble too. @throws
    // Violation when the log is flooded or the daemon has ended
    void observe();

  private:
    using Clock = std::chrono::steady_clock;

    void awaitKnownMachines();
    std::string story();
    void checkEveryRequest();
    bool isAnswered(const Request& request);
    void checkLeftovers();
    void checkMemory();
    void checkLog();
    std::string resources() const;

    test::DaemonProcess& daemon_;
    Park& park_;
    Summary& summary_;
    Random random_;
    RequestMaker maker_;
    std::size_t descriptors_ = 0;
    std::size_t threads_ = 0;
    std::size_t kilobytes_ = 0;          // after the first minute; 0 before
    std::size_t connectionsBefore_ = 0;  // the log was looked at last
    Clock::time_point logSince_ = Clock::now();
};

}  // namespace teskd::soak
