// A listening TCP socket, by default on 127.0.0.1 and a port that the kernel chooses.
//
// Ownership: the object owns its descriptor; accepted connections belong to the caller.
// Threads: none of its own; one user at a time.
// Errors: std::system_error from the system, Timeout if no connection arrives in time.

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
    // Listens on another address of the machine, or of the thread's network namespace.
    explicit Listener(const std::string& host, std::uint16_t port = 0);

    std::uint16_t port() const { return port_; }
    Connection accept(Deadline deadline = {});
    // Whether a connection is waiting or arrives within the time.
    bool pendingWithin(std::chrono::milliseconds time);
    int fd() const { return fd_.get(); }
    // Closes the socket: further connections are refused.
    void close() { fd_.reset(); }

  private:
    UniqueFd fd_;
    std::uint16_t port_ = 0;
};

// Both ends of a connection, in one process.
struct TcpPair {
    TcpPair();

    Connection client;
    Connection server;
};

// A reserved TCP port of 127.0.0.1: bound, but not listening, so that the kernel gives it to no
// other socket. A server that sets SO_REUSEADDR can listen on it meanwhile.
class ReservedPort {
  public:
    ReservedPort();
    std::uint16_t number() const { return number_; }

  private:
    UniqueFd fd_;
    std::uint16_t number_;
};

// A TCP port of 127.0.0.1 that was just free. Another process may take it.
std::uint16_t freeTcpPort();

}  // namespace teskd::test
