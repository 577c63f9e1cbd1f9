#include "aams/AamsPayload.h"

#include "core/BigEndian.h"
#include "core/Text.h"

namespace teskd::aamspayload {

namespace {

constexpr std::size_t HEAD_TEXT_SIZE = 8;  // "NNN-XXXX"

}  // namespace

Head parse(std::string_view payload) {
    Head head;
    head.prefix = payload.substr(0, OFFSET_TEXT);
    if (payload.size() <= OFFSET_TEXT) return head;
    const std::string_view text = payload.substr(OFFSET_TEXT);
    const text::Number code = text::parseNumber(text, 10);
    head.code_id = code.value;
    const std::size_t behindSeparator = code.consumed + 1;
    if (behindSeparator >= text.size()) return head;
    head.length = text::toInt(text.substr(behindSeparator), 16);
    return head;
}

std::string build(std::int32_t code_id, const std::string& body) {
    const auto n = static_cast<std::uint32_t>(body.size() + HEAD_TEXT_SIZE);
    std::string payload;
    bigendian::append32(payload, n);
    return payload + text::format("%03d-%04X", code_id, n) + body;
}

}  // namespace teskd::aamspayload
