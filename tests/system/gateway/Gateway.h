// A daemon with everything around it: simulated machines on its serial ports, a notification
// server, hosts.
//
// Ownership: the object owns the daemon, the machines and the server's socket.
// Threads: one user at a time. Errors: start() and becomeKnown() throw, see DaemonProcess.

#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "support/Config.h"
#include "support/DaemonProcess.h"
#include "support/Deadline.h"
#include "support/HostClient.h"
#include "support/UdpPeer.h"
#include "tesksim/Machine.h"

namespace teskd::test {

class Gateway {
  public:
    // Machine n stands on serial port n and has the CodeId "ZA00000000n".
    explicit Gateway(std::size_t machines = 0, Config config = {},
                     DaemonProcess::Options options = {});

    // Starts the machines and the daemon, which polls at once.
    void start();
    // The same, and waits until every machine has answered its first poll.
    void startKnown();
    // Waits until every machine has had `polls` answers acknowledged.
    void awaitKnown(std::size_t polls = 1);

    // Waits until the link that goes by this name has ended, so that the next poll starts a new
    // one and is not reported failed together with what the old one still had to do.
    void awaitLinkEnd(const std::string& name);

    // n counts from 1.
    tesksim::Machine& machine(std::size_t n) { return *machines_.at(n - 1); }
    std::size_t machines() const { return machines_.size(); }
    UdpPeer& server() { return server_; }
    DaemonProcess& daemon() { return daemon_; }
    LogSocket& log() { return daemon_.log(); }
    HostClient host() { return HostClient(daemon_.port()); }

  private:
    std::vector<std::unique_ptr<tesksim::Machine>> machines_;
    UdpPeer server_;
    DaemonProcess daemon_;
};

// The daemon that the tests are about: this build's, or the one that TESKD_DAEMON names.
std::string daemonProgram();
// A daemon's options with the program filled in unless they name one. TESKD_EMULATOR, a path and
// arguments with a blank between two, runs it when it is built for another processor.
DaemonProcess::Options daemonOptions(DaemonProcess::Options options = {});
// The configuration of a daemon without serial ports.
Config withoutMachines();
// "ZA00000000n".
std::string codeIdOf(std::size_t n);

// All bytes of a frame as they came.
std::string wire(const Frame& frame);
// The next frame, as it came.
std::string readWire(HostClient& host, Deadline deadline = {});
// A body that starts with today's date, "dd.mm.yy", without it. Fails the test when it does not.
std::string behindDate(const Frame& frame);

// Bytes of a name in an 11-byte field, followed by others.
std::string named(std::string_view before, std::string_view name, std::string_view after = {});

// Threads of a daemon that serves nobody: main, three workers, the engine's timer. One sanitizer
// has a thread of its own, and so has an emulator.
std::size_t idleThreads();
// Whether the daemon's memory can be seen from outside: of an emulated one, only the emulator's is,
// which grows with what it has translated.
bool memoryShows();

// Processor time that a process has used so far, in seconds.
double processorSeconds(pid_t pid);

}  // namespace teskd::test
