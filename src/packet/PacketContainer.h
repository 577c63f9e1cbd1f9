// The input queue of a worker thread.
#pragma once

#include <cstddef>

#include "core/SynchronizedList.h"
#include "packet/Packet.h"
#include "packet/PacketHandle.h"

namespace teskd {

class Thread;

// A queue of packets with many producers and one worker. The worker handles the packet at the head
// while it is still queued, and removes it afterwards.
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

    // Takes a reference and appends the packet. On a closed container the packet's listeners are
    // notified of an error at once instead.
    virtual void addPacket(Packet* packet);
    // Removes the packet from any position and releases the queue's reference. Does nothing if the
    // packet is not queued, or no longer.
    virtual void removePacket(Packet* packet);
    // The same for the packet at the head that nextPacket has handed out, without searching.
    void removeHandled(Packet* packet);
    // Removes every packet of the requester and releases the queue's references, except the packet
    // that nextPacket has handed out. Listeners are not notified: the requester is gone. One pass
    // over the queue, however many packets.
    void withdraw(const void* requester);

    // Waits for a packet and returns the first one, which stays queued. The handle's reference is
    // taken under the queue's lock, so the packet stays alive if another thread removes it.
    // With a worker given, returns a null handle once that thread has been stopped and the queue is
    // empty.
    PacketHandle<Packet> nextPacket(const Thread* worker = nullptr);
    // Makes a waiting nextPacket check its worker's running flag again.
    void wakeConsumer() { queue_.wakeAll(); }
    bool isEmpty() const { return queue_.isEmpty(); }
    std::size_t queueSize() const { return queue_.size(); }

    // Removes packet after packet and notifies its listeners of the error.
    void failAll(const Exception& e);
    // Permanent: all queued and all later packets are reported as failed. For a worker that ends.
    void closeContainer();

  protected:
    // addPacket without a notification: on a closed container returns false and does nothing.
    bool tryAddPacket(Packet* packet);

  private:
    Packet* takeFirst();

    SynchronizedList<Packet*> queue_;
    bool closed_ TESKD_GUARDED_BY(queue_.guard()) = false;
    // The packet that nextPacket returned last, as long as it is queued.
    const Packet* handedOut_ TESKD_GUARDED_BY(queue_.guard()) = nullptr;
};

}  // namespace teskd
