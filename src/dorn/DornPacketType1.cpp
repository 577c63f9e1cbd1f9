#include "dorn/DornPacketType1.h"

#include "core/BigEndian.h"
#include "core/Text.h"
#include "dorn/DornBody.h"

namespace teskd {

namespace {

// Bytes that each payload item takes in the answer.
constexpr int ITEM_WIDTHS[] = {4, 4, 2, 4, 4, 2};

}  // namespace

DornMachineRequest::Question DornPacketType1::decode(std::string body) const {
    require_size(body, 1);
    Question question;
    question.every_machine = body.front() == 0;
    question.name = text::untilZero(std::string_view(body).substr(1));
    question.id = TeskPacket::COUNTERS_ID;
    return question;
}

std::vector<std::string> DornPacketType1::encode(const TeskPacket& answer,
                                                 Progress& progress) const {
    std::string body = dornbody::head(answer, progress.date, progress.total, progress.sequence);
    ++progress.sequence;
    const std::string payload = answer.get_body();
    const auto items = text::splitFields(payload, dornbody::ITEM_SEPARATOR, std::size(ITEM_WIDTHS));
    for (std::size_t i = 0; i < std::size(ITEM_WIDTHS); ++i) {
        const auto value = static_cast<std::uint32_t>(i < items.size() ? text::toInt(items[i]) : 0);
        if (ITEM_WIDTHS[i] == 4) {
            bigendian::append32(body, value);
        } else {
            bigendian::append16(body, value);
        }
    }
    return {body};
}

}  // namespace teskd
