// Notification 4.
#pragma once

#include "aams/AamsPacketU.h"

namespace teskd {

// Reports the result of an automatic polling pass.
// Threads and ownership: as AamsPacketU.
class AamsPacketU4 : public AamsPacketU {
  public:
    explicit AamsPacketU4(const std::string& body) : AamsPacketU(4, body) {}
};

}  // namespace teskd
