// Notification 2.
#pragma once

#include "aams/AamsPacketU.h"

namespace teskd {

// Requests the external parameters when the engine starts; the answer is handled like request 506.
// Threads and ownership: as AamsPacketU.
class AamsPacketU2 : public AamsPacketU {
  public:
    AamsPacketU2() : AamsPacketU(2) { AamsPacketU2::set_body(mac_field()); }
};

}  // namespace teskd
