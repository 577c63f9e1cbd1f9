// A temporary directory.
//
// Ownership: the object owns the directory and its content; the destructor removes both.
// Threads: the path is constant after construction.
// Errors: the constructor throws std::system_error; the destructor ignores failures.

#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace teskd::test {

class TempDir {
  public:
    // Creates the directory below $TMPDIR, or /tmp if that is not set.
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::filesystem::path& name) const {
        return path_ / name;
    }

  private:
    std::filesystem::path path_;
};

// Writes a whole file, and creates its directory. @throws std::runtime_error
void writeFile(const std::filesystem::path& file, std::string_view content);
// Reads a whole file. @throws std::runtime_error if it cannot be opened
std::string readFile(const std::filesystem::path& file);
// Writes an executable shell script; `body` follows the line "#!/bin/sh".
void writeScript(const std::filesystem::path& file, std::string_view body);

}  // namespace teskd::test
