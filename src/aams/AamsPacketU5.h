// Notification 5.
#pragma once

#include "aams/AamsPacketU.h"

namespace teskd {

// Reports one failed check of a counter reading; the engine sets the whole body.
// Threads and ownership: as AamsPacketU.
class AamsPacketU5 : public AamsPacketU {
  public:
    AamsPacketU5() : AamsPacketU(5) { AamsPacketU5::set_body(mac_field()); }
};

}  // namespace teskd
