// A gateway whose daemon fails on demand, with two machines, a notification server that keeps it
// polling, and hosts that ask in rounds.
//
// Ownership: the object owns everything. Threads: one user at a time, the one who made it.
// Errors: start() and awaitService() throw, with the story, when the daemon does not serve.

#pragma once

#include <optional>
#include <string>

#include "faults/FaultControl.h"
#include "faults/PollingServer.h"
#include "faults/Round.h"
#include "gateway/Gateway.h"

namespace teskd::test {

class FaultyGateway {
  public:
    static constexpr std::size_t kMachines = 2;

    FaultyGateway();

    Gateway& gateway() { return gateway_; }
    DaemonProcess& daemon() { return gateway_.daemon(); }
    FaultControl& faults() { return faults_; }

    // Starts everything and waits for nothing.
    void launch();
    // Returns once a new host is served in full and a notification has come.
    void awaitService(Deadline deadline = std::chrono::seconds(40));
    // Launches, awaits service and notes how many descriptors a daemon at rest has.
    void start();

    // One round of a new host; a poll of the machines meanwhile.
    Round ask(Deadline deadline = std::chrono::seconds(15));
    // Whether the log names what failed. (The files of the start fail on a broken disk.)
    bool isNamed(Call call, int error);
    // Whether the daemon comes to rest with the descriptors it had at the start.
    bool returnsToBaseline();
    std::size_t baseline() const { return baseline_; }

  private:
    std::string tryService(Deadline deadline);

    Gateway gateway_;
    FaultControl faults_;
    PollingServer server_;
    std::size_t baseline_ = 0;
};

// Ends the daemon as a service manager does. Empty when that went well, or what did not.
std::string problemOfStop(DaemonProcess& daemon);

}  // namespace teskd::test
