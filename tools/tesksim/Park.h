// The running machines of a scenario: their answers and faults change with time.
//
// Ownership: the object owns the machines and the data of their answers.
// Threads: one user at a time; the machines have their own. Errors: as Machine.

#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "tesksim/Console.h"
#include "tesksim/FaultSchedule.h"
#include "tesksim/Scenario.h"

namespace tesksim {

class Park {
  public:
    using Milliseconds = std::chrono::milliseconds;
    // Numbered from 1.
    using Watcher =
        std::function<void(std::size_t machine, Machine::Event, const std::string& text)>;

    Park(const Scenario& scenario, const Watcher& watcher);
    Park(const Park&) = delete;
    Park& operator=(const Park&) = delete;

    void start();
    Console::Machines& machines() { return machines_; }

    // Sets the current faults of every machine. Returns the time until the next change; nothing if
    // there is none. Faults that are set otherwise last until the next change.
    std::optional<Milliseconds> followSchedules();

  private:
    using Clock = std::chrono::steady_clock;

    struct Schedule {
        FaultSchedule faults;
        std::optional<Milliseconds> change{
            Milliseconds(0)};  // when to apply the faults; none: never again
    };

    void add(const MachineScenario& scenario, std::uint32_t seed, const Watcher& watcher);
    Milliseconds elapsed() const;

    const Clock::time_point started_ = Clock::now();
    Console::Machines machines_;
    std::vector<Schedule> schedules_;
};

}  // namespace tesksim
