// The figures of a run as a table and as JSON.
//
// Ownership: holds the JSON alone. Threads: one user at a time. Errors: writeJson throws
// std::runtime_error when it cannot write the file.

#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "bench/Measurement.h"
#include "bench/Setup.h"

namespace teskd::bench {

class Report {
  public:
    Report(const Setup& setup, const Measurement& measurement);

    std::string table() const;
    // "-" stands for standard output, an empty name for nowhere.
    void writeJson(const std::string& file) const;

  private:
    nlohmann::ordered_json json_;
};

}  // namespace teskd::bench
