// Notification 4.
#pragma once

#include "aams/AamsPacketU.h"

namespace teskd {

// Reports the result of an automatic polling pass.
// Threads and ownership: as AamsPacketU.
class AamsPacketU4 : public AamsPacketU {
  public:
    AamsPacketU4() : AamsPacketU(4) {}
};

}  // namespace teskd
