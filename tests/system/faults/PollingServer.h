// A notification server that keeps the daemon polling: on demand it answers a notification with new
// parameters, upon which the daemon polls its machines at once and notifies the outcome.
//
// Ownership: borrows the socket, which nobody else uses meanwhile; owns its thread.
// Threads: every operation from any thread. Errors: none after construction.

#pragma once

#include <atomic>
#include <optional>
#include <string>
#include <thread>

#include "support/Deadline.h"
#include "support/Frame.h"
#include "support/UdpPeer.h"

namespace teskd::test {

class PollingServer {
  public:
    explicit PollingServer(UdpPeer& socket);
    ~PollingServer();
    PollingServer(const PollingServer&) = delete;
    PollingServer& operator=(const PollingServer&) = delete;

    // Has the daemon poll, now or with its next notification.
    void demandPoll() { demanded_ = true; }
    // Notifications so far.
    std::size_t received() const { return received_; }
    // Whether more than that many have come by the deadline.
    bool awaitMoreThan(std::size_t count, Deadline deadline) const;

  private:
    void run();
    void take(const std::string& datagram);
    void answer(int code, const std::string& body);

    UdpPeer& socket_;
    std::atomic<bool> stopping_{false};
    std::atomic<bool> demanded_{false};
    std::atomic<std::size_t> received_{0};
    std::optional<Frame> held_;  // the thread's own: not answered yet
    std::thread thread_;
};

}  // namespace teskd::test
