// The commands that switch the faults of running machines: one line each, with the number of the
// machine (from 1) after the verb.
//
// Ownership: borrows the machines, which must outlive it.
// Threads: one user at a time.
// Errors: a line that is not understood is answered with the reason.

#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tesksim/Machine.h"

namespace tesksim {

class Console {
  public:
    using Machines = std::vector<std::unique_ptr<Machine>>;

    explicit Console(Machines& machines) : machines_(machines) {}

    // The prefix of every error message.
    static constexpr const char* kError = "error: ";

    // Executes one line and returns the reply to the user, without a line end.
    std::string execute(const std::string& line);
    // Whether "quit" was given.
    bool done() const { return done_; }

    static std::string help();

  private:
    std::string command(const std::string& verb, Machine& machine, const std::string& argument);
    Machine& machineNumber(const std::string& text);

    Machines& machines_;
    bool done_ = false;
};

}  // namespace tesksim
