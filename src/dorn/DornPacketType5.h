// Host request: a message ID chosen by the host, sent to one machine or to all.
//
//     request  0  1  selector     0: every known machine
//              1 11  name         otherwise the one of this name
//             12  1  message ID to send
//
//     answer   0  8  date         "%d.%m.%y"
//              8  1  target count
//              9  1  sequence number
//             10  1  1
//             11 11  date of the machine's answer, zero-filled
//             22  1  outcome number
//             23  4  the answer's body as a number, 0 for message ID 118
//             27  8  for message ID 118 the first bytes of the answer's body, otherwise 0
#pragma once

#include "dorn/DornMachineRequest.h"

namespace teskd {

// One answer frame per machine. Threads and lifetime: as DornMachineRequest.
class DornPacketType5 : public DornMachineRequest {
  public:
    DornPacketType5() : DornMachineRequest(5) {}

    std::size_t most_messages(std::size_t machines) const override { return machines; }

  protected:
    Question decode(std::string body) const override;
    std::vector<std::string> encode(const TeskPacket& answer, Progress& progress) const override;
};

}  // namespace teskd
