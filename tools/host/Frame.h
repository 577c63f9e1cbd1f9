// A frame of the host link: 42 bytes of header, a body and a checksum.
//
// Ownership: a plain value. Threads: no state. Errors: decoding throws DecodeError.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace teskhost {

enum class Kind : std::uint8_t {
    Regular = 0x81,         // a request, or its answer
    Failed = 0xAB,          // handling the request failed
    UnknownMachine = 0xFD,  // none of the machines asked is known
    TimedOut = 0xFE,        // a machine did not answer in time
};

struct Frame {
    static constexpr std::size_t kHeaderSize = 42;
    static constexpr std::uint8_t kAamsType = 0xFE;

    Kind kind = Kind::Regular;
    std::uint8_t type = 0;
    std::string station = std::string(6, '\0');
    std::uint32_t identifierA = 0;
    std::uint32_t identifierB = 0;
    std::string body{};

    std::string encode() const;
    // Decodes exactly one frame, including its checksum.
    static Frame decode(std::string_view data);
    // The number of bytes that follow this header.
    static std::size_t sizeBehind(std::string_view header);

    // "0xFE: a machine gave no answer in time"
    std::string kindInWords() const;
};

}  // namespace teskhost
