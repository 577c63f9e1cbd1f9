// A notification that the gateway itself sends.
#pragma once

#include "aams/AamsPacket.h"

namespace teskd {

// send() gives it a new pair of identifiers, by which its answer is matched.
//
// Owner: its references; the sender holds one until send() has returned. Threads: the sender's,
// then that of DornNotify, which reads the answer into it.
class AamsPacketU : public AamsPacket {
  public:
    // Numbers the notification and queues it.
    virtual void send(PacketContainer& target);

  protected:
    AamsPacketU(std::int32_t code_id, const std::string& body) : AamsPacket(code_id) {
        set_station_address();
        AamsPacket::set_body(body);
    }
};

}  // namespace teskd
