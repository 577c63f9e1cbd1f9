// "dornctl watch": the machines' table, again and again.
//
// Ownership: the command lives in the parser. Threads: one user at a time.
// Errors: what Dialogue throws for the first question; later ones are told and tried again.

#pragma once

#include <CLI/CLI.hpp>

#include "dornctl/Settings.h"

namespace dornctl {

void declareWatch(CLI::App& app, Action& chosen);

}  // namespace dornctl
