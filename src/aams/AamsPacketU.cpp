#include "aams/AamsPacketU.h"

#include "aams/AamsReply.h"
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

std::string AamsPacketU::mac_field() {
    return aamsreply::mac_field();
}

}  // namespace teskd
