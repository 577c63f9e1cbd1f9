// The controller's daemon, emulated, with its instructions and system calls counted.
//
// Ownership: the object owns the file of the counts, which has to outlive the daemon.
// Threads: one user at a time. Errors: std::system_error when the file cannot be made.

#pragma once

#include <cstdint>
#include <string>

#include "support/DaemonProcess.h"
#include "support/TempDir.h"

namespace teskd::bench {

struct Counts {
    std::uint64_t instructions = 0;
    std::uint64_t systemCalls = 0;
    bool operator==(const Counts&) const = default;
};

class CountedDaemon {
  public:
    // Programs built for the controller, and the plugin that counts.
    CountedDaemon(std::string daemon, std::string plugin);
    ~CountedDaemon();
    CountedDaemon(const CountedDaemon&) = delete;
    CountedDaemon& operator=(const CountedDaemon&) = delete;

    // How to start the daemon so that it is counted here.
    test::DaemonProcess::Options options() const;
    // From the start to now.
    Counts now() const;
    // The same, once nothing has been counted for 100 ms: the daemon has done what it had to do.
    Counts settled() const;
    // Waits for the next instruction, at most test::kPatience.
    void awaitWork() const;

  private:
    const std::string daemon_;
    const std::string plugin_;
    test::TempDir directory_;
    const volatile std::uint64_t* counts_ = nullptr;  // mapped from the file
};

}  // namespace teskd::bench
