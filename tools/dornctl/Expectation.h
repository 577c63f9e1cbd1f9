// Follows the frames that answer one request of one machine, and tells when all have come.
//
// A machine that answers with pages sends several frames. The frames' own numbers have 8 bits, so
// they do not say how many pages there are: a page that is full is followed by another one, and the
// first that is not is the last.
//
// Ownership: a plain value. Threads: one user at a time.
// Errors: LinkError for frames that cannot belong together, DecodeError for one that is too short.

#pragma once

#include <cstddef>
#include <string>

#include "host/Frame.h"

namespace dornctl {

enum class Scope { OneFrame, Pages };

class Expectation {
  public:
    explicit Expectation(Scope scope) : scope_(scope) {}

    void take(const teskhost::Frame& frame);

    bool met() const { return met_; }
    // The regular frames so far, and how many there are to be, as far as they tell.
    std::size_t number() const { return regular_; }
    std::size_t total() const { return total_; }

  private:
    void takePage(const teskhost::Frame& frame);

    const Scope scope_;
    std::size_t regular_ = 0;
    std::size_t total_ = 0;
    bool met_ = false;
};

}  // namespace dornctl
