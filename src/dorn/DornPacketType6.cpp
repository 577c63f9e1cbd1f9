#include "dorn/DornPacketType6.h"

#include <utility>

#include "core/BigEndian.h"
#include "dorn/DornBody.h"

namespace teskd {

namespace {

constexpr std::size_t OFFSET_PAYLOAD = 15;

}  // namespace

DornMachineRequest::Question DornPacketType6::decode(std::string body) const {
    require_size(body, OFFSET_PAYLOAD);
    Question question;
    question.name = dornbody::name_at(body, 0);
    body.erase(0, OFFSET_PAYLOAD);
    question.payload = std::move(body);
    question.raw = true;
    return question;
}

std::vector<std::string> DornPacketType6::encode(const TeskPacket& answer, Progress&) const {
    const std::string whole = answer.to_string();
    std::string body;
    bigendian::append32(body, static_cast<std::uint32_t>(whole.size()));
    return {body + whole};
}

}  // namespace teskd
