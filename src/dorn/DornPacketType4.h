// Host request: the timed entries of one machine or of all.
//
//     request  0  8  field A      a shorter body is filled up with zero bytes
//              8  8  field B
//             16  1  selector     0: every known machine
//             17 11  name         otherwise the one of this name
//
//     page     0  8  date         "%d.%m.%y"
//              8  1  page total over all machines that have answered
//              9  1  page number, counted over all machines
//             10  1  outcome number
//             11  1  1
//             12 11  date of the machine's answer, zero-filled
//             23  1  number of entries, 255 at most
//             24     entries
//
//     entry    8  name
//              2  number of values
//              3  per value: characters 0-1, characters 3-4, character 6, each as a number
#pragma once

#include "dorn/DornMachineRequest.h"

namespace teskd {

// Answered in pages, each a frame of its own. Threads and lifetime: as DornMachineRequest.
class DornPacketType4 : public DornMachineRequest {
  public:
    DornPacketType4() : DornMachineRequest(4) {}

    std::size_t most_messages(std::size_t machines) const override { return machines; }

  protected:
    Question decode(std::string body) const override;
    std::vector<std::string> encode(const TeskPacket& answer, Progress& progress) const override;
};

}  // namespace teskd
