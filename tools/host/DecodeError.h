// Thrown by decoders for invalid bytes.
//
// Ownership: a plain value. Threads: no state. Errors: it is one.

#pragma once

#include <stdexcept>

namespace teskhost {

class DecodeError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace teskhost
