// What holds of the daemon whenever all trouble is over: every machine answers, nothing was left
// behind, and the log was not flooded.
//
// Ownership: refers to everything. Threads: one user at a time. Errors: Violation.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "soak/Crowd.h"
#include "soak/HostLine.h"
#include "soak/Oracle.h"
#include "soak/Park.h"
#include "soak/Random.h"
#include "soak/RequestMaker.h"
#include "soak/Samples.h"
#include "soak/ServerTrouble.h"
#include "soak/Summary.h"
#include "support/DaemonProcess.h"

namespace teskd::soak {

// Lines for debugging come with every packet and say nothing here.
bool isDebugging(const test::LogLine& line);

class CalmCheck {
  public:
    struct Surroundings {
        test::DaemonProcess& daemon;
        Park& park;
        const ServerTrouble& server;
        Summary& summary;
        Samples& samples;
        std::uint64_t seed;
    };

    explicit CalmCheck(const Surroundings& around);

    // Before any trouble: what there is then is what there may be in every calm.
    void takeBaseline();
    // The notification server gets what it is owed again. @throws Violation
    void awaitNotification();
    // In a calm, once hosts and machines have come to rest. @throws Violation
    void check();
    // Every machine can be reached although all connections that there are were taken, again and
    // again, while its line was down. @throws Violation
    void checkInCrowd(Crowd& crowd);
    // Waits until the daemon has noticed that all hosts have gone. A crowd takes all connections,
    // so the next host is turned away before that. @throws Violation when something stays
    void awaitDepartures();
    // What there is now goes into the summary and, every ten seconds, into the samples. To be
    // called often in trouble. @throws Violation when the log is flooded, too much memory is used,
    // or the daemon has ended
    void observe();

  private:
    using Clock = std::chrono::steady_clock;

    // A connection of its own.
    struct Visit {
        HostLine line;
        Oracle oracle;
    };

    Visit visit();
    void awaitKnownMachines(Visit* visit = nullptr);
    std::string story();
    void checkEveryRequest();
    bool isAnswered(const Request& request);
    bool isAnswered(Visit& visit, const Request& request);
    void askLargeRequests();
    void checkLeftovers();
    void checkMemory();
    void checkLog();
    void notePackets(const std::vector<test::LogLine>& lines);
    Sample sample() const;
    std::string resources() const;

    test::DaemonProcess& daemon_;
    Park& park_;
    const ServerTrouble& server_;
    Summary& summary_;
    Samples& samples_;
    Random random_;
    RequestMaker maker_;
    std::size_t descriptors_ = 0;
    std::size_t threads_ = 0;
    std::size_t firstKilobytes_ = 0;     // before all trouble
    std::size_t packets_ = 0;            // as the log told last
    std::size_t connectionsBefore_ = 0;  // the log was looked at last
    Clock::time_point logSince_ = Clock::now();
};

}  // namespace teskd::soak
