// Relocates the daemon's fixed absolute paths.
#pragma once

#include <string>

namespace teskd {

// The path to open: the absolute path, prefixed with the value of the environment variable
// TESKD_ROOT if that is set (and ignored in a privileged exec). Any thread, as long as no thread
// changes the environment.
std::string systemPath(const std::string& absolute);

}  // namespace teskd
