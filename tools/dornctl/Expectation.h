// Follows the frames that answer one request to one machine, and knows when all have arrived.
//
// A machine that answers with pages sends several frames. The frames' own numbers have 8 bits, so
// they do not give the number of pages: the first page that is not full is the last.
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
    // The regular frames received, and the expected number, as far as known.
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
