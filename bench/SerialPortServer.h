// A real serial-port server, ser2net, before pseudo-terminals whose other sides are the caller's:
// it delays nothing of its own accord.
//
// Ownership: the object owns the program, its file and a descriptor of each tty. Threads: one user
// at a time; create it on a thread that outlives it. Errors: the constructor throws
// std::runtime_error and std::system_error.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "bench/Sockets.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace teskd::bench {

class SerialPortServer {
  public:
    explicit SerialPortServer(std::size_t lines);
    ~SerialPortServer();
    SerialPortServer(const SerialPortServer&) = delete;
    SerialPortServer& operator=(const SerialPortServer&) = delete;

    const std::vector<std::uint16_t>& ports() const { return ports_; }
    // The machine's side of a line, counted from 0; the caller's from now on. Reading it fails when
    // this object is gone.
    UniqueFd takeMachineSide(std::size_t line) { return std::move(machineSides_[line]); }

  private:
    test::TempDir directory_;
    std::vector<UniqueFd> machineSides_;
    std::vector<UniqueFd> ttys_;  // kept open, so that a machine outlives its server's connections
    std::vector<std::uint16_t> ports_;
    std::unique_ptr<test::ChildProcess> server_;
};

}  // namespace teskd::bench
