// The line numbers of a scenario's members, for error messages.
//
// Ownership: a plain value. Threads: no state. Errors: the constructor throws ScenarioError for a
// text that is no JSON, and for a duplicate member.

#pragma once

#include <cstddef>
#include <map>
#include <string>

namespace tesksim {

class ScenarioLines {
  public:
    explicit ScenarioLines(const std::string& text);

    // The line of the place at the start of an error message, such as "machines[0].port: ..."; the
    // first line for an unknown place.
    std::size_t lineOf(const std::string& problem) const;

  private:
    std::map<std::string, std::size_t> lines_;  // by place
};

}  // namespace tesksim
