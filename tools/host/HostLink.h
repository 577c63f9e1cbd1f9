// A host's connection to the daemon: sends and receives frames.
//
// Ownership: the object owns its connection. Threads: one user at a time.
// Errors: std::system_error from the system, what connectTo() throws, LinkError if the daemon
// closes the connection or a frame is not complete in time, DecodeError for bytes that are no
// frame.

#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "common/UniqueFd.h"
#include "host/Endpoint.h"
#include "host/Frame.h"
#include "host/LinkError.h"
#include "host/Request.h"

namespace teskhost {

class HostLink {
  public:
    using Milliseconds = std::chrono::milliseconds;
    static constexpr Milliseconds kPatience{10000};

    // Connects to a port of 127.0.0.1.
    explicit HostLink(std::uint16_t port) : HostLink(Endpoint{"127.0.0.1", port}) {}
    // Connects and sends within `patience`; see connectTo().
    explicit HostLink(const Endpoint& endpoint, Milliseconds patience = kPatience);

    // Sends a request and returns the identifier that its answers carry.
    std::uint32_t send(const Request& request);
    // The next frame.
    Frame receive(Milliseconds patience = kPatience);
    // Sends a request and returns the first frame received afterwards.
    Frame ask(const Request& request, Milliseconds patience = kPatience);
    // @throws LinkError if the frame is not an answer to this request, sent with the identifier
    static void expectAnswer(const Frame& frame, const Request& request, std::uint32_t identifier);

  private:
    using Clock = std::chrono::steady_clock;

    std::string read(std::size_t count, Clock::time_point until);

    tools::UniqueFd socket_;
    std::uint32_t lastIdentifier_ = 0;
};

}  // namespace teskhost
