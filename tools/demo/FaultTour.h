// The part about faults: answers if a machine does not exist, is silent, or disconnects while it
// answers.
//
// Ownership: borrows the scene and the report. Threads: one user at a time.
// Errors: Surprise for an unexpected answer, and what HostLink throws.

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

    // Requests the counters and prints the answers.
    void ask(const std::string& name, teskhost::Kind expected);

    Scene& scene_;
    Report& report_;
    teskhost::HostLink link_;
};

}  // namespace demo
