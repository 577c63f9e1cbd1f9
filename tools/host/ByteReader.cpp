#include "host/ByteReader.h"

#include "host/DecodeError.h"

namespace teskhost {

std::string_view ByteReader::bytes(std::size_t count) {
    if (count > data_.size()) {
        throw DecodeError(std::to_string(count) + " bytes wanted, " + std::to_string(data_.size()) +
                          " left");
    }
    const std::string_view result = data_.substr(0, count);
    data_.remove_prefix(count);
    return result;
}

std::uint8_t ByteReader::byte() {
    return static_cast<std::uint8_t>(bytes(1).front());
}

std::uint16_t ByteReader::number16() {
    const std::uint8_t high = byte();
    return static_cast<std::uint16_t>(high << 8U | byte());
}

std::uint32_t ByteReader::number32() {
    const std::uint32_t high = number16();
    return high << 16U | number16();
}

std::int32_t ByteReader::signed32() {
    return static_cast<std::int32_t>(number32());
}

std::string ByteReader::text(std::size_t size) {
    const std::string_view field = bytes(size);
    return std::string(field.substr(0, field.find('\0')));
}

void ByteReader::expectEnd() const {
    if (!data_.empty()) throw DecodeError(std::to_string(data_.size()) + " bytes too many");
}

}  // namespace teskhost
