// A daemon at work: its machines, a notification server, and hosts that are only connected.
//
// Ownership: the object owns all of them. Threads: one user at a time; create it on a thread that
// outlives it. Errors: those of test::DaemonProcess and Lines.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "bench/Lines.h"
#include "bench/Road.h"
#include "bench/Setup.h"
#include "notifyserver/NotificationServer.h"
#include "support/DaemonProcess.h"

namespace teskd::bench {

// One exchange, as it went over the sockets.
struct Conversation {
    std::string hostRequest;
    std::string machineRequest;
    std::string machineAnswer;
    std::string acknowledgement;
    std::string hostAnswer;
};

class Gateway {
  public:
    // Returns when the daemon knows its machines and has the idle hosts connected.
    Gateway(const Setup& setup, std::size_t idleHosts);

    // Has the first host's request answered once.
    Conversation capture();
    // Hosts that ask this daemon, where the answer is that of a captured conversation.
    Road::Description road(std::string name, const std::string& answer) const;
    test::DaemonProcess& daemon() { return daemon_; }

  private:
    std::string requestOf(std::size_t host) const;
    void connectIdle(std::size_t count);

    const Setup setup_;
    Lines lines_;
    notifyserver::NotificationServer notifications_;
    test::DaemonProcess daemon_;
    std::vector<UniqueFd> idle_;
};

}  // namespace teskd::bench
