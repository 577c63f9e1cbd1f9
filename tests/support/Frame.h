// Frames of the host link, encoded and decoded independently of the daemon's code.
//
//   offset  size  field
//        0     1  0xFF
//        1     1  kind: 0x81 request and answer, 0xFE timed out, 0xAB failed, 0xFD unknown machine
//        2     1  0x02
//        3     1  type
//        4     4  length: body and checksum, big-endian
//        8     6  station address
//       14    20  reserved
//       34     4  identifier A, big-endian
//       38     4  identifier B, big-endian
//       42     n  body
//     42+n     1  checksum: 8-bit sum of everything before it
//
// Ownership: plain values. Threads: no state. Errors: see parseFrame().

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace teskd::test {

struct Frame {
    static constexpr std::size_t kHeaderSize = 42;

    std::uint8_t start = 0xFF;
    std::uint8_t kind = 0x81;
    std::uint8_t constant = 0x02;
    std::uint8_t type = 0;
    std::string station = std::string(6, '\0');
    std::string reserved = std::string(20, '\0');
    std::uint32_t identifierA = 0;
    std::uint32_t identifierB = 0;
    std::string body{};

    // Set by parseFrame(), not used by encode().
    std::string header{};       // the 42 received bytes
    std::uint32_t length = 0;   // as received
    std::uint8_t checksum = 0;  // as received
    bool checksumOk = false;

    // The frame's bytes, with correct length and checksum.
    std::string encode() const;
};

// 8-bit sum of all bytes.
std::uint8_t checksumOf(std::string_view data);
// Big-endian number at an offset. Throws std::out_of_range.
std::uint16_t big16(std::string_view data, std::size_t offset);
std::uint32_t big32(std::string_view data, std::size_t offset);
std::string big16(std::uint16_t value);
std::string big32(std::uint32_t value);

// Length field of a 42-byte header: the number of bytes that follow it.
std::uint32_t frameLength(std::string_view header);
// Decodes exactly one frame, such as a datagram; no value if the size is wrong.
std::optional<Frame> parseFrame(std::string_view data);

}  // namespace teskd::test
