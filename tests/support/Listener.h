// A listening TCP socket, on 127.0.0.1 unless said otherwise, on a port that the kernel chooses.
//
// Ownership: the object owns its descriptor; accepted connections belong to the caller.
// Threads: none of its own; one user at a time.
// Errors: std::system_error from the system, Timeout when nobody connects in time.

#pragma once

#include <cstdint>
#include <string>

#include "support/Connection.h"
#include "support/Deadline.h"
#include "support/UniqueFd.h"

namespace teskd::test {

class Listener {
  public:
    // Port 0 lets the kernel choose.
    explicit Listener(std::uint16_t port = 0, int backlog = 16);
    // On another address of the machine, or of the network that the thread is in.
    explicit Listener(const std::string& host, std::uint16_t port = 0);

    std::uint16_t port() const { return port_; }
    Connection accept(Deadline deadline = {});
    // Whether somebody has connected, or does within the time.
    bool pendingWithin(std::chrono::milliseconds time);
    int fd() const { return fd_.get(); }
    // From here on connections are refused.
    void close() { fd_.reset(); }

  private:
    UniqueFd fd_;
    std::uint16_t port_ = 0;
};

// Two connected ends in one process.
struct TcpPair {
    TcpPair();

    Connection client;
    Connection server;
};

// A TCP port of 127.0.0.1 that the kernel gives to nobody else: bound, but not listened on. Whoever
// sets SO_REUSEADDR, as servers do, can listen on it meanwhile; nobody else is connected to by
// mistake.
class ReservedPort {
  public:
    ReservedPort();
    std::uint16_t number() const { return number_; }

  private:
    UniqueFd fd_;
    std::uint16_t number_;
};

// A TCP port of 127.0.0.1 that was free a moment ago. Somebody else may take it meanwhile.
std::uint16_t freeTcpPort();

}  // namespace teskd::test
