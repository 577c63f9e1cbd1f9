// Simulated slot machines and the controller that reaches them.
//
// Ownership: the object owns the machines and the controller; it shuts the controller down before
// it destroys the machines. Threads: one user at a time; the machines and the masters have threads
// of their own. Errors: makeKnown fails the test.

#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "support_src/KeptConfig.h"
#include "support_src/RecordingListener.h"
#include "tesk/TeskController.h"
#include "tesksim/Machine.h"

namespace teskd::test {

class MachinePark {
  public:
    // Starts machines 1 to n, named ZA000000001 and so on. They are not yet known.
    explicit MachinePark(std::size_t machines);
    ~MachinePark() noexcept;
    MachinePark(const MachinePark&) = delete;
    MachinePark& operator=(const MachinePark&) = delete;

    tesksim::Machine& machine(std::size_t n) { return *machines_.at(n - 1); }
    TeskController& controller() { return *controller_; }

    // Lets the machine answer a first request, which its journal then forgets. At most once for
    // each machine, and not after its connection has ended.
    void makeKnown(std::size_t n);
    void makeAllKnown();
    // Shuts the controller down and waits until the masters have ended.
    void shutDown() { controller_->shut_down(); }

    static std::string nameOf(std::size_t n) { return "ZA00000000" + std::to_string(n); }

  private:
    KeptConfig config_;
    std::vector<std::unique_ptr<tesksim::Machine>> machines_;
    RecordingListener introductions_;
    std::unique_ptr<TeskController> controller_;
};

}  // namespace teskd::test
