// Tells on standard error which page of an answer has come, on terminals only.
//
// Ownership: a plain value; the destructor clears the line. Threads: one user at a time.
// Errors: nothing throws.

#pragma once

#include <cstddef>

namespace dornctl {

class Progress {
  public:
    Progress();
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void page(std::size_t number, std::size_t total);

  private:
    const bool shown_;
    bool written_ = false;
};

}  // namespace dornctl
