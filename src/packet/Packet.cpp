#include "packet/Packet.h"

#include "packet/PacketHandle.h"

namespace teskd {

std::atomic<unsigned long> packet_counter{0};

void Packet::get(Packet* packet) {
    ++packet->references_;
    ++packet_counter;
}

void Packet::put(Packet* packet) {
    const unsigned long outstanding = --packet_counter;
    if (--packet->references_ != 0) return;
    packet->logRelease(outstanding);
    delete packet;
}

void Packet::logRelease(unsigned long outstanding) const {
    constexpr int LINE = 94;  // a fixed part of the log line's text
    log_->debug("%s:%d This (%p) packet is being freed. (packet_counter == %lu)",
                "static void Packet::put(Packet*)", LINE, static_cast<const void*>(this),
                outstanding);
}

template <class Call>
void Packet::notifyListeners(Call call) {
    const PacketHandle<Packet> hold(this);
    listeners_.lock();
    for (auto position = listeners_.begin(); position != listeners_.end();) {
        PacketEventListener* const listener = *position++;
        listeners_.unlock();
        call(*listener);
        listeners_.lock();
    }
    listeners_.unlock();
}

void Packet::notifyCompleted() {
    notifyListeners([this](PacketEventListener& listener) { listener.packetCompleted(this); });
}

void Packet::notifyFailed() {
    notifyListeners([this](PacketEventListener& listener) { listener.packetFailed(this); });
}

void Packet::notifyError(const Exception& e) {
    notifyListeners([this, &e](PacketEventListener& listener) { listener.packetError(this, e); });
}

}  // namespace teskd
