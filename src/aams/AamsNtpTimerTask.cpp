#include "aams/Aams.h"
#include "aams/AamsPacketU1.h"
#include "aams/TimerWork.h"
#include "packet/PacketHandle.h"

namespace teskd {

Aams::AamsNtpTimerTask::AamsNtpTimerTask(Aams& owner)
    : TimerTask("AamsNtpTimerTask"), owner_(owner) {}

void Aams::AamsNtpTimerTask::run() {
    as_timer_work([this] {
        const PacketHandle<AamsPacketU1> question(new AamsPacketU1(aamsreply::address(mac())));
        owner_.send_notification(*question);
    });
}

}  // namespace teskd
