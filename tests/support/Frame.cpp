#include "support/Frame.h"

#include <stdexcept>

namespace teskd::test {

namespace {

std::uint8_t at(std::string_view data, std::size_t offset) {
    if (offset >= data.size()) throw std::out_of_range("no byte " + std::to_string(offset));
    return static_cast<std::uint8_t>(data[offset]);
}

char asChar(std::uint32_t value) {
    return static_cast<char>(value & 0xFFU);
}

}  // namespace

std::uint8_t checksumOf(std::string_view data) {
    unsigned sum = 0;
    for (const char c : data) sum += static_cast<unsigned char>(c);
    return static_cast<std::uint8_t>(sum & 0xFFU);
}

std::uint16_t big16(std::string_view data, std::size_t offset) {
    return static_cast<std::uint16_t>(at(data, offset) << 8 | at(data, offset + 1));
}

std::uint32_t big32(std::string_view data, std::size_t offset) {
    return static_cast<std::uint32_t>(big16(data, offset)) << 16 | big16(data, offset + 2);
}

std::string big16(std::uint16_t value) {
    return {asChar(value >> 8U), asChar(value)};
}

std::string big32(std::uint32_t value) {
    return {asChar(value >> 24), asChar(value >> 16), asChar(value >> 8), asChar(value)};
}

std::string Frame::encode() const {
    std::string data{asChar(start), asChar(kind), asChar(constant), asChar(type)};
    data += big32(static_cast<std::uint32_t>(body.size()) + 1);
    data += station + reserved + big32(identifierA) + big32(identifierB);
    data += body;
    return data + asChar(checksumOf(data));
}

std::uint32_t frameLength(std::string_view header) {
    return big32(header, 4);
}

std::optional<Frame> parseFrame(std::string_view data) {
    if (data.size() <= Frame::kHeaderSize) return std::nullopt;
    Frame frame;
    frame.header = data.substr(0, Frame::kHeaderSize);
    frame.length = frameLength(data);
    if (data.size() - Frame::kHeaderSize != frame.length) return std::nullopt;
    frame.start = at(data, 0);
    frame.kind = at(data, 1);
    frame.constant = at(data, 2);
    frame.type = at(data, 3);
    frame.station = data.substr(8, 6);
    frame.reserved = data.substr(14, 20);
    frame.identifierA = big32(data, 34);
    frame.identifierB = big32(data, 38);
    frame.body = data.substr(Frame::kHeaderSize, frame.length - 1);
    frame.checksum = at(data, data.size() - 1);
    frame.checksumOk = frame.checksum == checksumOf(data.substr(0, data.size() - 1));
    return frame;
}

}  // namespace teskd::test
