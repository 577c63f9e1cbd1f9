// "dornctl listen": a notification server that prints the notifications.
//
// Ownership: the command lives in the parser. Threads: notifications are printed on the server's
// thread. Errors: std::system_error when the address is not available.

#pragma once

#include <CLI/CLI.hpp>

#include "dornctl/Settings.h"

namespace dornctl {

void declareListen(CLI::App& app, Action& chosen);

}  // namespace dornctl
