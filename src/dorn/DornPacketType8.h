// Host request: the list of machines, answered at once.
//
//     answer   0  1  number of machines
//              1     records
//
//     record   0 11  name, zero-filled
//             11  1  number of the machine's port
//             12  1  0
//             13  1  0 for a machine that is known to answer, 1 for one that is not
#pragma once

#include "dorn/DornPacket.h"

namespace teskd {

// Threads and lifetime: as DornPacket.
class DornPacketType8 : public DornPacket {
  public:
    DornPacketType8() : DornPacket(8) {}

    void offer_to_controller(TeskController& controller) override;
};

}  // namespace teskd
