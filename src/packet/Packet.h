// Base class of every message that is passed between threads.
#pragma once

#include <atomic>
#include <cstdint>

#include "core/LogSource.h"
#include "core/SynchronizedList.h"
#include "packet/PacketEventListener.h"

namespace teskd {

// Outstanding references over all packets.
extern std::atomic<unsigned long> packet_counter;

// A reference-counted message. Its listeners are notified when its exchange ends.
//
// Ownership: an explicit reference count that starts at zero. Whoever creates a packet holds a
// reference (PacketHandle) while handing it on. The put() that reaches zero deletes the packet, on
// the calling thread. Listeners are not owned.
// Threads: get, put, the time-out and the listener operations from any thread. A notification runs
// on the thread that completes the packet and holds its own reference until it returns. Locks: the
// listener list's, released while a listener runs.
class Packet {
  public:
    Packet() = default;
    Packet(const Packet&) = delete;
    Packet& operator=(const Packet&) = delete;
    virtual ~Packet() noexcept(false) = default;

    // Notify every listener, in the order of registration: answered, timed out, failed with e.
    virtual void notifyCompleted();
    virtual void notifyFailed();
    virtual void notifyError(const Exception& e);

    // How long the handler may wait for the answer, in milliseconds; 0, the default: not set.
    void setAnswerTimeout(std::uint32_t milliseconds) { timeout_ = milliseconds; }
    std::uint32_t getAnswerTimeout() const { return timeout_; }

    // Identifies who the packet is handled for: PacketContainer::withdraw removes all packets of
    // one requester. Null, the default: never withdrawn. Set before the packet is queued.
    void setRequester(const void* requester) { requester_ = requester; }
    const void* getRequester() const { return requester_; }

    static void get(Packet* packet);
    static void put(Packet* packet);
    // The source writes the line about the release of this packet; the default has no limit. It
    // outlives the packet. Unsynchronized: only for the sole holder of a packet that no other
    // thread has seen.
    void setLog(LogSource& log) { log_ = &log; }

    void addListener(PacketEventListener* listener) { listeners_.push_back(listener); }
    // Removes every registration of the listener.
    void removeListener(PacketEventListener* listener) { listeners_.remove(listener); }

  private:
    void logRelease(unsigned long outstanding) const;
    template <class Call>
    void notifyListeners(Call call);

    std::atomic<std::uint32_t> timeout_{0};
    std::atomic<std::uint32_t> references_{0};
    SynchronizedList<PacketEventListener*> listeners_;
    const void* requester_ = nullptr;
    LogSource* log_ = &LogSource::unlimited();
};

}  // namespace teskd
