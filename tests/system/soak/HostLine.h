// A host's connection to the daemon that cuts what arrives into frames and never waits longer than
// it is told to.
//
// Ownership: the object owns the connection. Threads: one user at a time.
// Errors: std::system_error and Timeout from connecting; Violation for bytes that are no frame.

#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "support/Connection.h"
#include "support/Frame.h"

namespace teskd::soak {

class HostLine {
  public:
    explicit HostLine(std::uint16_t port);

    // False when the daemon is gone. @throws Timeout when it takes nothing for a long time
    bool send(std::string_view data);
    // The frames that arrive within the time; returns as soon as some have.
    std::vector<test::Frame> read(std::chrono::milliseconds time);
    // Whether the daemon has ended the connection; what it sent before was read.
    bool isEnded() const { return ended_; }
    // Whether that was a reset.
    bool isReset() const { return reset_; }
    // Whether a frame has begun and is not whole.
    bool isInsideFrame() const { return !pending_.empty(); }

    test::Connection& connection() { return connection_; }

  private:
    void receive();
    std::vector<test::Frame> cut();

    test::Connection connection_;
    std::string pending_;
    bool ended_ = false;
    bool reset_ = false;
};

}  // namespace teskd::soak
