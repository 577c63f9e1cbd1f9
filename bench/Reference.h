// The program that passes the same bytes over the same kind of sockets and does nothing else: what
// the daemon is compared with.
//
// Ownership: the object owns the program and its machines. Threads: one user at a time; create it
// on a thread that outlives it. Errors: std::runtime_error when the program does not come up; those
// of Lines.

#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "bench/Gateway.h"
#include "bench/Lines.h"
#include "bench/Road.h"
#include "bench/Setup.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"

namespace teskd::bench {

class Reference {
  public:
    Reference(const Setup& setup, const Conversation& talk);

    // "relay", or "echo" where no machine is asked.
    Road::Description road() const;

  private:
    const Setup setup_;
    const Conversation talk_;
    Lines lines_;
    test::TempDir directory_;
    std::unique_ptr<test::ChildProcess> program_;
    std::uint16_t port_ = 0;
};

}  // namespace teskd::bench
