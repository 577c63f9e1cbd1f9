// A flood of one kind, and how many lines the daemon logged because of it.
//
// Ownership: borrows the gateway. Threads: one user at a time. Errors: none of its own.

#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <vector>

#include "gateway/Gateway.h"
#include "support/LogLine.h"

namespace teskd::test {

// How long a flood lasts: a second, or what TESKD_NOISE_SECONDS says.
std::chrono::seconds floodTime();

class Flood {
  public:
    // Sends one portion; called again and again.
    using Portion = std::function<void()>;

    // Forgets what was logged so far and sends until floodTime() is over and so many portions,
    // which may take longer on a busy machine, are sent.
    Flood(Gateway& gateway, const Portion& send, std::size_t atLeast = 0);

    // Portions sent.
    std::size_t portions() const { return portions_; }
    // Whether a line has said how many were left out.
    bool saysLeftOut() const { return gateway_.log().count("more lines were not logged") > 0; }
    // The lines since the flood began. The release of packets is left out, unless it counts: a good
    // request has its line.
    std::size_t lines(bool withReleases) const;
    // Whole seconds since it began, and those in which it began and ended.
    std::size_t seconds() const;
    // How many may be logged by now: eight a second for each connection and eight besides. The
    // second in which the flood began and the one in which it ended need not be whole.
    std::size_t bound(std::size_t connections = 1) const;

    // The lines were fewer than the bound, and more would have come without one: a line says how
    // many were left out.
    void expectBounded(std::size_t connections = 1, bool withReleases = true) const;
    // The same without a word about lines that were left out: there are few anyway.
    void expectFew(std::size_t connections = 1, bool withReleases = true) const;

  private:
    Gateway& gateway_;
    std::chrono::steady_clock::time_point start_;
    std::size_t portions_ = 0;
};

}  // namespace teskd::test
