// Host request: the version of the software, answered at once.
//
//     answer   0 30  version text, zero-filled or cut
#pragma once

#include "dorn/DornPacket.h"

namespace teskd {

// The request body is ignored. Threads and lifetime: as DornPacket.
class DornPacketType7 : public DornPacket {
  public:
    DornPacketType7() : DornPacket(7) {}

    void offer_to_connection(Dorn& connection) override;
};

}  // namespace teskd
