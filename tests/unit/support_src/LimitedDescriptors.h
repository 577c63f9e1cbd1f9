// How many descriptors the process may open, changed for the life of an object.

#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>
#include <vector>

#include "support/UniqueFd.h"

namespace teskd::test {

// The number that the next descriptor gets.
inline int nextDescriptor() {
    return UniqueFd(::open("/dev/null", O_RDONLY | O_CLOEXEC)).get();
}

class LimitedDescriptors {
  public:
    explicit LimitedDescriptors(rlim_t limit) {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit changed{limit, before_.rlim_max};
        granted_ = ::setrlimit(RLIMIT_NOFILE, &changed) == 0;
    }
    ~LimitedDescriptors() { ::setrlimit(RLIMIT_NOFILE, &before_); }
    LimitedDescriptors(const LimitedDescriptors&) = delete;
    LimitedDescriptors& operator=(const LimitedDescriptors&) = delete;

    bool granted() const { return granted_; }

  private:
    rlimit before_{};
    bool granted_ = false;
};

// Every descriptor below 1024 is taken while the object lives.
class HighDescriptors {
  public:
    HighDescriptors() : limit_(2048) {
        while (limit_.granted() && (taken_.empty() || taken_.back().get() < 1023)) {
            taken_.emplace_back(::open("/dev/null", O_RDONLY | O_CLOEXEC));
            if (!taken_.back().valid()) break;
        }
    }
    // False when the machine does not allow that many.
    bool granted() const { return !taken_.empty() && taken_.back().get() >= 1023; }

  private:
    LimitedDescriptors limit_;
    std::vector<UniqueFd> taken_;
};

}  // namespace teskd::test
