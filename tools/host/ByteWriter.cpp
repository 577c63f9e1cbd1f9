#include "host/ByteWriter.h"

namespace teskhost {

ByteWriter& ByteWriter::byte(unsigned value) {
    data_.push_back(static_cast<char>(value & 0xFFU));
    return *this;
}

ByteWriter& ByteWriter::number16(std::uint16_t value) {
    return byte(value >> 8U).byte(value);
}

ByteWriter& ByteWriter::number32(std::uint32_t value) {
    return number16(static_cast<std::uint16_t>(value >> 16U))
        .number16(static_cast<std::uint16_t>(value & 0xFFFFU));
}

ByteWriter& ByteWriter::bytes(std::string_view data) {
    data_.append(data);
    return *this;
}

ByteWriter& ByteWriter::text(std::string_view value, std::size_t size) {
    const std::size_t end = data_.size() + size;
    data_.append(value.substr(0, size));
    data_.resize(end, '\0');
    return *this;
}

}  // namespace teskhost
