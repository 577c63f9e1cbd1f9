// The file in which the program says where its machines listen: one line "<number> <port>" each.
//
// Ownership: the caller's file. Threads: no state. Errors: std::runtime_error.

#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace tesksim {

// Puts a complete file in place at once, so that a reader never sees half of it.
void writePortFile(const std::filesystem::path& file, const std::vector<std::uint16_t>& ports);

}  // namespace tesksim
