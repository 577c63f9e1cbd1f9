// When a machine has which faults: from a time on, for a while, perhaps again and again at moments
// that a seed decides.
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
        Milliseconds at{0};                      // first begin, counted from the start
        std::optional<Milliseconds> last{};      // without it the faults stay
        std::optional<Milliseconds> againMin{};  // from one end to the next begin: a time between
        std::optional<Milliseconds> againMax{};  // these two
    };

    FaultSchedule(std::vector<Entry> entries, std::uint32_t seed);

    // The faults at a time; of several entries the one that began last counts. Time does not go
    // backwards.
    Faults at(Milliseconds time);
    // When something changes next; nothing when all stays as it is.
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
