// The surroundings of every unit test: nothing that is tested reaches the machine.
//
// Linking teskd_unit_support puts in place, before the first test, the log recorder, a date setter
// that only records, and a temporary directory behind TESKD_ROOT.

#pragma once

#include <filesystem>
#include <string>

#include "support/TempDir.h"

namespace teskd::test {

// A directory of its own behind TESKD_ROOT, with the folders that the daemon writes to.
//
// Ownership: the object owns the directory; the variable gets its old value back.
// Threads: made and destroyed while no other thread reads the environment.
// Errors: the constructor throws std::system_error.
class PrivateRoot {
  public:
    PrivateRoot();
    ~PrivateRoot();
    PrivateRoot(const PrivateRoot&) = delete;
    PrivateRoot& operator=(const PrivateRoot&) = delete;

    // Where "/config/x" really lies: root / "config/x".
    std::filesystem::path operator/(const std::filesystem::path& name) const {
        return directory_ / name;
    }

  private:
    TempDir directory_;
    const std::string before_;
};

}  // namespace teskd::test
