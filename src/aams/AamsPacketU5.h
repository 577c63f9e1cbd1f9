// Notification 5.
#pragma once

#include "aams/AamsPacketU.h"

namespace teskd {

// Reports one failed check of a counter reading.
// Threads and ownership: as AamsPacketU.
class AamsPacketU5 : public AamsPacketU {
  public:
    explicit AamsPacketU5(const std::string& body) : AamsPacketU(5, body) {}
};

}  // namespace teskd
