#include "host/AamsMessage.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstdio>

#include "host/ByteReader.h"
#include "host/ByteWriter.h"
#include "host/DecodeError.h"
#include "host/Table.h"

namespace teskhost {

namespace {

constexpr std::size_t kHeadSize = 8;  // "NNN-XXXX"
constexpr std::size_t kCodeSize = 3;
constexpr std::size_t kMostQuoted = 32;

std::uint32_t number(std::string_view text, int base) {
    std::uint32_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    if (error != std::errc() || end != text.data() + text.size()) {
        const std::string start = printable(std::string(text.substr(0, kMostQuoted)));
        throw DecodeError("not a number in an AAMS message: \"" + start + '"');
    }
    return value;
}

}  // namespace

std::string AamsMessage::encode() const {
    const std::size_t size = kHeadSize + body_.size();
    char head[32];
    std::snprintf(head, sizeof head, "%03d-%04zX", code_, size);
    return ByteWriter().number32(static_cast<std::uint32_t>(size)).bytes(head).bytes(body_).data();
}

AamsMessage AamsMessage::decode(std::string_view data) {
    ByteReader in(data);
    const std::uint32_t size = in.number32();
    const std::uint32_t code = number(in.bytes(kCodeSize), 10);
    in.byte();
    const std::string_view rest = in.rest();
    const std::size_t digits = std::min(rest.find('-'), rest.size());
    if (number(rest.substr(0, digits), 16) != size) throw DecodeError("two lengths that differ");
    // The length counts its own digits as four, even if there are more.
    const std::string_view body = rest.substr(digits);
    if (body.size() + kHeadSize != size) throw DecodeError("an AAMS message of a wrong length");
    return {static_cast<int>(code), std::string(body)};
}

}  // namespace teskhost
