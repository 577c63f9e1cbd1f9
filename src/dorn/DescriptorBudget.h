// How many host connections the limit of open files leaves room for.
#pragma once

#include <cstddef>

namespace teskd {

// Reserves what the rest of the daemon may need at the same time; hosts get what is left. So even
// when hosts use all of that, a line can reconnect, a notification can be sent and another host can
// be turned away.
//
// Arithmetic only, no system call. The tests count the descriptors of a running daemon.
class DescriptorBudget {
  public:
    // Per host connection: the socket and its two streams, and the event that wakes its thread.
    static constexpr std::size_t CONNECTION = 4;
    // Per serial port: the event that stops it; the socket, its two streams, and one more while
    // these are being opened.
    static constexpr std::size_t LINE = 1 + 4;
    // Per address that hosts connect to: a socket, as above.
    static constexpr std::size_t LISTENER = 4;
    // Standard streams, and the copy of standard error that is written to; the log, and its
    // successor while that is being opened; two files that are read; the notifier's event, its
    // socket, and the socket's successor; the listener's event, the spare descriptor and the socket
    // of the host that is being accepted; descriptors that the process inherited.
    static constexpr std::size_t PROCESS = 4 + 2 + 2 + (1 + 4 + 4) + (1 + 1 + 4) + 4;
    // Hosts that are served even when the limit is too low for the lines alone.
    static constexpr std::size_t FEWEST_CONNECTIONS = 16;

    DescriptorBudget(std::size_t limit, std::size_t lines, std::size_t listeners);

    // True when the limit leaves room for a host beside all the lines.
    bool carriesLines() const { return left_ >= CONNECTION; }
    // How many hosts may be connected at a time.
    std::size_t connections() const {
        return carriesLines() ? left_ / CONNECTION : FEWEST_CONNECTIONS;
    }

  private:
    std::size_t left_;  // for hosts
};

}  // namespace teskd
