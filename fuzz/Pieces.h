// Cuts a fuzzer's input into numbers and texts. Whatever is asked for behind the end is zero or
// empty, so every input means something.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace teskd::fuzz {

class Pieces {
  public:
    Pieces(const std::uint8_t* data, std::size_t size)
        : rest_(reinterpret_cast<const char*>(data), size) {}

    bool atEnd() const { return rest_.empty(); }
    std::uint8_t byte() {
        if (rest_.empty()) return 0;
        const auto value = static_cast<std::uint8_t>(rest_.front());
        rest_.remove_prefix(1);
        return value;
    }
    std::uint16_t number() {
        const unsigned high = byte();
        return static_cast<std::uint16_t>(high << 8 | byte());
    }
    // A text behind its length, which takes one byte, or two.
    std::string shortText() { return take(byte()); }
    std::string text() { return take(number()); }
    std::string rest() { return take(rest_.size()); }

  private:
    std::string take(std::size_t size) {
        std::string text(rest_.substr(0, size));
        rest_.remove_prefix(std::min(size, rest_.size()));
        return text;
    }

    std::string_view rest_;
};

}  // namespace teskd::fuzz
