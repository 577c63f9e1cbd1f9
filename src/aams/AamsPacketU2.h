// Notification 2.
#pragma once

#include "aams/AamsPacketU.h"

namespace teskd {

// Requests the external parameters when the engine starts; the answer is handled like request 506.
// Its body is the hardware address.
// Threads and ownership: as AamsPacketU.
class AamsPacketU2 : public AamsPacketU {
  public:
    explicit AamsPacketU2(const std::string& body) : AamsPacketU(2, body) {}
};

}  // namespace teskd
