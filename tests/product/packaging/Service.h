// The daemon as it is installed in a root, with a simulated machine on its first serial port.
//
// Ownership: the object owns the process and the machine; the destructor kills what still runs.
// Threads: one user at a time; start it on a thread that outlives it.
// Errors: start() throws std::runtime_error when the daemon does not listen.

#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "packaging/InstalledRoot.h"
#include "support/ChildProcess.h"
#include "support/Listener.h"
#include "support/UdpPeer.h"
#include "tesksim/Machine.h"

namespace teskd::test {

class Service {
  public:
    explicit Service(InstalledRoot& root);
    ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    // Writes what the configuration tool would.
    void configure();
    // configure(), and the command, which ends up as the daemon; returns once it listens.
    void start(const Words& command, const InstalledRoot::Confinement& confinement);
    void start(const Words& command) { start(command, {}); }
    // SIGTERM to the daemon, and its status.
    ExitStatus stop();

    tesksim::Machine& machine() { return machine_; }
    UdpPeer& server() { return server_; }
    std::uint16_t port() const { return port_.number(); }
    pid_t pid() const;
    // What the process printed.
    std::string story() const;

  private:
    bool listens() const;

    InstalledRoot& root_;
    tesksim::Machine machine_;
    UdpPeer server_;
    const ReservedPort port_;
    std::unique_ptr<ChildProcess> process_;
};

}  // namespace teskd::test
