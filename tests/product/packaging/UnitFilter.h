// The filter that the service manager makes of a unit's SystemCallFilter=, RestrictAddressFamilies=
// and MemoryDenyWriteExecute=, for a process of this machine's architecture.
//
// Ownership: the object owns the file. Threads: one user at a time.
// Errors: std::runtime_error for a filter that cannot be made.

#pragma once

#include <filesystem>
#include <set>
#include <string>

#include "support/UniqueFd.h"

namespace teskd::test {

class UnitFilter {
  public:
    explicit UnitFilter(const std::filesystem::path& unit);

    // A file with the filter, at its start.
    int file() const { return file_.get(); }

  private:
    UniqueFd file_;
};

}  // namespace teskd::test
