// Writes a binary body from front to back. Numbers are big-endian.
//
// Ownership: a plain value. Threads: one user at a time. Errors: nothing throws.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace teskhost {

class ByteWriter {
  public:
    ByteWriter& byte(unsigned value);
    ByteWriter& number16(std::uint16_t value);
    ByteWriter& number32(std::uint32_t value);
    ByteWriter& bytes(std::string_view data);
    // A text field of a fixed size: padded with zero bytes, or truncated.
    ByteWriter& text(std::string_view value, std::size_t size);

    const std::string& data() const { return data_; }

  private:
    std::string data_;
};

}  // namespace teskhost
