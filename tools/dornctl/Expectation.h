// Keeps count of the frames that answer one request, and tells when all have come.
//
// Whom a request addresses decides how many machines answer, and a machine that answers with pages
// sends several frames. The frames' own numbers have 8 bits, so they say how many machines there
// are, but not how many pages: a page that is full is followed by another one, and the first that
// is not is the machine's last.
//
// Ownership: a plain value. Threads: one user at a time.
// Errors: LinkError for frames that cannot belong together, DecodeError for one that is too short.

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/Frame.h"

namespace dornctl {

enum class Scope { OneFrame, OneMachine, EveryMachine };

class Expectation {
  public:
    explicit Expectation(Scope scope) : scope_(scope) {}

    void take(const teskhost::Frame& frame);
    // The machines that were known when every machine was asked.
    void takeMachines(const std::vector<std::string>& names);

    bool met() const;
    // The regular frames so far, and how many there are to be, as far as they tell.
    std::size_t number() const { return regular_; }
    std::size_t total() const { return total_; }
    // What has not come, to be told behind the reason; empty where there is nothing to add.
    std::string missing() const;

  private:
    void takeRegular(const teskhost::Frame& frame);
    // Empty as long as nothing tells.
    std::optional<std::size_t> machinesToAnswer() const;
    std::string missingMachines() const;

    const Scope scope_;
    std::size_t regular_ = 0;
    std::size_t total_ = 0;
    std::size_t answered_ = 0;  // machines with all their pages
    std::size_t failed_ = 0;
    bool unknown_ = false;
    bool betweenPages_ = false;
    std::optional<std::size_t> told_{};  // machines, by the frames
    std::optional<std::vector<std::string>> known_{};
};

}  // namespace dornctl
