// The part about hosts: each of the eight request types and its answers.
//
// Ownership: borrows the scene and the report. Threads: one user at a time.
// Errors: Surprise for an unexpected answer, and what HostLink and the decoders throw.

#pragma once

#include <cstddef>
#include <vector>

#include "demo/Report.h"
#include "demo/Scene.h"
#include "host/HostLink.h"

namespace demo {

class HostTour {
  public:
    HostTour(Scene& scene, Report& report);

    void run();

  private:
    void machines();
    void version();
    void counters();
    void listByFields();
    void listByNumbers();
    void times();
    void numbers();
    void text();
    void message();

    // Sends a request and decodes its answers, all of which must be regular.
    template <typename Answer>
    std::vector<Answer> ask(const teskhost::Request& request, std::size_t answers = 1);

    Report& report_;
    teskhost::HostLink link_;
};

}  // namespace demo
