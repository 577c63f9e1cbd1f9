// A host: sends request frames to the daemon and reads the answers.
//
// Ownership: the object owns its connection.
// Threads: one user at a time.
// Errors: those of Connection; std::runtime_error for a frame with an implausible length field.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "support/Connection.h"
#include "support/Deadline.h"
#include "support/Frame.h"

namespace teskd::test {

class HostClient {
  public:
    // Connects to the daemon's port on 127.0.0.1.
    explicit HostClient(std::uint16_t port, Deadline deadline = {});
    // Uses an existing connection, for example in another network namespace.
    explicit HostClient(Connection connection) : connection_(std::move(connection)) {}

    void request(std::uint8_t type, std::string_view body, std::uint32_t identifierA = 0,
                 std::uint32_t identifierB = 0);
    void send(const Frame& frame) { connection_.sendAll(frame.encode()); }
    void sendRaw(std::string_view data) { connection_.sendAll(data); }

    // The next frame. @throws Timeout if it is not complete at the deadline
    Frame readFrame(Deadline deadline = {});
    // The next frame; no value if none of its bytes arrives within the time.
    std::optional<Frame> readFrameWithin(std::chrono::milliseconds time);

    Connection& connection() { return connection_; }
    void close() { connection_.close(); }

  private:
    Connection connection_;
};

// A name as the 11 bytes of request bodies: padded with zero bytes, or truncated.
std::string name11(std::string_view name);

}  // namespace teskd::test
