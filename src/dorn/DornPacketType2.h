// Host request: the entries of one machine between two texts.
//
//     request  0  8  field A
//              8  8  field B
//             16 11  name
//
//     page     0  8  date         "%d.%m.%y"
//              8  1  page total
//              9  1  page number, from 1
//             10 11  date of the machine's answer, zero-filled
//             21  1  outcome number
//             22  1  number of entries, 255 at most
//             23     entries
//
//     entry    8  name
//              2  number of values
//              5  per value: a byte, the two leading digits; 4 bytes, the number behind the
//              separator
#pragma once

#include "dorn/DornMachineRequest.h"

namespace teskd {

// Answered in pages, each a frame of its own. Threads and lifetime: as DornMachineRequest.
class DornPacketType2 : public DornMachineRequest {
  public:
    DornPacketType2() : DornPacketType2(2) {}

  protected:
    explicit DornPacketType2(std::uint8_t type) : DornMachineRequest(type) {}

    Question decode(std::string body) const override;
    std::vector<std::string> encode(const TeskPacket& answer, Progress& progress) const override;
};

}  // namespace teskd
