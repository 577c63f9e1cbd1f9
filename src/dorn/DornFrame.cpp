#include "dorn/DornFrame.h"

#include <algorithm>

#include "core/BigEndian.h"

namespace teskd::dornframe {

namespace {

constexpr std::size_t OFFSET_KIND = 1;
constexpr std::size_t OFFSET_CONSTANT = 2;
constexpr std::size_t OFFSET_TYPE = 3;
constexpr std::size_t OFFSET_LENGTH = 4;
constexpr std::size_t OFFSET_STATION = 8;
constexpr std::size_t OFFSET_IDENTIFIER_A = 34;
constexpr std::size_t OFFSET_IDENTIFIER_B = 38;

constexpr char START = '\xFF';
constexpr char CONSTANT = '\x02';

void put32(Header& header, std::size_t offset, std::uint32_t value) {
    bigendian::put32(header.data(), header.size(), offset, value);
}

}  // namespace

std::string_view view(const Header& header) {
    return {header.data(), header.size()};
}

Header new_header(std::uint8_t type) {
    Header header{};
    header[0] = START;
    set_kind(header, Kind::REGULAR);
    set_constant(header);
    header[OFFSET_TYPE] = static_cast<char>(type);
    return header;
}

bool begins_frame(std::string_view bytes) {
    return bytes[0] == START && bytes[OFFSET_KIND] == static_cast<char>(Kind::REGULAR);
}

int type_of(const Header& header) {
    return static_cast<unsigned char>(header[OFFSET_TYPE]);
}

std::uint32_t length_of(const Header& header) {
    return bigendian::read32(view(header), OFFSET_LENGTH);
}

std::optional<std::size_t> body_size(const Header& header) {
    const std::uint32_t length = length_of(header);
    if (length == 0 || length > LARGEST_LENGTH) return std::nullopt;
    return length - 1;
}

bool has_station(const Header& header, const Station& address) {
    return std::equal(
        address.begin(), address.end(), header.begin() + OFFSET_STATION,
        [](std::uint8_t wanted, char byte) { return wanted == static_cast<unsigned char>(byte); });
}

Identifiers identifiers_of(std::string_view bytes) {
    return {bigendian::read32(bytes, OFFSET_IDENTIFIER_A),
            bigendian::read32(bytes, OFFSET_IDENTIFIER_B)};
}

void set_kind(Header& header, Kind kind) {
    header[OFFSET_KIND] = static_cast<char>(kind);
}

void set_constant(Header& header) {
    header[OFFSET_CONSTANT] = CONSTANT;
}

void set_station(Header& header, const Station& address) {
    std::copy(address.begin(), address.end(), header.begin() + OFFSET_STATION);
}

void set_identifiers(Header& header, const Identifiers& identifiers) {
    put32(header, OFFSET_IDENTIFIER_A, identifiers.a);
    put32(header, OFFSET_IDENTIFIER_B, identifiers.b);
}

std::string encode(Header header, std::string_view body) {
    put32(header, OFFSET_LENGTH, static_cast<std::uint32_t>(body.size() + 1));
    std::string frame;
    frame.reserve(header.size() + body.size() + 1);
    frame += view(header);
    frame += body;
    frame.push_back(static_cast<char>(checksum(frame)));
    return frame;
}

ProtocolErrorException bad_start() {
    return ProtocolErrorException("Invalid Protocol Type Header");
}

void throw_closed() {
    throw SocketConnectionClosedException("Remote Peer closed the connection.");
}

std::uint8_t checksum(std::string_view bytes, std::uint8_t seed) {
    std::uint8_t sum = seed;
    for (const char byte : bytes) {
        sum = static_cast<std::uint8_t>(sum + static_cast<unsigned char>(byte));
    }
    return sum;
}

}  // namespace teskd::dornframe
