// Counts the system calls of a running process, with strace.
//
// Ownership: the object owns the strace that it starts, and its file. Threads: one user at a time;
// create it on a thread that outlives it. Errors: std::runtime_error when strace cannot do it.

#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <sys/types.h>

#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace teskd::bench {

class SystemCalls {
  public:
    using Counts = std::map<std::string, std::uint64_t>;  // by name

    static bool available();

    // Returns when every thread of the process is followed.
    explicit SystemCalls(pid_t pid);

    // Those since the start; lets the process go.
    Counts finish();

  private:
    test::TempDir directory_;
    std::unique_ptr<test::ChildProcess> strace_;
};

}  // namespace teskd::bench
