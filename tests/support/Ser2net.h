// A real serial-port server in front of a pair of pseudo-terminals, so that the telnet side is
// not one of our own making: daemon - TCP - server - tty A = tty B - simulated machine.
//
// A pseudo-terminal keeps the speed, CSTOPB, CRTSCTS, IXON/IXOFF, PARODD and CMSPAR as they are
// set; it forces CS8 and never has PARENB. So data size and parity on/off cannot be seen on the
// tty; the server still confirms them on the telnet side. On every connection it starts with
// tesksim::serverGreeting(), and after WILL 44 it notifies the modem state (FF FA 2C 6B 00 FF F0).
//
// Ownership: the object owns both helper programs and the directory with their files.
// Threads: one user at a time; create it on a thread that outlives it.
// Errors: the constructor throws std::runtime_error, with the programs' output, when one of them
// does not come up.

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
    // The programs this needs are installed.
    static bool available();

    explicit Ser2net(const std::string& lineSettings = "9600n81", Deadline deadline = {});
    ~Ser2net();

    // Telnet endpoint with COM-PORT-OPTION, on 127.0.0.1.
    std::uint16_t port() const { return port_; }
    // The far end of the serial line; give it to the simulated machine.
    std::filesystem::path machineTty() const { return temp_ / "ttyB"; }
    // The near end, which the server opens while a client is connected.
    std::filesystem::path serverTty() const { return temp_ / "ttyA"; }
    // Settings of the near end now. Throws std::system_error.
    ::termios lineSettings() const;
    // Their output speed alone, as a Bxxx constant.
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
