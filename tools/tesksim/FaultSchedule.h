// The times at which a machine has faults: start, duration, and optional repetitions after random
// pauses that a seed determines.
//
// Ownership: a plain value. Threads: one user at a time. Errors: nothing throws.

#pragma once

#include <chrono>
#include <optional>
#include <random>
#include <vector>

#include "tesksim/Faults.h"

namespace tesksim {

class FaultSchedule {
  public:
    using Milliseconds = std::chrono::milliseconds;

    struct Entry {
        Faults faults{};
        Milliseconds at{0};                  // first begin, counted from the start
        std::optional<Milliseconds> last{};  // duration; without it the faults stay
        // Bounds of the random time from one end to the next begin; without them no repetition.
        std::optional<Milliseconds> againMin{};
        std::optional<Milliseconds> againMax{};
    };

    FaultSchedule(std::vector<Entry> entries, std::uint32_t seed);

    // The faults at a time; of several active entries the latest takes effect. Times must not
    // decrease.
    Faults at(Milliseconds time);
    // The time of the next change; nothing if there is none.
    std::optional<Milliseconds> nextChange() const;

  private:
    struct State {
        Entry entry;
        Milliseconds begin;
        bool on = false;
    };

    // The time of the entry's next change; nothing when there is none.
    std::optional<Milliseconds> changeOf(const State& state) const;
    void change(State& state);

    std::vector<State> states_;
    std::mt19937 random_;
};

}  // namespace tesksim
