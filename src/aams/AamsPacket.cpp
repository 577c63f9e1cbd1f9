#include "aams/AamsPacket.h"

#include "aams/AamsPayload.h"
#include "packet/PacketContainer.h"

namespace teskd {

AamsPacket::AamsPacket() : AamsPacket(0) {}

AamsPacket::AamsPacket(std::int32_t code_id)
    : DornPacket(dornframe::TYPE_AAMS), code_id_(code_id) {}

void AamsPacket::read(InputStream& in) {
    DornPacket::read(in);
    const aamspayload::Head head = aamspayload::parse(get_frame_body());
    prefix_ = head.prefix;
    code_id_ = head.code_id;
    length_ = head.length;
}

void AamsPacket::offer_to_engine(PacketContainer& engine) {
    engine.addPacket(this);
}

void AamsPacket::set_body(const std::string& text) {
    set_frame_body(aamspayload::build(code_id_, text));
}

std::string AamsPacket::get_body() const {
    return get_frame_body().substr(aamspayload::OFFSET_BODY);
}

void AamsPacket::clear_body() {
    set_frame_body({});
}

}  // namespace teskd
