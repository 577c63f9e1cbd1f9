// A real serial-port server with a pair of pseudo-terminals, so that tests have an independent
// telnet implementation: daemon - TCP - server - tty A = tty B - simulated machine.
//
// A pseudo-terminal stores the speed, CSTOPB, CRTSCTS, IXON/IXOFF, PARODD and CMSPAR; it forces CS8
// and never has PARENB. So data size and parity on/off cannot be read from the tty, although the
// server confirms them on the telnet side. The server starts every connection with
// tesksim::serverGreeting(), and after WILL 44 it sends the modem state (FF FA 2C 6B 00 FF F0).
//
// Ownership: the object owns both programs and the directory with their files.
// Threads: one user at a time; create it on a thread that outlives it.
// Errors: the constructor throws std::runtime_error, with the programs' output, if one of them does
// not start.

#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <termios.h>

#include "support/ChildProcess.h"
#include "support/Deadline.h"
#include "support/TempDir.h"

namespace teskd::test {

class Ser2net {
  public:
    // Whether the required programs are installed.
    static bool available();

    explicit Ser2net(const std::string& lineSettings = "9600n81", Deadline deadline = {});
    ~Ser2net();

    // Telnet endpoint with COM-PORT-OPTION, on 127.0.0.1.
    std::uint16_t port() const { return port_; }
    // Tty B, for the simulated machine.
    std::filesystem::path machineTty() const { return temp_ / "ttyB"; }
    // Tty A, which the server opens while a client is connected.
    std::filesystem::path serverTty() const { return temp_ / "ttyA"; }
    // The current settings of tty A. @throws std::system_error
    ::termios lineSettings() const;
    // The output speed of tty A, as a Bxxx constant.
    speed_t speed() const;
    std::string output() const;

  private:
    void startTtys(Deadline deadline);
    void startServer(const std::string& lineSettings, Deadline deadline);

    TempDir temp_;
    std::unique_ptr<ChildProcess> ttys_;
    std::unique_ptr<ChildProcess> server_;
    std::uint16_t port_ = 0;
};

}  // namespace teskd::test
