// Lets the daemon's own calls of the system fail now and then: memory, sockets, threads.
//
// Ownership: refers to everything. Threads: run() is a thread's body; it returns when the soak is
// over. In a calm nothing fails. Errors: none leave.

#pragma once

#include <filesystem>

#include "faults/FaultControl.h"
#include "soak/Episode.h"
#include "soak/Random.h"
#include "soak/Shift.h"
#include "soak/Stage.h"
#include "soak/Summary.h"

namespace teskd::soak {

class DaemonTrouble {
  public:
    // Before the daemon starts, whose root this is.
    DaemonTrouble(const std::filesystem::path& root, Excuses& excuses, Stage& stage,
                  Summary& summary, std::uint64_t seed);

    void run();
    bool isIdle() const { return shift_.isIdle(); }
    // Arguments for addr2line that show the latest failure.
    std::string place() const { return faults_.place(); }

  private:
    void once();

    test::FaultControl faults_;
    Excuses& excuses_;
    Stage& stage_;
    Summary& summary_;
    Random random_;
    Shift shift_;
};

}  // namespace teskd::soak
