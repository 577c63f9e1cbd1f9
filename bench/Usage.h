// What a process has used so far, as the kernel counts it.
//
// Ownership: plain values. Threads: no state. Errors: a process that is gone has used nothing.

#pragma once

#include <cstdint>
#include <sys/types.h>

namespace teskd::bench {

struct Usage {
    std::uint64_t nanoseconds = 0;  // on a processor, all threads together
    std::uint64_t switches = 0;     // to another thread, wanted or not

    // Of all threads that the process has now.
    static Usage of(pid_t pid);

    Usage& operator+=(const Usage& other);
    friend Usage operator-(const Usage& after, const Usage& before);
};

}  // namespace teskd::bench
