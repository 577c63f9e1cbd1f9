// Tells on standard error which page of an answer has come, on terminals only.
//
// Ownership: a plain value; the destructor clears the line. Threads: one user at a time.
// Errors: nothing throws.

#pragma once

namespace dornctl {

class Progress {
  public:
    Progress();
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void page(unsigned number, unsigned total);

  private:
    const bool shown_;
    bool written_ = false;
};

}  // namespace dornctl
