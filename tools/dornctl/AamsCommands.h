// The subcommands for the AAMS requests 501 to 507.
//
// Ownership: the commands live in the parser. Threads: one user at a time.
// Errors: what Dialogue and the decoders throw, once the chosen action runs.

#pragma once

#include <CLI/CLI.hpp>

#include "dornctl/Settings.h"

namespace dornctl {

// `chosen` is set to the action of the parsed subcommand; it must outlive the parser.
void declareAamsCommands(CLI::App& app, Action& chosen);

}  // namespace dornctl
