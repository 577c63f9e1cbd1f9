// The serial-port server as docs/ser2net.yaml sets it up, with a simulated machine on each line.
// Only the ports and the directory of the serial devices are others.
//
// Ownership: the object owns machines, server and the directory with their files.
// Threads: one user at a time; create it on a thread that outlives it.
// Errors: the constructor throws std::runtime_error when the server does not come up.

#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/TempDir.h"
#include "tesksim/Machine.h"

namespace teskd::test {

class ExampleServer {
  public:
    static constexpr std::size_t kLines = 4;

    ExampleServer();

    // One for every line, in the order of the kernel.
    std::vector<std::uint16_t> ports() const;
    std::vector<std::unique_ptr<tesksim::Machine>>& machines() { return machines_; }
    std::string output() const;

  private:
    void startMachines();
    void startServer();

    TempDir temp_;
    std::vector<std::unique_ptr<tesksim::Machine>> machines_;
    std::unique_ptr<ChildProcess> server_;
};

}  // namespace teskd::test
