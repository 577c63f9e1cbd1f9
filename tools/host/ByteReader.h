// Takes a binary body apart from front to back. Numbers are big-endian.
//
// Ownership: refers to bytes of the caller's, which must outlive it. Threads: one user at a time.
// Errors: DecodeError when fewer bytes are left than asked for.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace teskhost {

class ByteReader {
  public:
    explicit ByteReader(std::string_view data) : data_(data) {}

    std::uint8_t byte();
    std::uint16_t number16();
    std::uint32_t number32();
    std::int32_t signed32();
    std::string_view bytes(std::size_t count);
    // A text field of a fixed size, without the zero bytes that fill it.
    std::string text(std::size_t size);
    std::string_view rest() { return bytes(data_.size()); }

    std::size_t left() const { return data_.size(); }
    // Throws when something is left.
    void expectEnd() const;

  private:
    std::string_view data_;
};

}  // namespace teskhost
