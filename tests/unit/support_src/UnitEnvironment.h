// The environment of every unit test, which keeps the code under test from affecting the machine.
//
// Linking teskd_unit_support installs, before the first test, the log recorder, a date setter that
// only records, and a temporary directory as TESKD_ROOT.

#pragma once

#include <filesystem>
#include <string>

#include "support/TempDir.h"

namespace teskd::test {

// A temporary directory as TESKD_ROOT, with the folders that the daemon writes to.
//
// Ownership: the object owns the directory; the destructor restores the variable.
// Threads: create and destroy it while no other thread reads the environment.
// Errors: the constructor throws std::system_error.
class PrivateRoot {
  public:
    PrivateRoot();
    ~PrivateRoot();
    PrivateRoot(const PrivateRoot&) = delete;
    PrivateRoot& operator=(const PrivateRoot&) = delete;

    // The file that the daemon uses as "/config/x": root / "config/x".
    std::filesystem::path operator/(const std::filesystem::path& name) const {
        return directory_ / name;
    }

  private:
    TempDir directory_;
    const std::string before_;
};

}  // namespace teskd::test
