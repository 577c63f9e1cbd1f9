// The lines that a scenario's members stand in, so that a mistake can be found in its file.
//
// Ownership: a plain value. Threads: no state. Errors: the constructor throws ScenarioError for a
// text that is no JSON, and for a member that is there twice.

#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace tesksim {

class ScenarioLines {
  public:
    explicit ScenarioLines(const std::string& text);

    // The line of the place that a problem's text begins with, such as "machines[0].port: ..."; the
    // first line for a place that is not there.
    std::size_t lineOf(const std::string& problem) const;

  private:
    std::map<std::string, std::size_t> lines_;  // by places
};

}  // namespace tesksim
