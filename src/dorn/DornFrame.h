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
// Integers are unsigned and big-endian.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace teskd::dornframe {

constexpr std::size_t HEADER_SIZE = 42;

constexpr std::size_t OFFSET_KIND = 1;
constexpr std::size_t OFFSET_CONSTANT = 2;
constexpr std::size_t OFFSET_TYPE = 3;
constexpr std::size_t OFFSET_LENGTH = 4;
constexpr std::size_t OFFSET_STATION = 8;
constexpr std::size_t STATION_SIZE = 6;
constexpr std::size_t OFFSET_IDENTIFIER_A = 34;
constexpr std::size_t OFFSET_IDENTIFIER_B = 38;

constexpr std::uint8_t START = 0xFF;
constexpr std::uint8_t CONSTANT = 0x02;
constexpr std::uint8_t TYPE_AAMS = 0xFE;

// Largest length field accepted; a larger one means a damaged frame.
constexpr std::uint32_t LARGEST_LENGTH = 16 * 1024 * 1024;

enum class Kind : std::uint8_t {
    regular = 0x81,   // a request, or its answer
    failed = 0xAB,    // the request could not be handled
    unknown = 0xFD,   // none of the addressed machines is known
    timedOut = 0xFE,  // no answer in time
};

// Says that the host has disconnected, within a frame or between two.
// @throws SocketConnectionClosedException
[[noreturn]] void throw_closed();

// The running sum over the bytes, continued from seed.
std::uint8_t checksum(std::string_view bytes, std::uint8_t seed = 0);

}  // namespace teskd::dornframe
