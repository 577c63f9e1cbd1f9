// The options common to all subcommands, and the action of a parsed subcommand.
//
// Ownership: plain values. Threads: no state. Errors: none.

#pragma once

#include <chrono>
#include <functional>
#include <optional>

#include "dornctl/ExitStatus.h"
#include "host/Endpoint.h"

namespace dornctl {

using Milliseconds = std::chrono::milliseconds;

struct Settings {
    // The daemon's default.
    static constexpr std::uint16_t kPort = 5001;
    // Slightly longer than the daemon's own time-outs for a machine: for one value, and for a list.
    static constexpr Milliseconds kShort{15000};
    static constexpr Milliseconds kLong{305000};

    teskhost::Endpoint host{"127.0.0.1", kPort};
    std::optional<Milliseconds> timeout{};
    bool json = false;
    bool progress = false;  // also without a terminal
};

using Action = std::function<ExitStatus(const Settings&)>;

}  // namespace dornctl
