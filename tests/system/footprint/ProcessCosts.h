// What one running process takes of the machine, from /proc.
//
// Ownership: plain values. Threads: no state.
// Errors: std::runtime_error when the process is gone or may not be looked at.

#pragma once

#include <cstdint>
#include <map>
#include <sys/types.h>

namespace teskd::test {

struct ProcessCosts {
    std::uint64_t residentKilobytes = 0;      // pages in memory, shared ones included
    std::uint64_t proportionalKilobytes = 0;  // each page shared among those who have it
    // How often each thread has waited so far, by its number.
    std::map<pid_t, std::uint64_t> waits{};
};

ProcessCosts costsOf(pid_t pid);
// How often threads were woken between two looks; threads that have gone meanwhile do not count.
std::uint64_t wakeUpsBetween(const ProcessCosts& before, const ProcessCosts& after);

}  // namespace teskd::test
