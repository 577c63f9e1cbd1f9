// Host request: a raw message, chosen by the host, to one machine.
//
//     request  0 11  name
//             11  4  not used
//             15  n  bytes to send unchanged
//
//     answer   0  4  N
//              4  N  the machine's whole answer as text
#pragma once

#include "dorn/DornMachineRequest.h"

namespace teskd {

// Threads and lifetime: as DornMachineRequest.
class DornPacketType6 : public DornMachineRequest {
  public:
    DornPacketType6() : DornMachineRequest(6) {}

  protected:
    Question decode(std::string body) const override;
    std::vector<std::string> encode(const TeskPacket& answer, Progress& progress) const override;
};

}  // namespace teskd
