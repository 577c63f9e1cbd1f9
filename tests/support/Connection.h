// One end of a TCP connection, on loopback by default. Every operation that can block has a
// deadline.
//
// Ownership: the object owns its descriptor.
// Threads: none of its own; one thread may send while another reads.
// Errors: std::system_error from the system, Timeout after the deadline, std::runtime_error if the
// peer closes the connection too early. The messages show the received bytes.

#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

#include "support/Deadline.h"
#include "support/UniqueFd.h"

namespace teskd::test {

class Connection {
  public:
    Connection() = default;
    explicit Connection(UniqueFd fd);

    // Connects to a port of 127.0.0.1. Throws if refused; connectEventually retries instead.
    static Connection to(std::uint16_t port, Deadline deadline = {});
    // Connects from a local address (empty: the system chooses) to an address of the peer.
    static Connection between(const std::string& from, const std::string& to, std::uint16_t port,
                              Deadline deadline = {});
    static Connection connectEventually(std::uint16_t port, Deadline deadline = {});

    void sendAll(std::string_view data, Deadline deadline = {});
    // Writes every byte separately, normally as one segment each.
    void sendByteByByte(std::string_view data, Deadline deadline = {});

    std::string readExactly(std::size_t count, Deadline deadline = {});
    // Reads up to the end of the stream, which must arrive before the deadline.
    std::string readUntilClosed(Deadline deadline = {});
    // Reads without blocking; may be empty.
    std::string readAvailable();
    // Whether a byte or the end of the stream arrives within the time.
    bool readableWithin(std::chrono::milliseconds time);
    // Discards input; true if the peer closes or resets the connection in time.
    bool closedByPeer(Deadline deadline = {});

    void shutdownWrite();
    void close() { fd_.reset(); }
    // Resets the connection instead of closing it orderly.
    void reset();

    bool isOpen() const { return fd_.valid(); }
    int fd() const { return fd_.get(); }
    std::uint16_t localPort() const;

  private:
    // Reads available bytes, at most `limit`. False at the end of the stream.
    bool readSome(std::string& into, std::size_t limit, Deadline deadline);

    UniqueFd fd_;
};

}  // namespace teskd::test
