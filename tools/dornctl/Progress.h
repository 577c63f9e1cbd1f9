// Shows the progress of the answers on standard error: on a terminal in one line that is updated,
// or as lines of JSON. Without a terminal only on request.
//
// Ownership: a plain value; the destructor clears the line. Threads: one user at a time.
// Errors: nothing throws.

#pragma once

#include <cstddef>
#include <string>

#include "dornctl/Settings.h"

namespace dornctl {

class Progress {
  public:
    explicit Progress(const Settings& settings);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void page(const std::string& machine, std::size_t number, std::size_t total);
    // The number of machines that have answered or failed.
    void machines(std::size_t number, std::size_t total);

  private:
    void line(const std::string& text);

    const bool json_;
    const bool onTerminal_;
    const bool shown_;
    bool written_ = false;
};

}  // namespace dornctl
