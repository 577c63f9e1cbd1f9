// A failure, and how it is reported on standard error: a line of text, or a line of JSON.
//
// Ownership: plain values. Threads: any. Errors: nothing throws.

#pragma once

#include <string>

#include "dornctl/ExitStatus.h"
#include "dornctl/Settings.h"

namespace dornctl {

struct Problem {
    ExitStatus status = ExitStatus::Failure;
    std::string machine{};  // the machine concerned; empty if none is
    std::string text{};
};

void tell(const Problem& problem, const Settings& settings);

}  // namespace dornctl
