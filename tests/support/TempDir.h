// A directory that lives as long as its object.
//
// Ownership: the object owns the directory and everything in it, and removes both.
// Threads: the path is constant after construction.
// Errors: the constructor throws std::system_error; the destructor ignores failures.

#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace teskd::test {

class TempDir {
  public:
    // Creates the directory under $TMPDIR, or /tmp when that is not set.
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

// Writes a whole file, making its directory first. Throws std::runtime_error.
void writeFile(const std::filesystem::path& file, std::string_view content);
// Reads a whole file. Throws std::runtime_error when it cannot be opened.
std::string readFile(const std::filesystem::path& file);
// Writes a shell script and makes it executable; `body` comes after the "#!/bin/sh" line.
void writeScript(const std::filesystem::path& file, std::string_view body);

}  // namespace teskd::test
