#include "aams/AamsPacketU.h"

#include "aams/NotificationCounter.h"
#include "packet/PacketContainer.h"

namespace teskd {

namespace {

// Never destroyed: a last notification may be numbered while the process exits.
NotificationCounter& counter() {
    static NotificationCounter& instance = *new NotificationCounter;
    return instance;
}

}  // namespace

void AamsPacketU::send(PacketContainer& target) {
    const NotificationCounter::Value number = counter().next();
    set_identifiers(number.high, number.low);
    target.addPacket(this);
}

}  // namespace teskd
