// Host request: the entries of one machine between two numbers.
//
//     request  0  2  number X
//              2  2  number Y
//              4 11  name
//
// The answer is that of DornPacketType2.
#pragma once

#include "dorn/DornPacketType2.h"

namespace teskd {

// Threads and lifetime: as DornMachineRequest.
class DornPacketType3 : public DornPacketType2 {
  public:
    DornPacketType3() : DornPacketType2(3) {}

  protected:
    Question decode(std::string body) const override;
};

}  // namespace teskd
