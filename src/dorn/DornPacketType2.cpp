#include "dorn/DornPacketType2.h"

#include "core/BigEndian.h"
#include "core/Text.h"
#include "dorn/DornBody.h"

namespace teskd {

namespace {

constexpr int MESSAGE_ID = 0x73;
constexpr std::size_t FIELD_SIZE = 8;
constexpr std::size_t OFFSET_NAME = 2 * FIELD_SIZE;

// "NNsD...": two digits, a separator, a number of any length.
void append_value(std::string& body, std::string_view value) {
    constexpr std::size_t NUMBER = 3;
    body.push_back(static_cast<char>(text::toInt(value.substr(0, 2))));
    const std::string_view number =
        value.size() > NUMBER ? value.substr(NUMBER) : std::string_view();
    bigendian::append32(body, static_cast<std::uint32_t>(text::toInt(number)));
}

}  // namespace

DornMachineRequest::Question DornPacketType2::decode(std::string body) const {
    require_size(body, OFFSET_NAME);
    Question question;
    question.payload = text::untilZero(body.substr(0, FIELD_SIZE)) + dornbody::ITEM_SEPARATOR +
                       text::untilZero(body.substr(FIELD_SIZE, FIELD_SIZE));
    question.name = dornbody::name_at(body, OFFSET_NAME);
    question.id = MESSAGE_ID;
    question.timeout = LONG_TIMEOUT;
    return question;
}

std::vector<std::string> DornPacketType2::encode(const TeskPacket& answer,
                                                 Progress& progress) const {
    const std::string payload = answer.get_body();
    const dornbody::Pages pages(payload, append_value);
    std::vector<std::string> bodies;
    for (std::size_t page = 0; page < pages.count(); ++page) {
        std::string body = progress.date;
        body.push_back(static_cast<char>(pages.count()));
        body.push_back(static_cast<char>(page + 1));
        body += dornbody::date_field(answer);
        body.push_back(static_cast<char>(dornbody::outcome_number(answer.get_outcome())));
        bodies.push_back(body + pages.entries(page));
    }
    return bodies;
}

}  // namespace teskd
