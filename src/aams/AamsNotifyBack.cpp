#include <stdexcept>

#include "aams/Aams.h"
#include "aams/AamsPacket.h"
#include "core/Attempt.h"
#include "packet/PacketHandle.h"

namespace teskd {

void Aams::AamsNotifyBack::packetCompleted(Packet* packet) {
    auto* const answer = dynamic_cast<AamsPacket*>(packet);
    if (answer == nullptr) return;
    const PacketHandle<AamsPacket> hold(answer);
    attempt("An answer to a notification was not applied", [this, &hold] {
        try {
            apply(*hold);
        } catch (const std::out_of_range&) {
            // An answer without a body sets nothing.
        }
    });
}

void Aams::AamsNotifyBack::apply(const AamsPacket& answer) {
    switch (answer.get_code_id()) {
        case 1:
            owner_.set_date_time(answer.get_body());
            return;
        case 2:
            owner_.set_external_parameters(answer.get_body());
            return owner_.schedule_polling();
        case 3:
        case 4:
        case 5:
            return;
        default:
            owner_.report_invalid_code(answer.get_code_id());
    }
}

}  // namespace teskd
