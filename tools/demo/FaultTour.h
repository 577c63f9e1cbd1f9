// What a host is told when a machine does not exist, keeps silent, or hangs up in mid-answer.
//
// Ownership: borrows the scene and the report. Threads: one user at a time.
// Errors: Surprise when an answer is not as expected, and what HostLink throws.

#pragma once

#include <cstddef>
#include <string>

#include "demo/Report.h"
#include "demo/Scene.h"
#include "host/HostLink.h"

namespace demo {

class FaultTour {
  public:
    FaultTour(Scene& scene, Report& report);

    void run();

  private:
    void unknownMachine();
    void silentMachine();
    void machineThatHangsUp();
    void recovery();

    // Asks for the counters and shows what comes.
    void ask(const std::string& name, teskhost::Kind expected);

    Scene& scene_;
    Report& report_;
    teskhost::HostLink link_;
};

}  // namespace demo
