#include "dorn/DornPacketType4.h"

#include "core/Text.h"
#include "dorn/DornBody.h"

namespace teskd {

namespace {

constexpr int MESSAGE_ID = 0x75;
constexpr std::size_t RECORD_SIZE = 28;
constexpr std::size_t FIELD_SIZE = 8;
constexpr std::size_t OFFSET_SELECTOR = 16;
constexpr std::size_t OFFSET_NAME = 17;

// The number at the position; 0 when the text ends before it.
char number_at(std::string_view value, std::size_t position, std::size_t digits) {
    if (position >= value.size()) return 0;
    return static_cast<char>(text::toInt(value.substr(position, digits)));
}

// "HHsMMsN": two digits, a separator, two digits, a separator, a digit.
void append_value(std::string& body, std::string_view value) {
    body.push_back(number_at(value, 0, 2));
    body.push_back(number_at(value, 3, 2));
    body.push_back(number_at(value, 6, 1));
}

}  // namespace

DornMachineRequest::Question DornPacketType4::decode(std::string body) const {
    const std::string record = text::zeroFilled(body, RECORD_SIZE);
    const std::string_view fields(record);
    Question question;
    question.payload = text::untilZero(fields.substr(0, FIELD_SIZE)) + dornbody::ITEM_SEPARATOR +
                       text::untilZero(fields.substr(FIELD_SIZE, FIELD_SIZE));
    question.every_machine = record[OFFSET_SELECTOR] == 0;
    question.name = dornbody::name_at(fields, OFFSET_NAME);
    question.id = MESSAGE_ID;
    question.timeout = LONG_TIMEOUT;
    return question;
}

std::vector<std::string> DornPacketType4::encode(const TeskPacket& answer,
                                                 Progress& progress) const {
    const std::string payload = answer.get_body();
    const dornbody::Pages pages(payload, append_value);
    progress.total += static_cast<std::uint32_t>(pages.count() - 1);
    std::vector<std::string> bodies;
    for (std::size_t page = 0; page < pages.count(); ++page) {
        std::string body = progress.date;
        body.push_back(static_cast<char>(progress.total));
        body.push_back(static_cast<char>(progress.sequence++));
        body.push_back(static_cast<char>(dornbody::outcome_number(answer.get_outcome())));
        body.push_back(1);
        body += dornbody::date_field(answer);
        bodies.push_back(body + pages.entries(page));
    }
    return bodies;
}

}  // namespace teskd
