// The file with the ports of the machines: one line "<number> <port>" each.
//
// Ownership: the caller's file. Threads: no state. Errors: std::runtime_error.

#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace tesksim {

// Replaces the file atomically, so that a reader never sees an incomplete one.
void writePortFile(const std::filesystem::path& file, const std::vector<std::uint16_t>& ports);

}  // namespace tesksim
