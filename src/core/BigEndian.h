// Reads and writes big-endian integers in byte strings; nothing else in the daemon does.
//
// Bytes are combined arithmetically, never reinterpreted, so the result is the same on every host.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace teskd::bigendian {

// Appends the low 16 or 32 bits of value.
void append16(std::string& bytes, std::uint32_t value);
void append32(std::string& bytes, std::uint32_t value);

// Writes or reads at an offset. @throws std::out_of_range when the bytes end before the integer
void put32(char* bytes, std::size_t size, std::size_t offset, std::uint32_t value);
std::uint16_t read16(std::string_view bytes, std::size_t offset);
std::uint32_t read32(std::string_view bytes, std::size_t offset);

}  // namespace teskd::bigendian
