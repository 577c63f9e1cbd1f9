// A pseudo-terminal whose far end a program opens like a serial device, under a name of our choice.
//
// Ownership: the object owns both ends and the link with the name. Threads: one user at a time.
// Errors: the constructor throws std::system_error.

#pragma once

#include <string>

#include "common/UniqueFd.h"

namespace tesksim {

class Pty {
  public:
    // `link` becomes a symbolic link to the far end; a link that is there already is replaced, any
    // other file is an error. Without it the far end has only the system's name.
    explicit Pty(std::string link);
    ~Pty();
    Pty(const Pty&) = delete;
    Pty& operator=(const Pty&) = delete;

    // The name of the far end.
    const std::string& name() const { return name_; }
    // A descriptor of the near end, the caller's own.
    tools::UniqueFd open() const;

  private:
    void makeLink();

    const std::string link_;
    tools::UniqueFd near_;
    tools::UniqueFd
        far_;  // kept open, so that the near end does not fail while nobody else has it open
    std::string name_;
};

}  // namespace tesksim
