// Notification 3.
#pragma once

#include "aams/AamsPacketU.h"

namespace teskd {

// Identifies the gateway after a software update; its body is that of the answer to request 501.
// Threads and ownership: as AamsPacketU.
class AamsPacketU3 : public AamsPacketU {
  public:
    explicit AamsPacketU3(const std::string& body) : AamsPacketU(3, body) {}
};

}  // namespace teskd
