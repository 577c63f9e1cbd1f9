// The part about the AAMS engine: notifications and their answers, a polling pass in which a
// counter has decreased, and the requests 501 to 507.
//
// Ownership: borrows the scene and the report. Threads: one user at a time.
// Errors: Surprise for an unexpected result, and what HostLink and the decoders throw.

#pragma once

#include <cstddef>
#include <string>

#include "demo/Report.h"
#include "demo/Scene.h"
#include "host/AamsContent.h"
#include "host/HostLink.h"

namespace demo {

class AamsTour {
  public:
    // The machine whose counter decreases.
    static constexpr std::size_t kTurnedBack = 2;

    AamsTour(Scene& scene, Report& report);

    void notifications();
    void pollingPass();
    void requests();

  private:
    void failedCheck();
    void resultOfPass();
    void readings();
    void parameters();
    void clock();

    notifyserver::Notification await(int code);
    void awaitLog(const std::string& part);
    // Sends a request, prints the decoded answer and returns it.
    teskhost::AamsContent ask(int code, const std::string& text, const std::string& about);
    teskhost::AamsContent show(const teskhost::AamsMessage& message);

    Scene& scene_;
    Report& report_;
    teskhost::HostLink link_;
};

}  // namespace demo
