// Thrown by a link if the daemon cannot be reached or does not answer.
//
// Ownership: a plain value. Threads: no state. Errors: it is one.

#pragma once

#include <stdexcept>

namespace teskhost {

class LinkError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace teskhost
