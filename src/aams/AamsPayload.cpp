#include "aams/AamsPayload.h"

#include "core/BigEndian.h"
#include "core/Text.h"

namespace teskd::aamspayload {

namespace {

constexpr std::size_t HEAD_TEXT_SIZE = 8;  // "NNN-XXXX"

}  // namespace

std::int32_t code_id(std::string_view payload) {
    return payload.size() <= OFFSET_TEXT ? 0 : text::toInt(payload.substr(OFFSET_TEXT));
}

std::string build(std::int32_t code_id, const std::string& body) {
    const auto n = static_cast<std::uint32_t>(body.size() + HEAD_TEXT_SIZE);
    std::string payload;
    bigendian::append32(payload, n);
    return payload + text::format("%03d-%04X", code_id, n) + body;
}

}  // namespace teskd::aamspayload
