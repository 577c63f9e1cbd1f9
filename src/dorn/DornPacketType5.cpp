#include "dorn/DornPacketType5.h"

#include "core/BigEndian.h"
#include "core/Text.h"
#include "dorn/DornBody.h"

namespace teskd {

namespace {

constexpr std::size_t OFFSET_NAME = 1;
constexpr std::size_t OFFSET_ID = 12;
constexpr std::size_t BODY_SIZE = 13;

constexpr int TEXT_ANSWER_ID = 118;
constexpr std::size_t TEXT_SIZE = 8;

}  // namespace

DornMachineRequest::Question DornPacketType5::decode(std::string body) const {
    require_size(body, BODY_SIZE);
    Question question;
    question.every_machine = body.front() == 0;
    question.name = dornbody::name_at(body, OFFSET_NAME);
    question.id = static_cast<unsigned char>(body[OFFSET_ID]);
    return question;
}

std::vector<std::string> DornPacketType5::encode(const TeskPacket& answer,
                                                 Progress& progress) const {
    std::string body = dornbody::head(answer, progress.date, progress.total, progress.sequence);
    ++progress.sequence;
    const bool is_text = answer.get_id() == TEXT_ANSWER_ID;
    const std::int32_t number = is_text ? 0 : text::toInt(answer.get_body());
    bigendian::append32(body, static_cast<std::uint32_t>(number));
    body += text::zeroFilled(is_text ? answer.get_body() : std::string(), TEXT_SIZE);
    return {body};
}

}  // namespace teskd
