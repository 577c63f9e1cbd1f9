// The machines that a scenario file describes; the manual page has its format.
//
// Ownership: a plain value. Threads: no state.
// Errors: parse() and load() throw ScenarioError, with the place and what was expected there.

#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "tesksim/FaultSchedule.h"
#include "tesksim/Machine.h"
#include "tesksim/Meters.h"

namespace tesksim {

class ScenarioError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct MachineScenario {
    Machine::Options options{};
    std::string date{};    // empty: today
    bool trailer = false;  // after the meters
    std::optional<Meters::Options> meters{};
    std::map<int, std::string> bodies{};    // by code
    std::map<int, std::string> outcomes{};  // by code; "00" otherwise
    std::vector<FaultSchedule::Entry> faults{};
};

struct Scenario {
    std::uint32_t seed = 1;
    std::vector<MachineScenario> machines{};

    static Scenario parse(const std::string& text);
    static Scenario load(const std::string& file);
};

}  // namespace tesksim
