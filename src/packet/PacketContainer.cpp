#include "packet/PacketContainer.h"

#include "core/Thread.h"

namespace teskd {

namespace {

Exception closedError() {
    return Exception("The receiver has been stopped");
}

}  // namespace

void PacketContainer::addPacket(Packet* packet) {
    if (!tryAddPacket(packet)) packet->notifyError(closedError());
}

bool PacketContainer::tryAddPacket(Packet* packet) {
    {
        const SynchronizedLock lock(queue_.guard());
        if (closed_) return false;
        queue_.append(packet);
        Packet::get(packet);
    }
    queue_.wakeOne();
    return true;
}

void PacketContainer::closeContainer() {
    {
        const SynchronizedLock lock(queue_.guard());
        closed_ = true;
    }
    failAll(closedError());
}

void PacketContainer::removePacket(Packet* packet) {
    if (queue_.remove(packet) > 0) Packet::put(packet);
}

PacketHandle<Packet> PacketContainer::nextPacket(const Thread* worker) {
    const auto keepWaiting = [worker] { return worker == nullptr || worker->isRunning(); };
    const SynchronizedLock lock(queue_.guard());
    return PacketHandle<Packet>(queue_.waitForElement(keepWaiting) ? queue_.front() : nullptr);
}

void PacketContainer::failAll(const Exception& e) {
    while (!queue_.isEmpty()) {
        try {
            Packet* packet = nullptr;
            queue_.pop_front(packet);
            Packet::get(packet);
            packet->notifyError(e);
            Packet::put(packet);
            Packet::put(packet);
        } catch (const EmptyListException&) {
            // Taken by another thread, or raised by a listener, which then keeps both references.
            continue;
        }
    }
}

}  // namespace teskd
