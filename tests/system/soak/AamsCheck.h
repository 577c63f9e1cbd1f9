// Checks the daemon's answers to AAMS requests.
//
// Ownership: refers to the park. Threads: as many as like. Errors: Violation from check().

#pragma once

#include <string>
#include <string_view>

#include "soak/Park.h"
#include "soak/Request.h"

namespace teskd::soak {

class AamsCheck {
  public:
    explicit AamsCheck(const Park& park) : park_(park) {}

    // A regular frame that answers the request. @throws Violation
    void check(const Request& request, const test::Frame& answer) const;

  private:
    void checkFields(const Request& request, std::string_view text) const;
    void checkReadings(const Request& request, std::string_view text) const;

    const Park& park_;
};

}  // namespace teskd::soak
