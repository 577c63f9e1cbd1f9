// The figures of one run.
//
// Ownership: plain values. Threads: of() uses many, and gives their result to its caller.
// Errors: of() throws what the parts of the scene throw.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "bench/Road.h"
#include "bench/Setup.h"
#include "bench/SystemCalls.h"

namespace teskd::bench {

struct Measurement {
    // What was seen of one road.
    struct Figures {
        std::string name;
        std::vector<Sample> rounds;
        std::size_t residentKilobytes = 0;
        std::size_t countedRequests = 0;
        SystemCalls::Counts systemCalls{};

        Sample whole() const;
    };

    std::vector<Figures> roads;  // the daemon's, then the reference's, then that with idle hosts
    double load = 0;             // of the machine, before

    // Starts everything, has the hosts ask on one road after the other, round by round, so that
    // what else goes on on the machine meets them all alike.
    static Measurement of(const Setup& setup);
};

}  // namespace teskd::bench
