#include "dorn/DornPacketType7.h"

#include "config/ZqConfig.h"
#include "core/Text.h"

namespace teskd {

void DornPacketType7::offer_to_connection(Dorn&) {
    constexpr std::size_t VERSION_SIZE = 30;
    set_frame_body(text::zeroFilled(ZqConfig::get_sw_version(), VERSION_SIZE));
    notifyCompleted();
}

}  // namespace teskd
