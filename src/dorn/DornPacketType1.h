// Host request: the state of one machine or of all.
//
//     request  0  1  selector     0: every known machine
//              1  n  name         otherwise the one of this name
//
//     answer   0  8  date         "%d.%m.%y"
//              8  1  target count
//              9  1  sequence number
//             10  1  1
//             11 11  date of the machine's answer, zero-filled
//             22  1  outcome number
//             23 20  payload items 0 to 5: 4, 4, 2, 4, 4, 2 bytes
#pragma once

#include "dorn/DornMachineRequest.h"

namespace teskd {

// One answer frame per machine. Threads and lifetime: as DornMachineRequest.
class DornPacketType1 : public DornMachineRequest {
  public:
    DornPacketType1() : DornMachineRequest(1) {}

    std::size_t most_messages(std::size_t machines) const override { return machines; }

  protected:
    Question decode(std::string body) const override;
    std::vector<std::string> encode(const TeskPacket& answer, Progress& progress) const override;
};

}  // namespace teskd
