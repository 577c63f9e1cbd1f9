// Notification 1.
#pragma once

#include "aams/AamsPacketU.h"

namespace teskd {

// Requests the date and time; the answer is handled like request 507.
// Threads and ownership: as AamsPacketU.
class AamsPacketU1 : public AamsPacketU {
  public:
    AamsPacketU1() : AamsPacketU(1) { AamsPacketU1::set_body(mac_field()); }
};

}  // namespace teskd
