// What a host of the fault tests asks in one go, and what it got for it.
//
// Ownership: a plain value. Threads: one user at a time. Errors: none leave.

#pragma once

#include <map>
#include <string>
#include <vector>

#include "support/Deadline.h"
#include "support/HostClient.h"

namespace teskd::test {

class Round {
  public:
    // Asks types 1, 2, 7 and the engine, and reads until every request is answered, the connection
    // has ended or the deadline has passed.
    void run(HostClient& host, Deadline deadline);

    // What a machine answers to the request of type 2, so that the host gets three frames for it.
    static std::string threePages();

    // The connection could not be made.
    void fail(const std::string& problem) { end_ = problem; }

    // Every request has its regular answer, type 1 from that many machines.
    bool isFull(std::size_t machines) const;
    // Each request has an answer of some kind, or the connection was closed.
    bool isSettled() const;
    std::string describe() const;

  private:
    void ask(HostClient& host);
    void readOne(HostClient& host, Deadline deadline);
    bool isAnswered(std::uint32_t request) const;
    bool areAllAnswered() const;

    std::map<std::uint32_t, std::vector<Frame>> answers_;  // by request
    std::string end_;                                      // how the connection ended; empty: not
    std::string problem_;
};

}  // namespace teskd::test
