// "dornctl metrics": the gateway's state in the Prometheus text format.
//
// Ownership: the command lives in the parser. Threads: one user at a time.
// Errors: what Dialogue throws, after the remaining metrics are written; std::runtime_error for a
// file that cannot be read or written.

#pragma once

#include <CLI/CLI.hpp>

#include "dornctl/Settings.h"

namespace dornctl {

void declareMetrics(CLI::App& app, Action& chosen);

}  // namespace dornctl
