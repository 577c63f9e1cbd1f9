// The four slot machines of the demonstration and their answers.
//
// Ownership: the object owns the machines. Threads: every operation may be called from any thread.
// Errors: the constructor throws std::system_error.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tesksim/Machine.h"

namespace demo {

class SlotMachines {
  public:
    static constexpr std::size_t kCount = 4;
    // Messages that request the counters, a text and a number.
    static constexpr std::uint8_t kCountersCode = 113;
    static constexpr std::uint8_t kTextCode = 118;
    static constexpr std::uint8_t kNumberCode = 120;
    static constexpr std::size_t kEventCount = 300;

    SlotMachines();

    // By number, from 1.
    tesksim::Machine& machine(std::size_t number) { return machines_.at(number - 1); }
    static std::string name(std::size_t number);
    std::vector<std::uint16_t> ports() const;

    // The first CNTTOTIN of a machine.
    static std::int64_t totalIn(std::size_t number);
    static std::int32_t number(std::size_t number);
    // The machine's further CNTTOTIN are lower than its earlier ones.
    void turnBack(std::size_t number);

    // Whether every machine is polled and its answer acknowledged before the time-out.
    bool awaitPoll();
    // Later calls of awaitPoll() wait for a further poll.
    void forget();

  private:
    std::array<tesksim::Machine, kCount> machines_;
};

}  // namespace demo
