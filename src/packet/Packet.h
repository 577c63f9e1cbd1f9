// The base of every message that moves between the threads.
#pragma once

#include <atomic>
#include <cstdint>

#include "packet/PacketEventListener.h"
#include "packet/SynchronizedList.h"

namespace teskd {

// Outstanding references over all packets.
extern std::atomic<unsigned long> packet_counter;

// A reference-counted message with listeners that are told how its exchange ended.
//
// Ownership: by explicit count. A new packet has no reference; whoever creates one and hands it on
// holds a reference meanwhile (PacketHandle). The put() that brings the count to zero deletes the
// packet, on whatever thread that is. Listeners are not owned.
// Threads: get, put, the time-out and the listener operations from any thread; a notification runs
// on the thread that completes the packet and holds a reference of its own throughout. Locks: the
// listener list's, released while a listener runs.
class Packet {
  public:
    Packet() = default;
    Packet(const Packet&) = delete;
    Packet& operator=(const Packet&) = delete;
    virtual ~Packet() noexcept(false) = default;

    // Tell every listener, in the order of registration: answered, timed out, failed with e.
    virtual void notifyCompleted();
    virtual void notifyFailed();
    virtual void notifyError(const Exception& e);

    // How long the handler may wait for the answer, in milliseconds; 0: never set.
    void setAnswerTimeout(std::uint32_t milliseconds) { timeout_ = milliseconds; }
    std::uint32_t getAnswerTimeout() const { return timeout_; }

    // For whom the packet is handled: PacketContainer::withdraw takes out all packets of one
    // requester. Null, as at first, for nobody who could leave. Set before the packet is queued.
    void setRequester(const void* requester) { requester_ = requester; }
    const void* getRequester() const { return requester_; }

    static void get(Packet* packet);
    static void put(Packet* packet);
    // Its release is no line in the log. For the only holder of a packet that nobody else has seen.
    void releaseQuietly() { releasedQuietly_ = true; }

    void addListener(PacketEventListener* listener) { listeners_.push_back(listener); }
    // Removes every registration of the listener.
    void removeListener(PacketEventListener* listener) { listeners_.remove(listener); }

  private:
    static void logRelease(const Packet* packet, unsigned long outstanding);
    template <class Call>
    void tellListeners(Call call);

    std::atomic<std::uint32_t> timeout_{0};
    std::atomic<std::uint32_t> references_{0};
    SynchronizedList<PacketEventListener*> listeners_;
    const void* requester_ = nullptr;
    bool releasedQuietly_ = false;
};

}  // namespace teskd
