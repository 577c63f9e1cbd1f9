// Reads a binary body from front to back. Numbers are big-endian.
//
// Ownership: refers to the caller's bytes, which must outlive it. Threads: one user at a time.
// Errors: DecodeError if fewer bytes are left than requested.

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
    // A text field of a fixed size, without its padding of zero bytes.
    std::string text(std::size_t size);
    std::string_view rest() { return bytes(data_.size()); }

    std::size_t left() const { return data_.size(); }
    // @throws DecodeError if bytes are left
    void expectEnd() const;

  private:
    std::string_view data_;
};

}  // namespace teskhost
