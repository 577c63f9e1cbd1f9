// Notification 1.
#pragma once

#include "aams/AamsPacketU.h"

namespace teskd {

// Requests the date and time; the answer is handled like request 507. Its body is the hardware
// address.
// Threads and ownership: as AamsPacketU.
class AamsPacketU1 : public AamsPacketU {
  public:
    explicit AamsPacketU1(const std::string& body) : AamsPacketU(1, body) {}
};

}  // namespace teskd
