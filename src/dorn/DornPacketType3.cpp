#include "dorn/DornPacketType3.h"

#include "core/BigEndian.h"
#include "core/Text.h"
#include "dorn/DornBody.h"

namespace teskd {

namespace {

constexpr int MESSAGE_ID = 0x77;
constexpr std::size_t OFFSET_Y = 2;
constexpr std::size_t OFFSET_NAME = 4;

}  // namespace

DornMachineRequest::Question DornPacketType3::decode(std::string body) const {
    require_size(body, OFFSET_NAME);
    Question question;
    question.payload = text::format("%d~%d", int{bigendian::read16(body, 0)},
                                    int{bigendian::read16(body, OFFSET_Y)});
    question.name = dornbody::name_at(body, OFFSET_NAME);
    question.id = MESSAGE_ID;
    question.timeout = LONG_TIMEOUT;
    return question;
}

}  // namespace teskd
