// The inbound queue of a worker thread.
#pragma once

#include <cstddef>

#include "packet/Packet.h"
#include "packet/PacketHandle.h"
#include "packet/SynchronizedList.h"

namespace teskd {

class Thread;

// A queue of packets that any thread feeds and one worker empties. The worker handles the packet at
// the head while it stays queued, and takes it out when it is done.
//
// Ownership: holds one reference on each queued packet.
// Threads: addPacket, removePacket, withdraw and wakeConsumer from any thread; nextPacket,
// removeHandled and failAll by the worker.
// Locks: the queue's, never held while a listener is called.
class PacketContainer {
  public:
    PacketContainer() = default;
    PacketContainer(const PacketContainer&) = delete;
    PacketContainer& operator=(const PacketContainer&) = delete;
    virtual ~PacketContainer() noexcept(false) = default;

    // Takes a reference and appends the packet. On a closed container the packet is told at once
    // that it failed.
    virtual void addPacket(Packet* packet);
    // Takes the packet out wherever it stands and releases the queue's reference. A packet that is
    // not queued (any more) is left alone.
    virtual void removePacket(Packet* packet);
    // The same for the packet that nextPacket has handed out, which stands at the head, without
    // walking the queue.
    void removeHandled(Packet* packet);
    // Takes out every packet of the requester, but not one that nextPacket has handed out, and
    // releases the queue's references. No listener is told: whoever asked has gone. One walk,
    // however many packets.
    void withdraw(const void* requester);

    // The first packet, which stays queued; waits while there is none. The handle's reference is
    // taken under the queue's lock, so the packet stays alive when another thread takes it out.
    // With a worker given, returns a handle on null once that thread has been stopped and the queue
    // is empty.
    PacketHandle<Packet> nextPacket(const Thread* worker = nullptr);
    // Makes a waiting nextPacket look at its worker's running flag again.
    void wakeConsumer() { queue_.wakeAll(); }
    bool isEmpty() const { return queue_.isEmpty(); }
    std::size_t queueSize() const { return queue_.size(); }

    // Takes out packet after packet and reports the error to its listeners.
    void failAll(const Exception& e);
    // For good: what is queued and what still comes is reported failed. For a worker that ends.
    void closeContainer();

  protected:
    // addPacket without the telling: false on a closed container, which leaves the packet alone.
    bool tryAddPacket(Packet* packet);

  private:
    Packet* takeFirst();

    SynchronizedList<Packet*> queue_;
    bool closed_ TESKD_GUARDED_BY(queue_.guard()) = false;
    // The packet handed out last, while it is queued.
    const Packet* inHand_ TESKD_GUARDED_BY(queue_.guard()) = nullptr;
};

}  // namespace teskd
