// Where the documentation's commands are tried: this machine's files, read-only, and no network.
//
// Ownership: plain values. Threads: no state. Errors: none.

#pragma once

#include <string>
#include <vector>

namespace teskd::test {

// A command in there. When a directory is named, it stays writable.
std::vector<std::string> confined(const std::vector<std::string>& command,
                                  const std::string& writable = "");

}  // namespace teskd::test
