// The simulator's command line, converted to a scenario.
//
// Ownership: a plain value. Threads: no state.
// Errors: CLI::ParseError from declare()'s parser, ScenarioError from scenario().

#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tesksim/Scenario.h"

namespace tesksim {

struct CommandLine {
    std::size_t machines = 4;
    std::string codeIdPrefix = "ZA";
    std::string portFile{};
    std::vector<std::uint16_t> ports{};
    std::vector<std::string> ttys{};
    std::string line = "19200 8N1";
    std::vector<std::string> commands{};
    std::vector<std::size_t> silent{};
    std::string scenarioFile{};
    std::optional<std::uint32_t> seed{};
    bool live = false;

    void declare(CLI::App& app);
    // The scenario of the file, or one whose machines always give the same answers.
    Scenario scenario() const;
};

}  // namespace tesksim
