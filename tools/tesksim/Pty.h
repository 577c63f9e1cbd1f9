// A pseudo-terminal: a program opens its slave device, under a given name, like a serial device.
//
// Ownership: the object owns master, slave and the link with the name. Threads: one user at a time.
// Errors: the constructor throws std::system_error.

#pragma once

#include <string>

#include "common/UniqueFd.h"

namespace tesksim {

class Pty {
  public:
    // Creates the symbolic link `link` to the slave device; an existing link is replaced, any other
    // file is an error. If it is empty, no link is created.
    explicit Pty(std::string link);
    ~Pty();
    Pty(const Pty&) = delete;
    Pty& operator=(const Pty&) = delete;

    // The name of the slave device: the link, or the system's name.
    const std::string& name() const { return name_; }
    // A new descriptor of the master, which the caller owns.
    tools::UniqueFd open() const;

  private:
    void makeLink();

    const std::string link_;
    tools::UniqueFd master_;
    tools::UniqueFd slave_;  // kept open: reading the master fails while no slave is open
    std::string name_;
};

}  // namespace tesksim
