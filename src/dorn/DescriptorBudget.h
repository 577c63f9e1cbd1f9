// How many host connections the limit of open files leaves room for.
#pragma once

#include <cstddef>

namespace teskd {

// What everything but hosts may need of the limit, all of it at once, and what is left for hosts.
// So hosts that take all they can get never keep a line from connecting again, a notification from
// going out or a host from being turned away.
//
// Numbers in, numbers out; no system call. The tests count the descriptors of a running daemon.
class DescriptorBudget {
  public:
    // Of one host connection: the socket and its two streams, and the event that wakes its thread.
    static constexpr std::size_t CONNECTION = 4;
    // Of one serial port: the event that stops it; the socket, its two streams, and another one for
    // a moment while these are opened.
    static constexpr std::size_t LINE = 1 + 4;
    // Of one address that hosts connect to: a socket, as above.
    static constexpr std::size_t LISTENER = 4;
    // Standard streams, and standard error as it is written to; the log, and its successor while it
    // is opened; two files that are read; the notifier's event, its socket, and its successor; the
    // listener's event, the one descriptor in reserve and the socket of the host that is being
    // accepted; what the process was started with.
    static constexpr std::size_t PROCESS = 4 + 2 + 2 + (1 + 4 + 4) + (1 + 1 + 4) + 4;
    // Hosts that are served when the limit is too low for the lines alone.
    static constexpr std::size_t FEWEST_CONNECTIONS = 16;

    DescriptorBudget(std::size_t limit, std::size_t lines, std::size_t listeners);

    // Whether the limit leaves room for a host beside all the lines.
    bool carriesLines() const { return left_ >= CONNECTION; }
    // How many hosts may be connected at a time.
    std::size_t connections() const {
        return carriesLines() ? left_ / CONNECTION : FEWEST_CONNECTIONS;
    }

  private:
    std::size_t left_;  // for hosts
};

}  // namespace teskd
