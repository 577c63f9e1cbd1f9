#include "core/BigEndian.h"

#include <stdexcept>

namespace teskd::bigendian {

namespace {

constexpr unsigned BYTE_BITS = 8;

void requireRoom(std::size_t size, std::size_t offset, std::size_t width) {
    if (offset > size || size - offset < width) throw std::out_of_range("integer past the end");
}

std::uint32_t readBytes(std::string_view bytes, std::size_t offset, std::size_t width) {
    requireRoom(bytes.size(), offset, width);
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < width; ++i) {
        value = (value << BYTE_BITS) | static_cast<unsigned char>(bytes[offset + i]);
    }
    return value;
}

}  // namespace

void append16(std::string& bytes, std::uint32_t value) {
    const char both[] = {static_cast<char>(value >> 8), static_cast<char>(value)};
    bytes.append(both, sizeof both);
}

void append32(std::string& bytes, std::uint32_t value) {
    const char all[] = {static_cast<char>(value >> 24), static_cast<char>(value >> 16),
                        static_cast<char>(value >> 8), static_cast<char>(value)};
    bytes.append(all, sizeof all);
}

void put32(char* bytes, std::size_t size, std::size_t offset, std::uint32_t value) {
    requireRoom(size, offset, sizeof value);
    for (std::size_t i = 0; i < sizeof value; ++i) {
        bytes[offset + i] = static_cast<char>(value >> (BYTE_BITS * (sizeof value - 1 - i)));
    }
}

std::uint16_t read16(std::string_view bytes, std::size_t offset) {
    return static_cast<std::uint16_t>(readBytes(bytes, offset, 2));
}

std::uint32_t read32(std::string_view bytes, std::size_t offset) {
    return readBytes(bytes, offset, 4);
}

}  // namespace teskd::bigendian
