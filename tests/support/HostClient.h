// A host on the network: sends request frames to the daemon and reads what comes back.
//
// Ownership: the object owns its connection.
// Threads: one user at a time.
// Errors: those of Connection; std::runtime_error when a frame claims an absurd length.

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
    // On a connection made elsewhere, in another network for example.
    explicit HostClient(Connection connection) : connection_(std::move(connection)) {}

    void request(std::uint8_t type, std::string_view body, std::uint32_t identifierA = 0,
                 std::uint32_t identifierB = 0);
    void send(const Frame& frame) { connection_.sendAll(frame.encode()); }
    void sendRaw(std::string_view data) { connection_.sendAll(data); }

    // The next frame. Throws Timeout when it is not complete by the deadline.
    Frame readFrame(Deadline deadline = {});
    // Nothing when no byte of a frame arrives within the time.
    std::optional<Frame> readFrameWithin(std::chrono::milliseconds time);

    Connection& connection() { return connection_; }
    void close() { connection_.close(); }

  private:
    Connection connection_;
};

// A name in the 11 bytes that request bodies give it, filled with zero bytes or cut.
std::string name11(std::string_view name);

}  // namespace teskd::test
