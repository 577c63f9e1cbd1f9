// One end of a TCP connection, on loopback unless said otherwise, with deadlines on everything that
// can block.
//
// Ownership: the object owns its descriptor.
// Threads: none of its own; one thread may send while another reads.
// Errors: std::system_error from the system, Timeout when a deadline passes, std::runtime_error
// when the peer closed before enough bytes came. The messages show what did arrive.

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

    // Connects to a port of 127.0.0.1. A refusal throws at once; connectEventually retries it.
    static Connection to(std::uint16_t port, Deadline deadline = {});
    // From one of this side's addresses (empty: the system chooses) to one of the peer's.
    static Connection between(const std::string& from, const std::string& to, std::uint16_t port,
                              Deadline deadline = {});
    static Connection connectEventually(std::uint16_t port, Deadline deadline = {});

    void sendAll(std::string_view data, Deadline deadline = {});
    // One write, and so in general one segment, for every byte.
    void sendByteByByte(std::string_view data, Deadline deadline = {});

    std::string readExactly(std::size_t count, Deadline deadline = {});
    // Everything up to the end of the stream, which must come before the deadline.
    std::string readUntilClosed(Deadline deadline = {});
    // What can be read without waiting; may be empty.
    std::string readAvailable();
    // Whether a byte or the end of the stream arrives within the time.
    bool readableWithin(std::chrono::milliseconds time);
    // Drops what still arrives; true when the peer closed or reset the connection in time.
    bool closedByPeer(Deadline deadline = {});

    void shutdownWrite();
    void close() { fd_.reset(); }
    // Closes with a reset instead of an orderly end.
    void reset();

    bool isOpen() const { return fd_.valid(); }
    int fd() const { return fd_.get(); }
    std::uint16_t localPort() const;

  private:
    // Reads what is there, up to `limit` bytes. Returns false at the end of the stream.
    bool readSome(std::string& into, std::size_t limit, Deadline deadline);

    UniqueFd fd_;
};

}  // namespace teskd::test
