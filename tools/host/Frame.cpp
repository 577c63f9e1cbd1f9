#include "host/Frame.h"

#include "host/ByteReader.h"
#include "host/ByteWriter.h"
#include "host/DecodeError.h"

namespace teskhost {

namespace {

constexpr std::uint8_t kStart = 0xFF;
constexpr std::uint8_t kConstant = 0x02;
constexpr std::size_t kStationSize = 6;
constexpr std::size_t kReservedSize = 20;
constexpr std::size_t kLengthOffset = 4;
constexpr std::size_t kLongest = 16U * 1024U * 1024U;

std::uint8_t checksumOf(std::string_view data) {
    unsigned sum = 0;
    for (const char c : data) sum += static_cast<unsigned char>(c);
    return static_cast<std::uint8_t>(sum & 0xFFU);
}

}  // namespace

std::string Frame::encode() const {
    ByteWriter out;
    out.byte(kStart).byte(static_cast<std::uint8_t>(kind)).byte(kConstant).byte(type);
    out.number32(static_cast<std::uint32_t>(body.size() + 1));
    out.text(station, kStationSize).text("", kReservedSize);
    out.number32(identifierA).number32(identifierB).bytes(body);
    return ByteWriter(out).byte(checksumOf(out.data())).data();
}

std::size_t Frame::sizeBehind(std::string_view header) {
    ByteReader in(header.substr(0, kHeaderSize));
    if (in.byte() != kStart) throw DecodeError("this is no frame: it does not start with 0xFF");
    in.bytes(kLengthOffset - 1);
    const std::size_t size = in.number32();
    if (size == 0 || size > kLongest) {
        throw DecodeError("a frame cannot have a length of " + std::to_string(size));
    }
    return size;
}

Frame Frame::decode(std::string_view data) {
    const std::size_t behind = sizeBehind(data);
    if (data.size() != kHeaderSize + behind) throw DecodeError("the frame's length is wrong");
    ByteReader in(data);
    in.byte();
    Frame frame;
    frame.kind = static_cast<Kind>(in.byte());
    in.byte();
    frame.type = in.byte();
    in.number32();
    frame.station = std::string(in.bytes(kStationSize));
    in.bytes(kReservedSize);
    frame.identifierA = in.number32();
    frame.identifierB = in.number32();
    frame.body = std::string(in.bytes(behind - 1));
    if (in.byte() != checksumOf(data.substr(0, data.size() - 1))) {
        throw DecodeError("the frame's checksum is wrong");
    }
    return frame;
}

std::string Frame::kindInWords() const {
    switch (kind) {
        case Kind::Regular:
            return "0x81: a regular answer";
        case Kind::Failed:
            return "0xAB: the request failed";
        case Kind::UnknownMachine:
            return "0xFD: none of the machines asked is known";
        case Kind::TimedOut:
            return "0xFE: a machine gave no answer in time";
    }
    return "a kind that does not exist";
}

}  // namespace teskhost
