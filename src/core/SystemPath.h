// Where the daemon's fixed absolute paths lie.
#pragma once

#include <string>

namespace teskd {

// The path as it is to be opened: the absolute path, behind the value of the environment variable
// TESKD_ROOT when that is set (and ignored in a privileged exec). Callers: any thread, as long as
// nobody changes the environment.
std::string systemPath(const std::string& absolute);

}  // namespace teskd
