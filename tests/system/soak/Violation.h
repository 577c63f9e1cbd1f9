// What a soak throws when the daemon did what it must not.

#pragma once

#include <stdexcept>

namespace teskd::soak {

class Violation : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

}  // namespace teskd::soak
