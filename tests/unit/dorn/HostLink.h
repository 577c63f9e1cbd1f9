// A host connection as the daemon serves it: a host, a Dorn thread, the controller with its
// simulated machines, and an engine whose thread is not started.
//
// Ownership: the object owns everything and ends it in its destructor, which fails the test when a
// packet is still alive then.
// Threads: one user at a time.
// Errors: those of the sockets.

#pragma once

#include <cstddef>
#include <cstdint>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <string>

#include "aams/Aams.h"
#include "core/Event.h"
#include "core/LogSource.h"
#include "core/Timer.h"
#include "dorn/ConnectionCount.h"
#include "dorn/Dorn.h"
#include "packet/Packet.h"
#include "packet/PacketContainer.h"
#include "support/Frame.h"
#include "support/HostClient.h"
#include "support/Listener.h"
#include "support_src/MachinePark.h"

namespace teskd::test {

// The bytes of a request with this identifier B.
inline std::string request(std::uint8_t type, std::uint32_t id, const std::string& body = "") {
    return Frame{.type = type, .identifierB = id, .body = body}.encode();
}

class HostLink {
  public:
    // With machines 1 to n, all of them known, and that much memory available.
    explicit HostLink(std::size_t machines = 0, Dorn::Timeouts timeouts = {},
                      std::size_t available = std::numeric_limits<std::size_t>::max());
    ~HostLink() noexcept;
    HostLink(const HostLink&) = delete;
    HostLink& operator=(const HostLink&) = delete;

    // A new connection, served by a Dorn of its own.
    std::unique_ptr<HostClient> connect();
    // The same; the daemon's end of it holds no more than a few kilobytes.
    std::unique_ptr<HostClient> connectNarrow();
    // The connection made first.
    HostClient& host() { return *host_; }

    MachinePark& park() { return park_; }
    tesksim::Machine& machine(std::size_t n) { return park_.machine(n); }
    Aams& engine() { return engine_; }
    HostMemory& memory() { return memory_; }

    // Asks every connection to end.
    void stop() { stop_.set(); }
    // Whether every connection has ended before the deadline.
    bool allEnded(Deadline deadline = {});

  private:
    std::unique_ptr<HostClient> connect(bool narrow);

    const Dorn::Timeouts timeouts_;
    const unsigned long packetsBefore_ = packet_counter;
    MachinePark park_;
    PacketContainer notifier_;
    Timer timer_;
    Aams engine_{park_.controller(), notifier_, timer_};
    Listener listener_;
    Event stop_;
    LogSource hostLog_{128};
    ConnectionCount connections_;
    HostMemory memory_;
    std::unique_ptr<HostClient> host_;
};

// The body behind the date of today that it has to begin with.
std::string behindDate(const Frame& frame);

}  // namespace teskd::test
