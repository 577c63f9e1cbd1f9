// The binary frame of the host link.
//
//     offset  size  field
//          0     1  start             0xFF
//          1     1  kind              0x81 request and answer, or why there is no answer (Kind)
//          2     1  constant          0x02
//          3     1  packet type       1 to 8, or 0xFE for AAMS
//          4     4  length            bytes behind the header: body and checksum
//          8     6  station address   the configured hardware address
//         14    20  reserved          zero; an answer repeats those of its request
//         34     4  identifier A      of the request
//         38     4  identifier B      of the request
//         42     n  body
//     42 + n     1  checksum          sum of all bytes before it, modulo 256
//
// Integers are unsigned and big-endian. All functions are pure.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/Exception.h"

namespace teskd::dornframe {

constexpr std::size_t HEADER_SIZE = 42;
constexpr std::size_t START_SIZE = 2;
constexpr std::size_t STATION_SIZE = 6;

// In wire layout.
using Header = std::array<char, HEADER_SIZE>;
using Station = std::array<std::uint8_t, STATION_SIZE>;

struct Identifiers {
    std::uint32_t a;
    std::uint32_t b;
    bool operator==(const Identifiers&) const = default;
};

constexpr std::uint8_t TYPE_AAMS = 0xFE;

// Largest length field accepted; a larger one means a damaged frame.
constexpr std::uint32_t LARGEST_LENGTH = 16 * 1024 * 1024;

enum class Kind : std::uint8_t {
    REGULAR = 0x81,    // a request, or its answer
    FAILED = 0xAB,     // the request could not be handled
    UNKNOWN = 0xFD,    // none of the addressed machines is known
    TIMED_OUT = 0xFE,  // no answer in time
};

// The header of a request of that type; length, station address and identifiers are zero.
Header new_header(std::uint8_t type);

std::string_view view(const Header& header);

// Whether a frame from a host may begin so. There are START_SIZE bytes at least.
bool begins_frame(std::string_view bytes);
int type_of(const Header& header);
std::uint32_t length_of(const Header& header);
// Nothing for a length that no frame has.
std::optional<std::size_t> body_size(const Header& header);
bool has_station(const Header& header, const Station& address);
// Of bytes that begin with a header. @throws std::out_of_range for fewer
Identifiers identifiers_of(std::string_view bytes);

void set_kind(Header& header, Kind kind);
void set_constant(Header& header);
void set_station(Header& header, const Station& address);
void set_identifiers(Header& header, const Identifiers& identifiers);

// The whole frame, with the length field and the checksum that it needs.
std::string encode(Header header, std::string_view body);

// What is wrong with bytes that begin no frame.
ProtocolErrorException bad_start();

// Says that the host has disconnected, within a frame or between two.
// @throws SocketConnectionClosedException
[[noreturn]] void throw_closed();

// The running sum over the bytes, continued from seed.
std::uint8_t checksum(std::string_view bytes, std::uint8_t seed = 0);

}  // namespace teskd::dornframe
