#include "packet/PacketContainer.h"

#include <list>

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
    {
        const SynchronizedLock lock(queue_.guard());
        if (queue_.remove(packet) == 0) return;
        if (handedOut_ == packet) handedOut_ = nullptr;
    }
    Packet::put(packet);
}

void PacketContainer::removeHandled(Packet* packet) {
    {
        const SynchronizedLock lock(queue_.guard());
        if (handedOut_ != packet) return;  // another thread has removed it meanwhile
        takeFirst();
    }
    Packet::put(packet);
}

void PacketContainer::withdraw(const void* requester) {
    std::list<Packet*> withdrawn;
    {
        const SynchronizedLock lock(queue_.guard());
        withdrawn = queue_.extract([requester, handedOut = handedOut_](const Packet* packet) {
            return packet->getRequester() == requester && packet != handedOut;
        });
    }
    for (Packet* const packet : withdrawn) Packet::put(packet);
}

PacketHandle<Packet> PacketContainer::nextPacket(const Thread* worker) {
    const auto keepWaiting = [worker] { return worker == nullptr || worker->isRunning(); };
    const SynchronizedLock lock(queue_.guard());
    Packet* const first = queue_.waitForElement(keepWaiting) ? queue_.front() : nullptr;
    handedOut_ = first;
    return PacketHandle<Packet>(first);
}

// @throws EmptyListException
Packet* PacketContainer::takeFirst() {
    const SynchronizedLock lock(queue_.guard());
    Packet* first = nullptr;
    queue_.pop_front(first);
    handedOut_ = nullptr;
    return first;
}

void PacketContainer::failAll(const Exception& e) {
    while (!queue_.isEmpty()) {
        try {
            Packet* const packet = takeFirst();
            Packet::get(packet);
            packet->notifyError(e);
            Packet::put(packet);
            Packet::put(packet);
        } catch (const EmptyListException&) {
            // Another thread emptied the queue first, or a listener threw this type itself; then
            // both references to its packet are never released.
            continue;
        }
    }
}

}  // namespace teskd
