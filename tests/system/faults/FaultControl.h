// The test's side of the fault page: orders a failure and tells what became of it.
//
// Ownership: maps the page for as long as it lives. Threads: one user at a time; the daemon is
// another process. Errors: the constructor throws std::system_error.

#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

#include "faults/FaultPage.h"

namespace teskd::test {

class FaultControl {
  public:
    // Makes the page of a daemon with this root; before that daemon starts.
    explicit FaultControl(const std::filesystem::path& root);
    ~FaultControl();
    FaultControl(const FaultControl&) = delete;
    FaultControl& operator=(const FaultControl&) = delete;

    // From now on the first-th call fails with the error, and count - 1 after it. 0 only counts.
    void order(Call call, int error, std::uint64_t first, std::uint64_t count = 1);
    void cancel();

    std::uint64_t calls() const { return page_->calls; }
    bool hasFailed() const { return page_->failed > 0; }
    // Arguments for addr2line that show the place of the latest failure.
    std::string place() const;

  private:
    FaultPage* page_;
};

}  // namespace teskd::test
