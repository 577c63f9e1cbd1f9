// What one measurement is made of.
//
// Ownership: a plain value. Threads: no state. Errors: nothing throws.

#pragma once

#include <cstddef>
#include <string>

namespace teskd::bench {

struct Setup {
    std::string daemon;         // the program
    std::string relay;          // the reference's program
    std::size_t hosts = 1;      // that ask; host n asks machine n modulo machines
    std::size_t idleHosts = 0;  // that are connected and say nothing, to a second daemon
    std::size_t machines = 1;
    int type = 1;                        // of the requests
    std::size_t answerSize = 0;          // least bytes of a machine's answer body
    std::size_t answerAfter = 0;         // microseconds that a machine takes to answer
    double seconds = 5;                  // for each road, all rounds together
    std::size_t rounds = 10;             // in each of them every road gets its share
    std::size_t countedRequests = 1000;  // for the count of system calls, 0: none
    bool serial = false;                 // a real serial-port server stands before the machines
    bool readsLog = false;               // somebody reads what the daemon logs

    // Whether the daemon answers without asking a machine.
    bool isImmediate() const { return type == 7 || type == 8; }
};

}  // namespace teskd::bench
