// A flag that a thread can wait for in poll, together with other descriptors.
#pragma once

#include <atomic>

#include "core/Descriptor.h"
#include "core/Synchronized.h"

namespace teskd {

// Once set, it stays set, and its descriptor readable, until it is cleared; every thread that polls
// the descriptor wakes up. It stops threads, or wakes one that has something to do. Uses an
// eventfd: unlike writing to a pipe, setting it needs no memory, so it is never lost.
//
// The descriptor is opened by the constructor or, for an owner that may never wait, by the first
// call of descriptor().
//
// Owner: the object whose threads wait for it, or that stops them; must outlive everything that
// polls it. Threads: every operation from any thread. Locks: its own, so that flag and descriptor
// change together.
class Event {
  public:
    enum class Opening { NOW, WHEN_AWAITED };

    // @throws IOException when it is opened now and no descriptors are left
    explicit Event(Opening opening = Opening::NOW);
    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

    void set();
    void clear();
    bool isSet() const { return set_; }
    // Readable while the event is set; only for poll. Every call returns the same descriptor.
    // @throws IOException when it is not open yet and no descriptors are left
    int descriptor() const { return isOpen_ ? event_.get() : opened(); }

  private:
    int opened() const;
    void open() const TESKD_REQUIRES(lock_);

    mutable Descriptor event_;  // set once, before isOpen_
    mutable std::atomic<bool> isOpen_{false};
    mutable Synchronized lock_;
    std::atomic<bool> set_{false};  // changed under the lock
};

}  // namespace teskd
