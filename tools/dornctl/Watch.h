// "dornctl watch": the table of machines, repeatedly.
//
// Ownership: the command lives in the parser. Threads: one user at a time.
// Errors: what Dialogue throws for the first request; later failures are reported and retried.

#pragma once

#include <CLI/CLI.hpp>

#include "dornctl/Settings.h"

namespace dornctl {

void declareWatch(CLI::App& app, Action& chosen);

}  // namespace dornctl
